#include "media/encoding/losses.h"

#include "media/encoding/codec_choice.h"

#include <algorithm>
#include <cmath>
#include <iterator>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {
namespace {

std::string samplingName(const PixelFormatTraits& traits) {
    if (traits.model == ColorModel::Grey) {
        return "4:0:0";
    }
    const int columns = traits.chromaShiftX;
    if (traits.chromaShiftY == 0) {
        return columns == 0 ? "4:4:4" : columns == 1 ? "4:2:2" : "4:1:1";
    }
    return columns == 0 ? "4:4:0" : columns == 1 ? "4:2:0" : "4:1:0";
}

/// The least of the components: bit fields (rgb8, rgb565) give them different numbers.
int leastDepth(AVPixelFormat format) {
    const AVPixFmtDescriptor& description = *av_pix_fmt_desc_get(format);
    if ((description.flags & AV_PIX_FMT_FLAG_PAL) != 0) {
        return 8;
    }
    int least = description.comp[0].depth;
    for (int i = 1; i < description.nb_components; ++i) {
        least = std::min(least, description.comp[i].depth);
    }
    return least;
}

bool isLossless(const SourceVideo& source) {
    const AVCodecID codec = source.parameters.codec_id;
    // Of WebP, what keeps every sample is R,G,B; OpenEXR mostly is so.
    return materialOf(codec) == Material::Lossless || codec == AV_CODEC_ID_EXR ||
           (codec == AV_CODEC_ID_WEBP &&
            traitsOf(source.info.pixelFormat).model == ColorModel::Rgb);
}

/// Colour at full resolution in codecs that are made for watching, where the source's is not so.
bool isRarelyPlayed(const SourceVideo& source, const EncodingPlan& plan) {
    const PixelFormatTraits traits = traitsOf(plan.pixelFormat);
    const bool full = traits.model == ColorModel::Rgb ||
                      (traits.model == ColorModel::Yuv && traits.chromaShiftX == 0);
    return full && (plan.codec->id == AV_CODEC_ID_H264 || plan.codec->id == AV_CODEC_ID_HEVC) &&
           (plan.codec->id != source.parameters.codec_id ||
            plan.pixelFormat != source.info.pixelFormat);
}

/// Some codecs know a few shapes of the picture only, and take the nearest.
bool keepsShape(const ClipInfo& source, AVCodecID codec) {
    constexpr double kNear = 0.01;
    constexpr double kShapes[] = {4.0 / 3.0, 16.0 / 9.0, 2.21};
    const bool isDv = codec == AV_CODEC_ID_DVVIDEO;
    if ((codec != AV_CODEC_ID_MPEG2VIDEO && !isDv) || source.sampleAspectRatio.num == 0) {
        return true;
    }
    const double pixels = av_q2d(source.sampleAspectRatio);
    const double shape = pixels * source.width / source.height;
    // DV has no words for the last of them; MPEG-2 has for square pixels.
    return (!isDv && std::abs(pixels - 1.0) < kNear) ||
           std::any_of(std::begin(kShapes), std::end(kShapes) - (isDv ? 1 : 0),
                       [&](double known) { return std::abs(shape / known - 1.0) < kNear; });
}

} // namespace

bool isFloat(AVPixelFormat format) {
    return (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
}

std::vector<std::string> lossesOfFormat(AVPixelFormat from, AVPixelFormat to) {
    const PixelFormatTraits source = traitsOf(from);
    const PixelFormatTraits target = traitsOf(to);
    std::vector<std::string> losses;
    if (source.model != ColorModel::Grey && target.model == ColorModel::Grey) {
        losses.emplace_back("colour becomes grey");
    } else if (source.model == ColorModel::Rgb && target.model == ColorModel::Yuv) {
        losses.emplace_back("R,G,B become Y,U,V, which rounds");
    } else if (source.model == ColorModel::Yuv && target.model == ColorModel::Rgb) {
        losses.emplace_back("Y,U,V become R,G,B, which rounds and cuts off what lies outside");
    }
    if (target.model == ColorModel::Yuv && source.model != ColorModel::Grey &&
        (target.chromaShiftX > source.chromaShiftX || target.chromaShiftY > source.chromaShiftY)) {
        losses.push_back("colour of " + samplingName(source) + " becomes " + samplingName(target));
    }
    if (isFloat(from) && !isFloat(to)) {
        losses.push_back("floating point becomes " + std::to_string(leastDepth(to)) +
                         " bits, and what lies outside of 0 to 1 is cut off");
    } else if (leastDepth(to) < 8 && leastDepth(to) < leastDepth(from)) {
        losses.emplace_back("every colour becomes one of a few fixed ones");
    } else if (leastDepth(to) < leastDepth(from)) {
        losses.push_back(std::to_string(leastDepth(from)) + " bits become " +
                         std::to_string(leastDepth(to)));
    }
    if (source.alpha && !target.alpha) {
        losses.emplace_back("transparency is left out");
    }
    return losses;
}

std::string fieldsLoss(AVCodecID codec) {
    return std::string("fields are coded together, as ") + avcodec_get_name(codec) +
           " is encoded in frames";
}

std::vector<std::string> lossesOf(const SourceVideo& source, const EncodingPlan& plan,
                                  const AVOutputFormat& container, const EncoderOptions& wanted) {
    std::vector<std::string> losses;
    const AVCodecID from = source.parameters.codec_id;
    const bool byName = !wanted.codec.empty() || wanted.purpose != Purpose::Same;
    const std::string change =
        std::string(avcodec_get_name(from)) + " becomes " + avcodec_get_name(plan.codec->id);
    if (isLossless(source) && !plan.isLossless && !byName) {
        losses.push_back(change + " in the format " + container.name + ", lossless becomes lossy");
    } else if (!byName && plan.codec->id != from && !plan.isLossless) {
        losses.push_back(change + " in the format " + container.name);
    }
    const bool keepsRows =
        plan.asFields || plan.isLossless || plan.codec->id == AV_CODEC_ID_DVVIDEO;
    if (source.info.hasFields() && !keepsRows) {
        losses.push_back(fieldsLoss(plan.codec->id));
    }
    if (!keepsShape(source.info, plan.codec->id)) {
        losses.push_back(std::string("the shape of the pixels becomes the nearest that ") +
                         avcodec_get_name(plan.codec->id) + " knows");
    }
    if (wanted.pixelFormat.empty()) {
        for (std::string& loss : lossesOfFormat(source.info.pixelFormat, plan.pixelFormat)) {
            losses.push_back(std::move(loss));
        }
        if (isRarelyPlayed(source, plan)) {
            losses.push_back(std::string("few players take ") + avcodec_get_name(plan.codec->id) +
                             " of " + samplingName(traitsOf(plan.pixelFormat)) +
                             "; with --for web all do");
        }
    }
    return losses;
}

} // namespace tintwell::media
