#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

/// Owns an open file of the operating system, or none, and closes it. Whoever reads or writes whole blocks needs no
/// more than this; a file stream would first set up what it needs to format.
///
/// Nothing here logs or throws. Failed calls leave their errno; interrupted ones are repeated.
class FileDescriptor
{
public:
    /// Takes what open() gave; a negative number is none.
    explicit FileDescriptor(int number = -1) : m_number(number) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept : m_number(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        reset(other.release());
        return *this;
    }

    bool isOpen() const { return m_number >= 0; }

    /// For calls of the operating system; still owned here.
    int number() const { return m_number; }

    /// Gives the file to the caller, who closes it.
    int release() { return std::exchange(m_number, -1); }

    /// Closes the file and takes another one in its place.
    void reset(int number = -1);

    /// Reads up to `size` bytes. Returns how many came, 0 at the end of the file and -1 when the call failed.
    long read(char* bytes, std::size_t size) const;

    /// Writes all bytes. False when not all of them got there.
    bool write(std::string_view bytes) const { return write(m_number, bytes); }

    /// The same into an open file that somebody else owns.
    static bool write(int number, std::string_view bytes);

private:
    int m_number;
};
