// The conversions between decoded pictures and worlds, at 1080p.

#include "content.h"
#include "media/color/frame_converter.h"
#include "media/color/picture_pool.h"

#include <benchmark/benchmark.h>

namespace tintwell::bench {
namespace {

using host::SampleDepth;

struct PictureKind {
    const char* name;
    AVPixelFormat format;
    SampleDepth depth;
};

constexpr PictureKind kKinds[] = {
    {"yuv420p", AV_PIX_FMT_YUV420P, SampleDepth::Bits8},
    {"yuv420p10", AV_PIX_FMT_YUV420P10, SampleDepth::Bits16},
};

/// A picture with its world, and another world whose pixels all differ from it.
struct Conversion {
    explicit Conversion(const PictureKind& kind)
        : format{kSizes[1].width, kSizes[1].height, kind.format, {}}, pool(format),
          picture(pool.take()), target(pool.take()),
          world(kSizes[1].width, kSizes[1].height, kind.depth),
          corrected(makeFrame(kSizes[1], kind.depth, Content::Natural, 1)), in(format, kind.depth),
          out(kind.depth, format) {
        out.convert(*makeFrame(kSizes[1], kind.depth, Content::Natural), *picture);
        in.convert(*picture, world);
    }

    media::PictureFormat format;
    media::PicturePool pool;
    media::FramePtr picture;
    media::FramePtr target;
    host::FrameBuffer world;
    std::shared_ptr<host::FrameBuffer> corrected;
    media::FrameToWorld in;
    media::WorldToFrame out;
};

const std::pair<const char*, void (*)(Conversion&)> kDirections[] = {
    {"in", [](Conversion& c) { c.in.convert(*c.picture, c.world); }},
    {"back", [](Conversion& c) { c.out.convert(*c.corrected, *c.target); }},
    {"back-changed",
     [](Conversion& c) {
         const media::Original original{*c.picture, c.world};
         c.out.convert(*c.corrected, *c.target, &original);
     }},
    {"back-unchanged",
     [](Conversion& c) {
         const media::Original original{*c.picture, c.world};
         c.out.convert(c.world, *c.target, &original);
     }},
};

[[maybe_unused]] const bool kRegistered = [] {
    for (const PictureKind& kind : kKinds) {
        for (const auto& [name, convert] : kDirections) {
            const std::string id = std::string("conversion/") + name + "/" + kind.name;
            benchmark::RegisterBenchmark(id.c_str(), [&kind,
                                                      convert = convert](benchmark::State& state) {
                Conversion conversion(kind);
                for ([[maybe_unused]] auto iteration : state) {
                    convert(conversion);
                }
            })->Unit(benchmark::kMillisecond);
        }
    }
    return true;
}();

} // namespace
} // namespace tintwell::bench
