#pragma once

#include "plugins/openfx/host_services.h"

namespace tintwell::openfx {

/// Names of the parameters. Hosts keep projects by them: they never change.
namespace param {
inline constexpr char kTemporalSmoothing[] = "temporalSmoothing";
inline constexpr char kSceneDetect[] = "sceneDetect";
inline constexpr char kBlackClip[] = "blackClip";
inline constexpr char kWhiteClip[] = "whiteClip";
inline constexpr char kSnapNeutralMidtones[] = "snapNeutralMidtones";
inline constexpr char kBlendWithOriginal[] = "blendWithOriginal";
} // namespace param

/// Tells the host what the effect can do and needs.
void describe(const HostServices& host, EffectHandle descriptor);

/// Tells the host the effect's clips and parameters.
void describeInContext(const HostServices& host, EffectHandle descriptor);

} // namespace tintwell::openfx
