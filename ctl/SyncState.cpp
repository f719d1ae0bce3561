#include "ctl/SyncState.h"

#include "ctl/Json.h"
#include "vpn/Common/ManifestFileType.h"

#include <cstdint>
#include <map>
#include <optional>

namespace ctl {

namespace {

constexpr std::string_view kFormat = "obg-manifest-state";
constexpr int kVersion = 1;

std::optional<unsigned> valueOfDigit(char digit)
{
    constexpr std::string_view digits = "0123456789abcdef";
    const std::size_t value = digits.find(digit);
    return value == std::string_view::npos ? std::nullopt : std::optional(static_cast<unsigned>(value));
}

std::optional<std::string> bytesOfHex(std::string_view hex)
{
    std::string bytes;
    for (std::size_t at = 0; at + 1 < hex.size(); at += 2) {
        const auto high = valueOfDigit(hex[at]);
        const auto low = valueOfDigit(hex[at + 1]);
        if (!high || !low) {
            return std::nullopt;
        }
        bytes += static_cast<char>(*high << 4 | *low);
    }
    return hex.size() % 2 == 0 ? std::optional(bytes) : std::nullopt;
}

const std::string* findText(const Json& object, const std::string& name)
{
    const auto member = object.find(name);
    return member == object.end() ? nullptr : member->get_ptr<const std::string*>();
}

/// The text that putText has put there.
std::optional<std::string> takeText(const Json& object, const std::string& name)
{
    if (const std::string* hex = findText(object, name + "_hex")) {
        return bytesOfHex(*hex);
    }
    const std::string* text = findText(object, name);
    return text == nullptr ? std::nullopt : std::optional(*text);
}

std::optional<Claim> takeClaim(const Json& object)
{
    if (!object.is_object()) {
        return std::nullopt;
    }
    const auto manifest = takeText(object, "manifest");
    const auto id = takeText(object, "id");
    const auto word = takeText(object, "kind");
    const auto version = takeText(object, "version");
    if (!manifest || !id || !word || !version || !isStored(typeOfWord(*word))) {
        return std::nullopt;
    }
    return Claim{*manifest, *id, {typeOfWord(*word), *version}};
}

/// Takes the members in front of the claims, and stops there.
class HeadReader : public nlohmann::json_sax<Json>
{
public:
    std::map<std::string, std::string> texts;
    std::uint64_t version = 0;

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool start_object(std::size_t) override { return true; }
    bool end_object() override { return true; }
    bool start_array(std::size_t) override { return false; }
    bool end_array() override { return true; }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

    bool number_unsigned(number_unsigned_t value) override
    {
        version = m_key == "version" ? value : version;
        return true;
    }

    bool string(string_t& text) override
    {
        texts[m_key] = text;
        return true;
    }

    bool key(string_t& name) override
    {
        m_key = name;
        return true;
    }

private:
    std::string m_key;
};

bool takeClaims(const Json& document, std::vector<Claim>& claims)
{
    const auto list = document.find("recorded");
    if (list == document.end() || !list->is_array()) {
        return false;
    }
    for (const Json& object : *list) {
        auto claim = takeClaim(object);
        if (!claim) {
            return false;
        }
        claims.push_back(std::move(*claim));
    }
    return true;
}

} // namespace

SyncState::Reading SyncState::read(std::string_view bytes, std::string_view storePath)
{
    *this = {};
    const Json document = Json::parse(bytes, nullptr, false);
    if (!document.is_object() || takeText(document, "format") != kFormat) {
        return Reading::Damaged;
    }
    const auto version = document.find("version");
    if (version == document.end() || !version->is_number_integer()) {
        return Reading::Damaged;
    }
    if (*version != kVersion) {
        return *version > kVersion ? Reading::Newer : Reading::Damaged;
    }
    SyncState found;
    found.settled = takeText(document, "settled").value_or("");
    if (takeText(document, "store") != storePath || !takeClaims(document, found.claims)) {
        return Reading::Damaged;
    }
    *this = std::move(found);
    return Reading::Good;
}

std::string SyncState::settledIn(std::string_view bytes, std::string_view storePath)
{
    HeadReader head;
    // It breaks off where the claims begin.
    static_cast<void>(Json::sax_parse(bytes, &head));
    const bool isOfStore =
        head.texts["format"] == kFormat && head.version == kVersion && head.texts["store"] == storePath;
    return isOfStore ? head.texts["settled"] : std::string();
}

std::string SyncState::written(std::string_view storePath) const
{
    Json document = {{"format", kFormat}, {"version", kVersion}};
    putText(document, "store", storePath);
    document["settled"] = settled;
    Json list = Json::array();
    for (const Claim& claim : claims) {
        Json object = Json::object();
        putText(object, "manifest", claim.manifest);
        putText(object, "id", claim.id);
        object["kind"] = typeWord(claim.recorded.kind);
        putText(object, "version", claim.recorded.version);
        list.push_back(std::move(object));
    }
    document["recorded"] = std::move(list);
    return rendered(document);
}

} // namespace ctl
