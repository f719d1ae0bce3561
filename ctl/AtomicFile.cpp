#include "ctl/AtomicFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <linux/limits.h>
#include <sys/random.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace ctl {

namespace {

constexpr std::string_view kMark = ".obg-";
constexpr std::size_t kRandomDigits = 32;
constexpr mode_t kPermissions = 07777;

constexpr std::string_view kNotSafe = "done, but a power cut may undo it: cannot write";

std::string folderOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

FileDescriptor openFolderAt(const std::string& path)
{
    return FileDescriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// fsync, however often a signal comes in between.
bool syncToDisk(int file)
{
    int result = -1;
    do {
        result = fsync(file);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

/// 128 random bits as hexadecimal digits. False, with errno, where the kernel has none.
bool randomDigits(std::string& digits)
{
    std::array<std::uint64_t, 2> bits{};
    if (getrandom(bits.data(), sizeof bits, 0) != static_cast<ssize_t>(sizeof bits)) {
        return false;
    }
    std::array<char, kRandomDigits + 1> text{};
    std::snprintf(text.data(), text.size(), "%016lx%016lx", bits[0], bits[1]);
    digits = text.data();
    return true;
}

bool isTemporaryOf(const std::string& name, std::string_view candidate)
{
    const std::string start = "." + name + std::string(kMark);
    return candidate.size() == start.size() + kRandomDigits && candidate.starts_with(start) &&
           candidate.find_first_not_of("0123456789abcdef", start.size()) == std::string_view::npos;
}

/// The kernel makes these from the bytes of a file; those of the old ones are wrong for the new ones.
bool isMadeFromBytes(const std::string& attribute)
{
    return attribute == "security.ima" || attribute == "security.evm";
}

/// The names of a file's extended attributes; none where the file system knows none.
bool listAttributes(int file, std::vector<std::string>& names)
{
    std::string list(XATTR_LIST_MAX, '\0');
    const ssize_t size = flistxattr(file, list.data(), list.size());
    if (size < 0) {
        return errno == EOPNOTSUPP || errno == ENOSYS;
    }
    for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
        const std::string name = list.c_str() + at;
        at += name.size() + 1;
        if (!isMadeFromBytes(name)) {
            names.push_back(name);
        }
    }
    return true;
}

bool getAttribute(int file, const std::string& name, std::string& value)
{
    value.resize(XATTR_SIZE_MAX);
    const ssize_t size = fgetxattr(file, name.c_str(), value.data(), value.size());
    value.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return size >= 0;
}

/// Gives one attribute to the new file, unless it has come with that value already: not everybody may set a label, but
/// the folder gives it to both.
bool copyAttribute(int from, int to, const std::string& name)
{
    std::string wanted;
    if (!getAttribute(from, name, wanted)) {
        return false;
    }
    std::string present;
    if (getAttribute(to, name, present) && present == wanted) {
        return true;
    }
    return fsetxattr(to, name.c_str(), wanted.data(), wanted.size(), 0) == 0;
}

DiskChange notDeleted(const std::string& path, std::string& error)
{
    if (errno == ENOENT) {
        return DiskChange::Done;
    }
    error = systemError("cannot delete", path, errno);
    return DiskChange::Failed;
}

} // namespace

std::string systemError(std::string_view what, const std::string& path, int error)
{
    return std::string(what) + " " + path + ": " + std::generic_category().message(error);
}

AtomicFile::AtomicFile(std::string path, mode_t mode)
    : m_path(std::move(path)), m_mode(mode), m_folderPath(folderOf(m_path)), m_name(nameOf(m_path))
{}

AtomicFile::~AtomicFile()
{
    if (!m_temporary.empty()) {
        unlinkat(m_folder.number(), m_temporary.c_str(), 0);
    }
}

bool AtomicFile::prepare(std::string_view bytes)
{
    return openFolder() && openOld() && create() && write(bytes) && keepAll() && bringToDisk();
}

DiskChange AtomicFile::commit()
{
    if (renameat(m_folder.number(), m_temporary.c_str(), m_folder.number(), m_name.c_str()) != 0) {
        fail("cannot replace", m_path);
        return DiskChange::Failed;
    }
    m_temporary.clear();
    if (!syncToDisk(m_folder.number())) {
        fail(kNotSafe, m_folderPath);
        return DiskChange::NotSafe;
    }
    return DiskChange::Done;
}

bool AtomicFile::openFolder()
{
    m_folder = openFolderAt(m_folderPath);
    return m_folder.isOpen() || fail("cannot open", m_folderPath);
}

/// Opens the file that is there for what of it is kept. Without waiting, should it be a pipe.
bool AtomicFile::openOld()
{
    m_old.reset(openat(m_folder.number(), m_name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!m_old.isOpen()) {
        return errno == ENOENT || fail("cannot open", m_path);
    }
    if (fstat(m_old.number(), &m_was) != 0) {
        return fail("cannot examine", m_path);
    }
    if (!S_ISREG(m_was.st_mode)) {
        m_error = "cannot replace " + m_path + ": not a regular file";
        return false;
    }
    return true;
}

bool AtomicFile::create()
{
    std::string digits;
    if (!randomDigits(digits)) {
        return fail("no random name for", m_path);
    }
    const std::string name = "." + m_name + std::string(kMark) + digits;
    const mode_t mode = m_old.isOpen() ? mode_t{S_IRUSR | S_IWUSR} : m_mode;
    m_new.reset(openat(m_folder.number(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (!m_new.isOpen()) {
        return fail("cannot create", m_folderPath + "/" + name);
    }
    m_temporary = name;
    return true;
}

bool AtomicFile::write(std::string_view bytes)
{
    return m_new.write(bytes) || fail("cannot write", temporaryPath());
}

/// The owner goes first: a change of it takes bits off the mode. The mode goes last: an access list brings bits of its
/// own, and one that the folder has given must be gone before.
bool AtomicFile::keepAll()
{
    return !m_old.isOpen() || (keepOwner() && keepAttributes() && keepMode());
}

bool AtomicFile::keepOwner()
{
    struct stat is
    {};
    if (fstat(m_new.number(), &is) != 0) {
        return fail("cannot keep the owner of", m_path);
    }
    const bool isSame = is.st_uid == m_was.st_uid && is.st_gid == m_was.st_gid;
    return isSame || fchown(m_new.number(), m_was.st_uid, m_was.st_gid) == 0 ||
           fail("cannot keep the owner of", m_path);
}

bool AtomicFile::keepAttributes()
{
    std::vector<std::string> wanted;
    std::vector<std::string> present;
    if (!listAttributes(m_old.number(), wanted) || !listAttributes(m_new.number(), present)) {
        return fail("cannot read the attributes of", m_path);
    }
    for (const std::string& name : present) {
        const bool isKept = std::find(wanted.begin(), wanted.end(), name) != wanted.end();
        if (!isKept && fremovexattr(m_new.number(), name.c_str()) != 0) {
            return fail("cannot keep the attributes of", m_path);
        }
    }
    for (const std::string& name : wanted) {
        if (!copyAttribute(m_old.number(), m_new.number(), name)) {
            return fail("cannot keep the attributes of", m_path);
        }
    }
    return true;
}

bool AtomicFile::keepMode()
{
    return fchmod(m_new.number(), m_was.st_mode & kPermissions) == 0 || fail("cannot keep the mode of", m_path);
}

bool AtomicFile::bringToDisk()
{
    if (!syncToDisk(m_new.number())) {
        return fail("cannot write", temporaryPath());
    }
    // Some network file systems tell of a full disk only here. The number is free again whatever close says.
    const int result = close(m_new.release());
    return result == 0 || errno == EINTR || fail("cannot write", temporaryPath());
}

bool AtomicFile::fail(std::string_view what, const std::string& path)
{
    m_error = systemError(what, path, errno);
    return false;
}

std::string AtomicFile::temporaryPath() const
{
    return m_folderPath + "/" + m_temporary;
}

DiskChange deleteFile(const std::string& path, std::string& error)
{
    const std::string folderPath = folderOf(path);
    const FileDescriptor folder = openFolderAt(folderPath);
    if (!folder.isOpen()) {
        return notDeleted(folderPath, error);
    }
    if (unlinkat(folder.number(), nameOf(path).c_str(), 0) != 0) {
        return notDeleted(path, error);
    }
    if (!syncToDisk(folder.number())) {
        error = systemError(kNotSafe, folderPath, errno);
        return DiskChange::NotSafe;
    }
    return DiskChange::Done;
}

void removeLeftovers(const std::string& path)
{
    const std::string name = nameOf(path);
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(folderOf(path).c_str()), closedir);
    if (!folder) {
        return;
    }
    while (const dirent* entry = readdir(folder.get())) {
        if (isTemporaryOf(name, entry->d_name)) {
            unlinkat(dirfd(folder.get()), entry->d_name, 0);
        }
    }
}

} // namespace ctl
