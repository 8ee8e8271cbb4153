#pragma once

#include "host/frame_buffer.h"
#include "media/clip_info.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace tintwell::tool {

/// Where a rendering takes the frames around the current one from.
enum class NeighbourKind : std::uint8_t {
    None,
    Kept,     ///< pictures that are kept
    ReadAgain ///< a second reading of the input
};

/// What a rendering needs memory for, as far as it is known before the output is opened.
struct MemoryNeeds {
    int width = 0;
    int height = 0;
    AVPixelFormat pixelFormat = AV_PIX_FMT_NONE;
    host::SampleDepth depth = host::SampleDepth::Bits8;
    std::int64_t decoderBytes = 0; ///< of each reading
    NeighbourKind neighbours = NeighbourKind::None;
    std::int64_t keptPictures = 0; ///< around the current frame
    bool looksBack = false;        ///< a reading has to be left for frames before it
    int processors = 1;
};

/// How the memory of a rendering is shared out: as much as makes it fast where there is room, and
/// less where there is not. The estimates are told in docs/memory.md.
class MemoryPlan {
public:
    /// `wanted`: bytes that the user allows the program; 0: media::usualMemory, which is kept to as
    /// far as speed is not lost.
    MemoryPlan(const MemoryNeeds& needs, std::int64_t wanted);

    // All of it holds once the plan is settled. How many worlds are under way, at most.
    std::size_t inputWorlds() const { return level().inputs; }

    std::size_t outputWorlds() const { return level().outputs; }

    /// Worlds that wait for the effect to ask for them.
    std::size_t readyWorlds() const { return level().ready; }

    /// What may be kept of pictures that are read once more.
    std::int64_t lookBackBytes() const { return lookBack_; }

    /// What is left for the encoder and the pictures that wait for it.
    std::int64_t encoderBytes() const;

    /// Shares out what an encoder leaves that takes so much. Gives back a sentence that says what
    /// would be needed, where the user's limit cannot be kept to; otherwise it is empty.
    std::string settle(std::int64_t encoderBytes);

    /// Of the whole program.
    std::int64_t total(std::int64_t encoderBytes) const { return own() + encoderBytes; }

    /// How much of a rendering's memory pictures may take that are kept around the current frame:
    /// of a file as much as makes it faster than reading it again, of a pipe what can be afforded.
    static std::int64_t windowBytes(std::int64_t memory, bool isFile);

private:
    struct Level {
        std::size_t inputs;
        std::size_t outputs;
        std::size_t ready;
    };

    const Level& level() const;
    std::int64_t own() const;
    std::int64_t enoughFor(std::int64_t encoderBytes) const;

    MemoryNeeds needs_;
    std::int64_t wanted_;
    std::int64_t memory_;
    std::size_t level_ = 0;
    std::size_t lastLevel_;
    std::int64_t lookBack_ = 0;
};

} // namespace tintwell::tool
