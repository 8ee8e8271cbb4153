#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tintwell::media {

/// How the files are named that become an output once they are complete: hidden, beside it, known
/// by its name, and not to be guessed:
///   .clip.mp4.partial-0123456789abcdef01234567
/// Names that begin so are completed by what a sequence needs.
class TemporaryName {
public:
    /// A new one for the output of this name (a pattern for a sequence).
    explicit TemporaryName(const std::string& output);

    const std::string& text() const { return text_; }

    /// The part of a file's name that is such a one for this output; empty where it is none.
    static std::optional<std::string> in(std::string_view file, const std::string& output);

private:
    std::string text_;
};

} // namespace tintwell::media
