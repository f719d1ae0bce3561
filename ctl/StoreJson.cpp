#include "ctl/StoreJson.h"

namespace ctl {

Json entryJson(const StoreEntry& entry)
{
    Json described;
    putText(described, "id", entry.id);
    described.update(kindAndVersion(entry.type, entry.version));
    return described;
}

void putFindings(JsonWriter& document, const std::vector<Finding>& findings)
{
    document.openArray("findings");
    for (const Finding& finding : findings) {
        Json described{{"offset", finding.offset}, {"rule", finding.rule}};
        putText(described, "message", finding.message);
        document.element(described);
    }
    document.close();
}

} // namespace ctl
