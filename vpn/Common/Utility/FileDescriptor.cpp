#include "vpn/Common/Utility/FileDescriptor.h"

#include <cerrno>

#include <unistd.h>

FileDescriptor::~FileDescriptor()
{
    if (isOpen()) {
        ::close(m_number);
    }
}

long FileDescriptor::read(char* bytes, std::size_t size) const
{
    ssize_t count = -1;
    do {
        count = ::read(m_number, bytes, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool FileDescriptor::write(std::string_view bytes) const
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(m_number, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    return true;
}
