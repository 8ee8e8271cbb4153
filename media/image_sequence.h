#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tintwell::media {

/// A file name with a number in it: "shots/frame.%04d.png".
struct SequencePattern {
    std::string directory;  ///< as it is; "." where the name has none
    std::string prefix;     ///< of the file name, before the number
    std::string suffix;     ///< after it
    std::size_t digits = 1; ///< at least so many, zeros in front

    std::string nameOf(std::int64_t number) const;

    /// As FFmpeg must be given it: what is no number in folder and name is not taken for one.
    std::string text() const;

    /// Whether this path, of a file or not, names one of the sequence.
    bool covers(const std::string& path) const;
};

/// A plain text as part of a name with a number: each "%" twice.
std::string escapedForPattern(const std::string& text);

/// Empty where the name, without its folder, is not one with a number: "%d" or "%04d" once, where
/// "%%" stands for "%".
std::optional<SequencePattern> parseSequence(const std::string& path);

/// The files of a sequence that exist.
struct SequenceFiles {
    std::int64_t first = 0; ///< lowest number
    std::int64_t run = 0;   ///< files numbered without a gap from the first on
    std::int64_t total = 0;
};

/// A total of 0 where there are no such files or no such directory.
SequenceFiles findSequence(const SequencePattern& pattern);

} // namespace tintwell::media
