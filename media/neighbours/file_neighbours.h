#pragma once

#include "media/color/clip_to_world.h"
#include "media/neighbours/look_back.h"
#include "media/neighbours/neighbour_source.h"
#include "media/neighbours/passed_pictures.h"
#include "media/neighbours/recent_worlds.h"
#include "media/read/clip_reader.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <string>
#include <thread>

namespace tintwell::media {

/// Neighbours from a file, an image sequence or anything else that can be opened again and again.
///
/// A reader of its own goes through the clip as far as frames are asked for, and one frame further,
/// on its own thread. It is never sent back, so its frames are those of sequential decoding. A
/// frame that it has passed comes from looking back. The memory does not depend on how far apart
/// the requests are.
class FileNeighbours : public NeighbourSource {
public:
    struct Limits {
        /// How much is kept for requests that go backward step by step, while they do.
        std::size_t keptBytes = std::size_t{192} << 20;
        /// Worlds that wait for their request, beside the one that is being made.
        std::size_t readyWorlds = 1;
    };

    /// Opens the input; throws MediaError as ClipReader does.
    FileNeighbours(const std::string& input, const InputOptions& options, host::SampleDepth depth,
                   const Limits& limits);
    ~FileNeighbours() override;

    FileNeighbours(const FileNeighbours&) = delete;
    FileNeighbours& operator=(const FileNeighbours&) = delete;

    std::shared_ptr<const host::FrameBuffer> frame(std::int32_t index) override;
    std::optional<std::int32_t> frameCount() const override;
    void cancel() final;

private:
    /// A frame that is converted before anybody has asked for it.
    struct Ready {
        std::int64_t index;
        std::shared_ptr<host::FrameBuffer> world;
    };

    void readOn();
    bool readOneOn();
    FramePtr nextPicture();
    void waitFor(std::int64_t index, std::unique_lock<std::mutex>& lock);
    std::shared_ptr<host::FrameBuffer> takeReady(std::int64_t index);
    std::shared_ptr<host::FrameBuffer> goBackTo(std::int64_t index);

    std::string input_;
    InputOptions options_;
    Limits limits_;
    ClipReader reader_;        ///< of the thread
    ClipToWorld aheadToWorld_; ///< of the thread
    ClipToWorld backToWorld_;
    std::atomic<bool> cancelled_ = false;

    mutable std::mutex mutex_; ///< of what follows
    std::condition_variable changed_;
    std::int64_t wanted_ = -1; ///< the farthest frame asked for
    std::deque<Ready> ready_;
    PassedPictures passed_;
    std::optional<LookBack> lookBack_;
    int forwardInARow_ = 0; ///< requests since the last one that went back
    RecentWorlds worlds_;
    std::optional<std::int32_t> frameCount_;
    std::exception_ptr failure_;

    std::jthread thread_; ///< last, so that it ends before what it uses goes
};

} // namespace tintwell::media
