#include "steady/scenes.h"

#include <algorithm>
#include <cmath>

namespace tintwell::steady {
namespace {

/// Below this contrast a frame shows nothing.
constexpr double kBlank = 1.5;

/// Whether the view leaps from one frame to the next, while it moves less before and after: a cut
/// between two views of one place, whose pictures can be laid on each other.
bool isLeap(std::span<const FrameFacts> frames, std::size_t index) {
    constexpr double kLeap = 0.06; // of the frame's width
    constexpr double kTimesOthers = 3.0;
    const auto movedAt = [&](std::size_t i) {
        const bool isKnown = i > 0 && i < frames.size() && !isBreak(frames[i].fromPrevious);
        const Motion& motion = frames[i].fromPrevious.motion;
        return isKnown ? std::hypot(motion.x, motion.y) / kColumns : 0.0;
    };
    const double others = std::max(movedAt(index - 1), movedAt(index + 1));
    return movedAt(index) > std::max(kLeap, kTimesOthers * others);
}

void suspend(ScenePlace& place) {
    place.counts = false;
    place.light = nullptr;
}

/// What lies between a break and its resumption is no scene of its own.
void joinInterruptions(std::span<const FrameFacts> frames, std::vector<ScenePlace>& places) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto& resumption = frames[i].resumption;
        if (!resumption || resumption->after > i) {
            continue;
        }
        for (std::size_t k = i - resumption->after + 1; k < i; ++k) {
            places[k].startsScene = false;
            suspend(places[k]);
        }
        places[i].startsScene = false;
        places[i].light = &resumption->change.light;
    }
}

constexpr std::size_t kLongestFade = kSceneContext - 4;

/// Walks from a frame at a blank one's side away from it for as long as the picture rises.
void markFade(std::span<const FrameFacts> frames, std::vector<ScenePlace>& places, std::size_t from,
              bool forward) {
    constexpr double kRise = 1.004;
    constexpr std::size_t kLookAhead = 3; // grain may outweigh a slow rise
    const auto within = [&](std::size_t steps) {
        return forward ? from + steps < frames.size() : steps <= from;
    };
    const auto at = [&](std::size_t steps) { return forward ? from + steps : from - steps; };
    for (std::size_t step = 0; step < kLongestFade && within(step); ++step) {
        const std::size_t frame = at(step);
        if (step > 0 && places[forward ? frame : frame + 1].startsScene) {
            return;
        }
        bool rises = false;
        for (std::size_t ahead = 1; ahead <= kLookAhead && within(step + ahead); ++ahead) {
            rises = rises ||
                    frames[at(step + ahead)].contrast >
                        frames[frame].contrast * (1.0 + (kRise - 1.0) * static_cast<double>(ahead));
        }
        if (!rises) {
            return;
        }
        suspend(places[frame]);
        if (frame + 1 < places.size()) {
            places[frame + 1].light = nullptr;
        }
    }
}

/// A blank stretch belongs half to the scene before and half to the one after it, a long one to
/// the latter for the greater part; what rises from it or sinks to it is a fade.
void divideBlanks(std::span<const FrameFacts> frames, std::vector<ScenePlace>& places) {
    const auto isBlank = [&](std::size_t i) { return frames[i].contrast < kBlank; };
    for (std::size_t begin = 0; begin < frames.size(); ++begin) {
        if (!isBlank(begin) || !places[begin].counts) { // or an interruption
            continue;
        }
        std::size_t end = begin;
        while (end < frames.size() && isBlank(end)) {
            places[end].startsScene = false;
            suspend(places[end]);
            ++end;
        }
        const bool isLong = end - begin > kSceneContext;
        if (begin > 0 && (isLong || end < frames.size())) {
            places[isLong ? begin + kSceneContext / 2 : (begin + end) / 2].startsScene = true;
        }
        if (end < frames.size()) {
            places[end].startsScene = false;
            places[end].light = nullptr;
            markFade(frames, places, end, true);
        }
        if (begin > 0) {
            markFade(frames, places, begin - 1, false);
        }
        begin = end;
    }
}

/// A cross-fade from `begin` to `end`: neither scene's levels, and no change of light.
void crossFade(std::vector<ScenePlace>& places, std::size_t begin, std::size_t end) {
    const std::size_t middle = (begin + end) / 2; // above 0: a fade is not that short
    for (std::size_t i = begin; i < end; ++i) {
        suspend(places[i]);
        places[i].startsScene = i == middle;
        places[i].crossFade = {middle, static_cast<double>(i + 1 - begin) /
                                           static_cast<double>(end + 1 - begin)};
    }
    places[end].light = nullptr;
}

/// In a cross-fade the texture of before is lost although no two neighbours differ. Where it is
/// found again all the time before and after, this is told from water and leaves, whose texture
/// does not last.
void findCrossFades(std::span<const FrameFacts> frames, std::vector<ScenePlace>& places) {
    constexpr double kLasting = 0.9;
    constexpr double kLost = 0.7;
    constexpr std::size_t kLongest = kSceneContext - kFarBack;
    constexpr std::size_t kBefore = kFarBack * 2 / 3; // the loss is noticed
    constexpr std::size_t kMargin = kFarBack / 3;
    const auto lasts = [&](std::size_t i) {
        return frames[i].farLikeness && *frames[i].farLikeness >= kLasting;
    };
    for (std::size_t first = 1; first < frames.size(); ++first) {
        if (!lasts(first - 1) || lasts(first)) {
            continue;
        }
        double least = 1.0;
        std::size_t last = first;
        while (last < frames.size() && frames[last].farLikeness && !lasts(last)) {
            least = std::min(least, *frames[last].farLikeness);
            ++last;
        }
        const bool isFade = last < frames.size() && lasts(last) && least < kLost &&
                            last - first <= kLongest && last >= first + kMargin;
        if (isFade && first >= kBefore) {
            const std::size_t begin = first - kBefore;
            crossFade(places, begin, std::max(begin + kMargin, last - kFarBack + kMargin));
        }
    }
}

} // namespace

std::vector<ScenePlace> scenePlaces(std::span<const FrameFacts> frames) {
    std::vector<ScenePlace> places(frames.size());
    for (std::size_t i = 1; i < frames.size(); ++i) {
        places[i].startsScene = isBreak(frames[i].fromPrevious) || isLeap(frames, i);
        places[i].light = places[i].startsScene ? nullptr : &frames[i].fromPrevious.light;
    }
    joinInterruptions(frames, places);
    divideBlanks(frames, places);
    findCrossFades(frames, places);
    if (!places.empty()) {
        places.front().startsScene = true;
        places.front().light = nullptr;
    }
    return places;
}

} // namespace tintwell::steady
