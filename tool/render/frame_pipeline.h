#pragma once

#include "host/frame_buffer.h"
#include "inspect/color_change.h"
#include "media/color/clip_to_world.h"
#include "media/color/picture_pool.h"
#include "media/read/clip_reader.h"
#include "media/write/clip_writer.h"
#include "tool/render/bounded_queue.h"
#include "tool/render/clip_effect.h"
#include "tool/render/memory_plan.h"
#include "tool/render/neighbours.h"
#include "tool/terminal/progress.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace tintwell::tool {

/// Moves the frames of a clip through decoding, conversion, the effect, conversion and encoding,
/// each on a thread of its own. How many frames are under way, and so the memory, is bounded.
class FramePipeline {
public:
    /// What works on the frames is not owned and is used by the pipeline's threads while it runs.
    struct Parts {
        media::ClipReader& reader;
        ClipEffect& effect;
        media::ClipWriter& writer;
        Progress& progress;
        Neighbours& neighbours;
        media::Interruption& interruption; ///< of reader, writer and neighbours
    };

    FramePipeline(const Parts& parts, host::SampleDepth depth, const MemoryPlan& memory);

    /// Returns the number of frames when all have been written. Throws the first exception of any
    /// thread, or RenderStopped soon after `stop` is set; the threads have ended then.
    std::int64_t run(const std::atomic<bool>& stop);

    /// What the effect did to the frames, from a few pixels of each; once they have run.
    inspect::ColorChange change() const { return change_.change(); }

private:
    using World = std::unique_ptr<host::FrameBuffer>;

    /// One frame on its way, or only packets that belong before the next one.
    struct Job {
        std::int64_t frame = 0;
        bool isStandIn = false;
        std::vector<media::PacketPtr> copied;
        media::FramePtr source;
        media::PictureFormat sourceFormat;
        World input;
        World output;
        media::FramePtr result;
    };

    using Queue = BoundedQueue<Job>;

    void decode();
    void convertIn();
    void applyEffect();
    void convertOut();
    void encode();

    void start(void (FramePipeline::*stage)());
    void noteEnd();
    void fail(std::exception_ptr error);
    void waitForEnd(const std::atomic<bool>& stop);

    template <class Work>
    void passOn(Queue& from, Queue& to, Work work);

    Parts parts_;
    host::SampleDepth depth_;
    std::int64_t framesWritten_ = 0;
    inspect::ChangeMeter change_; ///< of the thread that converts out
    // Worlds are the largest part of the memory, so their number bounds the frames under way. The
    // two kinds are kept apart: frames that wait to be corrected must not use up those to correct
    // them into.
    BoundedQueue<World> inputWorlds_;
    BoundedQueue<World> outputWorlds_;
    media::PicturePool pictures_;
    Queue decoded_;
    Queue converted_;
    Queue corrected_;
    Queue ready_;

    std::mutex mutex_; ///< of what follows
    std::condition_variable ended_;
    std::exception_ptr error_;
    std::size_t running_ = 0;
    std::atomic<bool> cancelled_ = false;
    std::vector<std::jthread> threads_; ///< last, so that they end before what they use goes
};

} // namespace tintwell::tool
