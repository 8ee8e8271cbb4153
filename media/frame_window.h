#pragma once

#include "media/clip_info.h"
#include "media/clip_to_world.h"
#include "media/kept_pictures.h"
#include "media/neighbour_source.h"
#include "media/recent_worlds.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace tintwell::media {

/// How many frames before and after the current one an effect may ask for.
struct WindowReach {
    std::int64_t before = 0;
    std::int64_t after = 0;

    std::int64_t frames() const { return before + 1 + after; }
};

/// Neighbours from a single reading of a clip: the pictures around the current frame are kept as
/// the reader delivers them, shared with whoever else holds them. The reader has to be `after`
/// frames ahead of the effect.
class FrameWindow : public NeighbourSource {
public:
    /// How many pictures of a clip fit in so many bytes.
    static std::int64_t capacity(const ClipInfo& info, std::int64_t bytes);

    /// `current` is the frame that is rendered first.
    FrameWindow(const ClipInfo& info, host::SampleDepth depth, WindowReach reach,
                std::int64_t current);

    std::int64_t readAhead() const { return reach_.after; }

    // The reader's side, from one thread.

    /// The clip's frames one after the other from 0.
    void add(std::int64_t index, const AVFrame& picture);
    /// No more frames will come.
    void finish();

    // The effect's side, from one thread. A frame that was not added yet is waited for.

    /// The next frame to be rendered is `current`, or a later one.
    void moveTo(std::int64_t current);
    std::shared_ptr<const host::FrameBuffer> frame(std::int32_t index) override;
    std::optional<std::int32_t> frameCount() const override;
    void cancel() override;

private:
    SharedPicture waitFor(std::int64_t index);

    WindowReach reach_;
    ClipToWorld toWorld_;
    RecentWorlds worlds_;

    mutable std::mutex mutex_; ///< of what follows
    std::condition_variable changed_;
    KeptPictures kept_;
    std::int64_t first_;     ///< none before this one will be asked for
    std::int64_t added_ = 0; ///< how many have come, kept or not
    bool finished_ = false;
    std::optional<std::int32_t> frameCount_;
    bool cancelled_ = false;
};

} // namespace tintwell::media
