#include "tool/render/frame_pipeline.h"

#include "media/color/highlights.h"
#include "tool/render/render_pipeline.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <optional>
#include <utility>

namespace tintwell::tool {
namespace {

/// Frames that may wait between two threads.
constexpr std::size_t kQueueLength = 1;
constexpr std::chrono::milliseconds kStopPollInterval{50};

/// Waits for a free world. False when the rendering has been given up.
template <class World>
bool takeFrom(BoundedQueue<World>& worlds, World& taken) {
    std::optional<World> world = worlds.pop();
    if (world) {
        taken = std::move(*world);
    }
    return world.has_value();
}

/// Of clips whose highlights the effect does not see.
class HighlightKeeper {
public:
    HighlightKeeper(const media::ClipInfo& info, host::SampleDepth depth)
        : highlights_(info.referenceWhite), toWorld_(wholeRangeOf(info), depth),
          whole_(info.width, info.height, depth) {}

    /// Gives the output its highlights back, and the picture's whole world.
    const host::FrameBuffer& restore(const AVFrame& source, const host::FrameBuffer& input,
                                     host::FrameBuffer& output) {
        toWorld_.convert(source, whole_);
        highlights_.restore(whole_, input, output);
        return whole_;
    }

private:
    static media::ClipInfo wholeRangeOf(media::ClipInfo info) {
        info.referenceWhite = 0.0;
        return info;
    }

    media::Highlights highlights_;
    media::ClipToWorld toWorld_;
    host::FrameBuffer whole_;
};

} // namespace

FramePipeline::FramePipeline(const Parts& parts, host::SampleDepth depth, const MemoryPlan& memory)
    : parts_(parts), depth_(depth), inputWorlds_(memory.inputWorlds()),
      outputWorlds_(memory.outputWorlds()), pictures_(parts.writer.pictureFormat()),
      decoded_(kQueueLength), converted_(kQueueLength), corrected_(kQueueLength),
      ready_(kQueueLength) {
    const media::ClipInfo& info = parts.reader.info();
    for (std::size_t i = 0; i < memory.inputWorlds(); ++i) {
        inputWorlds_.push(std::make_unique<host::FrameBuffer>(info.width, info.height, depth));
    }
    for (std::size_t i = 0; i < memory.outputWorlds(); ++i) {
        outputWorlds_.push(std::make_unique<host::FrameBuffer>(info.width, info.height, depth));
    }
}

std::int64_t FramePipeline::run(const std::atomic<bool>& stop) {
    start(&FramePipeline::decode);
    start(&FramePipeline::convertIn);
    start(&FramePipeline::applyEffect);
    start(&FramePipeline::convertOut);
    start(&FramePipeline::encode);
    waitForEnd(stop);
    threads_.clear();
    if (error_ && stop) {
        throw RenderStopped(); // what else failed did so because of it
    }
    if (error_) {
        std::rethrow_exception(error_);
    }
    return framesWritten_;
}

void FramePipeline::start(void (FramePipeline::*stage)()) {
    {
        const std::lock_guard lock(mutex_);
        ++running_;
    }
    try {
        threads_.emplace_back([this, stage] {
            try {
                (this->*stage)();
            } catch (...) {
                fail(std::current_exception());
            }
            noteEnd();
        });
    } catch (...) { // the threads that run already wait for this one
        fail(std::current_exception());
        noteEnd();
    }
}

void FramePipeline::noteEnd() {
    const std::lock_guard lock(mutex_);
    --running_;
    ended_.notify_all();
}

void FramePipeline::fail(std::exception_ptr error) {
    {
        const std::lock_guard lock(mutex_);
        if (!error_) {
            error_ = std::move(error);
        }
    }
    cancelled_ = true;
    parts_.interruption.set(); // a thread may be waiting for somebody outside
    for (Queue* queue : {&decoded_, &converted_, &corrected_, &ready_}) {
        queue->cancel();
    }
    inputWorlds_.cancel();
    outputWorlds_.cancel();
    parts_.effect.requestAbort();
    parts_.neighbours.cancel();
}

void FramePipeline::waitForEnd(const std::atomic<bool>& stop) {
    std::unique_lock lock(mutex_);
    // A signal handler can set the flag but not wake anybody, hence the polling.
    while (!ended_.wait_for(lock, kStopPollInterval, [&] { return running_ == 0; })) {
        if (stop && !cancelled_) {
            lock.unlock();
            fail(std::make_exception_ptr(RenderStopped()));
            lock.lock();
        }
    }
}

/// Hands a frame on when the reader is as far ahead of it as neighbours are taken from.
void FramePipeline::decode() {
    std::deque<Job> waiting;
    std::int64_t newest = 0;
    const auto handOn = [&](std::int64_t ahead) {
        while (!waiting.empty() &&
               (!waiting.front().source || newest - waiting.front().frame >= ahead)) {
            if (!decoded_.push(std::move(waiting.front()))) {
                return false;
            }
            waiting.pop_front();
        }
        return true;
    };
    while (!cancelled_) {
        std::optional<media::ReadItem> item = parts_.reader.read();
        if (!item) {
            break;
        }
        parts_.neighbours.offer(*item);
        newest = std::max(newest, item->index);
        if (item->frame || !item->copied.empty()) {
            Job& job = waiting.emplace_back();
            job.frame = item->index;
            job.isStandIn = item->isStandIn;
            job.copied = std::move(item->copied);
            job.source = std::move(item->frame);
        }
        if (!handOn(parts_.neighbours.readAhead())) {
            return;
        }
    }
    parts_.neighbours.finish();
    if (handOn(0)) {
        decoded_.finish();
    }
}

/// Does the work on the jobs that carry a frame and hands all of them on in their order. The work
/// answers whether to go on.
template <class Work>
void FramePipeline::passOn(Queue& from, Queue& to, Work work) {
    while (std::optional<Job> job = from.pop()) {
        if (job->source && !work(*job)) {
            return;
        }
        if (!to.push(std::move(*job))) {
            return;
        }
    }
    to.finish();
}

void FramePipeline::convertIn() {
    media::ClipToWorld converter(parts_.reader.info(), depth_);
    passOn(decoded_, converted_, [&](Job& job) {
        job.sourceFormat = converter.formatOf(*job.source);
        if (!takeFrom(inputWorlds_, job.input)) {
            return false;
        }
        converter.convert(*job.source, *job.input);
        return true;
    });
}

void FramePipeline::applyEffect() {
    passOn(converted_, corrected_, [&](Job& job) {
        if (!takeFrom(outputWorlds_, job.output)) {
            return false;
        }
        parts_.neighbours.moveTo(job.frame);
        parts_.effect.render(job.frame, *job.input, *job.output);
        return true;
    });
}

void FramePipeline::convertOut() {
    const media::PictureFormat& format = parts_.writer.pictureFormat();
    const bool losesBits =
        parts_.reader.info().bitsPerChannel > media::traitsOf(format.pixelFormat).depth;
    media::WorldToFrame converter(depth_, format,
                                  losesBits ? media::Rounding::Dithered : media::Rounding::Nearest);
    std::optional<HighlightKeeper> highlights;
    if (parts_.reader.info().referenceWhite > 0.0) {
        highlights.emplace(parts_.reader.info(), depth_);
    }
    passOn(corrected_, ready_, [&](Job& job) {
        job.result = pictures_.take();
        media::copyProperties(*job.source, *job.result);
        change_.addSampled(*job.input, *job.output);
        const media::Original original{
            *job.source,
            highlights ? highlights->restore(*job.source, *job.input, *job.output) : *job.input};
        converter.convert(*job.output, *job.result,
                          job.sourceFormat == format ? &original : nullptr);
        job.source.reset();
        return inputWorlds_.push(std::move(job.input)) && outputWorlds_.push(std::move(job.output));
    });
}

void FramePipeline::encode() {
    bool begun = false;
    while (std::optional<Job> job = ready_.pop()) {
        if (job->result && !std::exchange(begun, true)) {
            parts_.writer.begin(*parts_.reader.start());
        }
        for (media::PacketPtr& packet : job->copied) {
            parts_.writer.writeCopied(std::move(packet));
        }
        if (job->result) {
            if (job->isStandIn) {
                parts_.writer.writeMissing(*job->result);
            } else {
                parts_.writer.writeFrame(*job->result);
            }
            parts_.progress.advance(++framesWritten_);
        }
    }
}

} // namespace tintwell::tool
