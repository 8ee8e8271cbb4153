#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

namespace tintwell::tool {

/// Told by a long job how far it is. Called from one thread at a time.
class Progress {
public:
    virtual ~Progress() = default;
    /// Once, before the first frame; no total where the number of frames cannot be known.
    virtual void begin(std::optional<std::int64_t> totalFrames) = 0;
    /// `framesDone` counts from the beginning of the job. Cheap enough to be called per frame.
    virtual void advance(std::int64_t framesDone) = 0;
    /// Once, also after a failure; leaves the terminal on a fresh line.
    virtual void end() = 0;
};

enum class ProgressStyle { Auto, Bar, Lines, Json, None };

/// Which of several jobs it is; no number for the only one.
struct ProgressJob {
    std::string input; ///< as the user named it
    std::size_t number = 0;
    std::size_t count = 0;
};

/// Where progress is written, and what the writer needs to know about that place.
struct ProgressOutput {
    std::ostream& stream;
    bool isTerminal = false;
    std::function<int()> columns; ///< width of the terminal now
    std::function<std::chrono::steady_clock::time_point()> now;
    ProgressJob job = {};
};

/// Standard error.
ProgressOutput standardErrorOutput(const ProgressJob& job = {});

/// Auto is a bar on a terminal and nothing elsewhere. The stream must outlive the result.
std::unique_ptr<Progress> makeProgress(ProgressStyle style,
                                       const ProgressOutput& output = standardErrorOutput());

} // namespace tintwell::tool
