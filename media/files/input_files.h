#pragma once

#include "media/files/file_identity.h"

#include <mutex>
#include <set>
#include <string>
#include <utility>

namespace tintwell::media {

/// The files that a clip is read from, by whatever names, so that none of them is written to. From
/// any thread.
class InputFiles {
public:
    explicit InputFiles(std::string input);

    /// As the user named it.
    const std::string& name() const { return name_; }

    void add(int descriptor);

    /// Adds all files that have been opened since this was made, whoever did so.
    void addOpened();

    bool contains(const FileIdentity& identity) const;

private:
    using OpenFile = std::pair<int, FileIdentity>;

    static std::set<OpenFile> openFiles();

    std::string name_;
    std::set<OpenFile> inherited_;
    mutable std::mutex mutex_;
    std::set<FileIdentity> identities_;
};

} // namespace tintwell::media
