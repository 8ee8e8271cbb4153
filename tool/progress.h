#pragma once

#include <cstdint>
#include <memory>
#include <optional>

namespace tintwell::tool {

/// Told by a long job how far it is. Called from one thread at a time.
class Progress {
public:
    virtual ~Progress() = default;
    /// Once, before the first frame; no total where the number of frames cannot be known.
    virtual void begin(std::optional<std::int64_t> totalFrames) = 0;
    virtual void advance(std::int64_t framesDone) = 0;
    /// Once, also after a failure; leaves the terminal on a fresh line.
    virtual void end() = 0;
};

enum class ProgressStyle { Auto, Bar, Lines, Json, None };

/// Writes to standard error. Auto is a bar on a terminal and nothing elsewhere.
std::unique_ptr<Progress> makeProgress(ProgressStyle style);

} // namespace tintwell::tool
