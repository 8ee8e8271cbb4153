#include "tool/preview/text.h"

namespace tintwell::preview {
namespace {

struct Free {
    void operator()(PangoContext* context) const { g_object_unref(context); }

    void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }

    void operator()(char* text) const { g_free(text); }
};

PangoLayout* makeLayout(const std::string& text, double size, Weight weight) {
    PangoFontMap* const fonts = pango_cairo_font_map_get_default();
    const std::unique_ptr<PangoContext, Free> context(pango_font_map_create_context(fonts));
    const std::unique_ptr<PangoFontDescription, Free> font(pango_font_description_new());
    pango_font_description_set_family(font.get(), "Sans");
    pango_font_description_set_absolute_size(font.get(), size * PANGO_SCALE);
    pango_font_description_set_weight(font.get(), weight == Weight::Bold ? PANGO_WEIGHT_BOLD
                                                                         : PANGO_WEIGHT_NORMAL);
    PangoLayout* const layout = pango_layout_new(context.get());
    pango_layout_set_font_description(layout, font.get());
    // A file name may hold a line break.
    pango_layout_set_single_paragraph_mode(layout, TRUE);
    const std::unique_ptr<char, Free> valid(
        g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    pango_layout_set_text(layout, valid.get(), -1);
    return layout;
}

} // namespace

Text::Text(const std::string& text, double size, Weight weight)
    : layout_(makeLayout(text, size, weight)) {}

Text::Text(const std::string& text, double size, Weight weight, int room, Overflow overflow)
    : Text(text, size, weight) {
    pango_layout_set_width(layout_.get(), room * PANGO_SCALE);
    if (overflow == Overflow::Elide) {
        pango_layout_set_ellipsize(layout_.get(), PANGO_ELLIPSIZE_MIDDLE);
    } else {
        pango_layout_set_wrap(layout_.get(), PANGO_WRAP_WORD_CHAR);
    }
}

int Text::width() const {
    int width = 0;
    pango_layout_get_pixel_size(layout_.get(), &width, nullptr);
    return width;
}

int Text::height() const {
    int height = 0;
    pango_layout_get_pixel_size(layout_.get(), nullptr, &height);
    return height;
}

void Text::draw(Canvas& canvas, double x, double y, Color color) const {
    canvas.setColor(color);
    cairo_move_to(canvas.context(), x, y);
    pango_cairo_show_layout(canvas.context(), layout_.get());
}

} // namespace tintwell::preview
