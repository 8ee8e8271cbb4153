#include "host/effect_instance.h"

#include "host/callbacks.h"
#include "host/service_gate.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tintwell::host {

namespace {

constexpr std::int32_t kQualityDraft = 0;
/// Says who we are to modules that ask; any code but that of the B,G,R,A application would do.
constexpr std::uint32_t kThisApplication = fourCharCode("TWHO");

InData recordFor(const Services& services, const InstanceOptions& options) {
    InData inData{};
    installCallbacks(inData);
    inData.effectReference = services.reference();
    inData.quality = options.highQuality ? kQualityHigh : kQualityDraft;
    inData.applicationCode =
        options.channelOrder == ChannelOrder::Bgra ? kApplicationWithBgraPixels : kThisApplication;
    const ClipTiming& timing = options.timing;
    inData.timeStep = timing.timeStep;
    inData.localTimeStep = timing.timeStep;
    inData.timeScale = timing.timeScale;
    inData.totalDuration = timing.timeOf(timing.frameCount);
    return inData;
}

ClipTiming checked(const ClipTiming& timing) {
    timing.check();
    return timing;
}

std::string messageOf(const OutData& outData) {
    const char* end = std::find(std::begin(outData.message), std::end(outData.message), '\0');
    return {outData.message, end};
}

} // namespace

/// The input of one render. However the render ends, nothing points at its pixels afterwards.
class EffectInstance::CurrentFrame {
public:
    CurrentFrame(EffectInstance& instance, std::int32_t frame, const FrameBuffer& input)
        : instance_(instance) {
        instance_.moveTo(frame, input.inputWorld());
        instance_.services_.setCurrentFrame(frame, &input);
    }

    ~CurrentFrame() {
        instance_.services_.setCurrentFrame(0, nullptr);
        instance_.params_.front() = layerRecord(EffectWorld{});
    }

    CurrentFrame(const CurrentFrame&) = delete;
    CurrentFrame& operator=(const CurrentFrame&) = delete;

private:
    EffectInstance& instance_;
};

EffectInstance::EffectInstance(std::shared_ptr<const ModuleLibrary> module, InstanceOptions options)
    : module_(std::move(module)), services_(checked(options.timing), options.frames),
      inData_(recordFor(services_, options)), firstControls_(std::move(options.controls)) {
    services_.setHook(std::move(options.hook));
}

EffectInstance::~EffectInstance() {
    setDownQuietly();
}

void EffectInstance::setUp() {
    if (!params_.empty()) {
        throw std::logic_error("an effect instance is set up once");
    }
    try {
        sendSetUp();
    } catch (...) {
        setDownQuietly();
        throw;
    }
}

void EffectInstance::sendSetUp() {
    moveTo(0, EffectWorld{});
    // Marked before the command: a set-up that fails half-way may leave something to set down.
    globalOpen_ = true;
    run(Command::GlobalSetup);
    info_ = {outData_.version, outData_.outFlags, outData_.outFlags2};

    run(Command::ParamsSetup);
    const std::size_t controlCount = declaredControls().size();
    if (outData_.parameterCount != static_cast<std::int32_t>(controlCount) + 1) {
        throw std::runtime_error(
            "the effect declared " + std::to_string(controlCount) + " controls but reports " +
            std::to_string(outData_.parameterCount) + " parameters, which should be one more");
    }
    Parameters& parameters = services_.parameters();
    parameters.setTracks(firstControls_ ? *firstControls_ : parameters.initialTracks());
    moveTo(0, EffectWorld{});

    sequenceOpen_ = true;
    run(Command::SequenceSetup);
}

void EffectInstance::renewSequence(std::int32_t firstFrame, std::int32_t frameCount) {
    requireSetUp();
    ClipTiming timing = services_.timing();
    timing.firstFrame = firstFrame;
    timing.frameCount = frameCount;
    timing.check();
    sequenceOpen_ = false;
    run(Command::SequenceSetdown);
    inData_.sequenceData = nullptr;
    setTiming(timing);
    sequenceOpen_ = true;
    run(Command::SequenceSetup);
}

void EffectInstance::setDown() {
    std::exception_ptr firstFailure;
    // The module need not clear the handle that it has disposed.
    const auto sendOnce = [&](Command command, bool& open, HostHandle& handle) {
        try {
            if (std::exchange(open, false)) {
                run(command);
            }
        } catch (const CommandError&) {
            if (!firstFailure) {
                firstFailure = std::current_exception();
            }
        }
        handle = nullptr;
    };
    sendOnce(Command::SequenceSetdown, sequenceOpen_, inData_.sequenceData);
    sendOnce(Command::GlobalSetdown, globalOpen_, inData_.globalData);
    if (firstFailure) {
        std::rethrow_exception(firstFailure);
    }
}

void EffectInstance::setDownQuietly() noexcept {
    try {
        setDown();
    } catch (...) { // NOLINT(bugprone-empty-catch): nobody is left to tell
    }
}

void EffectInstance::requireSetUp() const {
    if (!sequenceOpen_) {
        throw std::logic_error("the effect instance is not set up");
    }
}

std::string EffectInstance::about() {
    run(Command::About);
    return messageOf(outData_);
}

void EffectInstance::setControls(const ControlTracks& tracks, std::int32_t frame) {
    requireSetUp();
    const ControlTracks before = controls();
    services_.parameters().setTracks(tracks);
    moveTo(frame, EffectWorld{});
    for (const ControlDeclaration& declared : declaredControls()) {
        const bool tracked = static_cast<std::size_t>(declared.index) <= kControlCount;
        const auto control = static_cast<Control>(declared.index);
        if (tracked && declared.supervised() && before[control] != tracks[control]) {
            UserChangedParamExtra extra{declared.index};
            run(Command::UserChangedParam, nullptr, &extra);
        }
    }
    run(Command::UpdateParamsUI);
}

void EffectInstance::setControl(Control control, const ControlTrack& track, std::int32_t frame) {
    ControlTracks tracks = controls();
    tracks[control] = track;
    setControls(tracks, frame);
}

void EffectInstance::setFrameCount(std::int32_t frames) {
    ClipTiming timing = services_.timing();
    timing.frameCount = frames;
    timing.check();
    setTiming(timing);
}

void EffectInstance::setTiming(const ClipTiming& timing) {
    services_.setTiming(timing);
    inData_.totalDuration = timing.timeOf(timing.frameCount);
}

bool EffectInstance::isDisabled(Control control) const {
    const auto index = static_cast<std::int32_t>(control);
    return services_.parameters().isControl(index) && services_.parameters().isDisabled(index);
}

void EffectInstance::render(std::int32_t frame, const FrameBuffer& input, FrameBuffer& output) {
    requireSetUp();
    if (frame < timing().firstFrame || frame >= frameCount()) {
        throw std::out_of_range("frame " + std::to_string(frame) + " is outside the clip");
    }
    const CurrentFrame current(*this, frame, input);
    EffectWorld outputWorld = output.world();
    run(Command::FrameSetup, &outputWorld);
    run(Command::Render, &outputWorld);
}

ErrorCode EffectInstance::send(Command command, void* extra) {
    return call(command, nullptr, extra);
}

/// Builds the parameter array for a frame and sets the current time to it.
void EffectInstance::moveTo(std::int32_t frame, const EffectWorld& input) {
    inData_.currentTime = services_.timing().timeOf(frame);
    const auto count = static_cast<std::int32_t>(declaredControls().size());
    params_.clear();
    params_.push_back(layerRecord(input));
    for (std::int32_t index = 1; index <= count; ++index) {
        params_.push_back(services_.parameters().recordAt(index, frame));
    }
    paramPointers_.clear();
    for (ParamDef& record : params_) {
        paramPointers_.push_back(&record);
    }
}

/// The one place where the module is called. Every command starts with an empty out record that
/// carries only the handles, and the handles it leaves there are passed to the next command.
ErrorCode EffectInstance::call(Command command, EffectWorld* output, void* extra) {
    outData_ = OutData{};
    outData_.globalData = inData_.globalData;
    outData_.sequenceData = inData_.sequenceData;
    services_.takeFailure();
    const RunningCommand running(services_);
    const ErrorCode code = module_->entryPoint()(static_cast<std::int32_t>(command), &inData_,
                                                 &outData_, paramPointers_.data(), output, extra);
    inData_.globalData = outData_.globalData;
    inData_.sequenceData = outData_.sequenceData;
    return code;
}

void EffectInstance::run(Command command, EffectWorld* output, void* extra) {
    const ErrorCode code = call(command, output, extra);
    if (code != error::kNone) {
        const bool showRequested = (outData_.outFlags & kOutFlagShowError) != 0;
        throw CommandError(command, code, showRequested, services_.takeFailure());
    }
}

} // namespace tintwell::host
