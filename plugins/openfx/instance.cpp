#include "plugins/openfx/instance.h"

#include "module/apply/blend.h"
#include "plugins/core/frame_correction.h"
#include "plugins/openfx/description.h"

#include <algorithm>
#include <cstring>

namespace tintwell::openfx {
namespace {

PropertySetHandle propertySetOf(const HostServices& host, ClipHandle clip) {
    PropertySetHandle handle = nullptr;
    return host.effects().clipGetPropertySet(clip, &handle) == status::kOk ? handle : nullptr;
}

/// Makes an area transparent black: what the source does not cover.
void clear(const plugins::TargetFrame& frame) {
    const std::size_t rowBytes = frame.rowPixels() * static_cast<std::size_t>(frame.pixelStep);
    for (std::int32_t y = 0; y < frame.rows(); ++y) {
        std::memset(frame.row(0, y), 0, rowBytes);
    }
}

} // namespace

/// The frames of the source around the one that is rendered.
class Instance::SourceNeighbours final : public plugins::Neighbours {
public:
    SourceNeighbours(Instance& instance, std::int64_t current)
        : instance_(instance), span_(instance.span(current)) {}

    plugins::SharedFinding at(std::int64_t frame) override {
        if (!span_.contains(frame)) {
            return nullptr;
        }
        const auto time = static_cast<double>(frame);
        const AnalysisControls controls = instance_.controlsAt(time).analysis;
        if (plugins::SharedFinding known = instance_.findings_.recall(frame, controls)) {
            return known;
        }
        instance_.checkAbort();
        try {
            const ClipImage image(instance_.host_, instance_.source_, time);
            return image.isThere() ? instance_.findings_.see(
                                         frame, image.readablePixels(image.bounds()), controls)
                                   : nullptr;
        } catch (const Failure& failure) {
            if (failure.status() != status::kImageFormat) {
                throw;
            }
            return nullptr; // some hosts hand out images of nothing behind a clip's end
        }
    }

private:
    Instance& instance_;
    FrameSpan span_;
};

Instance::Instance(const HostServices& host, plugins::FindingsStore& store, EffectHandle effect)
    : host_(host), effect_(effect), findings_(store) {
    const auto require = [](Status status, const char* what) {
        if (status != status::kOk) {
            throw Failure(status, std::string("the host has not made ") + what);
        }
    };
    const ImageEffectSuite& effects = host.effects();
    require(effects.clipGetHandle(effect, value::kSourceClip, &source_, nullptr), "the source");
    require(effects.clipGetHandle(effect, value::kOutputClip, &output_, nullptr), "the output");
    ParamSetHandle params = nullptr;
    require(effects.getParamSet(effect, &params), "the parameters");
    const auto get = [&](const char* name, ParamHandle& handle) {
        require(host.params().paramGetHandle(params, name, &handle, nullptr), name);
    };
    get(param::kTemporalSmoothing, temporalSmoothing_);
    get(param::kSceneDetect, sceneDetect_);
    get(param::kBlackClip, blackClip_);
    get(param::kWhiteClip, whiteClip_);
    get(param::kSnapNeutralMidtones, snapNeutralMidtones_);
    get(param::kBlendWithOriginal, blendWithOriginal_);
}

double Instance::doubleAt(ParamHandle param, double time, double otherwise) const {
    double value = otherwise;
    const Status got = host_.params().paramGetValueAtTime(param, time, &value);
    return got == status::kOk ? value : otherwise;
}

bool Instance::booleanAt(ParamHandle param, double time) const {
    int value = 0;
    const Status got = host_.params().paramGetValueAtTime(param, time, &value);
    return got == status::kOk && value != 0;
}

ControlValues Instance::controlsAt(double time) const {
    const plugins::Controls initial;
    plugins::Controls controls;
    controls.temporalSmoothing = doubleAt(temporalSmoothing_, time, initial.temporalSmoothing);
    controls.sceneDetect = booleanAt(sceneDetect_, time);
    controls.blackClip = doubleAt(blackClip_, time, initial.blackClip);
    controls.whiteClip = doubleAt(whiteClip_, time, initial.whiteClip);
    controls.snapNeutralMidtones = booleanAt(snapNeutralMidtones_, time);
    controls.blendWithOriginal = doubleAt(blendWithOriginal_, time, initial.blendWithOriginal);
    return plugins::valuesOf(controls);
}

FrameSpan Instance::span(std::int64_t current) const {
    return frameSpanOf(host_.properties(propertySetOf(host_, source_)), current);
}

plugins::FrameRate Instance::rate() const {
    PropertySetHandle own = nullptr;
    host_.effects().getPropertySet(effect_, &own);
    return frameRateOf(host_.properties(propertySetOf(host_, source_)), host_.properties(own));
}

void Instance::checkAbort() const {
    if (host_.effects().abort != nullptr && host_.effects().abort(effect_) != 0) {
        throw Failure(status::kFailed, ""); // the host knows why
    }
}

/// The window that is smoothed over; none where the host has no neighbours to look at.
double Instance::smoothingSeconds(const ControlValues& controls, bool isDraft) const {
    return isDraft || !host_.hasTemporalAccess() ? 0.0 : controls.smoothingSeconds;
}

LevelsRecord Instance::findLevels(const ClipImage& source, double time,
                                  const ControlValues& controls, double seconds) {
    const plugins::SourceFrame pixels = source.readablePixels(source.bounds());
    if (seconds == 0.0) {
        return plugins::AnalyzedPixels(pixels).find(controls.analysis).levels;
    }
    const FrameTime current = frameTimeOf(time);
    const plugins::SharedFinding own = current.isWhole
                                           ? findings_.see(current.frame, pixels, controls.analysis)
                                           : findings_.look(pixels, controls.analysis);
    const plugins::SteadyRequest request = {current.frame, rate(), seconds,
                                            controls.sceneDetect != 0};
    SourceNeighbours neighbours(*this, current.frame);
    const LevelsRecord levels = plugins::steadyLevels(*own, request, neighbours);
    const std::int64_t kept = 2 * plugins::windowReach(request.rate, seconds);
    findings_.keepOnly(current.frame - kept, current.frame + kept);
    return levels;
}

void Instance::render(const Properties& arguments) {
    const double time = arguments.getDouble(property::kTime).value_or(0.0);
    const bool isDraft = arguments.getInt(property::kRenderQualityDraft).value_or(0) != 0;
    const ClipImage output(host_, output_, time);
    if (!output.isThere()) {
        throw Failure(status::kFailed, "Tintwell was given no image to render into");
    }
    const auto window = arguments.getRectangle(property::kRenderWindow);
    const Area wanted =
        window ? output.bounds().within({(*window)[0], (*window)[1], (*window)[2], (*window)[3]})
               : output.bounds();
    if (wanted.isEmpty()) {
        return;
    }
    const ClipImage source(host_, source_, time);
    const Area covered = source.isThere() ? wanted.within(source.bounds()) : Area{};
    if (covered.isEmpty() || covered != wanted) {
        clear(output.pixels(wanted));
    }
    if (covered.isEmpty()) {
        return;
    }
    if (!output.hasSamplesOf(source)) {
        throw Failure(status::kImageFormat,
                      "Tintwell renders images of the samples and components that its source has");
    }
    const ControlValues controls = controlsAt(time);
    plugins::Correction correction;
    correction.blend = controls.blend;
    if (controls.blend < kFullBlend) {
        correction.levels = findLevels(source, time, controls, smoothingSeconds(controls, isDraft));
    }
    plugins::correct(source.readablePixels(covered), output.pixels(covered), correction,
                     [this] { checkAbort(); });
}

bool Instance::isIdentity(double time) const {
    return controlsAt(time).blend >= kFullBlend;
}

void Instance::tellFramesNeeded(double time, const Properties& answer) const {
    double first = time;
    double last = time;
    const std::int64_t reach =
        plugins::windowReach(rate(), smoothingSeconds(controlsAt(time), false));
    if (reach > 0) {
        const std::int64_t current = frameTimeOf(time).frame;
        const FrameSpan clip = span(current);
        first = std::min(time, static_cast<double>(std::max(clip.first, current - reach)));
        last = std::max(time, static_cast<double>(std::min(clip.last, current + reach)));
    }
    answer.set(property::kSourceFrameRange, first, 0);
    answer.set(property::kSourceFrameRange, last, 1);
}

bool Instance::tellRegionOfInterest(double time, const Properties& answer) const {
    RectD region{};
    if (host_.effects().clipGetRegionOfDefinition(source_, time, &region) != status::kOk) {
        return false;
    }
    int index = 0;
    for (const double edge : {region.x1, region.y1, region.x2, region.y2}) {
        answer.set(property::kSourceRegionOfInterest, edge, index++);
    }
    return true;
}

} // namespace tintwell::openfx
