#include "media/input/decoder_threads.h"

#include "media/memory_estimate.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tintwell::media {
namespace {

constexpr int kMostReferences = 16;

/// More threads are memory before they are speed.
constexpr int kMostThreads = 8;
constexpr int kMostThreadsOfLargePictures = 4;
constexpr std::int64_t kLargePicture = 1920 * 1200;

/// Levels of H.264 and how many macroblocks the pictures to be kept may have together.
constexpr std::array<std::pair<int, std::int64_t>, 10> kAvcLevels{{{21, 4752},
                                                                   {30, 8100},
                                                                   {31, 18000},
                                                                   {32, 20480},
                                                                   {41, 32768},
                                                                   {42, 34816},
                                                                   {50, 110400},
                                                                   {52, 184320},
                                                                   {62, 696320},
                                                                   {255, INT64_MAX}}};

/// Levels of HEVC, times thirty, and how many pixels a picture may have.
constexpr std::array<std::pair<int, std::int64_t>, 8> kHevcLevels{{{60, 122880},
                                                                   {63, 245760},
                                                                   {90, 552960},
                                                                   {93, 983040},
                                                                   {123, 2228224},
                                                                   {156, 8912896},
                                                                   {186, 35651584},
                                                                   {255, INT64_MAX}}};

template <std::size_t Count>
std::int64_t limitAt(int level, const std::array<std::pair<int, std::int64_t>, Count>& levels) {
    const auto found = std::ranges::find_if(
        levels, [&](const std::pair<int, std::int64_t>& one) { return level <= one.first; });
    return level > 0 && found != levels.end() ? found->second : INT64_MAX;
}

int hevcReferences(std::int64_t pixels, std::int64_t limit) {
    constexpr int kLeast = 6;
    if (pixels <= limit / 4) {
        return kMostReferences;
    }
    return pixels <= limit / 2 ? 2 * kLeast : pixels <= limit / 4 * 3 ? kLeast * 4 / 3 : kLeast;
}

/// Pictures that the decoder keeps for others to be predicted from, at most.
int referencesOf(const AVCodecParameters& parameters) {
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(parameters.codec_id);
    const std::int64_t pixels = std::int64_t{parameters.width} * parameters.height;
    if (descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_INTRA_ONLY) != 0) {
        return 0;
    }
    constexpr int kMacroblock = 256;
    constexpr int kOfModernCodecs = 8;
    constexpr int kOfOlderCodecs = 3;
    switch (parameters.codec_id) {
    case AV_CODEC_ID_H264:
        return static_cast<int>(std::clamp<std::int64_t>(
            limitAt(parameters.level, kAvcLevels) / std::max<std::int64_t>(1, pixels / kMacroblock),
            1, kMostReferences));
    case AV_CODEC_ID_HEVC:
        return hevcReferences(pixels, limitAt(parameters.level, kHevcLevels));
    case AV_CODEC_ID_VP9:
    case AV_CODEC_ID_AV1:
        return kOfModernCodecs;
    default:
        return kOfOlderCodecs;
    }
}

} // namespace

DecoderThreads planDecoder(const AVCodec& codec, const AVCodecParameters& parameters,
                           std::int64_t bytes, int processors) {
    const bool large = std::int64_t{parameters.width} * parameters.height > kLargePicture;
    const auto most = std::min(processors, large ? kMostThreadsOfLargePictures : kMostThreads);
    // One is being handed over. What moved where is kept beside each.
    const std::int64_t others = referencesOf(parameters) + 1;
    const std::int64_t picture = pictureBytes(static_cast<AVPixelFormat>(parameters.format),
                                              parameters.width, parameters.height) *
                                 (others > 1 ? 5 : 4) / 4;
    DecoderThreads threads;
    if ((codec.capabilities & AV_CODEC_CAP_FRAME_THREADS) != 0 && picture > 0) {
        threads.count =
            static_cast<int>(std::clamp<std::int64_t>(bytes / picture - others, 1, most));
    } else {
        threads.count = picture > 0 ? 1 : most;
    }
    threads.bytes = picture * (others + threads.count);
    if (threads.count < std::min(2, most) &&
        (codec.capabilities & AV_CODEC_CAP_SLICE_THREADS) != 0) {
        threads.count = most;
        threads.type = FF_THREAD_SLICE;
    }
    // Decoders of other makers have their own threads.
    if ((codec.capabilities & AV_CODEC_CAP_OTHER_THREADS) != 0) {
        threads.count = most;
        threads.bytes = picture * (others + most);
    }
    return threads;
}

} // namespace tintwell::media
