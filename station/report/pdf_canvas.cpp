#include "station/report/pdf_canvas.h"

#include <cairo-pdf.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <numbers>

#include "host/characters.h"
#include "host/error.h"

namespace orvix::station {
namespace {

cairo_status_t Append(void* bytes, const unsigned char* data, unsigned length) {
    auto& document = *static_cast<ByteArray*>(bytes);
    document.insert(document.end(), data, data + length);
    return CAIRO_STATUS_SUCCESS;
}

double Points(int pangoUnits) {
    return static_cast<double>(pangoUnits) / PANGO_SCALE;
}

}  // namespace

PdfCanvas::PdfCanvas(double width, double height)
    : m_Surface(cairo_pdf_surface_create_for_stream(Append, &m_Bytes, width, height), cairo_surface_destroy),
      m_Cairo(cairo_create(m_Surface.get()), cairo_destroy),
      m_Layout(pango_cairo_create_layout(m_Cairo.get()), g_object_unref) {
    cairo_set_line_join(m_Cairo.get(), CAIRO_LINE_JOIN_ROUND);
    // Characters of a page are not bound to the pixels of a screen.
    pango_context_set_round_glyph_positions(pango_layout_get_context(m_Layout.get()), FALSE);
    pango_layout_set_ellipsize(m_Layout.get(), PANGO_ELLIPSIZE_END);
}

void PdfCanvas::Properties(const std::string& title, Date made) {
    cairo_pdf_surface_set_metadata(m_Surface.get(), CAIRO_PDF_METADATA_TITLE, Printable(title).c_str());
    cairo_pdf_surface_set_metadata(m_Surface.get(), CAIRO_PDF_METADATA_CREATE_DATE,
                                   Format(made, "yyyy-mm-ddThh:nn:ssZ").c_str());
}

void PdfCanvas::Font(const TextFont& font) {
    const std::unique_ptr<PangoFontDescription, decltype(&pango_font_description_free)> description(
        pango_font_description_new(), pango_font_description_free);
    pango_font_description_set_family(description.get(), font.Family.c_str());
    pango_font_description_set_weight(description.get(), font.Bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_font_description_set_absolute_size(description.get(), font.Points * PANGO_SCALE);
    pango_layout_set_font_description(m_Layout.get(), description.get());
}

double PdfCanvas::TextWidth(const std::string& text) {
    return LayOut(text);
}

double PdfCanvas::LayOut(const std::string& text) {
    const std::string shown = Printable(text);
    pango_layout_set_text(m_Layout.get(), shown.data(), static_cast<int>(shown.size()));
    PangoRectangle extents{};
    pango_layout_line_get_extents(pango_layout_get_line_readonly(m_Layout.get(), 0), nullptr, &extents);
    return Points(extents.width);
}

void PdfCanvas::Show(Point at, Color color) {
    Use(color);
    cairo_move_to(m_Cairo.get(), at.X, at.Y);
    // A line, unlike its layout, begins on the left whatever the direction of its text.
    pango_cairo_show_layout_line(m_Cairo.get(), pango_layout_get_line_readonly(m_Layout.get(), 0));
    // The end of a text would otherwise be where the next line begins.
    cairo_new_path(m_Cairo.get());
}

void PdfCanvas::Text(Point at, const std::string& text, Color color, Align align) {
    const double width = LayOut(text);
    if (align != Align::Left) at.X -= width / (align == Align::Center ? 2 : 1);
    Show(at, color);
}

void PdfCanvas::TextWithin(Point at, const std::vector<std::string>& parts, Color color, double width) {
    for (const auto& part : parts) {
        pango_layout_set_width(m_Layout.get(), static_cast<int>(std::max(0.0, width) * PANGO_SCALE));
        const double taken = LayOut(part);
        Show(at, color);
        if (pango_layout_is_ellipsized(m_Layout.get())) break;
        at.X += taken;
        width -= taken;
    }
    pango_layout_set_width(m_Layout.get(), -1);
}

void PdfCanvas::Curve(const std::vector<Point>& points, double width, Color color, bool dashed) {
    constexpr double kDashes[] = {4, 3};
    Use(color);
    cairo_set_line_width(m_Cairo.get(), width);
    cairo_set_dash(m_Cairo.get(), kDashes, dashed ? 2 : 0, 0);
    for (const Point& point : points)
        cairo_line_to(m_Cairo.get(), point.X, point.Y);
    cairo_stroke(m_Cairo.get());
}

void PdfCanvas::Dot(Point at, double radius, Color color) {
    Use(color);
    cairo_arc(m_Cairo.get(), at.X, at.Y, radius, 0, 2 * std::numbers::pi);
    cairo_fill(m_Cairo.get());
}

void PdfCanvas::Fill(const Box& box, Color color) {
    Use(color);
    cairo_rectangle(m_Cairo.get(), box.Left, box.Top, box.Width, box.Height);
    cairo_fill(m_Cairo.get());
}

void PdfCanvas::NextPage() {
    cairo_show_page(m_Cairo.get());
}

ByteArray PdfCanvas::Finish() {
    cairo_show_page(m_Cairo.get());
    cairo_surface_finish(m_Surface.get());
    for (const auto status : {cairo_status(m_Cairo.get()), cairo_surface_status(m_Surface.get())}) {
        if (status != CAIRO_STATUS_SUCCESS) {
            throw Error(errors::General, std::string("the report cannot be drawn: ") + cairo_status_to_string(status));
        }
    }
    return std::move(m_Bytes);
}

void PdfCanvas::Use(Color color) {
    cairo_set_source_rgb(m_Cairo.get(), color.Red, color.Green, color.Blue);
}

}  // namespace orvix::station
