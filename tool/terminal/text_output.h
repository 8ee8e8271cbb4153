#pragma once

#include "media/write/output_target.h"

#include <fstream>
#include <optional>
#include <ostream>
#include <string>
#include <system_error>

namespace tintwell::tool {

/// Why a stream could not be written: tries again to hear it.
std::error_code reasonOfFailure(std::ostream& stream);

/// The extension of a file's name with its dot, in small letters.
std::string extensionOf(const std::string& path);

/// A text, or the bytes of a picture, that a command writes, to standard output or to a file that
/// appears under its name when it is complete.
class TextOutput {
public:
    /// An empty path, or "-", is standard output. Throws media::MediaError where the file cannot or
    /// must not be written, `input` included.
    TextOutput(const std::string& path, const std::string& input, bool overwrite);

    std::ostream& stream() { return *stream_; }

    bool isStandardOutput() const { return !target_; }

    /// Whether the text may be coloured.
    bool isColored() const;

    /// Puts the file in place. Throws UserError where the text could not be written.
    void commit();

private:
    std::optional<media::OutputTarget> target_;
    std::ofstream file_;
    std::ostream* stream_;
};

} // namespace tintwell::tool
