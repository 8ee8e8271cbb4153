#include "plugins/core/frame_finding.h"

#include "module/analysis/automatic_correction.h"
#include "module/analysis/frame_measures.h"
#include "plugins/core/frame_samples.h"

#include <limits>
#include <new>

namespace tintwell::plugins {
namespace {

constexpr AutoCorrectionMode kMode = AutoCorrectionMode::ColorSearch;
constexpr std::int32_t kArgb = 0; ///< the order of the channels

} // namespace

AnalyzedPixels::AnalyzedPixels(const SourceFrame& frame)
    : width_(frame.rows() == 0 ? 0 : frame.width), height_(frame.rows()),
      bitDepth_(moduleDepth(frame.samples)) {
    const std::size_t rowBytes = frame.rowPixels() * modulePixelBytes(frame.samples);
    if (rowBytes > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::bad_alloc();
    }
    pixels_.resize(rowBytes * static_cast<std::size_t>(height_));
    for (std::int32_t y = 0; y < height_; ++y) {
        readModuleRow(frame, y, pixels_.data() + static_cast<std::size_t>(y) * rowBytes);
    }
}

PixelView AnalyzedPixels::view() const {
    InterleavedFrame frame;
    frame.data = const_cast<std::byte*>(pixels_.data()); // a view that nobody writes through
    frame.width = width_;
    frame.height = height_;
    frame.bitDepth = bitDepth_;
    frame.rowBytes = static_cast<std::ptrdiff_t>(frame.pixelBytes());
    return viewOfPixels(frame, kArgb);
}

AnalysisKey AnalyzedPixels::key(const KeySecret* secret) const {
    const PixelView pixels = view();
    KeyHash hash(secret, pixels, kMode);
    measureFrame(pixels, kMode, {.key = &hash});
    return hash.key();
}

FrameFinding AnalyzedPixels::find(const AnalysisControls& controls) const {
    ToneSearchContext context({view(), controls});
    FrameFinding finding;
    measureFrame(view(), kMode, {.histogram = &finding.histogram, .tones = &context});
    computeAutoLevels(kMode, finding.levels, finding.histogram, 0, context);
    return finding;
}

} // namespace tintwell::plugins
