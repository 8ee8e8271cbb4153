#pragma once

#include "media/files/input_files.h"
#include "media/files/interruption.h"
#include "media/write/output_target.h"
#include "tool/terminal/descriptor_buffer.h"

#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tintwell::tool {

/// Why a stream could not be written.
std::error_code reasonOfFailure(const std::ostream& stream);

/// The extension of a file's name with its dot, in small letters.
std::string extensionOf(const std::string& path);

/// Nobody is left to read what is written, which is no failure: they may have seen enough.
class ReaderGone : public std::runtime_error {
public:
    ReaderGone() : std::runtime_error("nobody reads the output any more") {}
};

/// A text, or the bytes of a picture, that a command writes, to standard output or to a file that
/// appears under its name when it is complete.
class TextOutput {
public:
    /// An empty path, or "-", is standard output. Throws media::MediaError where the file cannot or
    /// must not be written, any of the input's included, and media::Interrupted where a pipe was
    /// waited for.
    TextOutput(const std::string& path, std::shared_ptr<const media::InputFiles> inputs,
               bool overwrite);

    std::ostream& stream() { return stream_; }

    bool isStandardOutput() const { return target_.isStandardOutput(); }

    /// Whether the text may be coloured.
    bool isColored() const;

    /// To be called now and then by long work that writes little: throws ReaderGone.
    void requireReader() const;

    /// Puts the file in place. Throws UserError where the text could not be written.
    void commit();

private:
    media::Interruption interruption_;
    media::OutputTarget target_;
    std::optional<DescriptorBuffer> buffer_;
    std::ostream stream_;
};

} // namespace tintwell::tool
