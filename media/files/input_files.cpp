#include "media/files/input_files.h"

#include "media/clip_info.h"
#include "media/files/named_files.h"

#include <fcntl.h>
#include <unistd.h>

namespace tintwell::media {

InputFiles::InputFiles(std::string input) : name_(std::move(input)), inherited_(openFiles()) {
    if (name_ == kStandardStream) {
        add(STDIN_FILENO);
    }
    for (const std::string& file : filesNamedBy(name_)) {
        if (const auto identity = identityOf(file)) {
            identities_.insert(*identity);
        }
    }
}

void InputFiles::add(int descriptor) {
    if (const auto identity = identityOf(descriptor)) {
        const std::lock_guard lock(mutex_);
        identities_.insert(*identity);
    }
}

void InputFiles::addOpened() {
    const std::lock_guard lock(mutex_);
    for (const OpenFile& file : openFiles()) {
        if (!inherited_.contains(file)) {
            identities_.insert(file.second);
        }
    }
}

bool InputFiles::contains(const FileIdentity& identity) const {
    const std::lock_guard lock(mutex_);
    return identities_.contains(identity);
}

/// Those that can be read. Numbers are given out from the lowest on, so that few of those in use
/// lie behind a long gap.
std::set<InputFiles::OpenFile> InputFiles::openFiles() {
    constexpr int kLongestGap = 32;
    std::set<OpenFile> files;
    int gap = 0;
    for (int number = STDERR_FILENO + 1; gap < kLongestGap; ++number) {
        const int flags = ::fcntl(number, F_GETFL);
        gap = flags < 0 ? gap + 1 : 0;
        const bool readable = flags >= 0 && (flags & O_ACCMODE) != O_WRONLY;
        if (const auto identity = readable ? identityOf(number) : std::nullopt) {
            files.emplace(number, *identity);
        }
    }
    return files;
}

} // namespace tintwell::media
