#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tintwell::media {

/// A file name with a number in it: "shots/frame.%04d.png".
struct SequencePattern {
    std::string directory;  ///< "." where the name has none
    std::string prefix;     ///< of the file name, before the number
    std::string suffix;     ///< after it
    std::size_t digits = 1; ///< at least so many, zeros in front

    std::string nameOf(std::int64_t number) const;

    /// Whether this path, of a file or not, names one of the sequence.
    bool covers(const std::string& path) const;
};

/// Empty where the name holds no number: "%d" or "%04d".
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
