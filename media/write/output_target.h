#pragma once

#include "media/image_sequence.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tintwell::media {

/// Where a clip is written to. Everything goes to temporary names beside the target, and under its
/// name when it is complete; until then, and if it never is, the target stays as it was. Standard
/// output and devices are written to directly.
class OutputTarget {
public:
    /// Throws MediaError where the target cannot or must not be written: it is the input, it exists
    /// and `overwrite` is not set, its folder does not exist or is not writable.
    OutputTarget(const std::string& output, const std::string& input, bool overwrite);

    /// Removes what was written and not committed.
    ~OutputTarget();

    OutputTarget(const OutputTarget&) = delete;
    OutputTarget& operator=(const OutputTarget&) = delete;

    /// For messages.
    const std::string& name() const { return name_; }

    /// What FFmpeg is to open: a URL, or for a sequence the pattern of the temporary names.
    const std::string& url() const { return url_; }

    bool isSequence() const { return pattern_.has_value(); }

    /// The file of a sequence with this number is about to be written.
    void addNumber(std::int64_t number);

    /// Puts what was written under its name. Throws MediaError, and leaves nothing, where that
    /// fails; also where the target has come into being meanwhile and `overwrite` is not set.
    void commit();

private:
    void prepareFile(const std::string& input);
    void prepareSequence(const std::string& input);
    void checkFolder(const std::string& folder) const;
    void discard() noexcept;

    std::string name_;
    std::string url_;
    bool overwrite_;
    bool direct_ = false;   ///< standard output or a device
    std::string temporary_; ///< of a single file
    std::string path_;      ///< of a single file, links resolved
    std::optional<SequencePattern> pattern_;
    std::optional<SequencePattern> temporaryPattern_;
    std::int64_t firstNumber_ = 0;
    std::int64_t count_ = 0;     ///< files of the sequence begun
    std::int64_t committed_ = 0; ///< of these, under their own name
};

} // namespace tintwell::media
