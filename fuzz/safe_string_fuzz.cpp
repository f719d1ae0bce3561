// The bounded string functions on buffers of exactly the size they are told, so that the sanitizer sees a byte too
// many. Input: SIZE MAX TEXT|HELD, where SIZE and MAX are bytes, TEXT is what is copied, appended and searched, and
// HELD what the buffer holds at first, or what is searched for.

#include "fuzz/support/Input.h"
#include "fuzz/support/Require.h"
#include "vpn/Common/Utility/safe_string.h"

#include <algorithm>
#include <vector>

namespace {

using obg::test::cutAtNul;
using obg::test::require;

/// A buffer that holds as much of the text as goes in, with its NUL only where there is room for that as well.
std::vector<char> bufferOf(std::size_t size, const std::string& text)
{
    std::vector<char> buffer(size, '\0');
    std::copy_n(text.begin(), std::min(size, text.size()), buffer.begin());
    return buffer;
}

/// What a buffer holds that a text was cut to fit into.
std::string fitted(std::size_t size, const std::string& text)
{
    return text.substr(0, size - 1);
}

void checkLength(const std::string& text, std::size_t max)
{
    const std::vector<char> buffer = bufferOf(max, text);
    require(safe_strnlenA(buffer.data(), max) == std::min(max, cutAtNul(text).size()), "a length of at most the limit");
}

void checkCopy(const std::string& text, std::size_t size)
{
    std::vector<char> buffer(size, 'x');
    const std::string source = cutAtNul(text);
    require(safe_strlcpyA(buffer.data(), text.c_str(), size) == std::min(size, source.size()), "the bounded length");
    require(size == 0 || fitted(size, source) == buffer.data(), "what fits of the text");
    require(safe_strlcpyA(nullptr, text.c_str(), size) == std::min(size, source.size()), "the same without a buffer");
}

void checkAppend(const std::string& text, const std::string& held, std::size_t size)
{
    std::vector<char> buffer = bufferOf(size, held);
    const std::vector<char> before = buffer;
    const std::string source = cutAtNul(text);
    const std::string first(before.begin(), std::find(before.begin(), before.end(), '\0'));
    const std::size_t result = safe_strlcatA(buffer.data(), text.c_str(), size);
    if (first.size() == size) {
        require(result == size && buffer == before, "a buffer without a NUL stays as it is");
        return;
    }
    require(result == first.size() + std::min(size, source.size()), "both bounded lengths");
    require(fitted(size, first + source) == buffer.data(), "what fits of both");
}

void checkSearch(const std::string& text, const std::string& reject, std::size_t max)
{
    const std::vector<char> buffer = bufferOf(max, text);
    const std::string examined(buffer.begin(), std::find(buffer.begin(), buffer.end(), '\0'));
    const std::size_t hit = examined.find_first_of(cutAtNul(reject));
    require(safe_strlcspnA(buffer.data(), reject.c_str(), max) ==
                (hit == std::string::npos ? nullptr : buffer.data() + hit),
            "the first of the bytes within the limit");
}

void checkFormat(const std::string& text, std::size_t size)
{
    std::vector<char> buffer(size, 'x');
    const std::string source = cutAtNul(text);
    const std::size_t result = safe_snprintfA(buffer.data(), size, "%s", text.c_str());
    require(result == (size == 0 ? 0 : source.size()), "the length without the cut");
    require(size == 0 || fitted(size, source) == buffer.data(), "what fits of the formatted text");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    obg::test::Input input(data, size);
    const std::size_t bufferSize = input.byte();
    const std::size_t max = input.byte();
    const std::string text = input.text();
    const std::string held = input.rest();
    checkLength(text, max);
    checkCopy(text, bufferSize);
    checkAppend(text, held, bufferSize);
    checkSearch(text, held, max);
    checkFormat(text, bufferSize);
    return 0;
}
