#include "media/write/output_target.h"

#include "media/clip_info.h"
#include "media/media_error.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace tintwell::media {
namespace {

namespace fs = std::filesystem;

std::string systemMessage(int code) {
    return std::generic_category().message(code);
}

/// Renames, but never over an existing file. Gives an errno value or 0.
int renameIfAbsent(const std::string& from, const std::string& to) {
#if defined(RENAME_NOREPLACE)
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
#endif
    // Not every file system can do that; a second link fails just as surely where the name is
    // taken.
    if (::link(from.c_str(), to.c_str()) != 0) {
        return errno;
    }
    ::unlink(from.c_str());
    return 0;
}

void moveIntoPlace(const std::string& from, const std::string& to, bool overwrite) {
    const int code = overwrite ? (std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno)
                               : renameIfAbsent(from, to);
    if (code == EEXIST) {
        throw MediaError(to + ": has been created by someone else meanwhile and is left alone");
    }
    if (code != 0) {
        throw MediaError(to + ": cannot be put in place (" + systemMessage(code) + ")");
    }
}

/// ".clip.partial-4711.mp4" for "clip.mp4": hidden, and FFmpeg still sees the extension.
/// Of a long name only the beginning: what is added must not make it too long for a file.
std::string temporaryName(const fs::path& path) {
    constexpr std::size_t kKeptBytes = 100;
    std::string name = ".";
    name += path.stem().string().substr(0, kKeptBytes);
    name += ".partial-" + std::to_string(::getpid());
    name += path.extension().string();
    return name;
}

bool isSameFile(const fs::path& path, const fs::path& other) {
    std::error_code error;
    return fs::equivalent(path, other, error) && !error;
}

[[noreturn]] void throwIsInput(const std::string& name) {
    throw MediaError(name + ": is the input; write to another name");
}

[[noreturn]] void throwExists(const std::string& name) {
    throw MediaError(name + ": exists already; choose another name or allow it to be replaced "
                            "(--overwrite)");
}

} // namespace

OutputTarget::OutputTarget(const std::string& output, const std::string& input, bool overwrite)
    : name_(output == kStandardStream ? "standard output" : output), overwrite_(overwrite) {
    if (output == kStandardStream) {
        direct_ = true;
        url_ = "pipe:1";
        return;
    }
    pattern_ = parseSequence(output);
    if (pattern_) {
        prepareSequence(input);
    } else {
        prepareFile(input);
    }
}

OutputTarget::~OutputTarget() {
    discard();
}

void OutputTarget::checkFolder(const std::string& folder) const {
    if (!fs::is_directory(folder)) {
        throw MediaError(name_ + ": the folder " + folder + " does not exist");
    }
    if (::access(folder.c_str(), W_OK) != 0) {
        throw MediaError(name_ + ": the folder " + folder + " cannot be written to (" +
                         systemMessage(errno) + ")");
    }
}

void OutputTarget::prepareFile(const std::string& input) {
    std::error_code error;
    fs::path path = name_;
    if (fs::is_symlink(path, error)) {
        path = fs::weakly_canonical(path, error); // the link stays, what it points to is replaced
    }
    path_ = path.string();
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status)) {
        throw MediaError(name_ + ": is a directory; name a file in it");
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        direct_ = true;
        url_ = "file:" + path_;
        return;
    }
    checkFolder(path.has_parent_path() ? path.parent_path().string() : ".");
    const auto inputPattern = parseSequence(input);
    const bool partOfInput = inputPattern && fs::exists(status) && inputPattern->covers(path_);
    if (isSameFile(path, input) || partOfInput) {
        throwIsInput(name_);
    }
    if (fs::exists(fs::symlink_status(path, error)) && !overwrite_) {
        throwExists(name_);
    }
    temporary_ = (path.parent_path() / temporaryName(path)).string();
    url_ = "file:" + temporary_;
}

void OutputTarget::prepareSequence(const std::string& input) {
    checkFolder(pattern_->directory);
    const auto inputPattern = parseSequence(input);
    const bool sameNames = inputPattern && inputPattern->prefix == pattern_->prefix &&
                           inputPattern->suffix == pattern_->suffix &&
                           isSameFile(inputPattern->directory, pattern_->directory);
    if (sameNames || pattern_->covers(input)) {
        throwIsInput(name_);
    }
    if (!overwrite_ && findSequence(*pattern_).total > 0) {
        throwExists(name_);
    }
    temporaryPattern_ = pattern_;
    temporaryPattern_->prefix = temporaryName(pattern_->prefix) + ".";
    url_ = (fs::path(pattern_->directory) /
            (temporaryPattern_->prefix + "%0" + std::to_string(pattern_->digits) + "d" +
             pattern_->suffix))
               .string();
}

void OutputTarget::addNumber(std::int64_t number) {
    if (count_ == 0) {
        firstNumber_ = number;
    }
    count_ = number - firstNumber_ + 1;
}

void OutputTarget::commit() {
    if (direct_) {
        return;
    }
    if (!pattern_) {
        moveIntoPlace(temporary_, path_, overwrite_);
        temporary_.clear();
        return;
    }
    const fs::path directory(pattern_->directory);
    for (; committed_ < count_; ++committed_) {
        const std::int64_t number = firstNumber_ + committed_;
        moveIntoPlace((directory / temporaryPattern_->nameOf(number)).string(),
                      (directory / pattern_->nameOf(number)).string(), overwrite_);
    }
    count_ = 0;
}

void OutputTarget::discard() noexcept {
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
    }
    for (std::int64_t i = 0; pattern_ && i < count_; ++i) {
        const SequencePattern& pattern = i < committed_ ? *pattern_ : *temporaryPattern_;
        const std::string path = pattern.directory + "/" + pattern.nameOf(firstNumber_ + i);
        ::unlink(path.c_str());
    }
}

} // namespace tintwell::media
