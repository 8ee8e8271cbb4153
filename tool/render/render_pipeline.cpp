#include "tool/render/render_pipeline.h"

#include "host/effect_instance.h"
#include "media/media_error.h"
#include "media/read/clip_for_effect.h"
#include "media/read/clip_reader.h"
#include "media/write/clip_writer.h"
#include "tool/options/clip_options.h"
#include "tool/options/progress_option.h"
#include "tool/render/frame_pipeline.h"
#include "tool/render/neighbours.h"
#include "tool/terminal/user_error.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>
#include <system_error>

namespace tintwell::tool {
namespace {

media::ReaderOptions readerOptions(const RenderOptions& options) {
    return {inputOptions(options), options.frames, true};
}

media::WriterOptions writerOptions(const RenderOptions& options) {
    media::WriterOptions writer;
    writer.format = options.outputFormat;
    writer.encoder.codec = options.videoCodec;
    writer.encoder.pixelFormat = options.pixelFormat;
    writer.encoder.options = namedValues(options.encoderOptions);
    writer.streams = options.streams;
    writer.overwrite = options.overwrite;
    writer.inputs = options.files;
    writer.interruption = options.interruption;
    return writer;
}

/// What a rendering works with, opened and checked; the output is not begun yet.
struct OpenClip {
    explicit OpenClip(const RenderOptions& options)
        : module(std::make_shared<const host::ModuleLibrary>(options.modulePath)),
          reader(options.input, readerOptions(options)),
          depth(media::worldDepth(reader.info(), options.depth)),
          neighbours(options, reader, depth),
          writer(options.output, options.input, reader, options.frames, writerOptions(options)) {}

    std::shared_ptr<const host::ModuleLibrary> module;
    media::ClipReader reader;
    host::SampleDepth depth;
    Neighbours neighbours;
    media::ClipWriter writer;
};

RenderPlan describe(const OpenClip& clip, const RenderOptions& options) {
    const media::ClipInfo& info = clip.reader.info();
    RenderPlan plan;
    plan.frames = totalFrames(options, info);
    plan.width = info.width;
    plan.height = info.height;
    plan.worldDepth = static_cast<int>(clip.depth);
    plan.inputPixelFormat = media::nameOf(info.pixelFormat);
    plan.outputPixelFormat = media::nameOf(clip.writer.pictureFormat().pixelFormat);
    plan.videoCodec = clip.writer.codecName();
    plan.colorMatrix = media::matrixName(info.color);
    plan.colorRange = media::rangeName(info.color);
    plan.output = options.output;
    plan.inputFormat = info.formatName;
    plan.inputCodec = info.codecName;
    plan.outputFormat = clip.writer.formatName();
    plan.frameRate = av_q2d(info.frameRate);
    plan.neighbours = clip.neighbours.reach();
    plan.neighbourSource = clip.neighbours.description();
    plan.streams = clip.writer.streams();
    plan.notes = clip.writer.notes();
    plan.warnings = clip.reader.warnings();
    const std::vector<std::string> more = clip.writer.warnings();
    plan.warnings.insert(plan.warnings.end(), more.begin(), more.end());
    return plan;
}

RenderSummary render(const RenderOptions& options, Progress& progress,
                     const std::function<void(const RenderPlan&)>& announce,
                     const std::atomic<bool>& stop) {
    const auto begin = std::chrono::steady_clock::now();
    OpenClip clip(options);
    announce(describe(clip, options));
    clip.reader.keepStreams(clip.writer.copiedStreams());

    host::InstanceOptions instance;
    instance.timing = media::timingForEffect(clip.reader.info());
    instance.highQuality = options.highQuality;
    instance.controls = options.controls;
    instance.frames = clip.neighbours.source();
    host::EffectInstance effect(clip.module, std::move(instance));
    effect.setUp();

    RenderSummary summary;
    {
        const ProgressSpan span(progress, totalFrames(options, clip.reader.info()));
        FramePipeline pipeline(
            {clip.reader, effect, clip.writer, progress, clip.neighbours, *options.interruption},
            clip.depth);
        summary.framesDone = pipeline.run(stop);
        summary.change = pipeline.change();
        summary.framesMissing = clip.reader.framesMissing();
        if (summary.framesMissing > 0 && summary.framesMissing == summary.framesDone) {
            throw media::MediaError(options.input + ": none of these frames can be read");
        }
        clip.writer.finish();
    }
    effect.setDown();
    summary.leavesNumbersOut = clip.writer.isSequence();
    static_cast<RenderPlan&>(summary) = describe(clip, options);
    summary.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return summary;
}

/// Runs the work and turns its failures into sentences for the user.
template <typename Work>
auto explained(const RenderOptions& options, Work work) {
    try {
        return work();
    } catch (const media::MediaError& error) {
        throw UserError(error.what());
    } catch (const host::ModuleLoadError& error) {
        throw UserError(error.what());
    } catch (const host::CommandError& error) {
        throw UserError(options.modulePath + ": " + error.what());
    } catch (const std::system_error& error) {
        throw UserError(options.input + ": the system gives no means to render it (" +
                        error.code().message() + ")");
    } catch (const std::bad_alloc&) {
        throw UserError(options.input + ": there is not enough memory to render it");
    }
}

} // namespace

RenderSummary renderClip(const RenderOptions& options, Progress& progress,
                         const std::function<void(const RenderPlan&)>& announce,
                         const std::atomic<bool>& stop) {
    return explained(options, [&] { return render(options, progress, announce, stop); });
}

RenderPlan planRender(const RenderOptions& options) {
    return explained(options, [&] { return describe(OpenClip(options), options); });
}

} // namespace tintwell::tool
