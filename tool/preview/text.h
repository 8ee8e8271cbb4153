#pragma once

#include "tool/preview/canvas.h"

#include <memory>
#include <pango/pangocairo.h>
#include <string>

namespace tintwell::preview {

/// Of most texts on the dark ground.
inline constexpr Color kTextColor = 0xD0D0D0;

enum class Weight { Normal, Bold };

/// What becomes of a text that is wider than its room.
enum class Overflow {
    Wrap,  ///< it goes on in further lines
    Elide, ///< its middle is left out
};

/// A text of one style, laid out. Bytes that are not UTF-8 are replaced.
class Text {
public:
    /// As wide as it needs to be.
    Text(const std::string& text, double size, Weight weight = Weight::Normal);

    /// At most `room` pixels wide.
    Text(const std::string& text, double size, Weight weight, int room, Overflow overflow);

    int width() const;
    int height() const;

    void draw(Canvas& canvas, double x, double y, Color color) const;

private:
    struct Unref {
        void operator()(PangoLayout* layout) const { g_object_unref(layout); }
    };

    std::unique_ptr<PangoLayout, Unref> layout_;
};

} // namespace tintwell::preview
