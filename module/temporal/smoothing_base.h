#pragma once

// The frame-walking machinery of smoothing over time. From the current time and the duration of the
// window in seconds it works out how many frames lie on each side of the current one, walks outward
// from it, takes each frame's measurement from the cache or makes it from the host's frame, and
// stops early at a scene cut. What is averaged, and how, belongs to the derived class.
//
// Distances of consecutive frames are normalised to 0..1. In this generic form frames are compared
// by their colour signatures; the distances of a walk are summed up, and the sum passing a budget
// of 0.2 per second of window is a cut. The clip's ends count as cuts.
//
// One object serves one render, on one thread: Init, UpdateState, SetResult, Compute. The frame
// cache outlives it.

#include "module/interface/host_interface.h"
#include "module/temporal/frame_cache.h"
#include "module/temporal/held.h"

#include <cstdint>
#include <vector>

namespace tintwell {

/// Frames on each side of the current one in a window of the given duration. Measuring a window
/// takes one frame more on each side.
std::int64_t halfWindow(const InData& inData, double seconds);

/// A side of the current frame, and the direction of a walk over it.
enum class Side : std::int32_t { Before = 0, After = 1 };

class CTemporalSmoothingBase {
public:
    CTemporalSmoothingBase() = default;
    CTemporalSmoothingBase(const CTemporalSmoothingBase&) = delete;
    CTemporalSmoothingBase& operator=(const CTemporalSmoothingBase&) = delete;
    virtual ~CTemporalSmoothingBase() = default;

    /// The pointers must outlive this object. `seconds` is the duration of the window.
    virtual void Init(const InData* inData, ParamDef* const* params, double seconds,
                      std::int32_t sceneDetect, FrameCache* cache);
    /// The entry that receives the current frame's data: lent when it stands in the cache, owned
    /// until Compute puts it there when not.
    virtual void SetResult(Held<FrameCacheEntry> entry);
    /// The whole run. On an error nothing gathered is kept but what the cache already holds.
    virtual ErrorCode Compute(FrameCacheEntry* destination);
    /// Empties the cache when the controls have changed since it was filled. Always 0: where the
    /// host cannot tell, the cache stays.
    virtual ErrorCode UpdateState();
    /// Tells whether the nearest cached frame before the current one still looks as it did.
    virtual ErrorCode CheckCachedNeighbour(bool& valid);
    virtual ErrorCode MeasureWindow() = 0;
    virtual ErrorCode GatherBefore();
    virtual ErrorCode GatherAfter();
    /// The walk from the current frame to the side's end.
    virtual ErrorCode Gather(Side side);

    virtual ErrorCode StoreBefore() { return error::kNone; }

    virtual ErrorCode StoreAfter() { return error::kNone; }

    /// Frees what was gathered and did not enter the cache.
    virtual void ReleaseUncached();
    /// Whether the world still measures as the entry does; 512 when it cannot be measured.
    virtual ErrorCode IsFrameUnchanged(const EffectWorld* world, const FrameCacheEntry& entry,
                                       bool& unchanged);

protected:
    /// One side of the smoothing window.
    struct Window {
        std::int32_t bound = 0; ///< frame index of the side's far end
        std::int32_t count = 0; ///< frames on this side, without the current one
    };

    bool isReady() const { return inData_ != nullptr && params_ != nullptr && cache_ != nullptr; }

    std::int32_t currentFrame() const;
    std::int32_t totalFrames() const;

    bool isInClip(std::int64_t frame) const { return frame >= 0 && frame < totalFrames(); }

    /// The frame `steps` away from the current one.
    std::int64_t frameOn(Side side, std::int64_t steps) const;

    Window& windowOn(Side side) { return side == Side::Before ? before_ : after_; }

    /// Sets the side's window as far as duration and clip reach.
    void openWindow(Side side);
    ErrorCode askAbort() const;
    /// Puts the result into the cache unless the current frame stands there.
    void storeResult();

    const InData* inData_ = nullptr;
    ParamDef* const* params_ = nullptr;
    double seconds_ = 0.0;
    std::int32_t sceneDetect_ = 0;
    FrameCache* cache_ = nullptr;
    Held<FrameCacheEntry> result_;

private:
    /// What a walk collected: the current frame's signature and those beyond it, nearest first, and
    /// the distances between consecutive ones.
    struct Walk {
        std::vector<Held<ColorSignature>> signatures;
        std::vector<double> differences;
    };

    Walk& walkOn(Side side) { return side == Side::Before ? walkBefore_ : walkAfter_; }

    ErrorCode takeSignature(std::int32_t frame, Held<ColorSignature>& signature) const;
    double differenceBetween(std::int32_t previous, const ColorSignature& previousSignature,
                             const ColorSignature& signature, Side side) const;
    void completeResult();

    Window before_;
    Window after_;
    Walk walkBefore_;
    Walk walkAfter_;
};

} // namespace tintwell
