#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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
    /// Where more numbers than these are missing in a row, the sequence ends.
    static constexpr std::int64_t kLongestGap = 1000;

    std::vector<std::int64_t> numbers = {}; ///< rising; those behind the end are left out
    std::int64_t behind = 0;                ///< how many those are

    std::int64_t first() const { return numbers.empty() ? 0 : numbers.front(); }

    std::int64_t last() const { return numbers.empty() ? -1 : numbers.back(); }
};

/// No numbers where there are no such files or no such directory.
SequenceFiles findSequence(const SequencePattern& pattern);

} // namespace tintwell::media
