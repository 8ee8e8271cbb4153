// The stages of a render one by one, at 1080p.

#include "content.h"
#include "module/analysis/automatic_correction.h"
#include "module/analysis/frame_measures.h"
#include "module/analysis/neutral_midtones.h"
#include "module/analysis/tone_colors.h"
#include "module/render/frame_correction.h"
#include "module/services/world_view.h"

#include <benchmark/benchmark.h>

#include <functional>

namespace tintwell::bench {
namespace {

using host::SampleDepth;

constexpr auto kMode = AutoCorrectionMode::ColorSearch;

/// A frame, what was found of it, and where it goes.
struct Stages {
    Stages(SampleDepth depth, Content content)
        : input(makeFrame(kSizes[1], depth, content)), output(makeFrame(kSizes[1], depth, content)),
          inputWorld(input->world()), outputWorld(output->world()),
          pixels(viewOfPixels(viewOf(inputWorld), 0)), secret(KeySecret::draw()) {
        analyzeFrame(kMode, {pixels, {10, 10, 0}}, levels, histogram);
    }

    void correct(std::int32_t blend) {
        correctFrame(inputWorld, &outputWorld, {*levels, blend, 0});
    }

    std::shared_ptr<host::FrameBuffer> input;
    std::shared_ptr<host::FrameBuffer> output;
    EffectWorld inputWorld;
    EffectWorld outputWorld;
    PixelView pixels;
    std::unique_ptr<const KeySecret> secret;
    std::unique_ptr<LevelsRecord> levels;
    std::unique_ptr<ChannelHistogram> histogram;
};

const std::pair<const char*, void (*)(Stages&)> kStages[] = {
    {"histogram",
     [](Stages& s) { measureFrame(s.pixels, kMode, {.histogram = s.histogram.get()}); }},
    {"tones",
     [](Stages& s) {
         ToneSearchContext context({s.pixels, {}});
         findToneColors(context);
         benchmark::DoNotOptimize(context);
     }},
    {"histogram-tones",
     [](Stages& s) {
         ToneSearchContext context({s.pixels, {}});
         measureFrame(s.pixels, kMode, {.histogram = s.histogram.get(), .tones = &context});
         benchmark::DoNotOptimize(context);
     }},
    {"key",
     [](Stages& s) {
         KeyHash hash(s.secret.get(), s.pixels, kMode);
         measureFrame(s.pixels, kMode, {.key = &hash});
         benchmark::DoNotOptimize(hash.key());
     }},
    {"midtone", [](Stages& s) { benchmark::DoNotOptimize(findNeutralMidtone(s.pixels, {})); }},
    {"correct", [](Stages& s) { s.correct(0); }},
    {"correct-blend", [](Stages& s) { s.correct(0x8000); }},
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
