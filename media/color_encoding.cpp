#include "media/color_encoding.h"

extern "C" {
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

} // namespace

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
           !isPlainMatrix(tags.matrix);
}

OutputColor outputColor(AVPixelFormat inputFormat, const ColorTags& inputTags,
                        AVPixelFormat outputFormat, int width, int height) {
    OutputColor output{{}, inputTags};
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
