#pragma once

#include <cstdint>
#include <span>
#include <string>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace tintwell::media {

enum class ColorModel : std::uint8_t { Yuv, Rgb, Grey };

/// What a pixel format's samples are, however they are laid out.
struct PixelFormatTraits {
    ColorModel model = ColorModel::Yuv;
    int depth = 8; ///< bits of the deepest component
    bool alpha = false;
    int chromaShiftX = 0; ///< log2 of the luma columns that share a chroma sample
    int chromaShiftY = 0; ///< log2 of the luma rows that share a chroma sample
    /// The components are integers of one depth, 8 to 16 bits, that can be read and written a row
    /// at a time. Other formats (palettes, bit fields, floating point) go through another format.
    bool direct = true;
};

/// The format must be one that has pixels: not AV_PIX_FMT_NONE.
PixelFormatTraits traitsOf(AVPixelFormat format);

/// The format itself where it is direct, else one that holds its pixels without loss
/// (floating point excepted, which comes down to 16 bits).
AVPixelFormat directFormatFor(AVPixelFormat format);

/// The one of the choices that loses least of the wanted format; itself where it is offered.
/// Palettes and formats that live on a graphics card are left out. AV_PIX_FMT_NONE when there is
/// no choice left.
AVPixelFormat closestFormat(AVPixelFormat wanted, std::span<const AVPixelFormat> choices);

/// The yuvj formats: YUV whose full range is part of the name.
bool isFullRangeByName(AVPixelFormat format);

/// The format with the same samples whose name says nothing of their range.
AVPixelFormat withoutRangeInName(AVPixelFormat format);

std::string nameOf(AVPixelFormat format);

} // namespace tintwell::media
