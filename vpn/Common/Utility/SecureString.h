#pragma once

#include <cstddef>
#include <string>

#include <string.h> // NOLINT(modernize-deprecated-headers): explicit_bzero is not of the C++ header

/// Wipes a plain string: every byte of its buffer, what lies behind the terminator included, becomes zero and the
/// length 0. The buffer, and so the capacity, stays. Short strings, which lie inside the object, are wiped there.
template <class Char, class Traits, class Allocator>
void wipeString(std::basic_string<Char, Traits, Allocator>& text) noexcept
{
    // Growing to the capacity allocates nothing and makes the bytes behind the terminator reachable.
    text.resize(text.capacity());
    ::explicit_bzero(text.data(), text.size() * sizeof(Char));
    text.clear();
}

/// A holder for a secret text that overwrites its characters with zeros before it lets go of them. It exists for
/// std::string and std::wstring.
///
/// Every copy is cut at the first NUL character, unless said otherwise, and is private to its holder. Nothing here
/// logs; one object may be used by one thread at a time. Failure to allocate is the standard library's exception.
template <class String> class SecureString
{
public:
    using Char = typename String::value_type;

    /// Empty.
    SecureString() = default;

    /// Copies up to the first NUL. A null pointer is the standard library's logic error.
    SecureString(const Char* text);

    /// Copies exactly `count` characters, NUL characters too. With a count of 0 the pointer is not looked at; a null
    /// pointer with another count is the standard library's logic error.
    SecureString(const Char* text, std::size_t count);

    SecureString(const String& text);
    SecureString(const SecureString& other);

    /// Wipes what is held, then copies. Assigning an object to itself therefore leaves it empty.
    SecureString& operator=(const SecureString& other);

    /// Appends, without leaving what was held in a buffer given back to the heap.
    SecureString& operator+=(const String& text);

    /// Wipes and releases. An exception in here ends the process.
    ~SecureString();

    /// Wipes a plain string; does nothing to an empty one but zero its unused capacity.
    static void Reset(String& text);

    /// Copies up to the first NUL, then writes zeros over those characters of the source, which must be writable
    /// although the type does not say so. `text` must not be null.
    static SecureString GetAndClear(const Char* text);

    /// The held string itself.
    operator String&() { return m_text; }
    operator const String&() const { return m_text; }

    const Char* c_str() const { return m_text.c_str(); }
    std::size_t length() const { return m_text.length(); }

private:
    String m_text;
};

extern template class SecureString<std::string>;
extern template class SecureString<std::wstring>;
