#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/variant.h"

namespace orvix {

/// Measures of a report's pages.
struct ReportPageSetup {
    double LeftCm = 0;
    double RightCm = 0;
    double TopCm = 0;
    double BottomCm = 0;
    double HeadingHeight = 0;  ///< of the table's headings, points
    double RowHeight = 0;      ///< of a table row, points
};

/// What a font of a report is for.
enum class ReportFont { Header, Heading, Cell, Title };

/// A curve over the rows of a report.
struct ReportPlot {
    std::size_t TimeColumn = 0;   ///< column of dates
    std::size_t ValueColumn = 0;  ///< column of numbers
    std::string Unit;
    std::optional<double> HighLimit;
    std::optional<double> LowLimit;
};

/// Writes one report document: lines of text, a table, and a plot of it. Texts are UTF-8; bytes that are not are shown
/// as marks. Nothing is in the file before Close.
class ReportWriter {
public:
    virtual ~ReportWriter() = default;
    /// Chooses the file, which must not be there. Returns why it cannot be written; empty when it can.
    virtual std::string Open(const std::string& path) = 0;
    virtual void PageSetup(const ReportPageSetup& setup) = 0;
    /// A family that the machine does not have is replaced by one that resembles it.
    virtual void Font(ReportFont use, const std::string& family, double points) = 0;
    /// The document's title.
    virtual void Title(const std::string& title) = 0;
    /// A line above the table.
    virtual void HeaderLine(const std::string& text) = 0;
    virtual void ColumnHeadings(const std::vector<std::string>& headings) = 0;
    /// A row of the table, a cell a heading. Of a date the day is shown.
    virtual void Row(VariantList cells) = 0;
    /// Asks for a plot of the rows; a report without rows has none.
    virtual void Plot(const ReportPlot& plot) = 0;
    /// Writes the file whole or not at all. Raises SystemError naming the file.
    virtual void Close() = 0;
};

}  // namespace orvix
