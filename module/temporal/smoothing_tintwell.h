#pragma once

// Smooths the levels correction over time. Every frame of the window has its own levels, found as
// if it were rendered alone; each side of the window is blended from its far end toward the current
// frame, and then the two sides are blended with the current frame's own levels. The weight of a
// frame against what lies beyond it is the distance of their histograms per channel, 0..1: where
// consecutive frames differ little, much of the neighbour goes in; where they differ much, little.
// Gammas are left alone.
//
// A window ends at a cut: with scene detection at a distance of 0.5 in any channel, without it at
// 1.0 in all three. The frame beyond each end is looked at for its distance only.

#include "module/frame/correction_mode.h"
#include "module/temporal/smoothing_base.h"

#include <array>

namespace tintwell {

/// Distances of two frames' histograms, divided by the pixel count of `visited`.
NeighbourWeights frameDistance(const ChannelHistogram& previous, const ChannelHistogram& visited,
                               AutoCorrectionMode mode);

/// Whether a window ends between two frames of this distance.
bool isCut(const NeighbourWeights& distance, bool sceneDetect);

class CTemporalSmoothingTintwell final : public CTemporalSmoothingBase {
public:
    /// How frames are analysed. In the monochromatic mode the distances are of the luminance and
    /// the composite entry is averaged too.
    void setMode(AutoCorrectionMode mode) { mode_ = mode; }

    /// Writes the smoothed levels of the current frame into the destination's levels record, which
    /// must exist; the result entry must hold the frame's own levels and histogram.
    ErrorCode Compute(FrameCacheEntry* destination) override;
    ErrorCode MeasureWindow() override;

    ErrorCode StoreBefore() override { return storeSide(Side::Before); }

    ErrorCode StoreAfter() override { return storeSide(Side::After); }

    void ReleaseUncached() override;
    ErrorCode IsFrameUnchanged(const EffectWorld* world, const FrameCacheEntry& entry,
                               bool& unchanged) override;

    /// One side of the window, nearest frame first. `levels` and `sources` have an element per
    /// frame; `fingerprints` starts with the current frame's and may end with the one beyond the
    /// side; element j of `weights` is the distance of the frames j and j + 1 steps out.
    struct MeasuredSide {
        std::vector<Held<LevelsRecord>> levels;
        std::vector<AnalysisSource> sources;
        std::vector<Held<ChannelHistogram>> fingerprints;
        std::vector<NeighbourWeights> weights;
    };

    /// Blends the side's levels from its far end to the frame next to the current one.
    virtual ErrorCode AccumulateSide(LevelsRecord& accumulator, Side side);
    /// Walks the side outward, shortening the window at a cut.
    virtual ErrorCode MeasureSide(Side side, MeasuredSide& measured);

private:
    MeasuredSide& measuredOn(Side side) {
        return side == Side::Before ? measuredBefore_ : measuredAfter_;
    }

    ErrorCode measureFrame(std::int32_t frame, MeasuredSide& measured);
    ErrorCode measureBeyond(std::int64_t frame, MeasuredSide& measured);
    ErrorCode readBeyond(std::int32_t frame);
    ErrorCode appendWeights(MeasuredSide& measured) const;
    ErrorCode storeSide(Side side);
    std::array<double, 4> entryWeights(const NeighbourWeights& weights) const;
    ErrorCode combineSides(LevelsRecord& destination);

    AutoCorrectionMode mode_ = AutoCorrectionMode::PerChannelContrast;
    MeasuredSide measuredBefore_;
    MeasuredSide measuredAfter_;
};

/// The part of a record that takes part in smoothing and is kept of a frame: entries 0 to 4.
void copySmoothedEntries(const LevelsRecord& from, LevelsRecord& to);

} // namespace tintwell
