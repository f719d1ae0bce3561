#include "vpn/Common/Utility/FileDescriptor.h"

#include <cerrno>

#include <unistd.h>

void FileDescriptor::reset(int number)
{
    if (isOpen()) {
        ::close(m_number);
    }
    m_number = number;
}

long FileDescriptor::read(char* bytes, std::size_t size) const
{
    ssize_t count = -1;
    do {
        count = ::read(m_number, bytes, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool FileDescriptor::write(int number, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(number, bytes.data(), bytes.size());
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}
