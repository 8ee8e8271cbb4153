// The whole Render command through the module, beside a plain copy of the same frame.

#include "content.h"
#include "counted_memory.h"
#include "host/effect_instance.h"

#include <benchmark/benchmark.h>

#include <cstring>

namespace tintwell::bench {
namespace {

using host::Control;
using host::ControlTrack;
using host::SampleDepth;

/// A clip without end.
class LoopedClip : public host::FrameSource {
public:
    explicit LoopedClip(Frames frames) : frames_(std::move(frames)) {}

    std::shared_ptr<const host::FrameBuffer> frame(std::int32_t index) override {
        return frames_[static_cast<std::size_t>(index) % frames_.size()];
    }

private:
    Frames frames_;
};

struct RenderCase {
    double smoothingSeconds = 0.0;
    bool snap = false;
    double blend = 0.0;
};

host::ControlTracks controlsOf(const RenderCase& c) {
    host::ControlTracks controls;
    controls[Control::TemporalSmoothing] = ControlTrack(c.smoothingSeconds);
    controls[Control::BlackClip] = ControlTrack(0.1);
    controls[Control::WhiteClip] = ControlTrack(0.1);
    controls[Control::SnapNeutralMidtones] = ControlTrack(c.snap ? 1.0 : 0.0);
    controls[Control::BlendWithOriginal] = ControlTrack(c.blend);
    return controls;
}

void render(benchmark::State& state, const FrameSize& size, SampleDepth depth, Content content,
            const RenderCase& c) {
    constexpr std::int32_t kFrames = 1 << 20;
    LoopedClip clip(makeFrames(size, depth, content));
    host::InstanceOptions options;
    options.timing = {kFrames, 1, 25};
    options.frames = &clip;
    options.controls = controlsOf(c);
    host::EffectInstance effect(std::make_shared<host::ModuleLibrary>(TINTWELL_MODULE_PATH),
                                options);
    effect.setUp();
    host::FrameBuffer output(size.width, size.height, depth);
    std::int32_t frame = 0;
    CountedMemory& memory = countedMemory();
    const std::size_t before = memory.held;
    memory.most = before;
    effect.render(frame, *clip.frame(frame), output); // fills the window
    const auto kibibytes = [](std::size_t bytes) { return static_cast<double>(bytes) / 1024.0; };
    state.counters["held_kib"] = kibibytes(memory.most - before);
    state.counters["kept_kib"] = kibibytes(memory.held - before);
    for ([[maybe_unused]] auto iteration : state) {
        ++frame;
        effect.render(frame, *clip.frame(frame), output);
    }
}

void copyFrame(benchmark::State& state, const FrameSize& size, SampleDepth depth) {
    LoopedClip clip(makeFrames(size, depth, Content::Natural));
    host::FrameBuffer to(size.width, size.height, depth);
    std::int32_t frame = 0;
    for ([[maybe_unused]] auto iteration : state) {
        const auto from = clip.frame(frame++);
        std::memcpy(to.row(0), from->row(0),
                    from->rowBytes() * static_cast<std::size_t>(size.height));
        benchmark::ClobberMemory();
    }
}

const std::pair<const char*, RenderCase> kCases[] = {
    {"plain", {}},
    {"snap", {.snap = true}},
    {"blend", {.blend = 50.0}},
    {"smooth-1s", {.smoothingSeconds = 1.0}},
    {"smooth-10s", {.smoothingSeconds = 10.0}},
};

/// Every case on natural content, and the plain one on the others; the copy beside them.
[[maybe_unused]] const bool kRegistered = [] {
    for (const FrameSize& size : kSizes) {
        for (const SampleDepth depth : {SampleDepth::Bits8, SampleDepth::Bits16}) {
            const std::string frame =
                std::string(size.name) + "/" + std::to_string(static_cast<int>(depth)) + "/";
            benchmark::RegisterBenchmark(
                ("copy/" + frame + "any/any").c_str(),
                [=](benchmark::State& state) { copyFrame(state, size, depth); })
                ->Unit(benchmark::kMillisecond);
            for (const Content content : {Content::Natural, Content::Flat, Content::Noise}) {
                for (const auto& [name, c] : kCases) {
                    if (content != Content::Natural && name != kCases[0].first) {
                        continue;
                    }
                    benchmark::RegisterBenchmark(
                        ("render/" + frame + nameOf(content) + "/" + name).c_str(),
                        [=, c = c](benchmark::State& state) {
                            render(state, size, depth, content, c);
                        })
                        ->Unit(benchmark::kMillisecond);
                }
            }
        }
    }
    return true;
}();

} // namespace
} // namespace tintwell::bench
