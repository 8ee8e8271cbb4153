#include "media/encoding/format_choice.h"

#include "media/encoding/container_video.h"
#include "media/media_error.h"

#include <algorithm>
#include <array>
#include <span>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {
namespace {

std::vector<AVPixelFormat> formatsOf(const AVCodec& codec) {
    std::vector<AVPixelFormat> formats;
    for (const AVPixelFormat* each = codec.pix_fmts; each != nullptr && *each != AV_PIX_FMT_NONE;
         ++each) {
        // JPEG is full range; FFmpeg lists what it then refuses.
        if (codec.id != AV_CODEC_ID_MJPEG || isFullRangeByName(*each)) {
            formats.push_back(*each);
        }
    }
    return formats;
}

AVPixelFormat formatNamed(const std::string& name, const AVCodec& codec) {
    const AVPixelFormat format = av_get_pix_fmt(name.c_str());
    if (format == AV_PIX_FMT_NONE) {
        throw MediaError("there is no pixel format '" + name + "'");
    }
    if (closestFormat(format, std::array{format}) == AV_PIX_FMT_NONE) {
        throw MediaError("pictures cannot be written in pixel format " + name + "; choose another");
    }
    const std::vector<AVPixelFormat> offered = formatsOf(codec);
    if (!offered.empty() && std::ranges::find(offered, format) == offered.end()) {
        std::string list;
        for (const AVPixelFormat choice : offered) {
            list += (list.empty() ? "" : ", ") + nameOf(choice);
        }
        throw MediaError(std::string("the encoder ") + codec.name + " does not take pixel format " +
                         name + "; it takes " + list);
    }
    return format;
}

/// H.264 and HEVC cut odd sides off a coded picture in steps of a chroma sample; FFmpeg's encoder
/// of ProRes spoils the last column.
bool needsEvenSides(const AVCodec& codec) {
    return codec.id == AV_CODEC_ID_H264 || codec.id == AV_CODEC_ID_HEVC ||
           codec.id == AV_CODEC_ID_PRORES;
}

bool fits(const ClipInfo& source, AVPixelFormat format) {
    const PixelFormatTraits traits = traitsOf(format);
    return source.width % (1 << traits.chromaShiftX) == 0 &&
           source.height % (1 << traits.chromaShiftY) == 0;
}

/// The nearest of the formats whose chroma samples fill the picture.
AVPixelFormat closestThatFits(const ClipInfo& source, const AVCodec& codec, AVPixelFormat format) {
    std::vector<AVPixelFormat> fitting = formatsOf(codec);
    std::erase_if(fitting, [&](AVPixelFormat each) { return !fits(source, each); });
    const PixelFormatTraits traits = traitsOf(format);
    // By colour resolution first: a choice by closeness would take grey for the nearest.
    std::erase_if(fitting, [&](AVPixelFormat each) {
        const PixelFormatTraits other = traitsOf(each);
        return other.model != traits.model || other.depth != traits.depth ||
               isFullRangeByName(each) != isFullRangeByName(format);
    });
    return closestFormat(format, fitting);
}

/// The nearest to the source's, or to what the purpose makes of it.
AVPixelFormat closestFor(const ClipInfo& source, const AVCodec& codec,
                         const AVOutputFormat& container, Purpose purpose) {
    if (purpose == Purpose::Web) {
        return AV_PIX_FMT_YUV420P;
    }
    const AVPixelFormat closest = closestFormatOf(codec, source.pixelFormat);
    if (closest == AV_PIX_FMT_NONE || !traitsOf(closest).alpha || holdsAlpha(container, codec.id)) {
        return closest;
    }
    std::vector<AVPixelFormat> opaque = formatsOf(codec);
    std::erase_if(opaque, [](AVPixelFormat each) { return traitsOf(each).alpha; });
    return closestFormat(source.pixelFormat, opaque);
}

} // namespace

AVPixelFormat closestFormatOf(const AVCodec& codec, AVPixelFormat format) {
    const std::vector<AVPixelFormat> offered = formatsOf(codec);
    const AVPixelFormat closest = offered.empty() ? format : closestFormat(format, offered);
    return closest != AV_PIX_FMT_NONE && directFormatFor(closest) != AV_PIX_FMT_NONE
               ? closest
               : AV_PIX_FMT_NONE;
}

AVPixelFormat choosePixelFormat(const ClipInfo& source, const AVCodec& codec,
                                const AVOutputFormat& container, const std::string& output,
                                const EncoderOptions& wanted) {
    AVPixelFormat format = wanted.pixelFormat.empty()
                               ? closestFor(source, codec, container, wanted.purpose)
                               : formatNamed(wanted.pixelFormat, codec);
    if (format == AV_PIX_FMT_NONE) {
        throw MediaError(output + ": the encoder " + codec.name +
                         " takes no pixel format that can be written; choose another encoder");
    }
    if (closestFormat(format, std::array{format}) == AV_PIX_FMT_NONE) {
        throw MediaError(output + ": the source's pixel format " + nameOf(format) +
                         " can be read, but not written; choose another (--pixel-format)");
    }
    if (needsEvenSides(codec) && !fits(source, format)) {
        const bool free = wanted.pixelFormat.empty() && wanted.purpose != Purpose::Web;
        const AVPixelFormat fitting =
            free ? closestThatFits(source, codec, format) : AV_PIX_FMT_NONE;
        if (fitting == AV_PIX_FMT_NONE) {
            throw MediaError(output + ": " + avcodec_get_name(codec.id) + " in " + nameOf(format) +
                             " has even sides, but the picture is " + std::to_string(source.width) +
                             "x" + std::to_string(source.height) +
                             "; write to .webm, or with --pixel-format yuv444p");
        }
        format = fitting;
    }
    return format;
}

} // namespace tintwell::media
