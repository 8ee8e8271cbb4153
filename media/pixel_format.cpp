#include "media/pixel_format.h"

#include <algorithm>
#include <array>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {
namespace {

constexpr std::uint64_t kIndirectFlags = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                                         AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER |
                                         AV_PIX_FMT_FLAG_FLOAT;

/// R,G,B of 8 bits is packed here: from palettes and bit fields the scaler takes another way to
/// planes, through Y,U,V.
constexpr std::array kDirectChoices{
    AV_PIX_FMT_GRAY8,      AV_PIX_FMT_GRAY16,    AV_PIX_FMT_RGB24,     AV_PIX_FMT_RGB32,
    AV_PIX_FMT_GBRP16,     AV_PIX_FMT_GBRAP16,   AV_PIX_FMT_YUV411P,   AV_PIX_FMT_YUV420P,
    AV_PIX_FMT_YUV422P,    AV_PIX_FMT_YUV444P,   AV_PIX_FMT_YUVA420P,  AV_PIX_FMT_YUVA422P,
    AV_PIX_FMT_YUVA444P,   AV_PIX_FMT_YUV420P16, AV_PIX_FMT_YUV422P16, AV_PIX_FMT_YUV444P16,
    AV_PIX_FMT_YUVA444P16,
};

bool isDirect(const AVPixFmtDescriptor& description, AVPixelFormat format) {
    const auto components = std::span(description.comp).first(description.nb_components);
    // No flag tells that these are XYZ, and that this has no fixed step from pixel to pixel.
    return (description.flags & kIndirectFlags) == 0 && format != AV_PIX_FMT_XYZ12LE &&
           format != AV_PIX_FMT_XYZ12BE && format != AV_PIX_FMT_UYYVYY411 &&
           std::ranges::all_of(components, [&](const AVComponentDescriptor& component) {
               return component.depth == components[0].depth && component.depth >= 8 &&
                      component.depth <= 16;
           });
}

} // namespace

PixelFormatTraits traitsOf(AVPixelFormat format) {
    const AVPixFmtDescriptor& description = *av_pix_fmt_desc_get(format);
    const auto components = std::span(description.comp).first(description.nb_components);
    PixelFormatTraits traits;
    traits.direct = isDirect(description, format);
    traits.alpha = (description.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    for (const AVComponentDescriptor& component : components) {
        traits.depth = std::max(traits.depth, component.depth);
    }
    if ((description.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0) {
        traits.model = ColorModel::Rgb;
    } else if (components.size() <= 2) {
        traits.model = ColorModel::Grey;
    } else {
        traits.chromaShiftX = description.log2_chroma_w;
        traits.chromaShiftY = description.log2_chroma_h;
    }
    return traits;
}

AVPixelFormat directFormatFor(AVPixelFormat format) {
    return traitsOf(format).direct ? format : closestFormat(format, kDirectChoices);
}

AVPixelFormat closestFormat(AVPixelFormat wanted, std::span<const AVPixelFormat> choices) {
    const auto isWritable = [](AVPixelFormat format) {
        const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
        return description != nullptr &&
               (description->flags &
                (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_HWACCEL)) == 0;
    };
    if (isWritable(wanted) && std::ranges::find(choices, wanted) != choices.end()) {
        return wanted;
    }
    AVPixelFormat best = AV_PIX_FMT_NONE;
    for (const AVPixelFormat choice : choices) {
        if (!isWritable(choice)) {
            continue;
        }
        best = best == AV_PIX_FMT_NONE ? choice
                                       : av_find_best_pix_fmt_of_2(best, choice, wanted,
                                                                   traitsOf(wanted).alpha, nullptr);
    }
    return best;
}

bool isFullRangeByName(AVPixelFormat format) {
    return withoutRangeInName(format) != format;
}

AVPixelFormat withoutRangeInName(AVPixelFormat format) {
    switch (format) {
    case AV_PIX_FMT_YUVJ411P:
        return AV_PIX_FMT_YUV411P;
    case AV_PIX_FMT_YUVJ420P:
        return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
        return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ440P:
        return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ444P:
        return AV_PIX_FMT_YUV444P;
    default:
        return format;
    }
}

std::string nameOf(AVPixelFormat format) {
    const char* name = av_get_pix_fmt_name(format);
    return name != nullptr ? name : "none";
}

} // namespace tintwell::media
