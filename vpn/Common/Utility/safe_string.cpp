#include "vpn/Common/Utility/safe_string.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

std::size_t safe_strnlenA(const char* s, std::size_t max)
{
    return s == nullptr ? 0 : ::strnlen(s, max);
}

std::size_t safe_strlcpyA(char* dst, const char* src, std::size_t size)
{
    if (src == nullptr) {
        return 0;
    }
    const std::size_t length = safe_strnlenA(src, size);
    if (size == 0 || dst == nullptr) {
        return length;
    }
    const std::size_t copied = std::min(size - 1, length);
    std::memcpy(dst, src, copied);
    dst[copied] = '\0';
    return length;
}

std::size_t safe_strlcatA(char* dst, const char* src, std::size_t size)
{
    if (dst == nullptr || src == nullptr) {
        return size;
    }
    const std::size_t held = safe_strnlenA(dst, size);
    if (held == size) {
        return size;
    }
    const std::size_t length = safe_strnlenA(src, size);
    const std::size_t copied = std::min(size - held - 1, length);
    std::memcpy(dst + held, src, copied);
    dst[held + copied] = '\0';
    return held + length;
}

const char* safe_strlcspnA(const char* s, const char* reject, std::size_t max)
{
    if (s == nullptr || reject == nullptr) {
        return nullptr;
    }
    for (std::size_t i = 0; i < max && s[i] != '\0'; ++i) {
        if (std::strchr(reject, s[i]) != nullptr) {
            return s + i;
        }
    }
    return nullptr;
}

std::size_t safe_vsnprintfA(char* buffer, std::size_t size, const char* format, std::va_list arguments)
{
    if (buffer == nullptr || format == nullptr || size == 0) {
        return size;
    }
    const int length = std::vsnprintf(buffer, size, format, arguments);
    buffer[size - 1] = '\0';
    return length < 0 ? size : static_cast<std::size_t>(length);
}

std::size_t safe_snprintfA(char* buffer, std::size_t size, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const std::size_t length = safe_vsnprintfA(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}
