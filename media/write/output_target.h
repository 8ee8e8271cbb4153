#pragma once

#include "media/files/descriptor.h"
#include "media/files/input_files.h"
#include "media/write/sequence_output.h"
#include "media/write/target_rules.h"
#include "media/write/temporary_file.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tintwell::media {

/// Where a clip is written to. Files take their names when they are complete; until then, and if
/// they never are, what stood there stays as it was. Pipes, devices and what is open already
/// (standard output, /dev/fd/3) are written to as they are.
class OutputTarget {
public:
    /// Throws MediaError where the target cannot or must not be written: it is the input, it exists
    /// and `overwrite` is not set, its folder does not exist or is not writable. Puts away what
    /// killed processes have left of their work on this target.
    OutputTarget(const std::string& output, std::shared_ptr<const InputFiles> inputs,
                 bool overwrite);

    /// For messages.
    const std::string& name() const { return rules_.name; }

    bool isSequence() const { return pattern_.has_value(); }

    /// Whether it is standard output or another open file, whose name tells nothing.
    bool isOpenFile() const { return openFile_.has_value(); }

    bool isStandardOutput() const;

    /// Whether it takes its name at the end, and can be looked at until then.
    bool isNamedAtTheEnd() const { return !openFile_ && !isStream_; }

    /// Whether `open` gives a file in which one can go back and forth.
    bool isSeekable() const;

    /// Opens what is to be written to, which stays this target's own; not for sequences. Throws
    /// MediaError, or Interrupted where a pipe was waited for.
    int open(const Interruption& interruption);

    /// What `open` gave.
    int descriptor() const;

    /// Opens the file of a sequence with this number, and closes the one before. Throws MediaError.
    int openNumber(std::int64_t number);

    /// One of these files again, to be read. Throws MediaError.
    Descriptor openToRead(std::int64_t number) { return sequence_->openToRead(number); }

    /// Puts what was written under its name. Throws MediaError, and leaves everything as it was,
    /// where that fails; also where the target has come into being meanwhile and `overwrite` is not
    /// set.
    void commit();

private:
    void prepareOpenFile();
    void prepareFile();
    void prepareSequence();
    void checkFolder(const std::string& folder) const;

    TargetRules rules_;
    std::optional<int> openFile_;
    std::optional<SequencePattern> pattern_;
    std::string path_;      ///< of a file or stream, links resolved
    bool isStream_ = false; ///< a pipe or a device
    Descriptor stream_;     ///< the pipe or device, open; also another way to an open pipe
    TemporaryFile file_;
    std::unique_ptr<SequenceOutput> sequence_;
};

} // namespace tintwell::media
