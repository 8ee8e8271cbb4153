#include "media/write/file_system.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <vector>

#if defined(__linux__)
#include <sys/xattr.h>
#endif

namespace tintwell::media {
namespace {

int resultOf(int code) {
    return code == 0 ? 0 : errno;
}

#if defined(__linux__)
void copyAttributes(int from, int to) {
    const ssize_t size = ::flistxattr(from, nullptr, 0);
    std::vector<char> names(size > 0 ? static_cast<std::size_t>(size) : 0);
    const ssize_t listed = names.empty() ? 0 : ::flistxattr(from, names.data(), names.size());
    const std::string_view all(names.data(), listed > 0 ? static_cast<std::size_t>(listed) : 0);
    for (std::size_t begin = 0; begin < all.size();) {
        const std::string name(all.substr(begin, all.find('\0', begin) - begin));
        begin += name.size() + 1;
        if (!name.starts_with("user.") && name != "system.posix_acl_access") {
            continue;
        }
        const ssize_t length = ::fgetxattr(from, name.c_str(), nullptr, 0);
        std::vector<char> value(length > 0 ? static_cast<std::size_t>(length) : 0);
        if (length >= 0 && ::fgetxattr(from, name.c_str(), value.data(), value.size()) == length) {
            ::fsetxattr(to, name.c_str(), value.data(), value.size(), 0);
        }
    }
}
#else
void copyAttributes(int /*from*/, int /*to*/) {}
#endif

} // namespace

Descriptor createExclusive(const std::string& path, mode_t mode) {
    return Descriptor(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
}

#if defined(O_TMPFILE)
Descriptor createNameless(const std::string& folder, const std::string& trialName, mode_t mode) {
    const auto create = [&] {
        return Descriptor(::open(folder.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, mode));
    };
    // Whether it can be named must be known before the work, and can be tried only once.
    const Descriptor trial = create();
    if (!trial.isOpen() || giveName(trial.get(), trialName) != 0) {
        return {};
    }
    removeName(trialName);
    return create();
}

int giveName(int descriptor, const std::string& path) {
    const std::string open = "/proc/self/fd/" + std::to_string(descriptor);
    return resultOf(::linkat(AT_FDCWD, open.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW));
}
#else
Descriptor createNameless(const std::string&, const std::string&, mode_t) {
    return {};
}

int giveName(int, const std::string&) {
    return ENOSYS;
}
#endif

int renameIfAbsent(const std::string& from, const std::string& to) {
#if defined(RENAME_NOREPLACE)
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
#endif
    // Not every file system can do that; a second name fails just as surely where it is taken.
    const int code = addName(from, to);
    if (code == 0) {
        removeName(from);
    }
    return code;
}

int renameOver(const std::string& from, const std::string& to) {
    return resultOf(std::rename(from.c_str(), to.c_str()));
}

int addName(const std::string& path, const std::string& name) {
    return resultOf(::linkat(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), 0));
}

void removeName(const std::string& path) noexcept {
    ::unlink(path.c_str());
}

int writeThrough(int descriptor) {
    const int code = resultOf(::fsync(descriptor));
    return code == EINVAL || code == ENOTSUP ? 0 : code;
}

Lock tryLock(int descriptor) {
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        return Lock::Taken;
    }
    return errno == EWOULDBLOCK ? Lock::HeldByOther : Lock::NotKnown;
}

void takeOverRights(int from, const struct stat& status, int to) {
    constexpr mode_t kPermissions = 07777;
    constexpr mode_t kGroup = 0070;
    constexpr mode_t kOthers = 0007;
    constexpr mode_t kSpecial = 07000; // belong to an owner or group, and go with them
    mode_t mode = status.st_mode & kPermissions;
    const bool ownerKept = ::fchown(to, status.st_uid, status.st_gid) == 0;
    if (!ownerKept && ::fchown(to, static_cast<uid_t>(-1), status.st_gid) != 0) {
        mode &= ~kGroup | (mode & kOthers) << 3U; // it is another group now
    }
    if (from >= 0) {
        copyAttributes(from, to);
    }
    ::fchmod(to, ownerKept ? mode : mode & ~kSpecial);
}

bool isNameOf(const std::string& path, int descriptor) {
    struct stat named {};

    struct stat open {};

    return ::lstat(path.c_str(), &named) == 0 && ::fstat(descriptor, &open) == 0 &&
           named.st_dev == open.st_dev && named.st_ino == open.st_ino;
}

} // namespace tintwell::media
