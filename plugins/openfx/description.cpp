#include "plugins/openfx/description.h"

#include "plugins/core/controls.h"

#include <iterator>

namespace tintwell::openfx {
namespace {

constexpr plugins::Controls kInitial;
constexpr char kSteadinessGroup[] = "steadinessGroup";
constexpr char kLevelsGroup[] = "levelsGroup";
constexpr char kNoTemporalAccess[] =
    " (This host does not hand out the frames around the one it renders, so every frame is "
    "corrected by itself.)";

struct Slider {
    const char* name;
    const char* label;
    const char* group; ///< or null
    double maximum;
    double initial;
    double increment;
    int digits;
    const char* hint;
};

struct Checkbox {
    const char* name;
    const char* label;
    const char* group;
    const char* hint;
};

constexpr Slider kTemporalSmoothing = {
    param::kTemporalSmoothing,
    "Temporal Smoothing (seconds)",
    kSteadinessGroup,
    10.0,
    kInitial.temporalSmoothing,
    0.1,
    2,
    "Average the correction over this much time around each frame, so that it does not flicker; 0 "
    "corrects every frame by itself"};
constexpr Checkbox kSceneDetect = {param::kSceneDetect, "Scene Detect", kSteadinessGroup,
                                   "Stop the averaging at scene cuts"};
constexpr Slider kBlackClip = {param::kBlackClip,
                               "Black Clip (%)",
                               kLevelsGroup,
                               10.0,
                               kInitial.blackClip,
                               0.1,
                               2,
                               "Share of the darkest pixels that may become black"};
constexpr Slider kWhiteClip = {param::kWhiteClip,
                               "White Clip (%)",
                               kLevelsGroup,
                               10.0,
                               kInitial.whiteClip,
                               0.1,
                               2,
                               "Share of the lightest pixels that may become white"};
constexpr Checkbox kSnapNeutralMidtones = {
    param::kSnapNeutralMidtones, "Snap Neutral Midtones", kLevelsGroup,
    "Find an average nearly neutral colour and make it neutral with the gammas"};
constexpr Slider kBlendWithOriginal = {
    param::kBlendWithOriginal,
    "Blend With Original (%)",
    nullptr,
    100.0,
    kInitial.blendWithOriginal,
    1.0,
    1,
    "How much of the original is mixed into the result; 100 is the original"};

void require(Status status, const char* what) {
    if (status != status::kOk) {
        throw Failure(status, std::string("the host refuses ") + what);
    }
}

/// Defines the effect's parameters one after the other.
class ParamDefiner {
public:
    ParamDefiner(const HostServices& host, EffectHandle descriptor) : host_(host) {
        require(host.effects().getParamSet(descriptor, &params_), "parameters");
    }

    Properties define(const char* type, const char* name, const char* label,
                      const char* group) const {
        PropertySetHandle handle = nullptr;
        require(host_.params().paramDefine(params_, type, name, &handle), name);
        const Properties properties = host_.properties(handle);
        properties.set(property::kLabel, label);
        if (group != nullptr) {
            properties.set(property::kParamParent, group);
        }
        return properties;
    }

    void group(const char* name, const char* label) const {
        define(value::kParamGroup, name, label, nullptr).set(property::kParamGroupOpen, 1);
    }

    Properties add(const Slider& slider) const {
        const Properties properties =
            define(value::kParamDouble, slider.name, slider.label, slider.group);
        properties.set(property::kParamScriptName, slider.name);
        properties.set(property::kParamHint, slider.hint);
        properties.set(property::kParamDoubleType, value::kDoubleTypePlain);
        properties.set(property::kParamDefault, slider.initial);
        properties.set(property::kParamMin, 0.0);
        properties.set(property::kParamMax, slider.maximum);
        properties.set(property::kParamDisplayMin, 0.0);
        properties.set(property::kParamDisplayMax, slider.maximum);
        properties.set(property::kParamIncrement, slider.increment);
        properties.set(property::kParamDigits, slider.digits);
        return properties;
    }

    Properties add(const Checkbox& checkbox) const {
        const Properties properties =
            define(value::kParamBoolean, checkbox.name, checkbox.label, checkbox.group);
        properties.set(property::kParamScriptName, checkbox.name);
        properties.set(property::kParamHint, checkbox.hint);
        properties.set(property::kParamDefault, 0);
        properties.set(property::kParamAnimates, 0);
        return properties;
    }

private:
    const HostServices& host_;
    ParamSetHandle params_ = nullptr;
};

/// A control over time, of no use in a host that hands out the current frame only.
template <class Control>
void addTemporal(const ParamDefiner& params, const HostServices& host, const Control& control) {
    const Properties properties = params.add(control);
    if (!host.hasTemporalAccess()) {
        properties.set(property::kParamEnabled, 0);
        properties.set(property::kParamHint,
                       (std::string(control.hint) + kNoTemporalAccess).c_str());
    }
}

void defineParams(const HostServices& host, EffectHandle descriptor) {
    const ParamDefiner params(host, descriptor);
    params.group(kSteadinessGroup, "Steadiness");
    addTemporal(params, host, kTemporalSmoothing);
    addTemporal(params, host, kSceneDetect);
    params.group(kLevelsGroup, "Levels");
    params.add(kBlackClip);
    params.add(kWhiteClip);
    params.add(kSnapNeutralMidtones);
    params.add(kBlendWithOriginal);
    const Properties page = params.define(value::kParamPage, "controls", "Controls", nullptr);
    const char* const children[] = {param::kTemporalSmoothing,   param::kSceneDetect,
                                    param::kBlackClip,           param::kWhiteClip,
                                    param::kSnapNeutralMidtones, param::kBlendWithOriginal};
    for (std::size_t i = 0; i < std::size(children); ++i) {
        page.set(property::kParamPageChild, children[i], static_cast<int>(i));
    }
}

void defineClip(const HostServices& host, EffectHandle descriptor, const char* name,
                bool isNeededOverTime) {
    PropertySetHandle handle = nullptr;
    require(host.effects().clipDefine(descriptor, name, &handle), "a clip");
    const Properties clip = host.properties(handle);
    require(clip.set(property::kSupportedComponents, value::kRgba), "RGBA images");
    clip.set(property::kSupportsTiles, 0);
    clip.set(property::kTemporalClipAccess, isNeededOverTime && host.hasTemporalAccess() ? 1 : 0);
    // Levels are a whole frame's, not those of a field.
    clip.set(property::kFieldExtraction, value::kFieldBoth);
}

} // namespace

void describe(const HostServices& host, EffectHandle descriptor) {
    PropertySetHandle handle = nullptr;
    require(host.effects().getPropertySet(descriptor, &handle), "an effect");
    const Properties effect = host.properties(handle);
    effect.set(property::kLabel, "Tintwell");
    effect.set(property::kGrouping, "Color Correction");
    effect.set(property::kPluginDescription,
               "Takes the colour cast and the haze out of video, by itself: for every frame it "
               "finds levels for red, green and blue that make black black and white white, keeps "
               "them steady over time, and stops at cuts.");
    effect.set(property::kVersion, 1, 0);
    effect.set(property::kVersion, 0, 1);
    effect.set(property::kVersionLabel, "1.0");
    require(effect.set(property::kSupportedContexts, value::kFilter), "filters");
    int depths = 0;
    for (const char* const depth : {value::kFloat, value::kShort, value::kByte}) {
        require(effect.set(property::kSupportedPixelDepths, depth, depths++), "a depth");
    }
    effect.set(property::kSingleInstance, 0);
    effect.set(property::kSupportsTiles, 0);
    effect.set(property::kSupportsMultiResolution, 0);
    effect.set(property::kSupportsMultipleClipDepths, 0);
    // Hosts that have no such access leave effects out that want it.
    effect.set(property::kTemporalClipAccess, host.hasTemporalAccess() ? 1 : 0);
    effect.set(property::kRenderThreadSafety, value::kInstanceSafe);
    effect.set(property::kHostFrameThreading, 0);
    effect.set(property::kFieldRenderTwiceAlways, 0);
    effect.set(property::kSequentialRender, 2);
}

void describeInContext(const HostServices& host, EffectHandle descriptor) {
    defineClip(host, descriptor, value::kSourceClip, true);
    defineClip(host, descriptor, value::kOutputClip, false);
    defineParams(host, descriptor);
}

} // namespace tintwell::openfx
