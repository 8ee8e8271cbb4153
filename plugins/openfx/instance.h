#pragma once

#include "plugins/core/clip_findings.h"
#include "plugins/core/controls.h"
#include "plugins/openfx/clip_image.h"
#include "plugins/openfx/clip_timing.h"
#include "plugins/openfx/host_services.h"

namespace tintwell::openfx {

/// One use of the effect in a host's project. Each function answers an action; a host that calls
/// several of them at once, or again while one waits for an image, does no harm.
class Instance {
public:
    /// Host and store outlive it. Throws Failure where the host has not made what was described.
    Instance(const HostServices& host, plugins::FindingsStore& store, EffectHandle effect);

    /// Writes the output's pixels in the window. Throws Failure, std::bad_alloc.
    void render(const Properties& arguments);

    /// Whether the source at this time is what would be rendered.
    bool isIdentity(double time) const;

    /// The frames of the source that a frame depends on, as a range of times.
    void tellFramesNeeded(double time, const Properties& answer) const;

    /// The area of the source that a frame depends on: all of it, whatever part is rendered. False
    /// where the host does not know it.
    bool tellRegionOfInterest(double time, const Properties& answer) const;

    /// The clip may have changed.
    void forgetFrames() { findings_.forget(); }

private:
    class SourceNeighbours;

    ControlValues controlsAt(double time) const;
    double doubleAt(ParamHandle param, double time, double otherwise) const;
    bool booleanAt(ParamHandle param, double time) const;
    double smoothingSeconds(const ControlValues& controls, bool isDraft) const;
    FrameSpan span(std::int64_t current) const;
    plugins::FrameRate rate() const;
    LevelsRecord findLevels(const ClipImage& source, double time, const ControlValues& controls,
                            double seconds);
    void checkAbort() const;

    const HostServices& host_;
    EffectHandle effect_;
    ClipHandle source_ = nullptr;
    ClipHandle output_ = nullptr;
    ParamHandle temporalSmoothing_ = nullptr;
    ParamHandle sceneDetect_ = nullptr;
    ParamHandle blackClip_ = nullptr;
    ParamHandle whiteClip_ = nullptr;
    ParamHandle snapNeutralMidtones_ = nullptr;
    ParamHandle blendWithOriginal_ = nullptr;
    plugins::ClipFindings findings_;
};

} // namespace tintwell::openfx
