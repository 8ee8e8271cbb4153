#include "steady/steady_levels.h"

#include "steady/light_path.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tintwell::steady {
namespace {

/// Levels that take part in an average.
struct Sample {
    RealLevels levels;
    double weight;
    double distance = 0.0; ///< from the average
};

RealLevels inLight(const RealLevels& levels, const std::array<LightMap, 3>& light) {
    RealLevels there = levels;
    for (std::size_t c = 0; c < there.size(); ++c) {
        there[c].black = light[c].of(levels[c].black);
        there[c].white = light[c].of(levels[c].white);
    }
    return there;
}

double distanceOf(const RealLevels& a, const RealLevels& b) {
    double sum = 0.0;
    for (std::size_t c = 0; c < a.size(); ++c) {
        sum += (a[c].black - b[c].black) * (a[c].black - b[c].black) +
               (a[c].white - b[c].white) * (a[c].white - b[c].white);
    }
    return std::sqrt(sum / (2.0 * static_cast<double>(a.size())));
}

RealLevels meanOf(const std::vector<Sample>& samples, double near) {
    RealLevels mean;
    mean.fill({0.0, 0.0, 0.0});
    double sum = 0.0;
    for (const Sample& sample : samples) {
        const double weight = sample.weight * std::min(1.0, near / std::max(sample.distance, near));
        sum += weight;
        for (std::size_t c = 0; c < mean.size(); ++c) {
            mean[c].black += weight * sample.levels[c].black;
            mean[c].white += weight * sample.levels[c].white;
            mean[c].gamma += weight * std::log(sample.levels[c].gamma);
        }
    }
    for (RealLine& line : mean) {
        line = {line.black / sum, line.white / sum, std::exp(line.gamma / sum)};
    }
    return mean;
}

/// The distance that half of the weight is nearer than.
double medianDistance(std::vector<Sample>& samples) {
    std::ranges::sort(samples, {}, &Sample::distance);
    const double half =
        0.5 * std::transform_reduce(samples.begin(), samples.end(), 0.0, std::plus(),
                                    [](const Sample& s) { return s.weight; });
    double passed = 0.0;
    for (const Sample& sample : samples) {
        passed += sample.weight;
        if (passed >= half) {
            return sample.distance;
        }
    }
    return 0.0;
}

/// The mean to which a frame far from most others adds no more than one at their border does. It
/// moves smoothly as frames enter and leave.
RealLevels robustMean(std::vector<Sample>& samples) {
    constexpr int kRounds = 25;
    constexpr double kLeastDistance = 0.25;
    constexpr double kBorder = 1.5; // median distances
    if (samples.empty()) {
        return {};
    }
    RealLevels center = meanOf(samples, 1.0);
    for (int round = 0; round < kRounds; ++round) {
        for (Sample& sample : samples) {
            sample.distance = distanceOf(sample.levels, center);
        }
        const double near = kBorder * std::max(kLeastDistance, medianDistance(samples));
        center = meanOf(samples, near);
    }
    return center;
}

/// From the light of the neighbourhood, as a straight course through it, into that of the frame in
/// its middle. A mean would lag where the neighbourhood lies to one side, at a scene's ends.
std::array<LightMap, 3> fromMeanLight(std::span<const FrameFacts> frames,
                                      const std::vector<Neighbour>& neighbours, double seconds) {
    constexpr double kCalm = 0.05; // square seconds: a few frames make no course
    double weights = 0.0;
    double times = 0.0;
    double squares = 0.0;
    for (const Neighbour& neighbour : neighbours) {
        const double time = frames[neighbour.index].seconds - seconds;
        weights += neighbour.weight;
        times += neighbour.weight * time;
        squares += neighbour.weight * (time * time + kCalm);
    }
    std::array<LightMap, 3> mean;
    for (const Neighbour& neighbour : neighbours) {
        const double time = frames[neighbour.index].seconds - seconds;
        const double weight =
            neighbour.weight * (squares - time * times) / (weights * squares - times * times);
        for (std::size_t c = 0; c < mean.size(); ++c) {
            mean[c].gain += weight * (neighbour.toHere[c].gain - 1.0);
            mean[c].offset += weight * neighbour.toHere[c].offset;
        }
    }
    return mean;
}

std::array<LightMap, 3> inverse(const std::array<LightMap, 3>& light) {
    std::array<LightMap, 3> back;
    std::ranges::transform(light, back.begin(),
                           [](const LightMap& map) { return steady::inverse(map); });
    return back;
}

RealLevels mixed(const RealLevels& former, const RealLevels& later, double share) {
    RealLevels levels;
    for (std::size_t c = 0; c < levels.size(); ++c) {
        levels[c] = {std::lerp(former[c].black, later[c].black, share),
                     std::lerp(former[c].white, later[c].white, share),
                     std::lerp(former[c].gamma, later[c].gamma, share)};
    }
    return levels;
}

/// The frames that may matter to one of them.
struct Neighbourhood {
    std::span<const FrameFacts> frames;
    std::size_t index; ///< of that one
};

Neighbourhood neighbourhoodOf(std::span<const FrameFacts> frames, std::size_t index, double reach) {
    const double time = frames[index].seconds;
    std::size_t begin = index;
    while (begin > 0 && time - frames[begin].seconds < reach) {
        --begin;
    }
    std::size_t end = index;
    while (end < frames.size() && frames[end].seconds - time < reach) {
        ++end;
    }
    begin -= std::min(begin, kSceneContext);
    end += std::min(frames.size() - end, kSceneContext);
    return {frames.subspan(begin, end - begin), index - begin};
}

/// Corrects the frames of a scene as one, each in its light.
void writeScene(std::span<const FrameFacts> frames, std::span<const ScenePlace> places,
                std::span<const std::array<LightMap, 3>> light, std::span<RealLevels> levels) {
    std::vector<Sample> samples;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (frames[i].levels && places[i].counts) {
            samples.push_back({inLight(*frames[i].levels, inverse(light[i])), 1.0});
        }
    }
    const RealLevels mean = robustMean(samples);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        levels[i] = inLight(mean, light[i]);
    }
}

} // namespace

RealLevels steadyLevels(std::span<const FrameFacts> frames, std::size_t index, double seconds) {
    const double time = frames[index].seconds;
    const Neighbourhood around = neighbourhoodOf(frames, index, kReach * seconds);
    const std::vector<ScenePlace> places = scenePlaces(around.frames);
    const auto averaged = [&](std::size_t scenesFrame) {
        std::vector<Sample> samples;
        for (const Neighbour& neighbour :
             neighboursOf(around.frames, places, scenesFrame, time, kReach * seconds)) {
            const FrameFacts& facts = around.frames[neighbour.index];
            if (facts.levels && places[neighbour.index].counts) {
                samples.push_back({inLight(*facts.levels, neighbour.toHere), neighbour.weight});
            }
        }
        return robustMean(samples);
    };
    const auto& crossFade = places[around.index].crossFade;
    return crossFade ? mixed(averaged(crossFade->middle - 1), averaged(crossFade->middle),
                             crossFade->share)
                     : averaged(around.index);
}

std::vector<RealLevels> sceneLevels(std::span<const FrameFacts> clip) {
    constexpr double kLightReach = 4.0; // seconds: what is slower stays in the picture
    const std::vector<ScenePlace> places = scenePlaces(clip);
    std::vector<std::array<LightMap, 3>> light;
    for (std::size_t i = 0; i < clip.size(); ++i) {
        const double time = clip[i].seconds;
        light.push_back(
            fromMeanLight(clip, neighboursOf(clip, places, i, time, kLightReach), time));
    }
    std::vector<RealLevels> levels(clip.size());
    for (std::size_t begin = 0, end = 0; begin < clip.size(); begin = end) {
        end = begin + 1;
        while (end < clip.size() && !places[end].startsScene) {
            ++end;
        }
        const std::size_t count = end - begin;
        writeScene(clip.subspan(begin, count), std::span(places).subspan(begin, count),
                   std::span(light).subspan(begin, count), std::span(levels).subspan(begin, count));
    }
    std::vector<RealLevels> faded = levels;
    for (std::size_t i = 0; i < clip.size(); ++i) {
        const auto& crossFade = places[i].crossFade;
        if (crossFade) {
            faded[i] =
                mixed(levels[crossFade->middle - 1], levels[crossFade->middle], crossFade->share);
        }
    }
    return faded;
}

std::vector<std::size_t> sceneStarts(std::span<const FrameFacts> frames) {
    const std::vector<ScenePlace> places = scenePlaces(frames);
    std::vector<std::size_t> starts;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (places[i].startsScene) {
            starts.push_back(i);
        }
    }
    return starts;
}

} // namespace tintwell::steady
