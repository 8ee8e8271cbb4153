#pragma once

#include <compare>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace tintwell::media {

/// What a file is, by whatever name: two of one identity hold the same bytes. Of files and block
/// devices only; terminals and pipes have two ends.
struct FileIdentity {
    bool isDevice = false;
    dev_t device = 0; ///< on which the file lies, or the block device itself
    ino_t file = 0;   ///< 0 for a block device

    auto operator<=>(const FileIdentity&) const = default;
};

// Empty where there is nothing, or nothing that has an identity.
std::optional<FileIdentity> identityOf(const struct stat& status);
std::optional<FileIdentity> identityOf(int descriptor);
/// Of what links lead to.
std::optional<FileIdentity> identityOf(const std::string& path);

} // namespace tintwell::media
