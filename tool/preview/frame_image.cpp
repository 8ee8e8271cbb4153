#include "tool/preview/frame_image.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

namespace tintwell::preview {
namespace {

constexpr Color kLightSquare = 0x999999;
constexpr Color kDarkSquare = 0x666666;
constexpr int kSquareSide = 8;

/// 0..255; `largest` is an even share of it, or more.
template <typename Sample>
std::uint32_t toByte(Sample sample, std::uint32_t largest) {
    return (std::min<std::uint32_t>(sample, largest) * 255U + largest / 2) / largest;
}

/// A row as cairo holds it: colours multiplied by alpha, 0xAARRGGBB.
template <typename Sample>
void convertRow(const std::byte* from, unsigned char* to, std::int32_t width,
                std::uint32_t largest) {
    for (std::int32_t x = 0; x < width; ++x) {
        Sample argb[4];
        std::memcpy(argb, from + static_cast<std::size_t>(x) * sizeof argb, sizeof argb);
        const std::uint32_t alpha = toByte(argb[0], largest);
        std::uint32_t pixel = alpha;
        for (const Sample color : {argb[1], argb[2], argb[3]}) {
            pixel = pixel << 8 | (toByte(color, largest) * alpha + 127) / 255;
        }
        std::memcpy(to + static_cast<std::size_t>(x) * sizeof pixel, &pixel, sizeof pixel);
    }
}

void drawCheckerboard(Canvas& canvas, const Box& box) {
    canvas.fill(box, kLightSquare);
    canvas.setColor(kDarkSquare);
    for (int y = 0; y < box.height; y += kSquareSide) {
        for (int x = y % (2 * kSquareSide); x < box.width; x += 2 * kSquareSide) {
            cairo_rectangle(canvas.context(), box.x + x, box.y + y, kSquareSide, kSquareSide);
        }
    }
    cairo_fill(canvas.context());
}

} // namespace

Size shownSize(const media::ClipInfo& info) {
    double width = info.width;
    double height = info.height;
    const double aspect = info.pixelAspect();
    (aspect > 1.0 ? width : height) *= std::max(aspect, 1.0 / aspect);
    Size size{static_cast<int>(std::clamp(std::round(width), 1.0, 1e9)),
              static_cast<int>(std::clamp(std::round(height), 1.0, 1e9))};
    if (info.quarterTurns() % 2 != 0) {
        std::swap(size.width, size.height);
    }
    return size;
}

FrameImage::FrameImage(const host::FrameBuffer& frame, const media::ClipInfo& info)
    : surface_(makeSurface(frame.width(), frame.height())), quarterTurns_(info.quarterTurns()) {
    cairo_surface_flush(surface_.get());
    unsigned char* const pixels = cairo_image_surface_get_data(surface_.get());
    const int stride = cairo_image_surface_get_stride(surface_.get());
    for (std::int32_t y = 0; y < frame.height(); ++y) {
        unsigned char* const row = pixels + std::ptrdiff_t{y} * stride;
        if (frame.depth() == host::SampleDepth::Bits8) {
            convertRow<std::uint8_t>(frame.row(y), row, frame.width(), 255);
        } else {
            convertRow<std::uint16_t>(frame.row(y), row, frame.width(), 32768);
        }
    }
    cairo_surface_mark_dirty(surface_.get());
}

void FrameImage::draw(Canvas& canvas, const Box& box) const {
    cairo_t* const context = canvas.context();
    const double width = cairo_image_surface_get_width(surface_.get());
    const double height = cairo_image_surface_get_height(surface_.get());
    const bool upright = quarterTurns_ % 2 == 0;
    cairo_save(context);
    cairo_rectangle(context, box.x, box.y, box.width, box.height);
    cairo_clip(context);
    drawCheckerboard(canvas, box);
    cairo_translate(context, box.x + box.width / 2.0, box.y + box.height / 2.0);
    cairo_rotate(context, -quarterTurns_ * std::numbers::pi / 2.0);
    cairo_scale(context, (upright ? box.width : box.height) / width,
                (upright ? box.height : box.width) / height);
    cairo_set_source_surface(context, surface_.get(), -width / 2.0, -height / 2.0);
    cairo_pattern_set_filter(cairo_get_source(context), CAIRO_FILTER_BEST);
    cairo_pattern_set_extend(cairo_get_source(context), CAIRO_EXTEND_PAD);
    cairo_paint(context);
    cairo_restore(context);
}

} // namespace tintwell::preview
