#include "media/color_encoding.h"

#include <cstring>

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {
namespace {

constexpr int kHighDefinitionWidth = 1280;
constexpr int kStandardDefinitionHeight = 576;

AVColorSpace guessMatrix(int width, int height) {
    return width >= kHighDefinitionWidth || height > kStandardDefinitionHeight
               ? AVCOL_SPC_BT709
               : AVCOL_SPC_SMPTE170M;
}

/// FFmpeg keeps in these types what it reads, even if it is none of their values. As a value of the
/// type such a one must not even be looked at.
template <class Tag>
Tag readTag(const Tag& stored, Tag end, const char* (*nameOf)(Tag)) {
    static_assert(sizeof(Tag) == sizeof(int));
    int number = 0;
    std::memcpy(&number, &stored, sizeof number);
    const bool fits = number >= 0 && number < static_cast<int>(end);
    return fits && nameOf(static_cast<Tag>(number)) != nullptr ? static_cast<Tag>(number) : end;
}

/// The picture's, and where it says nothing the stream's.
template <class Tag>
Tag statedTag(const Tag& picture, const Tag& stream, Tag unspecified, Tag end,
              const char* (*nameOf)(Tag)) {
    const Tag tag = readTag(picture, end, nameOf);
    return tag != unspecified ? tag : readTag(stream, end, nameOf);
}

ColorTags withoutUnknown(ColorTags tags) {
    const auto leaveOut = [](auto& tag, auto end, auto unspecified) {
        tag = tag == end ? unspecified : tag;
    };
    leaveOut(tags.matrix, AVCOL_SPC_NB, AVCOL_SPC_UNSPECIFIED);
    leaveOut(tags.range, AVCOL_RANGE_NB, AVCOL_RANGE_UNSPECIFIED);
    leaveOut(tags.primaries, AVCOL_PRI_NB, AVCOL_PRI_UNSPECIFIED);
    leaveOut(tags.transfer, AVCOL_TRC_NB, AVCOL_TRC_UNSPECIFIED);
    leaveOut(tags.chromaLocation, AVCHROMA_LOC_NB, AVCHROMA_LOC_UNSPECIFIED);
    return tags;
}

} // namespace

ColorTags tagsOf(const AVFrame& picture, const AVCodecParameters& stream) {
    ColorTags tags;
    tags.matrix = statedTag(picture.colorspace, stream.color_space, AVCOL_SPC_UNSPECIFIED,
                            AVCOL_SPC_NB, av_color_space_name);
    tags.range = statedTag(picture.color_range, stream.color_range, AVCOL_RANGE_UNSPECIFIED,
                           AVCOL_RANGE_NB, av_color_range_name);
    tags.primaries = statedTag(picture.color_primaries, stream.color_primaries,
                               AVCOL_PRI_UNSPECIFIED, AVCOL_PRI_NB, av_color_primaries_name);
    tags.transfer = statedTag(picture.color_trc, stream.color_trc, AVCOL_TRC_UNSPECIFIED,
                              AVCOL_TRC_NB, av_color_transfer_name);
    tags.chromaLocation =
        statedTag(picture.chroma_location, stream.chroma_location, AVCHROMA_LOC_UNSPECIFIED,
                  AVCHROMA_LOC_NB, av_chroma_location_name);
    return tags;
}

bool isPlainMatrix(AVColorSpace matrix) {
    switch (matrix) {
    case AVCOL_SPC_BT709:
    case AVCOL_SPC_FCC:
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
    case AVCOL_SPC_SMPTE240M:
    case AVCOL_SPC_YCGCO:
    case AVCOL_SPC_BT2020_NCL:
        return true;
    default:
        return false;
    }
}

void declareColor(AVFrame& picture, const ColorTags& declared) {
    const auto declare = [](auto& tag, auto value, auto unspecified) {
        // What files say need not be a value of the type; it is not to be looked at.
        if (value != unspecified) {
            tag = value;
        }
    };
    declare(picture.colorspace, declared.matrix, AVCOL_SPC_UNSPECIFIED);
    declare(picture.color_range, declared.range, AVCOL_RANGE_UNSPECIFIED);
    declare(picture.color_primaries, declared.primaries, AVCOL_PRI_UNSPECIFIED);
    declare(picture.color_trc, declared.transfer, AVCOL_TRC_UNSPECIFIED);
    if (declared.range != AVCOL_RANGE_UNSPECIFIED) {
        picture.format = withoutRangeInName(static_cast<AVPixelFormat>(picture.format));
    }
}

std::vector<const char*> unknownTags(const ColorTags& tags) {
    std::vector<const char*> unknown;
    const auto add = [&](bool isUnknown, const char* name) {
        if (isUnknown) {
            unknown.push_back(name);
        }
    };
    add(tags.matrix == AVCOL_SPC_NB, "colour matrix");
    add(tags.range == AVCOL_RANGE_NB, "colour range");
    add(tags.primaries == AVCOL_PRI_NB, "colour primaries");
    add(tags.transfer == AVCOL_TRC_NB, "colour transfer");
    add(tags.chromaLocation == AVCHROMA_LOC_NB, "chroma location");
    return unknown;
}

ColorEncoding resolveColor(AVPixelFormat format, int width, int height, const ColorTags& tags) {
    const ColorModel model = traitsOf(format).model;
    ColorEncoding encoding;
    encoding.fullRange = tags.range == AVCOL_RANGE_JPEG || isFullRangeByName(format) ||
                         (tags.range != AVCOL_RANGE_MPEG && model != ColorModel::Yuv);
    if (model == ColorModel::Rgb) {
        encoding.matrix = AVCOL_SPC_RGB;
    } else if (tags.matrix == AVCOL_SPC_BT2020_CL) {
        encoding.matrix = AVCOL_SPC_BT2020_NCL;
    } else {
        encoding.matrix = isPlainMatrix(tags.matrix) ? tags.matrix : guessMatrix(width, height);
    }
    return encoding;
}

bool matrixIsReplaced(AVPixelFormat format, const ColorTags& tags) {
    return traitsOf(format).model == ColorModel::Yuv && tags.matrix != AVCOL_SPC_UNSPECIFIED &&
           tags.matrix != AVCOL_SPC_NB && !isPlainMatrix(tags.matrix);
}

OutputColor outputColor(AVPixelFormat inputFormat, const ColorTags& inputTags,
                        AVPixelFormat outputFormat, int width, int height) {
    OutputColor output{{}, withoutUnknown(inputTags)};
    const bool modelChanges = traitsOf(inputFormat).model != traitsOf(outputFormat).model;
    if (modelChanges) {
        output.tags.matrix = AVCOL_SPC_UNSPECIFIED;
        output.tags.range = AVCOL_RANGE_UNSPECIFIED;
    }
    if (isFullRangeByName(outputFormat) != isFullRangeByName(inputFormat)) {
        const bool full = isFullRangeByName(outputFormat) ||
                          resolveColor(inputFormat, width, height, inputTags).fullRange;
        output.tags.range = full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    }
    output.encoding = resolveColor(outputFormat, width, height, output.tags);
    if (modelChanges) {
        output.tags.matrix = output.encoding.matrix;
        output.tags.range = output.encoding.fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    }
    return output;
}

std::string matrixName(AVColorSpace matrix) {
    const char* name = av_color_space_name(matrix);
    return name != nullptr ? name : "number " + std::to_string(matrix);
}

std::string matrixName(const ColorEncoding& encoding) {
    return matrixName(encoding.matrix);
}

std::string rangeName(const ColorEncoding& encoding) {
    return encoding.fullRange ? "pc" : "tv";
}

} // namespace tintwell::media
