#pragma once

// Rows of a host's frame as the module's pixels, and back. Colour that the host multiplied by alpha
// is divided on the way in and multiplied again on the way out.

#include "plugins/core/host_frame.h"

namespace tintwell::plugins {

/// Depth of the module's pixels for these samples: 8 for bytes, else 16.
constexpr int moduleDepth(SampleType type) {
    return type == SampleType::Byte ? 8 : 16;
}

/// Bytes of one of the module's pixels for these samples.
constexpr std::size_t modulePixelBytes(SampleType type) {
    return type == SampleType::Byte ? 4 : 8;
}

/// Writes the row as the module's pixels, A,R,G,B, to `pixels`, which has room for the frame's
/// width of them. What lies outside the module's range counts as its nearest end, not-a-number as
/// black, and colour above alpha, where it is multiplied, as white. Colour whose alpha is 0 or no
/// number has nothing to be divided by and is taken as it is.
void readModuleRow(const SourceFrame& frame, std::int32_t y, std::byte* pixels);

/// The way back, of a frame of whole numbers: writes corrected module pixels to the target's row.
/// Alpha is copied from the source's row, and what a colour sample of that has above white (above
/// alpha, where it is multiplied) is added to the corrected one. The frames have the same width,
/// samples and alpha; they may be the same pixels.
void writeModuleRow(const SourceFrame& source, const TargetFrame& target, std::int32_t y,
                    const std::byte* pixels);

} // namespace tintwell::plugins
