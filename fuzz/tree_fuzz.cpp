// The element tree against a plain model: built from a document or from any sequence of events, asked, dumped, copied
// and compared.
// Input: KIND NAME|ATTRIBUTE|VALUE|SOURCE, the first three being what the tree is asked for. With the byte KIND "x" the
// source is a document; else it is lines of events: <NAME  @NAME=VALUE  $TEXT  >

#include "fuzz/support/Input.h"
#include "fuzz/support/QuietXml.h"
#include "fuzz/support/Require.h"
#include "vpn/Common/Xml/XmlHierarchicalElement.h"
#include "vpn/Common/Xml/XmlHierarchicalMgr.h"
#include "vpn/Common/Xml/XmlParser.h"

#include <list>
#include <map>
#include <memory>
#include <vector>

namespace {

using obg::test::cutAtNul;
using obg::test::Input;
using obg::test::require;

struct Node
{
    std::string name;
    std::string value;
    std::map<std::string, std::string> attributes;
    std::list<Node> children;
};

struct Query
{
    std::string name;
    std::string attribute;
    std::string value;
};

bool answers(const Node& node, const Query& query)
{
    const auto attribute = node.attributes.find(query.attribute);
    return node.name == query.name &&
           (query.attribute.empty() || (attribute != node.attributes.end() && attribute->second == query.value));
}

const Node* childOf(const Node& node, const Query& query)
{
    for (const Node& child : node.children) {
        if (answers(child, query)) {
            return &child;
        }
    }
    return nullptr;
}

const Node* descendantOf(const Node& node, const Query& query)
{
    const Node* found = childOf(node, query);
    for (auto child = node.children.begin(); found == nullptr && child != node.children.end(); ++child) {
        found = descendantOf(*child, query);
    }
    return found;
}

void dump(const Node& node, std::string& out)
{
    out.append("\n").append(node.name).append(" : ").append(node.value).append("\n");
    for (const auto& [name, value] : node.attributes) {
        out.append("\t- ").append(name).append(" : ").append(value).append("\n");
    }
    for (const Node& child : node.children) {
        dump(child, out);
    }
}

/// Hands every event to the tree under test and builds the model beside it.
class BothTrees : public XmlMgr
{
public:
    void addElement(const std::string& name) override
    {
        tree.addElement(name);
        if (m_open.empty()) {
            root = std::make_unique<Node>();
            m_open.push_back(root.get());
        } else {
            m_open.push_back(&m_open.back()->children.emplace_back());
        }
        m_open.back()->name = name;
    }

    void endElement(const std::string& name) override
    {
        tree.endElement(name);
        if (!m_open.empty()) {
            m_open.pop_back();
        }
    }

    void setElementValue(const std::string& value) override
    {
        tree.setElementValue(value);
        if (!m_open.empty()) {
            m_open.back()->value += cutAtNul(value);
        }
    }

    void addAttribute(const std::string& name, const std::string& value) override
    {
        tree.addAttribute(name, value);
        if (!m_open.empty()) {
            m_open.back()->attributes[name] = cutAtNul(value);
        }
    }

    XmlHierarchicalMgr tree;
    std::unique_ptr<Node> root;

private:
    std::vector<Node*> m_open;
};

void play(XmlMgr& sink, Input& events)
{
    while (!events.empty()) {
        const std::string text = events.text('\n');
        Input line(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
        switch (line.byte()) {
        case '<':
            sink.addElement(cutAtNul(line.rest()));
            break;
        case '@': {
            const std::string name = line.text('=');
            sink.addAttribute(name, line.rest());
            break;
        }
        case '$':
            sink.setElementValue(line.rest());
            break;
        default:
            sink.endElement("");
        }
    }
}

std::string dumped(const XmlHierarchicalMgr& tree)
{
    std::string out = "to be forgotten";
    tree.dump(out);
    return out;
}

/// True when the element found and the model's node look the same, or both are missing.
bool isSame(XmlHierarchicalElement* found, const Node* expected)
{
    if (found == nullptr || expected == nullptr) {
        return found == nullptr && expected == nullptr;
    }
    std::string foundDump;
    std::string expectedDump;
    found->dump(foundDump);
    dump(*expected, expectedDump);
    return foundDump == expectedDump;
}

void ask(const BothTrees& both, const Query& query)
{
    const Node* child = both.root ? childOf(*both.root, query) : nullptr;
    const Node* descendant = both.root ? descendantOf(*both.root, query) : nullptr;
    const Node* named = both.root ? descendantOf(*both.root, {query.name, "", ""}) : nullptr;
    require(isSame(both.tree.getChild(query.name, query.attribute, query.value), child), "the child");
    require(isSame(both.tree.getDescendant(query.name, query.attribute, query.value), descendant), "the descendant");
    require(both.tree.getDescendantValue(query.name) == (named == nullptr ? "" : named->value), "its text");
}

/// Changes a copy below its root; `tree` itself is looked at by the caller afterwards.
void copyAndCompare(const XmlHierarchicalMgr& tree, const Query& query, const std::string& picture)
{
    XmlHierarchicalMgr copy;
    copy = tree;
    require(copy == tree && !(copy != tree), "a copy equals its source");
    require(dumped(copy) == picture, "a copy looks like its source");
    XmlHierarchicalElement* found = copy.getDescendant(query.name, query.attribute, query.value);
    if (found == nullptr) {
        return;
    }
    found->setElementValue("x");
    require(copy != tree, "a changed copy differs");
    found->deleteChildElements({query.name});
    require(found->findChildElement(query.name, "", "") == nullptr, "children of a name are deleted");
    found->Clear();
    std::string cleared;
    require(found->dump(cleared).find("\n" + query.name + " : \n") == 0, "what is cleared has no text");
    copy = tree;
    require(copy == tree, "a used tree can be copied over");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    obg::test::silenceXml();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const bool isDocument = input.byte() == 'x';
    Query query;
    query.name = input.text();
    query.attribute = input.text();
    query.value = input.text();

    BothTrees both;
    if (isDocument) {
        XmlParser(&both).parseXml(input.rest(), false);
    } else {
        play(both, input);
    }
    std::string picture;
    if (both.root) {
        dump(*both.root, picture);
    }
    ask(both, query);
    copyAndCompare(both.tree, query, picture);
    require(dumped(both.tree) == picture, "the dump shows the model's tree, whatever became of its copy");
    return 0;
}
