// SecureString, narrow or wide, against a plain string; and that nothing of it is left where it can be looked at.
// Input: WIDTH, the byte "w" for wide characters, and lines that each change the string: =TEXT assigns, +TEXT appends,
// cTEXT is the source of GetAndClear, *TEXT takes as many characters of what is held as TEXT has, @ assigns the string
// to itself, & appends it to itself.

#include "fuzz/support/Input.h"
#include "fuzz/support/Require.h"
#include "vpn/Common/Utility/SecureString.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <new>

namespace {

using obg::test::Input;
using obg::test::require;

template <class String> String upToNul(const String& text)
{
    return text.c_str();
}

template <class Char> bool isZero(const Char* text, std::size_t count)
{
    return std::all_of(text, text + count, [](Char c) { return c == 0; });
}

template <class String> void change(SecureString<String>& secret, String& model, char operation, const String& text)
{
    if (operation == '=') {
        const SecureString<String> other(text);
        secret = other;
        model = upToNul(text);
    } else if (operation == '+') {
        secret += text;
        model += upToNul(text);
    } else if (operation == 'c') {
        String source = text;
        secret = SecureString<String>::GetAndClear(source.c_str());
        model = upToNul(text);
        require(isZero(source.data(), model.size()), "the source is zero up to its NUL");
        require(source.substr(model.size()) == text.substr(model.size()), "the rest of the source stays");
    } else if (operation == '*') {
        const std::size_t count = std::min(text.size(), model.size());
        const SecureString<String> part(model.c_str(), count);
        require(part.length() == count, "exactly as many characters as asked for");
        secret = part;
        model = model.substr(0, count);
    } else if (operation == '@') {
        const SecureString<String>& itself = secret;
        secret = itself;
        model.clear();
    } else if (operation == '&') {
        secret += static_cast<const String&>(secret);
        model += String(model);
    }
}

/// Puts a string into memory of ours and looks at that memory when the string is gone.
template <class String> void requireNothingLeft(const String& text)
{
    using Secret = SecureString<String>;
    alignas(Secret) std::array<std::byte, sizeof(Secret)> memory{};
    auto* secret = new (memory.data()) Secret(text);
    require(upToNul(text) == secret->c_str(), "a copy up to the NUL");
    const bool isInside = secret->length() < 16 / sizeof(text[0]);
    secret->~Secret();
    if (isInside && !upToNul(text).empty()) {
        const auto* bytes = reinterpret_cast<const char*>(memory.data());
        const std::string_view left(bytes + sizeof(String) / 2, sizeof(String) / 2);
        require(std::all_of(left.begin(), left.end(), [](char c) { return c == 0; }), "a short text is wiped in place");
    }
    String plain = text;
    const std::size_t capacity = plain.capacity();
    Secret::Reset(plain);
    require(plain.empty() && plain.capacity() == capacity, "a wiped text is empty and keeps its buffer");
    plain.resize(capacity, typename String::value_type(0));
    require(isZero(plain.data(), capacity), "a wiped text is zero to its capacity");
}

template <class String> void play(Input input)
{
    SecureString<String> secret;
    String model;
    // Self-appending doubles the text.
    while (!input.empty() && model.size() < 4096) {
        const std::string line = input.text('\n');
        if (line.empty()) {
            continue;
        }
        const String text(line.begin() + 1, line.end());
        change(secret, model, line[0], text);
        const SecureString<String> copy(secret);
        require(model == secret.c_str() && secret.length() == model.size(), "the text");
        require(model == copy.c_str(), "a copy's text");
        requireNothingLeft(text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    if (input.byte() == 'w') {
        play<std::wstring>(input);
    } else {
        play<std::string>(input);
    }
    return 0;
}
