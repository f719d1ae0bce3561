#include "bench/micro/documents.h"

std::string entryId(std::size_t number)
{
    return "VPN-posture-plugins-component-" + std::to_string(number);
}

std::string manifestWithElements(std::size_t count)
{
    std::string text = "<vpn rev=\"1.0\">\n";
    for (std::size_t element = 1; element < count; element += 3) {
        text += "  <file id=\"" + entryId(element) +
                "\" version=\"5.1.4.74\" type=\"exe\" module=\"posture\" arch=\"x86_64\">\n";
        if (element + 1 < count) {
            text += "    <uri>packages/posture/plugins/linux-64/5.1.4.74/brightgate-component.exe</uri>\n";
        }
        if (element + 2 < count) {
            text +=
                "    <hash type=\"sha256\">9b810e766ec9d28663ca828dd5f4b3b2e4b06ce60741c7a87ce42c8218072e8c</hash>\n";
        }
        text += "  </file>\n";
    }
    return text + "</vpn>\n";
}

void overSizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->RangeMultiplier(10)->Range(10, 100'000);
}
