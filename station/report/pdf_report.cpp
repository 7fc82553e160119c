#include "station/report/pdf_report.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "host/error.h"
#include "platform/atomic_file.h"
#include "station/report/page.h"
#include "station/report/pdf_plot.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

constexpr double kPointsPerCm = 72 / 2.54;

constexpr Color kBand{0.955, 0.96, 0.97};  // behind every other row

constexpr double kPlotHeight = 230;
constexpr double kPartGap = 22;
constexpr double kCellPadding = 7;
constexpr double kSmallFont = 0.8;  // of the header's
constexpr std::size_t kMostParts = 4;
constexpr std::size_t kFewRows = 12;  // are not spread over the width

constexpr mode_t kDocument = 0666;

std::size_t DecimalsOf(const std::string& number) {
    const auto point = number.find('.');
    return point == std::string::npos ? 0 : number.size() - point - 1;
}

/// Where the value in a header line begins, behind its name and a colon.
std::size_t ValueAt(const std::string& headerLine) {
    const auto colon = headerLine.find(": ");
    return colon == std::string::npos ? 0 : colon + 2;
}

}  // namespace

std::string PdfReport::Open(const std::string& path) {
    m_Path = path;
    const auto parent = std::filesystem::path(path).parent_path();
    std::error_code ignored;
    int reason = 0;
    if (std::filesystem::is_directory(path, ignored)) reason = EISDIR;
    if (reason == 0 && ::access(parent.empty() ? "." : parent.c_str(), W_OK | X_OK) != 0) reason = errno;
    return reason == 0 ? "" : SystemError("file " + path + " cannot be written", reason).Description;
}

void PdfReport::Close() {
    PdfCanvas canvas(kPageWidth, kPageHeight);
    canvas.Properties(m_Title, m_Printed);
    LayOutColumns(canvas);
    double y = Area().Top;
    DrawHead(canvas, y);
    DrawPlotOfRows(canvas, y);
    const auto pages = Paginate(y);
    for (std::size_t i = 0; i < pages.size(); ++i) {
        if (i > 0) canvas.NextPage();
        DrawTable(canvas, pages[i]);
        DrawFooter(canvas, i + 1, pages.size());
    }
    platform::WriteFileAtomically(m_Path, canvas.Finish(), kDocument);
}

Box PdfReport::Area() const {
    const double left = m_Setup.LeftCm * kPointsPerCm;
    const double top = m_Setup.TopCm * kPointsPerCm;
    return {left, top, kPageWidth - left - m_Setup.RightCm * kPointsPerCm,
            kPageHeight - top - m_Setup.BottomCm * kPointsPerCm - kFooterHeight};
}

TextFont PdfReport::SmallFont() const {
    TextFont font = m_Fonts.at(ReportFont::Header);
    font.Points *= kSmallFont;
    return font;
}

void PdfReport::DrawHead(PdfCanvas& canvas, double& y) const {
    const Box area = Area();
    const auto& titleFont = m_Fonts.at(ReportFont::Title);
    if (!m_Title.empty()) {
        canvas.Font(titleFont);
        y += titleFont.Points;
        canvas.TextWithin({area.Left, y}, {m_Title}, kInk, area.Width);
        y += 0.7 * titleFont.Points;
        canvas.Curve({{area.Left, y}, {area.Right(), y}}, 1, kInk);
        y += 0.4 * titleFont.Points;
    }
    const auto& font = m_Fonts.at(ReportFont::Header);
    const double lineHeight = 1.5 * font.Points;
    canvas.Font(SmallFont());
    const std::string rows = Counted(m_Rows.size(), "row");
    canvas.Text({area.Right(), y + lineHeight}, Format(m_Printed, "dd/mm/yyyy hh:nn") + " UTC", kMuted, Align::Right);
    canvas.Text({area.Right(), y + 2 * lineHeight}, rows, kMuted, Align::Right);
    canvas.Font(font);
    for (const auto& line : m_HeaderLines) {
        y += lineHeight;
        DrawHeaderLine(canvas, {area.Left, y}, line);
    }
    y += 2 * font.Points;
}

/// The name in front of a colon stands back behind the value.
void PdfReport::DrawHeaderLine(PdfCanvas& canvas, Point at, const std::string& text) const {
    constexpr double kShareOfWidth = 0.75;  // the date stands on the right
    const std::size_t valueAt = ValueAt(text);
    const std::string name = text.substr(0, valueAt);
    const double nameWidth = canvas.TextWidth(name);
    canvas.Text(at, name, kMuted);
    canvas.TextWithin({at.X + nameWidth, at.Y}, {text.substr(valueAt)}, kInk, kShareOfWidth * Area().Width - nameWidth);
}

void PdfReport::DrawPlotOfRows(PdfCanvas& canvas, double& y) const {
    if (!m_Plot || m_Rows.empty()) return;
    PlotData data{.Samples = {},
                  .Unit = m_Plot->Unit,
                  .HighLimit = m_Plot->HighLimit,
                  .LowLimit = m_Plot->LowLimit,
                  .Font = SmallFont()};
    for (const auto& row : m_Rows) {
        const auto* time = row.at(m_Plot->TimeColumn).As<Date>();
        if (time == nullptr) throw Error(errors::TypeMismatch, "a row of the report has no date to plot");
        data.Samples.push_back({time->Days, row.at(m_Plot->ValueColumn).ToDouble()});
    }
    const Box area = Area();
    DrawPlot(canvas, {area.Left, y, area.Width, kPlotHeight}, data);
    y += kPlotHeight + m_Setup.RowHeight;
}

void PdfReport::LayOutColumns(PdfCanvas& canvas) {
    double width = 0;
    for (std::size_t i = 0; i < m_Headings.size(); ++i) {
        m_Columns.push_back(Measured(canvas, i));
        width += m_Columns.back().Width;
    }
    const double whole = Area().Width;
    m_Parts = std::clamp(static_cast<std::size_t>((whole + kPartGap) / (width + kPartGap)), std::size_t{1}, kMostParts);
    m_PartWidth = (whole - static_cast<double>(m_Parts - 1) * kPartGap) / static_cast<double>(m_Parts);
    // What is left over goes to all columns alike.
    const double extra = std::max(0.0, (m_PartWidth - width) / static_cast<double>(m_Columns.size()));
    double offset = 0;
    for (auto& column : m_Columns) {
        column.Width += extra;
        column.Offset = offset;
        offset += column.Width;
    }
}

PdfReport::Column PdfReport::Measured(PdfCanvas& canvas, std::size_t i) const {
    Column column;
    column.IsNumber = !m_Rows.empty();
    for (const auto& row : m_Rows) {
        const auto* number = row.at(i).As<Currency>();
        column.IsNumber = column.IsNumber && number != nullptr;
        if (column.IsNumber) column.Decimals = std::max(column.Decimals, DecimalsOf(row.at(i).ToText()));
    }
    canvas.Font(m_Fonts.at(ReportFont::Heading));
    column.Width = canvas.TextWidth(m_Headings[i]);
    canvas.Font(m_Fonts.at(ReportFont::Cell));
    for (const auto& row : m_Rows)
        column.Width = std::max(column.Width, canvas.TextWidth(CellText(row.at(i), column)));
    column.Width += 2 * kCellPadding;
    return column;
}

std::string PdfReport::CellText(const Variant& cell, const Column& column) const {
    if (const auto* date = cell.As<Date>()) return Format(*date, "dd/mm/yyyy");
    std::string text = cell.ToText();
    if (column.IsNumber && DecimalsOf(text) < column.Decimals) {
        if (DecimalsOf(text) == 0) text += '.';
        text.append(column.Decimals - DecimalsOf(text), '0');
    }
    return text;
}

/// Pages are filled part by part; what is left for the last one is shared out among its parts.
std::vector<PdfReport::Page> PdfReport::Paginate(double firstTop) const {
    std::vector<Page> pages;
    Page page{.Top = firstTop};
    for (;;) {
        const double room = (Area().Bottom() - page.Top - m_Setup.HeadingHeight) / m_Setup.RowHeight;
        const auto mostPerPart = static_cast<std::size_t>(std::max(1.0, room));
        const std::size_t left = m_Rows.size() - page.FirstRow;
        page.PerPart = std::min(mostPerPart, std::max(kFewRows, (left + m_Parts - 1) / m_Parts));
        page.Rows = std::min(left, page.PerPart * m_Parts);
        pages.push_back(page);
        if (page.Rows == left) return pages;
        page = {.Top = Area().Top, .FirstRow = page.FirstRow + page.Rows};
    }
}

void PdfReport::DrawTable(PdfCanvas& canvas, const Page& page) const {
    const double left = Area().Left;
    const std::size_t parts = std::max<std::size_t>(1, (page.Rows + page.PerPart - 1) / page.PerPart);
    for (std::size_t part = 0; part < parts; ++part) {
        Box box{left + static_cast<double>(part) * (m_PartWidth + kPartGap), page.Top, m_PartWidth,
                m_Setup.HeadingHeight};
        DrawHeadings(canvas, box);
        canvas.Font(m_Fonts.at(ReportFont::Cell));
        box.Top = box.Bottom();
        box.Height = m_Setup.RowHeight;
        const std::size_t begin = part * page.PerPart;
        const std::size_t end = std::min(page.Rows, begin + page.PerPart);
        for (std::size_t row = begin; row < end; ++row) {
            if ((row - begin) % 2 == 1) canvas.Fill(box, kBand);
            DrawRow(canvas, box, m_Rows[page.FirstRow + row]);
            box.Top += box.Height;
        }
        if (m_Rows.empty()) canvas.Text({box.Left + kCellPadding, box.Bottom()}, "There are no rows.", kMuted);
        if (end > begin) canvas.Curve({{box.Left, box.Top}, {box.Right(), box.Top}}, 0.5, kRule);
    }
}

void PdfReport::DrawHeadings(PdfCanvas& canvas, const Box& box) const {
    const auto& font = m_Fonts.at(ReportFont::Heading);
    canvas.Font(font);
    for (std::size_t i = 0; i < m_Columns.size(); ++i)
        DrawCell(canvas, box, m_Columns[i], box.Bottom() - 0.6 * font.Points, m_Headings[i]);
    canvas.Curve({{box.Left, box.Bottom()}, {box.Right(), box.Bottom()}}, 1, kInk);
}

void PdfReport::DrawRow(PdfCanvas& canvas, const Box& box, const VariantList& row) const {
    const double baseline = box.Top + (box.Height + 0.7 * m_Fonts.at(ReportFont::Cell).Points) / 2;
    for (std::size_t i = 0; i < m_Columns.size(); ++i)
        DrawCell(canvas, box, m_Columns[i], baseline, CellText(row.at(i), m_Columns[i]));
}

void PdfReport::DrawCell(PdfCanvas& canvas, const Box& box, const Column& column, double baseline,
                         const std::string& text) const {
    const double left = box.Left + column.Offset;
    if (column.IsNumber) {
        canvas.Text({left + column.Width - kCellPadding, baseline}, text, kInk, Align::Right);
    } else {
        canvas.TextWithin({left + kCellPadding, baseline}, {text}, kInk, column.Width - kCellPadding);
    }
}

void PdfReport::DrawFooter(PdfCanvas& canvas, std::size_t page, std::size_t pages) const {
    const Box area = Area();
    const double rule = area.Bottom() + kFooterHeight - 14;
    canvas.Curve({{area.Left, rule}, {area.Right(), rule}}, 0.5, kRule);
    canvas.Font(SmallFont());
    const double baseline = area.Bottom() + kFooterHeight - 3;
    const std::string number = "Page " + std::to_string(page) + " of " + std::to_string(pages);
    canvas.Text({area.Right(), baseline}, number, kMuted, Align::Right);
    std::vector<std::string> what;
    for (const auto& line : m_HeaderLines) {
        const auto valueAt = ValueAt(line);
        what.insert(what.end(), {(what.empty() ? "" : "   ") + line.substr(0, valueAt), line.substr(valueAt)});
    }
    canvas.TextWithin({area.Left, baseline}, what, kMuted, area.Width - 2 * canvas.TextWidth(number));
}

}  // namespace orvix::station
