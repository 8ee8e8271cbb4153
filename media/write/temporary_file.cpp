#include "media/write/temporary_file.h"

#include "media/folder_names.h"
#include "media/media_error.h"
#include "media/write/file_system.h"
#include "media/write/temporary_name.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <utility>
#include <vector>

namespace tintwell::media {
namespace {

namespace fs = std::filesystem;

constexpr int kTries = 8;

std::string folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path().string() : ".";
}

} // namespace

TemporaryFile::TemporaryFile(const std::string& path, mode_t mode) {
    const fs::path target(path);
    const auto newName = [&] {
        return (target.parent_path() / TemporaryName(target.filename().string()).text()).string();
    };
    spareName_ = newName();
    file_ = createNameless(folderOf(target), spareName_, mode);
    // Somebody may take a file that is not locked yet for one that was left.
    for (int i = 0; i < kTries && !file_.isOpen(); ++i) {
        name_ = newName();
        Descriptor file = createExclusive(name_, mode);
        if (!file.isOpen() && errno != EEXIST) {
            break;
        }
        if (file.isOpen() && tryLock(file.get()) != Lock::HeldByOther &&
            isNameOf(name_, file.get())) {
            file_ = std::move(file);
        }
    }
    if (!file_.isOpen()) {
        const int error = errno;
        name_.clear();
        throw MediaError(path + ": cannot be created (" + systemMessage(error) + ")");
    }
    if (name_.empty()) {
        tryLock(file_.get());
    }
}

TemporaryFile& TemporaryFile::operator=(TemporaryFile&& other) noexcept {
    std::swap(file_, other.file_);
    std::swap(spareName_, other.spareName_);
    std::swap(name_, other.name_);
    return *this;
}

int TemporaryFile::moveTo(const std::string& path) {
    const int code = name_.empty() ? giveName(file_.get(), path) : renameIfAbsent(name_, path);
    if (code == 0) {
        name_.clear();
    }
    return code;
}

int TemporaryFile::replace(const std::string& path) {
    if (name_.empty()) {
        if (const int code = giveName(file_.get(), spareName_); code != 0) {
            return code;
        }
        name_ = spareName_;
    }
    const int code = renameOver(name_, path);
    if (code == 0) {
        name_.clear();
    }
    return code;
}

void TemporaryFile::discard() noexcept {
    if (!name_.empty()) {
        removeName(name_);
        name_.clear();
    }
    file_.close();
}

void removeLeftovers(const std::string& path) {
    const fs::path target(path);
    const std::string name = target.filename().string();
    for (const std::string& file : namesIn(folderOf(target))) {
        if (TemporaryName::in(file, name) != file) {
            continue;
        }
        const std::string left = folderOf(target) + "/" + file;
        const Descriptor open(::open(left.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (open.isOpen() && tryLock(open.get()) == Lock::Taken && isNameOf(left, open.get())) {
            removeName(left);
        }
    }
}

} // namespace tintwell::media
