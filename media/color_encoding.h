#pragma once

#include "media/pixel_format.h"

#include <string>
#include <vector>

struct AVCodecParameters;
struct AVFrame;

namespace tintwell::media {

/// The colour tags of a stream or frame, as the file has them. A value that FFmpeg does
/// not know is the one behind the last of its type (AVCOL_SPC_NB).
struct ColorTags {
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVChromaLocation chromaLocation = AVCHROMA_LOC_UNSPECIFIED;
};

/// A picture's tags; the stream's where the picture says nothing.
ColorTags tagsOf(const AVFrame& picture, const AVCodecParameters& stream);

/// Tags the picture as somebody declares it to be, as far as that is said. A pixel format that has
/// its range in its name becomes the one that has not, where the range is.
void declareColor(AVFrame& picture, const ColorTags& declared);

/// For messages: the tags that have such a value, "colour matrix".
std::vector<const char*> unknownTags(const ColorTags& tags);

/// Whether a matrix is one by which samples can be turned into R,G,B and back.
bool isPlainMatrix(AVColorSpace matrix);

/// The matrix and range by which samples are turned into R,G,B and back.
struct ColorEncoding {
    AVColorSpace matrix = AVCOL_SPC_BT709; ///< never unspecified; AVCOL_SPC_RGB for the RGB model
    bool fullRange = false;

    bool operator==(const ColorEncoding&) const = default;
};

/// What the tags say, and where they say nothing what players assume: YUV is BT.709 from 1280
/// columns or above 576 rows and BT.601 below, limited range; R,G,B and grey are full range. A
/// matrix that is not a plain one (constant luminance, ICtCp) is treated as untagged, BT.2020
/// constant luminance as non-constant.
ColorEncoding resolveColor(AVPixelFormat format, int width, int height, const ColorTags& tags);

/// True where the tags name a matrix that resolveColor had to replace.
bool matrixIsReplaced(AVPixelFormat format, const ColorTags& tags);

/// How a picture in `outputFormat` is encoded when it comes from one in `inputFormat`, and the tags
/// it then carries. The source's as they were, unless the colour model or range by name changes;
/// then the tags say what was done. Values that are none are left out.
struct OutputColor {
    ColorEncoding encoding;
    ColorTags tags;
};

OutputColor outputColor(AVPixelFormat inputFormat, const ColorTags& inputTags,
                        AVPixelFormat outputFormat, int width, int height);

/// For messages: "bt709", "smpte170m"; "number 15" for one that FFmpeg has no name for.
std::string matrixName(AVColorSpace matrix);
std::string matrixName(const ColorEncoding& encoding);
/// "tv" or "pc".
std::string rangeName(const ColorEncoding& encoding);

} // namespace tintwell::media
