#include "media/encoding/codec_choice.h"

#include "media/encoding/container_video.h"
#include "media/encoding/format_choice.h"
#include "media/encoding/losses.h"
#include "media/media_error.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>

namespace tintwell::media {
namespace {

/// Codecs that stay what they are where the container holds them. Where no encoder is named,
/// FFmpeg's own is taken. What is not here has had its day, or cannot be encoded.
struct StayingCodec {
    AVCodecID codec;
    const char* encoder;
};

constexpr std::array kStaying{
    StayingCodec{AV_CODEC_ID_H264, "libx264"},
    StayingCodec{AV_CODEC_ID_HEVC, "libx265"},
    StayingCodec{AV_CODEC_ID_VP8, "libvpx"},
    StayingCodec{AV_CODEC_ID_VP9, "libvpx-vp9"},
    StayingCodec{AV_CODEC_ID_AV1, "libaom-av1"},
    StayingCodec{AV_CODEC_ID_MPEG1VIDEO, nullptr},
    StayingCodec{AV_CODEC_ID_MPEG2VIDEO, nullptr},
    StayingCodec{AV_CODEC_ID_MPEG4, nullptr},
    StayingCodec{AV_CODEC_ID_MJPEG, nullptr},
    StayingCodec{AV_CODEC_ID_THEORA, nullptr},
    StayingCodec{AV_CODEC_ID_DVVIDEO, nullptr},
    StayingCodec{AV_CODEC_ID_PRORES, "prores_ks"},
    StayingCodec{AV_CODEC_ID_DNXHD, nullptr},
    StayingCodec{AV_CODEC_ID_CFHD, nullptr},
    StayingCodec{AV_CODEC_ID_JPEG2000, "libopenjpeg"},
    StayingCodec{AV_CODEC_ID_WEBP, "libwebp"},
    StayingCodec{AV_CODEC_ID_FFV1, nullptr},
    StayingCodec{AV_CODEC_ID_FFVHUFF, nullptr},
    StayingCodec{AV_CODEC_ID_HUFFYUV, nullptr},
    StayingCodec{AV_CODEC_ID_UTVIDEO, nullptr},
    StayingCodec{AV_CODEC_ID_MAGICYUV, nullptr},
    StayingCodec{AV_CODEC_ID_V210, nullptr},
    StayingCodec{AV_CODEC_ID_QTRLE, nullptr},
};

/// What comes nearest, best first, where the source's own codec cannot be had: the first that keeps
/// the source's pixels, or else the last.
struct Substitutes {
    std::string_view container;
    Material material;
    std::initializer_list<const char*> encoders;
};

const std::initializer_list<Substitutes> kSubstitutes{
    {"matroska", Material::Lossless, {"ffv1"}},
    {"avi", Material::Lossless, {"ffv1"}},
    {"mov", Material::Lossless, {"png", "v210", "prores_ks"}},
    {"mxf", Material::Lossless, {"dnxhd"}},
    {"matroska", Material::Intermediate, {"prores_ks"}},
    {"mov", Material::Intermediate, {"prores_ks"}},
    {"mxf", Material::Intermediate, {"dnxhd"}},
    {"avi", Material::Intermediate, {"ffv1"}},
    {"matroska", Material::Delivery, {"libx265", "libx264"}},
    {"mov", Material::Delivery, {"libx265", "libx264", "prores_ks"}},
    {"mp4", Material::Delivery, {"libx265", "libx264"}},
    {"mpegts", Material::Delivery, {"libx265", "libx264"}},
    {"webm", Material::Delivery, {"libvpx-vp9"}},
};

const AVCodec* encoderFor(AVCodecID codec) {
    const auto* staying = std::ranges::find(kStaying, codec, &StayingCodec::codec);
    const AVCodec* named = staying != kStaying.end() && staying->encoder != nullptr
                               ? avcodec_find_encoder_by_name(staying->encoder)
                               : nullptr;
    return named != nullptr ? named : avcodec_find_encoder(codec);
}

/// Whether the encoder takes these pixels without losing any of what they hold.
bool keeps(const AVCodec& codec, AVPixelFormat format) {
    const AVPixelFormat closest = closestFormatOf(codec, format);
    return closest != AV_PIX_FMT_NONE && lossesOfFormat(format, closest).empty();
}

/// Of the encoders of one codec, the one for these pixels.
const AVCodec& variantFor(const AVCodec& codec, const ClipInfo& source) {
    const PixelFormatTraits traits = traitsOf(source.pixelFormat);
    const AVCodec* variant = nullptr;
    // Few players know H.264 of R,G,B: it is for what came so.
    if (codec.id == AV_CODEC_ID_H264 && source.codecName == "h264" &&
        traits.model == ColorModel::Rgb && traits.depth == 8) {
        variant = avcodec_find_encoder_by_name("libx264rgb");
    } else if (codec.id == AV_CODEC_ID_AV1) {
        variant = avcodec_find_encoder_by_name("libsvtav1"); // by far the faster one
        variant = variant != nullptr && keeps(*variant, source.pixelFormat) ? variant : nullptr;
    }
    return variant != nullptr ? *variant : codec;
}

/// Moving pictures without compression are also what programs hand to each other; they stay so only
/// in a file of the kind that they came in.
bool staysRaw(const SourceVideo& source, const AVOutputFormat& container) {
    return source.parameters.codec_id == AV_CODEC_ID_RAWVIDEO &&
           source.info.formatName.find(container.name) != std::string::npos;
}

const AVCodec* stayingEncoder(const SourceVideo& source, const AVOutputFormat& container) {
    const AVCodecID codec = source.parameters.codec_id;
    const bool stays = std::ranges::find(kStaying, codec, &StayingCodec::codec) != kStaying.end() ||
                       staysRaw(source, container);
    const AVCodec* encoder = stays && holdsVideo(container, codec) ? encoderFor(codec) : nullptr;
    return encoder != nullptr ? &variantFor(*encoder, source.info) : nullptr;
}

const AVCodec* substitute(const SourceVideo& source, const AVOutputFormat& container) {
    const Material material = materialOf(source.parameters.codec_id);
    const AVCodec* last = nullptr;
    for (const Substitutes& row : kSubstitutes) {
        if (row.container != container.name || row.material != material) {
            continue;
        }
        for (const char* name : row.encoders) {
            const AVCodec* encoder = avcodec_find_encoder_by_name(name);
            if (encoder != nullptr) {
                last = encoder;
            }
            // HEVC is for what H.264's players do not take: more than 8 bits.
            const bool needed = encoder != nullptr && (encoder->id != AV_CODEC_ID_HEVC ||
                                                       traitsOf(source.info.pixelFormat).depth > 8);
            if (needed && keeps(*encoder, source.info.pixelFormat)) {
                return encoder;
            }
        }
    }
    return last;
}

const AVCodec* nearestEncoder(const SourceVideo& source, const AVOutputFormat& container,
                              const std::string& url) {
    // The name of an image says what it is, and what leaves through a pipe wants to be raw.
    const std::string_view name = container.name;
    if (name != "image2" && name != "image2pipe" && name != "nut") {
        if (const AVCodec* same = stayingEncoder(source, container)) {
            return same;
        }
        if (const AVCodec* near = substitute(source, container)) {
            return near;
        }
    }
    const AVCodecID usual = usualVideoCodec(container, url);
    const AVCodec* encoder = usual != AV_CODEC_ID_NONE ? encoderFor(usual) : nullptr;
    return encoder != nullptr ? &variantFor(*encoder, source.info) : nullptr;
}

const AVCodec& namedEncoder(const std::string& name) {
    const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get_by_name(name.c_str());
    if (codec == nullptr && descriptor != nullptr) {
        codec = encoderFor(descriptor->id);
    }
    if (codec == nullptr) {
        throw MediaError("there is no video encoder '" + name + "'; 'ffmpeg -encoders' lists them");
    }
    if (codec->type != AVMEDIA_TYPE_VIDEO) {
        throw MediaError("'" + name + "' is not a video encoder");
    }
    return *codec;
}

/// The encoder of a purpose, where the container holds its codec.
const AVCodec& encoderForPurpose(Purpose purpose, const AVOutputFormat& container,
                                 const std::string& output) {
    struct Row {
        Purpose purpose;
        const char* word;
        std::initializer_list<const char*> encoders;
        const char* instead;
    };

    const Row rows[] = {{Purpose::Archive, "archive", {"ffv1"}, ".mkv"},
                        {Purpose::Edit, "edit", {"prores_ks"}, ".mov"},
                        {Purpose::Web, "web", {"libx264", "libvpx-vp9"}, ".mp4"}};
    const Row& row = *std::ranges::find(rows, purpose, &Row::purpose);
    for (const char* name : row.encoders) {
        const AVCodec* encoder = avcodec_find_encoder_by_name(name);
        if (encoder != nullptr && holdsVideo(container, encoder->id)) {
            return *encoder;
        }
    }
    throw MediaError(output + ": a " + container.name + " file does not hold what --for " +
                     row.word + " writes; let the name of the output end in " + row.instead);
}

} // namespace

Material materialOf(AVCodecID codec) {
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec);
    const int properties = descriptor != nullptr ? descriptor->props : 0;
    constexpr int kBoth = AV_CODEC_PROP_LOSSY | AV_CODEC_PROP_LOSSLESS;
    if ((properties & kBoth) == AV_CODEC_PROP_LOSSLESS) {
        return Material::Lossless;
    }
    constexpr std::array kIntermediate{AV_CODEC_ID_PRORES,   AV_CODEC_ID_DNXHD,  AV_CODEC_ID_CFHD,
                                       AV_CODEC_ID_JPEG2000, AV_CODEC_ID_DIRAC,  AV_CODEC_ID_EXR,
                                       AV_CODEC_ID_JPEGLS,   AV_CODEC_ID_DVVIDEO};
    return std::ranges::find(kIntermediate, codec) != kIntermediate.end() ? Material::Intermediate
                                                                          : Material::Delivery;
}

bool canCodeFields(const AVCodec& codec) {
    constexpr std::array<std::string_view, 6> kEncoders{"libx264", "mpeg2video", "mpeg4",
                                                        "libxvid", "prores_ks",  "dnxhd"};
    return std::ranges::find(kEncoders, codec.name) != kEncoders.end();
}

const AVCodec& chooseCodec(const SourceVideo& source, const AVOutputFormat& container,
                           const std::string& url, const std::string& output,
                           const EncoderOptions& wanted) {
    if (wanted.codec.empty() && wanted.purpose != Purpose::Same) {
        return encoderForPurpose(wanted.purpose, container, output);
    }
    const AVCodec* codec =
        wanted.codec.empty() ? nearestEncoder(source, container, url) : &namedEncoder(wanted.codec);
    if (codec == nullptr) {
        throw MediaError(output + ": the format " + container.name +
                         " has no usual video codec; name one (--video-codec)");
    }
    if (avformat_query_codec(&container, codec->id, FF_COMPLIANCE_NORMAL) == 0) {
        throw MediaError(output + ": a " + container.name + " file cannot hold " +
                         avcodec_get_name(codec->id) +
                         " video; choose another codec or another file format");
    }
    return *codec;
}

} // namespace tintwell::media
