#include "media/files/file_identity.h"

namespace tintwell::media {

std::optional<FileIdentity> identityOf(const struct stat& status) {
    if (S_ISBLK(status.st_mode)) {
        return FileIdentity{true, status.st_rdev, 0};
    }
    if (S_ISREG(status.st_mode)) {
        return FileIdentity{false, status.st_dev, status.st_ino};
    }
    return {};
}

std::optional<FileIdentity> identityOf(int descriptor) {
    struct stat status {};

    return ::fstat(descriptor, &status) == 0 ? identityOf(status) : std::nullopt;
}

std::optional<FileIdentity> identityOf(const std::string& path) {
    struct stat status {};

    return ::stat(path.c_str(), &status) == 0 ? identityOf(status) : std::nullopt;
}

} // namespace tintwell::media
