#pragma once

#include "plugins/core/findings_store.h"

#include <cstdint>
#include <map>
#include <mutex>

namespace tintwell::plugins {

/// What one user of a clip has seen of it, by the number of the frame, so that a neighbour is not
/// asked of the host again for every frame. Hosts change clips without telling: as soon as a frame
/// has other pixels, or is of another shape, than when it was seen before, all that was seen is
/// forgotten. Any number of threads may use it at once.
class ClipFindings {
public:
    /// The store must outlive it.
    explicit ClipFindings(FindingsStore& store) : store_(store) {}

    /// Finds levels in a frame's pixels, and notes them as those of this number.
    SharedFinding see(std::int64_t frame, const SourceFrame& pixels,
                      const AnalysisControls& controls);

    /// The same without noting, of pixels that stand between two frames.
    SharedFinding look(const SourceFrame& pixels, const AnalysisControls& controls);

    /// What was seen of a frame with these controls, or null.
    SharedFinding recall(std::int64_t frame, const AnalysisControls& controls);

    /// Forgets all but the frames first..last.
    void keepOnly(std::int64_t first, std::int64_t last);

    void forget();

private:
    struct Shape {
        std::int32_t width;
        std::int32_t height;
        SampleType samples;

        bool operator==(const Shape&) const = default;
    };

    struct Note {
        AnalysisKey key;
        Shape shape;
        AnalysisControls controls;
        SharedFinding finding;
    };

    FindingsStore& store_;
    std::mutex mutex_;
    std::map<std::int64_t, Note> notes_;
};

} // namespace tintwell::plugins
