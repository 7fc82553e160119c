#include "station/report/pdf_canvas.h"

#include <cairo-pdf.h>

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

bool ContinuesCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}  // namespace

PdfCanvas::PdfCanvas(double width, double height)
    : m_Surface(cairo_pdf_surface_create_for_stream(Append, &m_Bytes, width, height), cairo_surface_destroy),
      m_Cairo(cairo_create(m_Surface.get()), cairo_destroy) {
    cairo_set_line_join(m_Cairo.get(), CAIRO_LINE_JOIN_ROUND);
}

void PdfCanvas::DocumentTitle(const std::string& title) {
    cairo_pdf_surface_set_metadata(m_Surface.get(), CAIRO_PDF_METADATA_TITLE, Printable(title).c_str());
}

void PdfCanvas::Font(const TextFont& font) {
    cairo_select_font_face(m_Cairo.get(), font.Family.c_str(), CAIRO_FONT_SLANT_NORMAL,
                           font.Bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(m_Cairo.get(), font.Points);
}

double PdfCanvas::TextWidth(const std::string& text) {
    cairo_text_extents_t extents{};
    cairo_text_extents(m_Cairo.get(), Printable(text).c_str(), &extents);
    return extents.x_advance;
}

void PdfCanvas::Text(Point at, const std::string& text, Color color, Align align) {
    const std::string shown = Printable(text);
    if (align != Align::Left) at.X -= TextWidth(shown) / (align == Align::Center ? 2 : 1);
    Use(color);
    cairo_move_to(m_Cairo.get(), at.X, at.Y);
    cairo_show_text(m_Cairo.get(), shown.c_str());
    // The end of a text would otherwise be where the next line begins.
    cairo_new_path(m_Cairo.get());
}

void PdfCanvas::TextWithin(Point at, const std::string& text, Color color, double width) {
    std::string kept = Printable(text);
    std::string shown = kept;
    while (!kept.empty() && TextWidth(shown) > width) {
        while (ContinuesCharacter(kept.back()))
            kept.pop_back();
        kept.pop_back();
        shown = kept + "\u2026";
    }
    Text(at, shown, color);
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
