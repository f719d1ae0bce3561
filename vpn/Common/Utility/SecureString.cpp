#include "vpn/Common/Utility/SecureString.h"

namespace {

/// Room that an append reserves beyond what it needs, so that later ones seldom move the text again.
constexpr std::size_t kAppendReserve = 256;

} // namespace

template <class String> SecureString<String>::SecureString(const Char* text) : m_text(text) {}

template <class String>
SecureString<String>::SecureString(const Char* text, std::size_t count)
    : m_text(count == 0 ? String() : String(text, count))
{}

template <class String> SecureString<String>::SecureString(const String& text) : m_text(text.c_str()) {}

template <class String> SecureString<String>::SecureString(const SecureString& other) : m_text(other.m_text.c_str()) {}

template <class String> SecureString<String>& SecureString<String>::operator=(const SecureString& other)
{
    // No test for self-assignment: an object that is assigned to itself is to end up empty.
    wipeString(m_text); // NOLINT(bugprone-unhandled-self-assignment)
    m_text = other.m_text.c_str();
    return *this;
}

template <class String> SecureString<String>& SecureString<String>::operator+=(const String& text)
{
    if (&text == &m_text) {
        return *this += SecureString(text).m_text;
    }
    if (m_text.length() + text.length() >= m_text.capacity()) {
        // The buffer that reserve gives back has been wiped before; only the copy still holds the text.
        const SecureString held(*this);
        wipeString(m_text);
        m_text.reserve(held.length() + text.length() + kAppendReserve);
        m_text = held.c_str();
    }
    m_text += text.c_str();
    return *this;
}

template <class String> SecureString<String>::~SecureString()
{
    wipeString(m_text);
}

template <class String> void SecureString<String>::Reset(String& text)
{
    wipeString(text);
}

template <class String> SecureString<String> SecureString<String>::GetAndClear(const Char* text)
{
    SecureString result(text);
    ::explicit_bzero(const_cast<Char*>(text), result.length() * sizeof(Char));
    return result;
}

template class SecureString<std::string>;
template class SecureString<std::wstring>;
