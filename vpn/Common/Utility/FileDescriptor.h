#pragma once

#include <cstddef>
#include <string_view>

/// Owns an open file of the operating system and closes it. Whoever reads or writes whole blocks needs no more than
/// this; a file stream would first set up what it needs to format.
///
/// Nothing here logs or throws. Failed calls leave their errno; interrupted ones are repeated.
class FileDescriptor
{
public:
    /// Takes what open() gave; a negative number is none.
    explicit FileDescriptor(int number) : m_number(number) {}
    ~FileDescriptor();
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool isOpen() const { return m_number >= 0; }

    /// Reads up to `size` bytes. Returns how many came, 0 at the end of the file and -1 when the call failed.
    long read(char* bytes, std::size_t size) const;

    /// Writes all bytes. False when not all of them got there.
    bool write(std::string_view bytes) const;

private:
    int m_number;
};
