#include "vpn/Common/Xml/XmlMgr.h"

#include <string_view>
#include <type_traits>

#include <gmock/gmock.h>

#include "tests/vpn/Common/Xml/RecordingSink.h"

namespace {

using obg::test::RecordingSink;
using ::testing::ElementsAre;

static_assert(std::has_virtual_destructor_v<XmlMgr>);
static_assert(std::is_abstract_v<XmlMgr>);

TEST(XmlMgr, whatTheParserBringsReachesASinkOfStrings)
{
    RecordingSink sink;
    XmlMgr& base = sink;
    base.deliverText("text");
    base.deliverText(std::string_view("text and more").substr(0, 8));
    base.deliverText({});
    base.deliverAttribute("name", "value");
    base.deliverAttribute("name", {});
    EXPECT_THAT(sink.events(), ElementsAre("'text'", "'text and'", "''", "name='value'", "name=''"));
}

} // namespace
