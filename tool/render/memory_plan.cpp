#include "tool/render/memory_plan.h"

#include "media/memory_estimate.h"

#include <algorithm>
#include <array>

namespace tintwell::tool {
namespace {

constexpr std::int64_t kMebibyte = std::int64_t{1} << 20;
/// The program, its libraries, what the demuxer reads, and what the effect keeps of frames.
constexpr std::int64_t kBase = 64 * kMebibyte;
/// Of all threads, their stacks and rows of pixels.
constexpr std::int64_t kEachProcessor = kMebibyte;
constexpr int kMostProcessors = 16;
/// Pictures of the source on their way: as many as there are input worlds, and those before them.
constexpr std::size_t kPicturesBefore = 3;
/// Handed out last, and the one that is being made.
constexpr std::size_t kNeighbourWorlds = 3;
/// What the effect is shown before it begins anew is rendered to nowhere.
constexpr std::size_t kUnusedWorlds = 1;
constexpr std::int64_t kMostReadings = 3;
constexpr std::int64_t kMostLookBack = 192 * kMebibyte;

std::int64_t times(std::size_t number, std::int64_t bytes) {
    return static_cast<std::int64_t>(number) * bytes;
}

std::int64_t worldBytes(const MemoryNeeds& needs) {
    const std::int64_t sample = needs.depth == host::SampleDepth::Bits8 ? 1 : 2;
    return std::int64_t{needs.width} * needs.height * 4 * sample;
}

/// How often the input is open at once.
std::int64_t readings(const MemoryNeeds& needs) {
    return needs.neighbours != NeighbourKind::ReadAgain ? 1
           : needs.looksBack                            ? kMostReadings
                                                        : kMostReadings - 1;
}

std::string inMebibytes(std::int64_t bytes) {
    return std::to_string((bytes + kMebibyte - 1) / kMebibyte);
}

} // namespace

MemoryPlan::MemoryPlan(const MemoryNeeds& needs, std::int64_t wanted)
    : needs_(needs), wanted_(wanted),
      memory_(wanted > 0 ? wanted : media::usualMemory(needs.width, needs.height)),
      lastLevel_(wanted > 0 ? 2 : 1) {
    while (level_ < lastLevel_ && memory_ - own() < memory_ / 5 * 2) {
        ++level_;
    }
}

/// Every thread has a frame to work on and one to come; then the threads wait for each other; then
/// one frame is under way at a time, which is slow, and only done where it is asked for.
const MemoryPlan::Level& MemoryPlan::level() const {
    static constexpr std::array<Level, 3> kLevels{{{3, 2, 1}, {2, 1, 0}, {1, 1, 0}}};
    return kLevels[level_];
}

/// Without the encoder.
std::int64_t MemoryPlan::own() const {
    const std::int64_t world = worldBytes(needs_);
    const std::int64_t picture =
        media::pictureBytes(needs_.pixelFormat, needs_.width, needs_.height);
    std::int64_t bytes = kBase + std::min(needs_.processors, kMostProcessors) * kEachProcessor +
                         times(level().inputs + level().outputs, world) +
                         times(level().inputs + kPicturesBefore, picture) +
                         readings(needs_) * needs_.decoderBytes + lookBack_;
    if (needs_.neighbours != NeighbourKind::None) {
        bytes += times(kNeighbourWorlds + kUnusedWorlds, world);
    }
    if (needs_.neighbours == NeighbourKind::Kept) {
        bytes += needs_.keptPictures * picture;
    }
    if (needs_.neighbours == NeighbourKind::ReadAgain) {
        bytes += times(level().ready, world);
    }
    return bytes;
}

std::int64_t MemoryPlan::encoderBytes() const {
    return std::max<std::int64_t>(1, memory_ - own());
}

std::string MemoryPlan::settle(std::int64_t encoderBytes) {
    while (level_ < lastLevel_ && total(encoderBytes) > memory_) {
        ++level_;
    }
    if (wanted_ > 0 && total(encoderBytes) > memory_) {
        return "pictures of " + std::to_string(needs_.width) + "x" + std::to_string(needs_.height) +
               " cannot be rendered with this encoder and these settings within " +
               inMebibytes(wanted_) + " MiB of memory; " + inMebibytes(enoughFor(encoderBytes)) +
               " are enough (--memory)";
    }
    if (readings(needs_) == kMostReadings) {
        lookBack_ = std::clamp<std::int64_t>(memory_ - total(encoderBytes), 0, kMostLookBack);
    }
    return {};
}

/// With more memory decoders take their share of it, too.
std::int64_t MemoryPlan::enoughFor(std::int64_t encoderBytes) const {
    const std::int64_t decoders = readings(needs_) * needs_.decoderBytes;
    const std::int64_t others = total(encoderBytes) - decoders;
    constexpr std::int64_t kWhole = 6 * kMebibyte;
    const std::int64_t left = kWhole - readings(needs_) * media::decoderShare(kWhole);
    return std::max(others + decoders, others / left * kWhole + kWhole);
}

std::int64_t MemoryPlan::windowBytes(std::int64_t memory, bool isFile) {
    return isFile ? std::min(96 * kMebibyte, memory / 6) : std::min(128 * kMebibyte, memory / 4);
}

} // namespace tintwell::tool
