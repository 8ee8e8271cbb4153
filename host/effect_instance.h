#pragma once

#include "host/clip_timing.h"
#include "host/command_error.h"
#include "host/control_track.h"
#include "host/frame_buffer.h"
#include "host/frame_source.h"
#include "host/ledger.h"
#include "host/module_library.h"
#include "host/parameters.h"
#include "host/services.h"
#include "module/interface/host_interface.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tintwell::host {

struct InstanceOptions {
    ClipTiming timing;
    bool highQuality = true;
    /// Order of the channels in every frame of this instance.
    ChannelOrder channelOrder = ChannelOrder::Argb;
    /// Where neighbouring frames come from. Not owned, outlives the instance; null: there are none.
    FrameSource* frames = nullptr;
    /// Empty: the initial values that the module declares.
    std::optional<ControlTracks> controls;
    ServiceHook hook;
};

/// What the module tells about itself in GlobalSetup.
struct ModuleInfo {
    std::uint32_t version = 0;
    std::uint32_t outFlags = 0;
    std::uint32_t outFlags2 = 0;
};

/// One use of an effect in a timeline: sets the module up, sends it commands with everything they
/// need, and sets it down. One member function runs at a time, on any thread; only requestAbort may
/// be called meanwhile from another. Instances on different threads are independent of each other.
///
/// Functions that send commands throw CommandError when the module answers with a code.
class EffectInstance {
public:
    /// Sends nothing yet. Throws std::invalid_argument for a timing out of range.
    EffectInstance(std::shared_ptr<const ModuleLibrary> module, InstanceOptions options);

    /// Sets the module down if setDown has not, and ignores what it answers.
    ~EffectInstance();

    EffectInstance(const EffectInstance&) = delete;
    EffectInstance& operator=(const EffectInstance&) = delete;

    /// Sends GlobalSetup, ParamsSetup and SequenceSetup; once, before everything below. When one
    /// fails, what was set up is set down again and its CommandError thrown.
    void setUp();

    const ModuleInfo& info() const { return info_; }

    /// The module's description of itself, several lines.
    std::string about();

    const std::vector<ControlDeclaration>& declaredControls() const {
        return services_.parameters().declarations();
    }

    const ControlTracks& controls() const { return services_.parameters().tracks(); }

    /// Changes controls the way a user does who looks at `frame`: the module hears of each changed
    /// control that it wants to be told of (UserChangedParam), and then brings its control panel up
    /// to date (UpdateParamsUI). Throws std::logic_error on an instance that is not set up, as
    /// render does.
    void setControls(const ControlTracks& tracks, std::int32_t frame = 0);
    void setControl(Control control, const ControlTrack& track, std::int32_t frame = 0);

    const ClipTiming& timing() const { return services_.timing(); }

    std::int32_t frameCount() const { return timing().frameCount; }

    /// From now on the clip has so many frames, as when its end has been found. Between commands;
    /// throws std::invalid_argument as the constructor does.
    void setFrameCount(std::int32_t frames);

    /// Whether the module's control panel shows a control greyed out.
    bool isDisabled(Control control) const;

    /// Sends FrameSetup and Render for a frame of the clip (std::out_of_range for another). Both
    /// buffers are of the same size and depth; the output's pixels are what the module wrote so
    /// far when it fails. CommandError with code 517 when an abort was requested.
    void render(std::int32_t frame, const FrameBuffer& input, FrameBuffer& output);

    /// Makes the module stop at its next question whether to go on, in this render or a later one,
    /// until clearAbort. Any thread, any time.
    void requestAbort() noexcept { services_.abortFlag() = true; }

    void clearAbort() noexcept { services_.abortFlag() = false; }

    /// Sends SequenceSetdown and SequenceSetup: the module forgets what it has kept of the clip's
    /// frames, and asks again for those that it still needs. From now on the clip begins for it
    /// with this frame. Throws std::invalid_argument as the constructor does.
    void renewSequence(std::int32_t firstFrame, std::int32_t frameCount);

    /// Sends one command, with the controls' values at the frame last rendered, or changed at, and
    /// gives the module's code. For commands that the functions above do not send, such as
    /// SequenceResetup.
    ErrorCode send(Command command, void* extra = nullptr);

    /// Sends SequenceSetdown and GlobalSetdown. Both are sent even if one fails; throws for the
    /// first that did. A second call does nothing.
    void setDown();

    /// What the module holds and has used; after setDown it should hold nothing.
    Ledger ledger() const { return services_.ledger(); }

    /// See ServiceHook; an empty one takes it away.
    void setHook(ServiceHook hook) { services_.setHook(std::move(hook)); }

private:
    class CurrentFrame;

    void sendSetUp();
    void setTiming(const ClipTiming& timing);
    void setDownQuietly() noexcept;
    void requireSetUp() const;
    void moveTo(std::int32_t frame, const EffectWorld& input);
    ErrorCode call(Command command, EffectWorld* output, void* extra);
    void run(Command command, EffectWorld* output = nullptr, void* extra = nullptr);

    std::shared_ptr<const ModuleLibrary> module_;
    Services services_;
    InData inData_{};
    OutData outData_{};
    std::vector<ParamDef> params_;
    std::vector<ParamDef*> paramPointers_;
    ModuleInfo info_;
    std::optional<ControlTracks> firstControls_;
    bool globalOpen_ = false;
    bool sequenceOpen_ = false;
};

} // namespace tintwell::host
