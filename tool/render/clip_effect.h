#pragma once

#include "host/effect_instance.h"
#include "host/frame_buffer.h"
#include "host/frame_source.h"
#include "media/neighbours/neighbour_source.h"
#include "media/read/clip_for_effect.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

namespace tintwell::tool {

/// How an effect goes along a clip.
struct EffectCourse {
    host::InstanceOptions instance; ///< `frames` is not used

    media::NeighbourSource* neighbours = nullptr; ///< outlives the effect; null without smoothing
    std::int64_t reach = 0; ///< on how many frames to each side a frame depends

    /// The effect keeps some kilobytes of each frame: 18 MB of so many.
    std::int64_t framesBetweenRenewals = media::kFramesOnOneClock;
};

/// The effect along a clip of any length, the end of which need not be known. Every so many frames
/// it begins anew, so that neither what it keeps of the frames nor its times grow with the clip,
/// and still renders the same.
///
/// Two instances take turns, so that no frame has to be read again for that. While one renders, the
/// frames of the window in which the other will take over are shown to the other too, each as the
/// last one of a clip that ends there: it keeps what it finds of them, and asks for none.
class ClipEffect : private host::FrameSource {
public:
    ClipEffect(const std::shared_ptr<const host::ModuleLibrary>& module,
               const EffectCourse& course);

    ClipEffect(const ClipEffect&) = delete;
    ClipEffect& operator=(const ClipEffect&) = delete;

    /// These three throw what host::EffectInstance's functions do.
    void setUp();
    void setDown();

    /// A frame of the clip, behind those that were rendered before.
    void render(std::int64_t frame, const host::FrameBuffer& input, host::FrameBuffer& output);

    /// Makes the render that is under way, and any later one, fail. Any thread.
    void requestAbort() noexcept;

private:
    std::shared_ptr<const host::FrameBuffer> frame(std::int32_t index) override;

    host::EffectInstance& current() { return *instances_[current_]; }

    host::EffectInstance& next() { return *instances_[1 - current_]; }

    void begin(std::int32_t frame);
    void takeTurns(std::int32_t frame);
    void prepareNext(std::int64_t takeOver);
    void showToNext(std::int32_t index, const host::FrameBuffer& pixels);
    std::int32_t beginningFor(std::int64_t frame) const;
    std::int32_t knownEnd(const host::ClipTiming& timing) const;

    media::NeighbourSource* neighbours_;
    std::int64_t reach_;
    std::int64_t interval_;
    std::array<std::unique_ptr<host::EffectInstance>, 2> instances_;
    std::size_t current_ = 0;
    bool begun_ = false;
    std::int64_t takeOver_ = 0; ///< the frame from which on the next instance renders
    std::int64_t nextShown_ = 0;
    bool isShowing_ = false;
    std::unique_ptr<host::FrameBuffer> unused_;
    std::optional<std::int32_t> frameCount_; ///< of the clip, once it is known to the effect
};

} // namespace tintwell::tool
