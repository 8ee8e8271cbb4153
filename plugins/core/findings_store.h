#pragma once

#include "plugins/core/frame_finding.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace tintwell::plugins {

using SharedFinding = std::shared_ptr<const FrameFinding>;

/// What was found of the frames seen last, by what they look like: it holds whoever looks at the
/// same pixels with the same controls again, another instance of an effect included. Holds at most
/// `capacity` findings of 4.3 KiB each. Any number of threads may use it at once.
class FindingsStore {
public:
    static constexpr std::size_t kCapacity = 4096;

    explicit FindingsStore(std::size_t capacity = kCapacity);

    /// What keys are made with; null where there are no random numbers, and nothing is kept then.
    const KeySecret* secret() const { return secret_.get(); }

    /// The finding of these pixels, whose key it is, searched only where it is not known.
    SharedFinding find(const AnalyzedPixels& pixels, const AnalysisKey& key,
                       const AnalysisControls& controls);

    void clear();

private:
    struct Entry {
        AnalysisKey key;
        AnalysisControls controls;
        SharedFinding finding;
        std::uint64_t used = 0; ///< when, in uses of the store
    };

    SharedFinding recall(const AnalysisKey& key, const AnalysisControls& controls);
    void keep(Entry entry);

    std::unique_ptr<const KeySecret> secret_;
    std::size_t capacity_;
    std::mutex mutex_;
    std::vector<Entry> entries_;
    std::uint64_t uses_ = 0;
};

} // namespace tintwell::plugins
