#include "effect/sequence_data.h"

#include "effect/suites.h"

#include <algorithm>
#include <memory>

namespace tintwell {
namespace {

template <class Slots>
auto firstAtOrAfter(Slots& slots, std::int32_t frame) {
    return std::ranges::lower_bound(slots, frame, {}, &FrameCache::Slot::frame);
}

/// Puts a new, empty cache into a new sequence handle. The cache is there also when the host cannot
/// tell the state of its controls; `judge` says what that makes of the result.
template <class Judge>
ErrorCode publishNewCache(InData* inData, OutData* outData, Judge judge) {
    if (inData == nullptr || outData == nullptr) {
        return error::kMissingRecord;
    }
    const AcquiredSuite<HandleSuite> suite(*inData);
    if (!suite.isUsable()) {
        return suite.code();
    }
    const ErrorCode disposed = disposeHandle(suite, inData->sequenceData, outData->sequenceData);
    if (disposed != error::kNone) {
        return disposed;
    }
    HostHandle handle = nullptr;
    const ErrorCode made = newHandle(suite, sizeof(FrameCache), &handle);
    if (made != error::kNone) {
        return made;
    }
    FrameCache* cache = std::construct_at(static_cast<FrameCache*>(*handle));
    const ErrorCode queried = queryState(*inData, cache->state);
    inData->sequenceData = handle;
    outData->sequenceData = handle;
    return judge(queried);
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
    if (beside_) {
        beside_->beyond.key = {};
    }
}

FrameCache::Beside& FrameCache::beside() {
    if (!beside_) {
        beside_ = std::make_unique<Beside>();
    }
    return *beside_;
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

SpareMemory* spareMemoryOf(const InData& inData) {
    FrameCache* cache = frameCacheOf(inData);
    return cache != nullptr ? &cache->spareMemory() : nullptr;
}

ErrorCode setUpSequence(InData* inData, OutData* outData) {
    return publishNewCache(inData, outData, [](ErrorCode queried) { return queried; });
}

ErrorCode resetUpSequence(InData* inData, OutData* outData) {
    return publishNewCache(inData, outData, [](ErrorCode queried) {
        return queried == error::kStateUnavailable ? error::kNone : queried;
    });
}

ErrorCode setDownSequence(InData* inData, OutData* outData) {
    if (inData == nullptr || outData == nullptr) {
        return error::kMissingRecord;
    }
    if (inData->sequenceData == nullptr) {
        return error::kNone;
    }
    const AcquiredSuite<HandleSuite> suite(*inData);
    if (!suite.isUsable()) {
        return suite.code();
    }
    if (suite->disposeHandle == nullptr) {
        return error::kMissingRecord;
    }
    if (FrameCache* cache = frameCacheOf(*inData)) {
        std::destroy_at(cache);
    }
    return disposeHandle(suite, inData->sequenceData, outData->sequenceData);
}

} // namespace tintwell
