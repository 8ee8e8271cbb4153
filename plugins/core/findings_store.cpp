#include "plugins/core/findings_store.h"

#include <algorithm>
#include <utility>

namespace tintwell::plugins {

FindingsStore::FindingsStore(std::size_t capacity)
    : secret_(KeySecret::draw()), capacity_(std::max<std::size_t>(capacity, 1)) {}

SharedFinding FindingsStore::recall(const AnalysisKey& key, const AnalysisControls& controls) {
    const std::scoped_lock lock(mutex_);
    for (Entry& entry : entries_) {
        if (isSameFrame(entry.key, key) && entry.controls == controls) {
            entry.used = ++uses_;
            return entry.finding;
        }
    }
    return nullptr;
}

void FindingsStore::keep(Entry entry) {
    const std::scoped_lock lock(mutex_);
    entry.used = ++uses_;
    if (entries_.size() < capacity_) {
        entries_.push_back(std::move(entry));
    } else {
        *std::ranges::min_element(entries_, {}, &Entry::used) = std::move(entry);
    }
}

SharedFinding FindingsStore::find(const AnalyzedPixels& pixels, const AnalysisKey& key,
                                  const AnalysisControls& controls) {
    if (SharedFinding known = recall(key, controls)) {
        return known;
    }
    auto finding = std::make_shared<const FrameFinding>(pixels.find(controls));
    if (key.isKnown()) {
        keep({key, controls, finding});
    }
    return finding;
}

void FindingsStore::clear() {
    const std::scoped_lock lock(mutex_);
    entries_.clear();
}

} // namespace tintwell::plugins
