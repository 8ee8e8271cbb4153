#pragma once

#include "clips.h"
#include "tone_curves.h"

#include <string>
#include <vector>

namespace tintwell::bench {

/// How steady a way of correcting is on a clip.
struct Steadiness {
    std::string way;
    double jitter = 0.0;
    double shake = 0.0;
};

/// The clip as it is, and corrected in each way of ours.
std::vector<Steadiness> ourSteadiness(const ClipDefinition& clip);

/// How well the cuts of a clip are found.
struct CutsFound {
    int right = 0;
    int wrong = 0;
    int missed = 0;
};

CutsFound findCuts(const ClipDefinition& clip);

} // namespace tintwell::bench
