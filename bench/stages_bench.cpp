// The stages of a render one by one, at 1080p.

#include "content.h"
#include "module/analysis/automatic_correction.h"
#include "module/analysis/neutral_midtones.h"
#include "module/analysis/tone_colors.h"
#include "module/apply/blend.h"
#include "module/apply/levels_application.h"
#include "module/services/world_view.h"
#include "module/temporal/split_frame.h"

#include <benchmark/benchmark.h>

#include <functional>

namespace tintwell::bench {
namespace {

using host::SampleDepth;

/// A frame at every point of its way.
struct Stages {
    Stages(SampleDepth depth, Content content)
        : input(makeFrame(kSizes[1], depth, content)), output(makeFrame(kSizes[1], depth, content)),
          inputWorld(input->world()), outputWorld(output->world()) {
        splitFrame(inData, inputWorld, {10, 10, 0}, nullptr, split);
        analyzeFrame(AutoCorrectionMode::ColorSearch, split.image, nullptr, levels, histogram);
    }

    std::shared_ptr<host::FrameBuffer> input;
    std::shared_ptr<host::FrameBuffer> output;
    EffectWorld inputWorld;
    EffectWorld outputWorld;
    InData inData{};
    SpareMemory spares;
    SplitFrame split;
    std::unique_ptr<LevelsRecord> levels;
    std::unique_ptr<ChannelHistogram> histogram;
};

const std::pair<const char*, void (*)(Stages&)> kStages[] = {
    {"split", [](Stages& s) { s.split.store->SplitPlanes(); }},
    {"histogram-planes",
     [](Stages& s) {
         gatherHistogram(*s.histogram, viewOfPlanes(s.split.image), true,
                         AutoCorrectionMode::ColorSearch);
     }},
    {"histogram-pixels",
     [](Stages& s) {
         gatherHistogram(*s.histogram, viewOfPixels(viewOf(s.inputWorld), 0), true,
                         AutoCorrectionMode::ColorSearch);
     }},
    {"tones",
     [](Stages& s) {
         ToneSearchContext context(s.split.image);
         findToneColors(context);
         benchmark::DoNotOptimize(context);
     }},
    {"midtone",
     [](Stages& s) { benchmark::DoNotOptimize(findNeutralMidtone(s.split.image, {}, &s.spares)); }},
    {"apply", [](Stages& s) { applyLevels(s.split.image, *s.levels); }},
    {"merge", [](Stages& s) { s.split.store->MergePlanes(&s.outputWorld); }},
    {"blend",
     [](Stages& s) {
         const InterleavedFrame original = viewOf(s.inputWorld);
         const InterleavedFrame output = viewOf(s.outputWorld);
         blendWithOriginal(output, &original, 0x8000, 0, &output);
     }},
};

[[maybe_unused]] const bool kRegistered = [] {
    for (const SampleDepth depth : {SampleDepth::Bits8, SampleDepth::Bits16}) {
        for (const Content content : {Content::Natural, Content::Flat, Content::Noise}) {
            for (const auto& [name, stage] : kStages) {
                const std::string id = std::string("stage/") + name + "/" +
                                       std::to_string(static_cast<int>(depth)) + "/" +
                                       nameOf(content);
                benchmark::RegisterBenchmark(id.c_str(), [=,
                                                          stage = stage](benchmark::State& state) {
                    Stages stages(depth, content);
                    for ([[maybe_unused]] auto iteration : state) {
                        stage(stages);
                    }
                })->Unit(benchmark::kMillisecond);
            }
        }
    }
    return true;
}();

} // namespace
} // namespace tintwell::bench
