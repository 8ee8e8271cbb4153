#include "media/write/sequence_output.h"

#include "media/media_error.h"
#include "media/write/file_system.h"
#include "media/write/temporary_name.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <set>
#include <unistd.h>

namespace tintwell::media {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kNewFile = 0666; ///< less what the user's mask takes away
constexpr mode_t kReplacement = 0600;
constexpr char kOld[] = ".old";
constexpr char kNew[] = ".new";
constexpr char kDone[] = ".done";

std::string labelOf(const SequencePattern& pattern) {
    return pattern.prefix + "%d" + pattern.suffix;
}

bool exists(const std::string& path) {
    struct stat status {};

    return ::lstat(path.c_str(), &status) == 0;
}

bool isSameFile(const std::string& path, const std::string& other) {
    struct stat first {};

    struct stat second {};

    return ::lstat(path.c_str(), &first) == 0 && ::lstat(other.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

/// ".17" and ".17.old" are of number 17.
std::set<std::int64_t> numbersIn(const std::set<std::string>& additions) {
    std::set<std::int64_t> numbers;
    for (const std::string& addition : additions) {
        const std::string digits = addition.substr(addition.empty() ? 0 : 1);
        std::int64_t number = 0;
        if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec ==
            std::errc()) {
            numbers.insert(number);
        }
    }
    return numbers;
}

/// Puts back what stood under a name; false where that cannot be done, or where neither the old nor
/// the new file stands there.
bool putBack(const std::string& target, const std::string& temporary) {
    const std::string old = temporary + kOld;
    const bool isNew = isSameFile(target, temporary);
    if (!exists(old)) {
        if (isNew) {
            removeName(target);
        }
        return true;
    }
    if (isSameFile(target, old)) {
        removeName(old);
        return true;
    }
    return (isNew ? renameOver(old, target) : renameIfAbsent(old, target)) == 0;
}

} // namespace

SequenceOutput::SequenceOutput(SequencePattern pattern, TargetRules rules)
    : pattern_(std::move(pattern)), rules_(std::move(rules)),
      path_(pattern_.directory + "/" + TemporaryName(labelOf(pattern_)).text()),
      lock_(createExclusive(path_, kReplacement)) {
    if (!lock_.isOpen()) {
        throw MediaError(rules_.name + ": cannot be created (" + systemMessage(errno) + ")");
    }
    tryLock(lock_.get());
}

SequenceOutput::~SequenceOutput() {
    if (keepsOld_) {
        return; // the next one tries again
    }
    for (const std::int64_t number : numbers_) {
        removeName(temporary(number));
    }
    removeName(path_);
}

std::string SequenceOutput::target(std::int64_t number) const {
    return pattern_.directory + "/" + pattern_.nameOf(number);
}

std::string SequenceOutput::temporary(std::int64_t number, const char* addition) const {
    return path_ + "." + std::to_string(number) + addition;
}

int SequenceOutput::open(std::int64_t number) {
    closeFile();
    const std::string path = temporary(number);
    file_ = createExclusive(path, exists(target(number)) ? kReplacement : kNewFile);
    if (!file_.isOpen()) {
        throw MediaError(target(number) + ": cannot be created (" + systemMessage(errno) + ")");
    }
    numbers_.push_back(number);
    return file_.get();
}

Descriptor SequenceOutput::openToRead(std::int64_t number) {
    closeFile();
    Descriptor file(::open(temporary(number).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!file.isOpen()) {
        throw MediaError(target(number) + ": cannot be read back (" + systemMessage(errno) + ")");
    }
    return file;
}

void SequenceOutput::closeFile() {
    if (const int error = file_.close(); error != 0) {
        throw MediaError(target(numbers_.back()) + ": cannot be written (" + systemMessage(error) +
                         ")");
    }
}

void SequenceOutput::commit() {
    closeFile();
    for (const std::int64_t number : numbers_) {
        rules_.check(target(number));
    }
    try {
        for (const std::int64_t number : numbers_) {
            touched_.push_back(number);
            place(number);
        }
        requireInPlace(rules_.name, renameIfAbsent(path_, path_ + kDone));
    } catch (const MediaError& error) {
        if (!goBack()) {
            throw MediaError(std::string(error.what()) + "; what stood there before is kept as " +
                             path_ + ".NUMBER" + kOld);
        }
        throw;
    }
    for (const std::int64_t number : numbers_) {
        removeName(temporary(number));
        removeName(temporary(number, kOld));
    }
    numbers_.clear();
    removeName(path_ + kDone);
}

void SequenceOutput::place(std::int64_t number) {
    const bool replacing = exists(target(number));
    if (replacing) {
        rules_.check(target(number));
        const Descriptor file(::open(temporary(number).c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
        prepareToReplace(target(number), file.get());
        keepOld(number);
    }
    putInPlace(number, replacing);
}

/// The old file keeps its name as long as it can.
void SequenceOutput::keepOld(std::int64_t number) {
    const std::string old = temporary(number, kOld);
    if (addName(target(number), old) != 0) {
        requireInPlace(target(number), renameIfAbsent(target(number), old));
    }
}

/// Under both its names, where the file system has such a thing.
void SequenceOutput::putInPlace(std::int64_t number, bool replacing) {
    const std::string name = temporary(number);
    const std::string second = temporary(number, kNew);
    int error = addName(name, replacing ? second : target(number));
    if (error == 0 && replacing) {
        error = renameOver(second, target(number));
        if (error != 0) {
            removeName(second);
        }
    } else if (error != 0 && error != EEXIST) {
        error = replacing ? renameOver(name, target(number)) : renameIfAbsent(name, target(number));
    }
    requireInPlace(target(number), error);
}

bool SequenceOutput::goBack() noexcept {
    for (const std::int64_t number : touched_) {
        const std::string name = temporary(number);
        const bool gaveNameUp = !exists(name);
        if (gaveNameUp && renameIfAbsent(target(number), name) != 0) {
            keepsOld_ = true;
            continue;
        }
        if (!putBack(target(number), name)) {
            keepsOld_ = true;
        }
    }
    return !keepsOld_;
}

void recoverSequence(const SequencePattern& pattern) {
    // What there is beside the locked file of each attempt, by its path.
    std::map<std::string, std::set<std::string>> attempts;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(pattern.directory, error)) {
        const std::string file = entry.path().filename().string();
        if (const auto name = TemporaryName::in(file, labelOf(pattern))) {
            attempts[pattern.directory + "/" + *name].insert(file.substr(name->size()));
        }
    }
    for (const auto& [path, additions] : attempts) {
        const std::string marked = additions.contains(kDone) ? path + kDone : path;
        const Descriptor lock(::open(marked.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (!lock.isOpen() || tryLock(lock.get()) != Lock::Taken || !isNameOf(marked, lock.get())) {
            continue;
        }
        for (const std::int64_t number : numbersIn(additions)) {
            const std::string temporary = path + "." + std::to_string(number);
            const std::string target = pattern.directory + "/" + pattern.nameOf(number);
            if (marked != path || putBack(target, temporary)) {
                removeName(temporary);
                removeName(temporary + kNew);
                removeName(temporary + kOld);
            }
        }
        removeName(marked);
    }
}

} // namespace tintwell::media
