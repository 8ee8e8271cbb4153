#include "media/write/output_target.h"

#include "media/clip_info.h"
#include "media/media_error.h"
#include "media/write/output_stream.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tintwell::media {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kNewFile = 0666; ///< less what the user's mask takes away
constexpr mode_t kReplacement = 0600;

bool isSameFolder(const fs::path& path, const fs::path& other) {
    std::error_code error;
    return fs::equivalent(path, other, error) && !error;
}

} // namespace

OutputTarget::OutputTarget(const std::string& output, std::shared_ptr<const InputFiles> inputs,
                           bool overwrite)
    : rules_{output == kStandardStream ? "standard output" : output, std::move(inputs), overwrite} {
    openFile_ = output == kStandardStream ? STDOUT_FILENO : descriptorNamed(output);
    if (openFile_) {
        prepareOpenFile();
        return;
    }
    pattern_ = parseSequence(output);
    if (pattern_) {
        prepareSequence();
    } else {
        prepareFile();
    }
}

bool OutputTarget::isStandardOutput() const {
    return openFile_ == STDOUT_FILENO;
}

void OutputTarget::checkFolder(const std::string& folder) const {
    if (!fs::is_directory(folder)) {
        throw MediaError(name() + ": the folder " + folder + " does not exist");
    }
    if (::access(folder.c_str(), W_OK) != 0) {
        throw MediaError(name() + ": the folder " + folder + " cannot be written to (" +
                         systemMessage(errno) + ")");
    }
}

/// What is appended to a file that is read at the same time has no end.
void OutputTarget::prepareOpenFile() {
    rules_.refuseInput(identityOf(*openFile_));
    requireWritable(*openFile_, name());
}

void OutputTarget::prepareFile() {
    std::error_code error;
    fs::path path = name();
    if (fs::is_symlink(path, error)) {
        path = fs::weakly_canonical(path, error); // the link stays, what it points to is replaced
    }
    path_ = path.string();
    if (fs::is_directory(path, error)) {
        throw MediaError(name() + ": is a directory; name a file in it");
    }
    isStream_ = isStream(path_);
    if (isStream_) {
        rules_.refuseInput(identityOf(path_));
        return;
    }
    checkFolder(path.has_parent_path() ? path.parent_path().string() : ".");
    const auto inputPattern = parseSequence(rules_.inputs->name());
    if (inputPattern && fs::exists(path, error) && inputPattern->covers(path_)) {
        rules_.throwIsInput();
    }
    removeLeftovers(path_);
    rules_.check(path_);
}

void OutputTarget::prepareSequence() {
    checkFolder(pattern_->directory);
    const auto inputPattern = parseSequence(rules_.inputs->name());
    const bool sameNames = inputPattern && inputPattern->prefix == pattern_->prefix &&
                           inputPattern->suffix == pattern_->suffix &&
                           isSameFolder(inputPattern->directory, pattern_->directory);
    if (sameNames || pattern_->covers(rules_.inputs->name())) {
        rules_.throwIsInput();
    }
    recoverSequence(*pattern_);
    const SequenceFiles files = findSequence(*pattern_);
    if (!rules_.overwrite && !files.numbers.empty()) {
        rules_.throwExists();
    }
    for (const std::int64_t number : files.numbers) {
        rules_.refuseInput(identityOf(pattern_->directory + "/" + pattern_->nameOf(number)));
    }
}

bool OutputTarget::isSeekable() const {
    const auto identity = isStream_ ? identityOf(path_) : std::nullopt;
    return !openFile_ && (!isStream_ || (identity && identity->isDevice));
}

int OutputTarget::open(const Interruption& interruption) {
    if (openFile_ || isStream_) {
        stream_ = isStream_ ? openStream(path_, interruption) : reopenPipe(*openFile_);
        rules_.refuseInput(identityOf(descriptor()));
    } else {
        std::error_code error;
        file_ = TemporaryFile(path_, fs::exists(path_, error) ? kReplacement : kNewFile);
    }
    return descriptor();
}

int OutputTarget::descriptor() const {
    if (stream_.isOpen()) {
        return stream_.get();
    }
    return openFile_ ? *openFile_ : file_.descriptor();
}

int OutputTarget::openNumber(std::int64_t number) {
    if (!sequence_) {
        sequence_ = std::make_unique<SequenceOutput>(*pattern_, rules_);
    }
    return sequence_->open(number);
}

void OutputTarget::commit() {
    if (sequence_) {
        sequence_->commit();
    }
    if (!file_.isOpen()) {
        return;
    }
    if (rules_.overwrite) {
        rules_.check(path_);
    }
    prepareToReplace(path_, file_.descriptor());
    requireInPlace(path_, rules_.overwrite ? file_.replace(path_) : file_.moveTo(path_));
}

} // namespace tintwell::media
