#pragma once

#include "media/clip_info.h"
#include "media/color/clip_to_world.h"
#include "media/neighbours/kept_pictures.h"
#include "media/neighbours/neighbour_source.h"
#include "media/neighbours/recent_worlds.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace tintwell::media {

/// Neighbours from a single reading of a clip: the pictures around the current frame are kept as
/// the reader delivers them, shared with whoever else holds them. The reader has to be as far ahead
/// of the effect as the effect asks for frames, and whoever reads bounds what is kept.
class FrameWindow : public NeighbourSource {
public:
    /// How many pictures of a clip fit in so many bytes.
    static std::int64_t capacity(const ClipInfo& info, std::int64_t bytes);

    /// No frame before `first` will be asked for.
    FrameWindow(const ClipInfo& info, host::SampleDepth depth, std::int64_t first);

    // The reader's side, from one thread.

    /// The clip's frames one after the other from 0.
    void add(std::int64_t index, const AVFrame& picture);
    /// No more frames will come.
    void finish();

    // The effect's side, from one thread. A frame that was not added yet is waited for.

    /// No frame before `first` will be asked for any more.
    void moveTo(std::int64_t first);
    std::shared_ptr<const host::FrameBuffer> frame(std::int32_t index) override;
    std::optional<std::int32_t> frameCount() const override;
    void cancel() override;

private:
    SharedPicture waitFor(std::int64_t index);

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
