#include "module/effect/sequence_data.h"

#include "module/services/suites.h"
#include "module/temporal/frame_cache.h"

#include <memory>

namespace tintwell {
namespace {

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
