#include "module/temporal/frame_cache.h"

#include <algorithm>
#include <memory>

namespace tintwell {
namespace {

template <class Slots>
auto firstAtOrAfter(Slots& slots, std::int32_t frame) {
    return std::ranges::lower_bound(slots, frame, {}, &FrameCache::Slot::frame);
}

} // namespace

FrameCacheEntry* FrameCache::find(std::int32_t frame) const {
    const auto slot = firstAtOrAfter(slots_, frame);
    return slot != slots_.end() && slot->frame == frame ? slot->entry.get() : nullptr;
}

FrameCacheEntry& FrameCache::insert(std::int32_t frame, std::unique_ptr<FrameCacheEntry> entry) {
    auto slot = firstAtOrAfter(slots_, frame);
    if (slot == slots_.end() || slot->frame != frame) {
        slot = slots_.insert(slot, {frame, nullptr});
    }
    slot->entry = std::move(entry);
    return *slot->entry;
}

void FrameCache::clear() {
    slots_.clear();
    if (aside_) {
        aside_->beyondWindow.found.key = {};
    }
}

FrameCache::Aside& FrameCache::aside() {
    if (!aside_) {
        aside_ = std::make_unique<Aside>();
    }
    return *aside_;
}

void FrameCache::invalidate(std::int32_t from, std::int32_t to, Invalidation mode) {
    const auto first = firstAtOrAfter(slots_, from);
    const auto end = to == 0 ? slots_.end() : firstAtOrAfter(slots_, to);
    if (first >= end) {
        return;
    }
    if (mode == Invalidation::MarkStale) {
        std::for_each(first, end, [](Slot& slot) { slot.entry->isStale = true; });
    } else {
        slots_.erase(first, end);
    }
}

FrameCache* frameCacheOf(const InData& inData) {
    return inData.sequenceData == nullptr ? nullptr
                                          : static_cast<FrameCache*>(*inData.sequenceData);
}

} // namespace tintwell
