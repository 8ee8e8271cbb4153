#include "media/write/sequence_output.h"

#include "media/folder_names.h"
#include "media/media_error.h"
#include "media/write/file_system.h"
#include "media/write/temporary_name.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <map>
#include <set>
#include <string_view>
#include <unistd.h>

namespace tintwell::media {
namespace {

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
bool putBack(const ImageNames& names) noexcept {
    const bool isNew = isSameFile(names.target(), names.temporary());
    if (!exists(names.old())) {
        if (isNew) {
            removeName(names.target());
        }
        return true;
    }
    if (isSameFile(names.target(), names.old())) {
        removeName(names.old());
        return true;
    }
    return (isNew ? renameOver(names.old(), names.target())
                  : renameIfAbsent(names.old(), names.target())) == 0;
}

/// The old file keeps its name as long as it can.
void keepOld(const ImageNames& names) {
    if (addName(names.target(), names.old()) != 0) {
        requireInPlace(names.target(), renameIfAbsent(names.target(), names.old()));
    }
}

/// Under both its names, where the file system has such a thing.
void putInPlace(const ImageNames& names, bool replacing) {
    const std::string& target = names.target();
    int error = addName(names.temporary(), replacing ? names.second() : target);
    if (error == 0 && replacing) {
        error = renameOver(names.second(), target);
        if (error != 0) {
            removeName(names.second());
        }
    } else if (error != 0 && error != EEXIST) {
        error = replacing ? renameOver(names.temporary(), target)
                          : renameIfAbsent(names.temporary(), target);
    }
    requireInPlace(target, error);
}

} // namespace

ImageNames::ImageNames(const SequencePattern& pattern, const std::string& path)
    : digits_(pattern.digits), suffix_(pattern.suffix),
      target_(pattern.directory + "/" + pattern.prefix), temporary_(path + ".") {
    targetBegin_ = target_.size();
    temporaryBegin_ = temporary_.size();
    constexpr std::size_t kLongestNumber = 20;
    constexpr std::size_t kLongestAddition = 4;
    target_.reserve(targetBegin_ + std::max(kLongestNumber, digits_) + suffix_.size());
    for (std::string* name : {&temporary_, &old_, &second_}) {
        name->reserve(temporaryBegin_ + kLongestNumber + kLongestAddition);
    }
}

const ImageNames& ImageNames::of(std::int64_t number) noexcept {
    std::array<char, 20> text{};
    const char* end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    const std::string_view plain(text.data(), static_cast<std::size_t>(end - text.data()));
    target_.resize(targetBegin_);
    target_.append(digits_ > plain.size() ? digits_ - plain.size() : 0, '0');
    target_.append(plain).append(suffix_);
    temporary_.resize(temporaryBegin_);
    temporary_.append(plain);
    old_.assign(temporary_).append(kOld);
    second_.assign(temporary_).append(kNew);
    return *this;
}

SequenceOutput::SequenceOutput(SequencePattern pattern, TargetRules rules)
    : pattern_(std::move(pattern)), rules_(std::move(rules)),
      path_(pattern_.directory + "/" + TemporaryName(labelOf(pattern_)).text()),
      donePath_(path_ + kDone), names_(pattern_, path_),
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
        removeName(names_.of(number).temporary());
    }
    removeName(path_);
}

int SequenceOutput::open(std::int64_t number) {
    closeFile();
    const ImageNames& names = names_.of(number);
    numbers_.push_back(number);
    file_ = createExclusive(names.temporary(), exists(names.target()) ? kReplacement : kNewFile);
    if (!file_.isOpen()) {
        throw MediaError(names.target() + ": cannot be created (" + systemMessage(errno) + ")");
    }
    return file_.get();
}

Descriptor SequenceOutput::openToRead(std::int64_t number) {
    closeFile();
    const ImageNames& names = names_.of(number);
    Descriptor file(::open(names.temporary().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!file.isOpen()) {
        throw MediaError(names.target() + ": cannot be read back (" + systemMessage(errno) + ")");
    }
    return file;
}

void SequenceOutput::closeFile() {
    if (const int error = file_.close(); error != 0) {
        throw MediaError(names_.of(numbers_.back()).target() + ": cannot be written (" +
                         systemMessage(error) + ")");
    }
}

void SequenceOutput::commit() {
    closeFile();
    for (const std::int64_t number : numbers_) {
        rules_.check(names_.of(number).target());
    }
    try {
        placeAll();
    } catch (const MediaError& error) {
        if (!goBack()) {
            throw MediaError(std::string(error.what()) + "; what stood there before is kept as " +
                             path_ + ".NUMBER" + kOld);
        }
        throw;
    } catch (...) {
        goBack();
        throw;
    }
    for (const std::int64_t number : numbers_) {
        removeName(names_.of(number).temporary());
        removeName(names_.old());
    }
    numbers_.clear();
    removeName(donePath_);
}

void SequenceOutput::placeAll() {
    for (const std::int64_t number : numbers_) {
        touched_.push_back(number);
        place(names_.of(number));
    }
    requireInPlace(rules_.name, renameIfAbsent(path_, donePath_));
}

void SequenceOutput::place(const ImageNames& names) {
    const bool replacing = exists(names.target());
    if (replacing) {
        rules_.check(names.target());
        const Descriptor file(::open(names.temporary().c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
        prepareToReplace(names.target(), file.get());
        keepOld(names);
    }
    putInPlace(names, replacing);
}

bool SequenceOutput::goBack() noexcept {
    for (const std::int64_t number : touched_) {
        const ImageNames& names = names_.of(number);
        const bool gaveNameUp = !exists(names.temporary());
        if (gaveNameUp && renameIfAbsent(names.target(), names.temporary()) != 0) {
            keepsOld_ = true;
            continue;
        }
        if (!putBack(names)) {
            keepsOld_ = true;
        }
    }
    return !keepsOld_;
}

void recoverSequence(const SequencePattern& pattern) {
    // What there is beside the locked file of each attempt, by its path.
    std::map<std::string, std::set<std::string>> attempts;
    for (const std::string& file : namesIn(pattern.directory)) {
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
        ImageNames names(pattern, path);
        for (const std::int64_t number : numbersIn(additions)) {
            names.of(number);
            if (marked != path || putBack(names)) {
                removeName(names.temporary());
                removeName(names.second());
                removeName(names.old());
            }
        }
        removeName(marked);
    }
}

} // namespace tintwell::media
