#pragma once

// What one use of the effect in a timeline remembers between renders: the analysis of each frame it
// has seen, so that smoothing over a window does not analyse every neighbour again for each frame.
// The record lives in the host's sequence handle and nothing of it survives a save: after a reload
// the handle's bytes are the old ones but its pointers mean nothing, so SequenceResetup replaces it
// without looking inside.

#include "module/apply/levels_record.h"
#include "module/counting/analysis_key.h"
#include "module/counting/channel_histogram.h"
#include "module/frame/analysis_controls.h"
#include "module/interface/host_interface.h"
#include "module/temporal/color_signature.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace tintwell {

/// Distances of a frame to a neighbour, per colour channel.
struct NeighbourWeights {
    double red;
    double green;
    double blue;
};

/// A fingerprint and the key of the frame it was counted from.
struct KeyedFingerprint {
    AnalysisKey key;
    ChannelHistogram histogram;
};

/// What a frame's levels were found from. The key is known only where the histogram that they were
/// found from was counted from exactly its pixels; otherwise nothing can be said of them later.
struct AnalysisSource {
    AnalysisKey key;
    AnalysisControls controls;

    bool operator==(const AnalysisSource&) const = default;
};

/// The analysis of one frame; owns what it points at.
struct FrameCacheEntry {
    double differenceToPrevious = 0.0; ///< normalised scene difference, 0..1
    double differenceToNext = 0.0;
    std::uint64_t reserved = 0;
    std::unique_ptr<ColorSignature> signature;
    std::unique_ptr<ChannelHistogram> histogram; ///< the frame's fingerprint
    std::unique_ptr<LevelsRecord> levels;        ///< as found, before smoothing
    NeighbourWeights towardEarlier{};
    NeighbourWeights towardLater{};
    bool isStale = false; ///< a control the levels depend on changed since they were found
    AnalysisSource source;
};

/// What invalidate() does with the entries of its range.
enum class Invalidation : std::int32_t {
    Remove = 0,    ///< destroyed and taken out
    MarkStale = 1, ///< kept, to be analysed again when next needed
};

/// Ordered map from frame index to entry, with the host's token of the control values the entries
/// were found with. Owns its entries. Used by one command at a time.
class FrameCache {
public:
    struct Slot {
        std::int32_t frame;
        std::unique_ptr<FrameCacheEntry> entry;
    };

    /// The entry, or null; it lives until it is removed or the cache is cleared.
    FrameCacheEntry* find(std::int32_t frame) const;
    /// Takes the entry over; an entry that stands there already is replaced.
    FrameCacheEntry& insert(std::int32_t frame, std::unique_ptr<FrameCacheEntry> entry);

    void clear();

    std::size_t size() const { return slots_.size(); }

    /// In rising order of frame.
    const std::vector<Slot>& slots() const { return slots_; }

    /// Frames from..to-1, or up to the last one when `to` is 0.
    void invalidate(std::int32_t from, std::int32_t to, Invalidation mode);

    /// The last frame that was looked at beyond a window: rendering on, it is the next to enter.
    struct BeyondWindow {
        std::int32_t frame = 0;
        KeyedFingerprint found; ///< no frame's once the cache is cleared
    };

    BeyondWindow& beyondWindow() { return aside().beyondWindow; }

    /// What keys of this sequence's frames are made with; null where there are no random numbers.
    const KeySecret* secret() { return aside().secret.get(); }

    StateToken state{};

private:
    /// What has no room in the handle.
    struct Aside {
        BeyondWindow beyondWindow;
        std::unique_ptr<const KeySecret> secret = KeySecret::draw();
    };

    Aside& aside();

    std::vector<Slot> slots_;
    std::unique_ptr<Aside> aside_; ///< made when first asked for: sequences are set up without it
};

static_assert(sizeof(FrameCache) == 48);

/// The cache in the sequence handle, or null.
FrameCache* frameCacheOf(const InData& inData);

} // namespace tintwell
