#pragma once

#include <cairo.h>
#include <pango/pango-layout.h>

#include <memory>
#include <string>
#include <vector>

#include "host/date.h"
#include "host/variant.h"

namespace orvix::station {

struct Color {
    double Red, Green, Blue;
};

struct Point {
    double X, Y;
};

struct Box {
    double Left, Top, Width, Height;
    double Right() const { return Left + Width; }
    double Bottom() const { return Top + Height; }
};

enum class Align { Left, Center, Right };

struct TextFont {
    std::string Family;
    double Points = 10;
    bool Bold = false;
};

/// The pages of a PDF in the making. Lengths are points, from the left and the top of the page.
class PdfCanvas {
public:
    PdfCanvas(double width, double height);

    /// Title and date, UTC, in the document's properties. The same things drawn at the same date make the same bytes.
    void Properties(const std::string& title, Date made);
    void Font(const TextFont& font);
    double TextWidth(const std::string& text);
    /// `at` is where the text's baseline begins on the left, is in its middle or ends. Characters that would steer the
    /// text, and bytes that are no UTF-8, become "?".
    void Text(Point at, const std::string& text, Color color, Align align = Align::Left);
    /// Texts one behind the other from the left, shortened to a width. Each has its own direction, so that a name that
    /// is written from the right leaves its neighbours where they are.
    void TextWithin(Point at, const std::vector<std::string>& parts, Color color, double width);
    /// A line through the points.
    void Curve(const std::vector<Point>& points, double width, Color color, bool dashed = false);
    void Dot(Point at, double radius, Color color);
    void Fill(const Box& box, Color color);
    void NextPage();
    /// The document; nothing can be drawn any more. Raises General when drawing has failed.
    ByteArray Finish();

private:
    /// Makes a text that of the layout. Its width is returned.
    double LayOut(const std::string& text);
    void Show(Point at, Color color);
    void Use(Color color);

    ByteArray m_Bytes;
    std::shared_ptr<cairo_surface_t> m_Surface;
    std::shared_ptr<cairo_t> m_Cairo;
    std::shared_ptr<PangoLayout> m_Layout;
};

}  // namespace orvix::station
