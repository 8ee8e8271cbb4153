#include "tool/render/render_pipeline.h"

#include "media/media_error.h"
#include "media/memory_estimate.h"
#include "media/read/clip_for_effect.h"
#include "media/read/clip_reader.h"
#include "media/write/clip_writer.h"
#include "tool/options/clip_options.h"
#include "tool/options/progress_option.h"
#include "tool/render/clip_effect.h"
#include "tool/render/frame_pipeline.h"
#include "tool/render/memory_plan.h"
#include "tool/render/neighbours.h"
#include "tool/terminal/user_error.h"

#include <algorithm>
#include <chrono>
#include <memory>

namespace tintwell::tool {
namespace {

media::ReaderOptions readerOptions(const RenderOptions& options) {
    return {inputOptions(options), options.frames, true};
}

media::WriterOptions writerOptions(const RenderOptions& options, const MemoryPlan& memory) {
    media::WriterOptions writer;
    writer.format = options.outputFormat;
    writer.encoder.codec = options.videoCodec;
    writer.encoder.pixelFormat = options.pixelFormat;
    writer.encoder.memory = memory.encoderBytes();
    writer.encoder.options = namedValues(options.encoderOptions);
    writer.streams = options.streams;
    writer.encoder.purpose = options.purpose;
    writer.check = options.check;
    writer.container = namedValues(options.outputOptions);
    writer.overwrite = options.overwrite;
    writer.inputs = options.files;
    writer.interruption = options.interruption;
    return writer;
}

MemoryNeeds memoryNeeds(const media::ClipReader& reader, host::SampleDepth depth,
                        const NeighbourWindow& window) {
    const media::ClipInfo& info = reader.info();
    MemoryNeeds needs;
    needs.width = info.width;
    needs.height = info.height;
    needs.pixelFormat = info.pixelFormat;
    needs.depth = depth;
    needs.decoderBytes = reader.decoderBytes();
    needs.neighbours = window.kind;
    needs.keptPictures = window.frames();
    needs.looksBack = window.needsEarlier;
    needs.processors = media::processorCount();
    return needs;
}

/// What a rendering works with, opened and checked; the output is not begun yet.
struct OpenClip {
    explicit OpenClip(const RenderOptions& options)
        : module(std::make_shared<const host::ModuleLibrary>(options.modulePath)),
          reader(options.input, readerOptions(options)),
          depth(media::worldDepth(reader.info(), options.depth)),
          window(neighbourWindow(options, reader.info())),
          memory(memoryNeeds(reader, depth, window), options.memory),
          writer(options.output, options.input, reader, options.frames,
                 writerOptions(options, memory)),
          limits(settle(options.input)), neighbours(options, reader, depth, window, limits) {}

    media::FileNeighbours::Limits settle(const std::string& input) {
        const std::string problem = memory.settle(writer.encoderBytes());
        if (!problem.empty()) {
            throw UserError(media::inputName(input) + ": " + problem);
        }
        return {static_cast<std::size_t>(memory.lookBackBytes()), memory.readyWorlds()};
    }

    std::shared_ptr<const host::ModuleLibrary> module;
    media::ClipReader reader;
    host::SampleDepth depth;
    NeighbourWindow window;
    MemoryPlan memory;
    media::ClipWriter writer;
    media::FileNeighbours::Limits limits;
    Neighbours neighbours;
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
    plan.videoQuality = clip.writer.rate();
    plan.colorMatrix = media::matrixName(info.color);
    plan.colorRange = media::rangeName(info.color);
    plan.output = options.output;
    plan.inputFormat = info.formatName;
    plan.inputCodec = info.codecName;
    plan.outputFormat = clip.writer.formatName();
    plan.frameRate = av_q2d(info.frameRate);
    plan.memory = clip.memory.total(clip.writer.encoderBytes());
    plan.neighbours = clip.neighbours.reach();
    plan.neighbourSource = clip.neighbours.description();
    plan.streams = clip.writer.streams();
    plan.notes = clip.writer.notes();
    plan.warnings = clip.reader.warnings();
    const std::vector<std::string> more = clip.writer.warnings();
    plan.warnings.insert(plan.warnings.end(), more.begin(), more.end());
    return plan;
}

RenderSummary render(const RenderOptions& options, Progress& progress, const TellPlan& tell,
                     const std::atomic<bool>& stop) {
    const auto begin = std::chrono::steady_clock::now();
    OpenClip clip(options);
    tell(describe(clip, options));
    clip.reader.keepStreams(clip.writer.copiedStreams());

    EffectCourse course;
    course.instance.timing = media::timingForEffect(clip.reader.info());
    course.instance.highQuality = options.highQuality;
    course.instance.controls = options.controls;
    course.neighbours = clip.neighbours.source();
    course.reach = clip.neighbours.reach();
    ClipEffect effect(clip.module, course);
    effect.setUp();

    RenderSummary summary;
    {
        const ProgressSpan span(progress, totalFrames(options, clip.reader.info()));
        FramePipeline pipeline(
            {clip.reader, effect, clip.writer, progress, clip.neighbours, *options.interruption},
            clip.depth, clip.memory);
        summary.framesDone = pipeline.run(stop);
        summary.change = pipeline.change();
        summary.framesMissing = clip.reader.framesMissing();
        if (summary.framesMissing > 0 && summary.framesMissing == summary.framesDone) {
            throw media::MediaError(options.input + ": none of these frames can be read");
        }
        summary.inputFailed = clip.reader.failedToRead();
        clip.writer.finish();
    }
    effect.setDown();
    summary.leavesNumbersOut = clip.writer.isSequence();
    static_cast<RenderPlan&>(summary) = describe(clip, options);
    summary.videoBitRate = 8.0 * static_cast<double>(clip.writer.videoBytes()) * summary.frameRate /
                           static_cast<double>(summary.framesDone);
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
    }
}

} // namespace

RenderSummary renderClip(const RenderOptions& options, Progress& progress, const TellPlan& tell,
                         const std::atomic<bool>& stop) {
    return explained(options, [&] { return render(options, progress, tell, stop); });
}

RenderPlan planRender(const RenderOptions& options) {
    return explained(options, [&] { return describe(OpenClip(options), options); });
}

} // namespace tintwell::tool
