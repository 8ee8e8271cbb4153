#include "tool/preview/canvas.h"

#include <stdexcept>
#include <string>

namespace tintwell::preview {
namespace {

cairo_status_t writeBytes(void* stream, const unsigned char* bytes, unsigned int count) {
    auto& output = *static_cast<std::ostream*>(stream);
    output.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count));
    return CAIRO_STATUS_SUCCESS; // a failed stream is its owner's to tell of, who knows its name
}

double part(Color color, int shift) {
    return ((color >> shift) & 0xFFU) / 255.0;
}

} // namespace

void checkStatus(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error(std::string("the picture cannot be made (") +
                                 cairo_status_to_string(status) + ")");
    }
}

SurfacePtr makeSurface(int width, int height) {
    SurfacePtr surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    checkStatus(cairo_surface_status(surface.get()));
    return surface;
}

Canvas::Canvas(int width, int height)
    : surface_(makeSurface(width, height)), context_(cairo_create(surface_.get())) {
    checkStatus(cairo_status(context_.get()));
}

void Canvas::setColor(Color color, double opacity) {
    cairo_set_source_rgba(context(), part(color, 16), part(color, 8), part(color, 0), opacity);
}

void Canvas::fill(const Box& box, Color color, double opacity) {
    setColor(color, opacity);
    cairo_rectangle(context(), box.x, box.y, box.width, box.height);
    cairo_fill(context());
}

void Canvas::writePng(std::ostream& stream) const {
    checkStatus(cairo_status(context()));
    checkStatus(cairo_surface_write_to_png_stream(surface_.get(), writeBytes, &stream));
}

} // namespace tintwell::preview
