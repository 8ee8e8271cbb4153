#include "tool/render_pipeline.h"

#include "host/effect_instance.h"
#include "media/clip_reader.h"
#include "media/clip_writer.h"
#include "media/media_error.h"
#include "tool/frame_pipeline.h"
#include "tool/neighbours.h"
#include "tool/user_error.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <new>

namespace tintwell::tool {
namespace {

std::optional<media::FrameSpan> spanOf(const RenderOptions& options) {
    return options.frames
               ? std::optional(media::FrameSpan{options.frames->first, options.frames->last})
               : std::nullopt;
}

media::NamedValues namedValues(const std::vector<KeyValue>& options) {
    media::NamedValues values;
    for (const KeyValue& option : options) {
        values.emplace_back(option.key, option.value);
    }
    return values;
}

media::ReaderOptions readerOptions(const RenderOptions& options) {
    return {inputOptions(options), spanOf(options), true};
}

media::WriterOptions writerOptions(const RenderOptions& options) {
    media::WriterOptions writer;
    writer.format = options.outputFormat;
    writer.encoder.codec = options.videoCodec;
    writer.encoder.pixelFormat = options.pixelFormat;
    writer.encoder.options = namedValues(options.encoderOptions);
    writer.overwrite = options.overwrite;
    return writer;
}

host::SampleDepth worldDepth(DepthChoice choice, const media::ClipInfo& info) {
    const bool deep =
        choice == DepthChoice::Bits16 || (choice == DepthChoice::Auto && info.bitsPerChannel > 8);
    return deep ? host::SampleDepth::Bits16 : host::SampleDepth::Bits8;
}

/// The clip on the effect's clock, whose 32 bits must hold the whole clip. It is as long as they
/// can hold: containers may promise more frames or fewer than can be decoded, and the effect is
/// told the real number as soon as that is of consequence.
host::ClipTiming timingOf(const media::ClipInfo& info) {
    constexpr std::int64_t kMaximum = std::numeric_limits<std::int32_t>::max();
    const std::int64_t frames =
        std::max<std::int64_t>(info.frameCount ? info.frameCount->frames : 1, 1);
    int scale = info.frameRate.num;
    int step = info.frameRate.den;
    if (frames > kMaximum / step) {
        av_reduce(&scale, &step, info.frameRate.num, info.frameRate.den, kMaximum / frames);
    }
    host::ClipTiming timing;
    timing.timeStep = std::max(step, 1);
    timing.timeScale = static_cast<std::uint32_t>(std::max(scale, 1));
    timing.frameCount = static_cast<std::int32_t>(kMaximum / timing.timeStep);
    return timing;
}

std::optional<std::int64_t> totalFrames(const RenderOptions& options, const media::ClipInfo& info) {
    if (options.frames) {
        return options.frames->last - options.frames->first + 1;
    }
    return info.frameCount ? std::optional(info.frameCount->frames) : std::nullopt;
}

RenderSummary describe(const media::ClipReader& reader, const media::ClipWriter& writer,
                       const RenderOptions& options, host::SampleDepth depth) {
    const media::ClipInfo& info = reader.info();
    RenderSummary summary;
    summary.width = info.width;
    summary.height = info.height;
    summary.worldDepth = static_cast<int>(depth);
    summary.inputPixelFormat = media::nameOf(info.pixelFormat);
    summary.outputPixelFormat = media::nameOf(writer.pictureFormat().pixelFormat);
    summary.videoCodec = writer.codecName();
    summary.colorMatrix = media::matrixName(info.color);
    summary.colorRange = media::rangeName(info.color);
    summary.output = options.output;
    summary.warnings = reader.warnings();
    const std::vector<std::string> more = writer.warnings();
    summary.warnings.insert(summary.warnings.end(), more.begin(), more.end());
    return summary;
}

/// Sees to it that the progress ends, however the rendering does.
class ProgressSpan {
public:
    ProgressSpan(Progress& progress, std::optional<std::int64_t> total) : progress_(progress) {
        progress_.begin(total);
    }

    ~ProgressSpan() { progress_.end(); }

    ProgressSpan(const ProgressSpan&) = delete;
    ProgressSpan& operator=(const ProgressSpan&) = delete;

private:
    Progress& progress_;
};

RenderSummary render(const RenderOptions& options, Progress& progress,
                     const std::atomic<bool>& stop) {
    const auto begin = std::chrono::steady_clock::now();
    const auto module = std::make_shared<const host::ModuleLibrary>(options.modulePath);
    media::ClipReader reader(options.input, readerOptions(options));
    const host::SampleDepth depth = worldDepth(options.depth, reader.info());
    Neighbours neighbours(options, reader, depth);
    media::ClipWriter writer(options.output, options.input, reader, spanOf(options),
                             writerOptions(options));
    reader.keepStreams(writer.copiedStreams());

    host::InstanceOptions instance;
    instance.timing = timingOf(reader.info());
    instance.highQuality = options.highQuality;
    instance.controls = options.controls;
    instance.frames = neighbours.source();
    host::EffectInstance effect(module, std::move(instance));
    effect.setUp();

    std::int64_t frames = 0;
    {
        const ProgressSpan span(progress, totalFrames(options, reader.info()));
        FramePipeline pipeline({reader, effect, writer, progress, neighbours}, depth);
        frames = pipeline.run(stop);
        writer.finish();
    }
    effect.setDown();
    RenderSummary summary = describe(reader, writer, options, depth);
    summary.frames = frames;
    summary.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return summary;
}

} // namespace

media::InputOptions inputOptions(const RenderOptions& options) {
    return {options.inputFormat, options.frameRate, namedValues(options.inputOptions)};
}

RenderSummary renderClip(const RenderOptions& options, Progress& progress,
                         const std::atomic<bool>& stop) {
    try {
        return render(options, progress, stop);
    } catch (const media::MediaError& error) {
        throw UserError(error.what());
    } catch (const host::ModuleLoadError& error) {
        throw UserError(error.what());
    } catch (const host::CommandError& error) {
        throw UserError(options.modulePath + ": " + error.what());
    } catch (const std::bad_alloc&) {
        throw UserError(options.input + ": there is not enough memory to render it");
    }
}

} // namespace tintwell::tool
