#include "module/render/frame_correction.h"

#include "module/apply/blend.h"
#include "module/apply/levels_application.h"
#include "module/kernels/prefetch.h"
#include "module/render/frame_store.h"
#include "module/services/world_view.h"

#include <algorithm>
#include <cstdlib>
#include <functional>

namespace tintwell {
namespace {

/// The planes of a band; with the pixels they come from and go to, they fit the nearest cache.
constexpr std::size_t kBandBytes = std::size_t{16} << 10U;

/// The memory of a world's rows, padding between them included.
struct Span {
    const std::byte* begin;
    const std::byte* end;
};

Span spanOf(const EffectWorld& world) {
    const InterleavedFrame frame = viewOf(world);
    const auto [low, high] = std::minmax({frame.row(0), frame.row(frame.rows() - 1)});
    return {low, high + frame.pixelBytes()};
}

bool areApart(const EffectWorld& a, const EffectWorld& b) {
    const auto before = [](const std::byte* end, const std::byte* begin) {
        return std::less_equal<>()(end, begin); // of different objects, too
    };
    return before(spanOf(a).end, spanOf(b).begin) || before(spanOf(b).end, spanOf(a).begin);
}

bool rowsAreApart(const EffectWorld& world) {
    return static_cast<std::size_t>(std::abs(std::int64_t{world.rowBytes})) >=
           viewOf(world).pixelBytes();
}

/// The blend walks a world by its row bytes as they are, because hosts expect it so, everything
/// else by whole samples.
bool hasWholeSamples(const EffectWorld& world) {
    return viewOf(world).rowBytes == world.rowBytes;
}

/// Whether each row of the output needs its row of the input alone and is written once, so that
/// working in bands gives what working on the whole frame does.
bool canGoInBands(const EffectWorld& input, const EffectWorld& output) {
    return input.width == output.width && pixelCount(output) > 0 && rowsAreApart(output) &&
           hasWholeSamples(input) && hasWholeSamples(output) &&
           ((input.data == output.data && input.rowBytes == output.rowBytes) ||
            areApart(input, output));
}

EffectWorld rowsOf(const EffectWorld& world, std::int32_t first, std::int32_t count) {
    EffectWorld rows = world;
    rows.data = viewOf(world).row(first);
    rows.height = count;
    return rows;
}

std::int32_t rowsPerBand(const EffectWorld& world) {
    const std::size_t rows = kBandBytes / std::max<std::size_t>(viewOf(world).pixelBytes(), 1);
    return static_cast<std::int32_t>(std::clamp<std::size_t>(rows, 1, kBandBytes));
}

InterleavedFrame blendView(const EffectWorld& world) {
    InterleavedFrame frame = viewOf(world);
    frame.rowBytes = world.rowBytes;
    return frame;
}

class BandCorrector {
public:
    BandCorrector(const FrameCorrection& correction, std::int32_t bitDepth)
        : correction_(correction), application_(correction.levels, bitDepth),
          created_(CreateFrameStore(bitDepth, correction.channelOrder, 1)) {}

    ErrorCode correct(const EffectWorld& input, EffectWorld output) {
        if (created_.code != error::kNone) {
            return created_.code;
        }
        CFrameStoreBase& store = *created_.store;
        ErrorCode code = store.Setup(&input);
        if (code == error::kNone) {
            code = store.SplitPlanes();
        }
        if (code != error::kNone) {
            return code;
        }
        application_.applyTo(imageOf(input));
        code = store.MergePlanes(&output);
        if (code != error::kNone || correction_.blend == 0) {
            return code;
        }
        const InterleavedFrame corrected = blendView(output);
        const InterleavedFrame original = blendView(input);
        return blendWithOriginal(corrected, &original, correction_.blend, correction_.channelOrder,
                                 &corrected);
    }

private:
    PlanarImage imageOf(const EffectWorld& input) const {
        const std::int32_t depth = depthOf(input);
        return {.height = input.height,
                .width = input.width,
                .channelCount = kColorPlanes,
                .rowBytes = pixelCount(input) > 0 ? input.width * sampleBytes(depth) : 0,
                .bitDepth = depth,
                .data = created_.store->InputBuffer()};
    }

    const FrameCorrection& correction_;
    LevelsApplication application_;
    CreatedFrameStore created_;
};

} // namespace

ErrorCode correctFrame(const EffectWorld& input, EffectWorld* output,
                       const FrameCorrection& correction) {
    if (output == nullptr || !fitsPlanesOf(input, *output)) {
        return error::kMissingRecord;
    }
    BandCorrector corrector(correction, depthOf(input));
    if (!canGoInBands(input, *output)) {
        return corrector.correct(input, *output);
    }
    const std::int32_t most = rowsPerBand(input);
    ErrorCode code = error::kNone;
    for (std::int32_t y = 0; y < output->height && code == error::kNone;) {
        const std::int32_t rows = std::min(most, output->height - y);
        const std::int32_t next = y + rows;
        const std::int32_t following = std::min(most, output->height - next);
        for (std::int32_t row = next; row < next + following; ++row) {
            kernels::prefetchPages(viewOf(input).row(row), viewOf(input).pixelBytes());
            kernels::prefetchPages(viewOf(*output).row(row), viewOf(*output).pixelBytes());
        }
        code = corrector.correct(rowsOf(input, y, rows), rowsOf(*output, y, rows));
        y = next;
    }
    return code;
}

} // namespace tintwell
