#pragma once

#include <cairo.h>
#include <cstdint>
#include <memory>
#include <ostream>

namespace tintwell::preview {

struct Deleter {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }

    void operator()(cairo_t* context) const { cairo_destroy(context); }
};

using SurfacePtr = std::unique_ptr<cairo_surface_t, Deleter>;

/// A rectangle of whole pixels.
struct Box {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int right() const { return x + width; }

    int bottom() const { return y + height; }
};

/// 0xRRGGBB, as PNG files hold it.
using Color = std::uint32_t;

/// Throws std::runtime_error where a cairo object has failed.
void checkStatus(cairo_status_t status);

/// An empty picture, at most 32767 pixels wide and high. Throws std::runtime_error.
SurfacePtr makeSurface(int width, int height);

/// A picture to draw on.
class Canvas {
public:
    Canvas(int width, int height);

    cairo_t* context() const { return context_.get(); }

    void setColor(Color color, double opacity = 1.0);
    void fill(const Box& box, Color color, double opacity = 1.0);

    /// Throws std::runtime_error where drawing has failed. Where writing has, the stream tells.
    void writePng(std::ostream& stream) const;

private:
    SurfacePtr surface_;
    std::unique_ptr<cairo_t, Deleter> context_;
};

} // namespace tintwell::preview
