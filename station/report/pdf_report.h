#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/date.h"
#include "host/report_writer.h"
#include "station/report/pdf_canvas.h"

namespace orvix::station {

/// Writes a report as PDF, A4 upright: title and header lines, the plot, and the table, in as many columns as find room
/// side by side. Column headings and page numbers are on every page.
class PdfReport final : public ReportWriter {
public:
    /// `printed` is the date of the document, UTC.
    explicit PdfReport(Date printed) : m_Printed(printed) {}

    std::string Open(const std::string& path) override;
    void PageSetup(const ReportPageSetup& setup) override { m_Setup = setup; }
    void Font(ReportFont use, const std::string& family, double points) override {
        m_Fonts[use] = {family, points, use == ReportFont::Heading};
    }
    void Title(const std::string& title) override { m_Title = title; }
    void HeaderLine(const std::string& text) override { m_HeaderLines.push_back(text); }
    void ColumnHeadings(const std::vector<std::string>& headings) override { m_Headings = headings; }
    void Row(VariantList cells) override { m_Rows.push_back(std::move(cells)); }
    void Plot(const ReportPlot& plot) override { m_Plot = plot; }
    void Close() override;

private:
    /// Where a column lies within its part of the page's width, and how it shows its cells.
    struct Column {
        double Offset = 0;
        double Width = 0;
        bool IsNumber = false;
        std::size_t Decimals = 0;  ///< of numbers, so that their points stand below each other
    };
    /// Rows of one page: the table begins at Top, and PerPart of them stand below each other.
    struct Page {
        double Top = 0;
        std::size_t FirstRow = 0;
        std::size_t Rows = 0;
        std::size_t PerPart = 1;
    };

    Box Area() const;
    void DrawHead(PdfCanvas& canvas, double& y) const;
    void DrawHeaderLine(PdfCanvas& canvas, Point at, const std::string& text) const;
    void DrawPlotOfRows(PdfCanvas& canvas, double& y) const;
    void LayOutColumns(PdfCanvas& canvas);
    Column Measured(PdfCanvas& canvas, std::size_t column) const;
    std::vector<Page> Paginate(double firstTop) const;
    void DrawTable(PdfCanvas& canvas, const Page& page) const;
    void DrawHeadings(PdfCanvas& canvas, const Box& box) const;
    void DrawRow(PdfCanvas& canvas, const Box& box, const VariantList& row) const;
    void DrawCell(PdfCanvas& canvas, const Box& box, const Column& column, double baseline,
                  const std::string& text) const;
    void DrawFooter(PdfCanvas& canvas, std::size_t page, std::size_t pages) const;
    std::string CellText(const Variant& cell, const Column& column) const;
    TextFont SmallFont() const;

    Date m_Printed;
    std::string m_Path;
    ReportPageSetup m_Setup;
    std::map<ReportFont, TextFont> m_Fonts;
    std::string m_Title;
    std::vector<std::string> m_HeaderLines;
    std::vector<std::string> m_Headings;
    std::vector<VariantList> m_Rows;
    std::optional<ReportPlot> m_Plot;

    std::vector<Column> m_Columns;
    std::size_t m_Parts = 1;  ///< how many times the columns find room side by side
    double m_PartWidth = 0;
};

}  // namespace orvix::station
