#include "plugins/core/clip_findings.h"

namespace tintwell::plugins {

SharedFinding ClipFindings::look(const SourceFrame& pixels, const AnalysisControls& controls) {
    const AnalyzedPixels analyzed(pixels);
    return store_.find(analyzed, analyzed.key(store_.secret()), controls);
}

SharedFinding ClipFindings::see(std::int64_t frame, const SourceFrame& pixels,
                                const AnalysisControls& controls) {
    const AnalyzedPixels analyzed(pixels);
    const AnalysisKey key = analyzed.key(store_.secret());
    SharedFinding finding = store_.find(analyzed, key, controls);
    const Shape shape = {pixels.width, pixels.height, pixels.samples};
    const std::scoped_lock lock(mutex_);
    const auto known = notes_.find(frame);
    const bool isOther = known != notes_.end() && !isSameFrame(known->second.key, key);
    if (isOther || (!notes_.empty() && notes_.begin()->second.shape != shape)) {
        notes_.clear();
    }
    notes_.insert_or_assign(frame, Note{key, shape, controls, finding});
    return finding;
}

SharedFinding ClipFindings::recall(std::int64_t frame, const AnalysisControls& controls) {
    const std::scoped_lock lock(mutex_);
    const auto known = notes_.find(frame);
    return known != notes_.end() && known->second.controls == controls ? known->second.finding
                                                                       : nullptr;
}

void ClipFindings::keepOnly(std::int64_t first, std::int64_t last) {
    const std::scoped_lock lock(mutex_);
    notes_.erase(notes_.begin(), notes_.lower_bound(first));
    notes_.erase(notes_.upper_bound(last), notes_.end());
}

void ClipFindings::forget() {
    const std::scoped_lock lock(mutex_);
    notes_.clear();
}

} // namespace tintwell::plugins
