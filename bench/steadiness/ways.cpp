#include "ways.h"

#include "host/frame_buffer.h"
#include "inspect/correction_finder.h"
#include "inspect/level_curves.h"
#include "known_facts.h"
#include "steady/real_tables.h"
#include "steady/steady_levels.h"

#include <algorithm>
#include <cstring>

namespace tintwell::bench {
namespace {

using inspect::LevelCurves;

constexpr double kSmoothing = 2.0;
constexpr double kSteadySeconds = 2.0;

host::FrameBuffer bufferOf(const Picture& picture) {
    host::FrameBuffer buffer(static_cast<std::int32_t>(picture.width),
                             static_cast<std::int32_t>(picture.height), host::SampleDepth::Bits8);
    const std::vector<std::byte> pixels = argbOf(picture);
    const std::size_t rowBytes = 4 * picture.width;
    for (std::size_t y = 0; y < picture.height; ++y) {
        std::memcpy(buffer.row(static_cast<std::int32_t>(y)), &pixels[y * rowBytes], rowBytes);
    }
    return buffer;
}

/// The levels that the effect finds of each frame, and smooths.
class ModuleWays {
public:
    explicit ModuleWays(const ClipDefinition& clip) : finder_(optionsFor(clip)) {}

    void add(std::size_t frame, const host::FrameBuffer& pixels) {
        finder_.add(static_cast<std::int64_t>(frame), static_cast<double>(frame) / kFrameRate,
                    pixels);
        take();
    }

    void finish() {
        finder_.finish();
        take();
    }

    std::vector<LevelCurves> found;
    std::vector<LevelCurves> smoothed;

private:
    static inspect::FinderOptions optionsFor(const ClipDefinition& clip) {
        inspect::FinderOptions options;
        options.timing = {static_cast<std::int32_t>(clip.frames), 1, 25};
        options.controls[host::Control::BlackClip] =
            host::ControlTrack(kFoundWith.blackClip / 100.0);
        options.controls[host::Control::WhiteClip] =
            host::ControlTrack(kFoundWith.whiteClip / 100.0);
        options.controls[host::Control::TemporalSmoothing] = host::ControlTrack(kSmoothing);
        options.controls[host::Control::SceneDetect] = host::ControlTrack(1.0);
        return options;
    }

    void take() {
        while (const auto findings = finder_.next()) {
            found.push_back(inspect::curvesOf(findings->found));
            smoothed.push_back(inspect::curvesOf(findings->smoothed));
        }
    }

    inspect::CorrectionFinder finder_;
};

LevelCurves curvesOf(const steady::RealLevels& levels) {
    const auto tables = steady::realTables(levels, false);
    return {tables[1].table8, tables[2].table8, tables[3].table8};
}

Picture corrected(const Picture& input, const LevelCurves& curves) {
    Picture output = input;
    for (std::size_t c = 0; c < 3; ++c) {
        for (float& level : output.planes[c]) {
            level = curves[c][static_cast<std::size_t>(level)];
        }
    }
    return output;
}

struct Way {
    std::string name;
    std::vector<LevelCurves> curves; ///< none for the clip as it is
    CurveChanges changes;
};

bool beginsShot(const ClipDefinition& clip, std::size_t frame) {
    return frame == 0 || std::ranges::find(clip.cuts, frame) != clip.cuts.end();
}

steady::RealLevels moved(steady::RealLevels levels, const Light& light, bool back) {
    for (std::size_t c = 0; c < levels.size(); ++c) {
        const auto [gain, offset] = light[c];
        for (double* level : {&levels[c].black, &levels[c].white}) {
            *level = back ? (*level - offset) / gain : gain * *level + offset;
        }
    }
    return levels;
}

/// What whole levels leave at best: one correction a shot, moved by the true light.
std::vector<LevelCurves> floorOf(const ClipDefinition& clip,
                                 const std::vector<steady::RealLevels>& scenes) {
    std::vector<LevelCurves> curves;
    steady::RealLevels shot;
    for (std::size_t frame = 0; frame < clip.frames; ++frame) {
        const Light light = clip.flicker(frame);
        if (beginsShot(clip, frame)) {
            shot = moved(scenes[frame], light, true);
        }
        curves.push_back(curvesOf(moved(shot, light, false)));
    }
    return curves;
}

std::vector<Way> waysFor(const ClipDefinition& clip) {
    ModuleWays module(clip);
    const std::vector<steady::FrameFacts> facts =
        factsOf(clip, [&](std::size_t frame, const Picture& picture) {
            module.add(frame, bufferOf(picture));
        });
    module.finish();
    std::vector<LevelCurves> steady;
    for (std::size_t frame = 0; frame < clip.frames; ++frame) {
        steady.push_back(curvesOf(steady::steadyLevels(facts, frame, kSteadySeconds)));
    }
    std::vector<LevelCurves> scene;
    const std::vector<steady::RealLevels> scenes = steady::sceneLevels(facts);
    for (const steady::RealLevels& levels : scenes) {
        scene.push_back(curvesOf(levels));
    }
    return {{"input", {}, {}},
            {"frame by frame", std::move(module.found), {}},
            {"smoothing 2", std::move(module.smoothed), {}},
            {"steady 2", std::move(steady), {}},
            {"steady scene", std::move(scene), {}},
            {"floor", floorOf(clip, scenes), {}}};
}

} // namespace

std::vector<Steadiness> ourSteadiness(const ClipDefinition& clip) {
    std::vector<Way> ways = waysFor(clip);
    for (std::size_t frame = 0; frame < clip.frames; ++frame) {
        const Picture truth = clip.truth(frame);
        const Picture input = clipFrame(clip, frame, truth);
        for (Way& way : ways) {
            const Picture output = way.curves.empty() ? input : corrected(input, way.curves[frame]);
            way.changes.add(ToneCurves(truth, output), beginsShot(clip, frame));
        }
    }
    std::vector<Steadiness> found;
    for (const Way& way : ways) {
        found.push_back({way.name, way.changes.jitter(), way.changes.shake()});
    }
    return found;
}

CutsFound findCuts(const ClipDefinition& clip) {
    const std::vector<std::size_t> starts = steady::sceneStarts(factsOf(clip));
    CutsFound found;
    for (const std::size_t start : starts) {
        const bool isCut = std::ranges::find(clip.cuts, start) != clip.cuts.end();
        found.right += isCut ? 1 : 0;
        found.wrong += start > 0 && !isCut ? 1 : 0;
    }
    found.missed = static_cast<int>(clip.cuts.size()) - found.right;
    return found;
}

} // namespace tintwell::bench
