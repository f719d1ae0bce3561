#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// A dotted version such as 22.04 or 5,1,2,42: an ordered list of signed 32-bit numbers. A plain value: copying copies
/// the numbers, nothing is logged, and distinct objects may be used by distinct threads.
class Version
{
public:
    /// Reads the pieces of `text` between the characters of the set `separators`. A piece counts as strtol reads it
    /// in base 10, cut to 32 bits: leading white space and a sign are accepted, reading stops at the first other
    /// character, and a piece without digits is 0. The empty text gives the one number 0.
    Version(const std::string& text, const std::string& separators);

    /// 1 when this version is greater, -1 when it is smaller, 0 when both are equal. Numbers that the shorter one
    /// lacks count as 0: 1.2 equals 1.2.0.
    int compare(const Version& other) const;

    /// True when the numbers that both have are the same: 7 and 7.9, but not 1.3 and 1.2.5.
    bool HaveCommonPrefix(const Version& other) const;

    /// The numbers from index `first` on in decimal, joined by `separator`; empty when there are none.
    std::string ToString(unsigned long first, const std::string& separator) const;

private:
    int componentOrZero(std::size_t index) const;

    std::vector<int> m_components;
};
