#include "media/encoding/container_video.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace tintwell::media {
namespace {

struct ContainerCodecs {
    std::string_view container;
    std::initializer_list<AVCodecID> codecs;
};

/// Where FFmpeg does not tell.
const std::initializer_list<ContainerCodecs> kHeld{
    {"mpegts",
     {AV_CODEC_ID_H264, AV_CODEC_ID_HEVC, AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO,
      AV_CODEC_ID_MPEG4}},
    {"mpeg", {AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO}},
    {"vob", {AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO}},
    {"mxf",
     {AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_DNXHD, AV_CODEC_ID_PRORES, AV_CODEC_ID_JPEG2000,
      AV_CODEC_ID_DVVIDEO}},
};

/// Where FFmpeg has a tag that other programs do not know, or refuses in the end.
const std::initializer_list<ContainerCodecs> kNotHeld{
    {"mov",
     {AV_CODEC_ID_VP8, AV_CODEC_ID_VP9, AV_CODEC_ID_AV1, AV_CODEC_ID_UTVIDEO,
      AV_CODEC_ID_MAGICYUV}},
    {"mp4", {AV_CODEC_ID_PNG, AV_CODEC_ID_JPEG2000, AV_CODEC_ID_VP8, AV_CODEC_ID_MPEG1VIDEO}},
    {"avi", {AV_CODEC_ID_VP8, AV_CODEC_ID_VP9, AV_CODEC_ID_AV1, AV_CODEC_ID_PRORES}},
};

const ContainerCodecs* find(const std::initializer_list<ContainerCodecs>& list,
                            const AVOutputFormat& container) {
    const auto* entry = std::ranges::find(list, container.name, &ContainerCodecs::container);
    return entry != list.end() ? entry : nullptr;
}

bool names(const ContainerCodecs& entry, AVCodecID codec) {
    return std::ranges::find(entry.codecs, codec) != entry.codecs.end();
}

} // namespace

bool isQuickTimeFamily(const AVOutputFormat& container) {
    constexpr std::array<std::string_view, 6> kNames{"mov", "mp4", "ipod", "3gp", "3g2", "ismv"};
    return std::ranges::find(kNames, container.name) != kNames.end();
}

bool holdsVideo(const AVOutputFormat& container, AVCodecID codec) {
    if (const ContainerCodecs* held = find(kHeld, container)) {
        return names(*held, codec);
    }
    if (const ContainerCodecs* notHeld = find(kNotHeld, container);
        notHeld != nullptr && names(*notHeld, codec)) {
        return false;
    }
    return avformat_query_codec(&container, codec, FF_COMPLIANCE_NORMAL) == 1;
}

bool holdsAlpha(const AVOutputFormat& container, AVCodecID codec) {
    // It lies beside the picture, where only these have a place.
    const bool beside = codec == AV_CODEC_ID_VP8 || codec == AV_CODEC_ID_VP9;
    const std::string_view name = container.name;
    return !beside || name == "matroska" || name == "webm";
}

AVCodecID usualVideoCodec(const AVOutputFormat& container, const std::string& url) {
    const std::string_view name = container.name;
    // These date from before H.264 and still say so.
    if (name == "avi" || name == "mpegts" || name == "flv" || name == "3gp" || name == "3g2") {
        return AV_CODEC_ID_H264;
    }
    // What goes into this container is on its way to another program.
    if (name == "nut") {
        return AV_CODEC_ID_RAWVIDEO;
    }
    // Its own answer, MPEG-1, knows neither interlacing nor large pictures.
    if (name == "mpeg") {
        return AV_CODEC_ID_MPEG2VIDEO;
    }
    return av_guess_codec(&container, nullptr, url.c_str(), nullptr, AVMEDIA_TYPE_VIDEO);
}

} // namespace tintwell::media
