#include "station/commands/history_report.h"

#include <chrono>
#include <string>

#include "station/commands/figures_format.h"
#include "station/model/text.h"
#include "station/report/page.h"

namespace orvix::station {
namespace {

constexpr double kMargin = 43;  // 1.5 cm
constexpr double kRowHeight = 15;
constexpr double kPlotHeight = 170;
constexpr double kPlotGap = 26;

constexpr char kFamily[] = "Arial";
const TextFont kTitleFont{kFamily, 18, false};
const TextFont kTextFont{kFamily, 9, false};
const TextFont kBoldFont{kFamily, 9, true};
const TextFont kSmallFont{kFamily, 8, false};

struct Column {
    const char* Heading;
    double Right;  ///< from the left margin; of the first columns, which are texts, their left
    bool IsText;
};

constexpr Column kColumns[] = {{"Port", 0, true},        {"Addr.", 122, false},  {"Name", 130, true},
                               {"Readings", 272, false}, {"Lowest", 322, false}, {"Mean", 372, false},
                               {"Highest", 422, false},  {"Gaps", 452, false},   {"Failed for", 509, false}};

std::string TimeText(std::int64_t time) {
    return Format(FromUnixMilliseconds(time), "dd/mm/yyyy hh:nn:ss");
}

/// Draws from the top to the bottom, over as many pages as it takes.
class Document {
public:
    Document(const Period& period, Date printed) : m_Period(period), m_Printed(printed) {
        m_Canvas.Properties("Readings", m_Printed);
    }

    ByteArray Draw(const std::vector<ReportedDevice>& devices) {
        DrawHead();
        DrawTable(devices);
        for (const auto& one : devices)
            DrawDevice(one);
        DrawFooter();
        return m_Canvas.Finish();
    }

private:
    static constexpr double kRight = kPageWidth - kMargin;
    static constexpr double kBottom = kPageHeight - kMargin - kFooterHeight;

    /// Goes to the next page when there is no room for so much.
    bool MakeRoom(double height) {
        if (m_Y + height <= kBottom) return false;
        DrawFooter();
        m_Canvas.NextPage();
        ++m_Page;
        m_Y = kMargin;
        return true;
    }

    void DrawHead() {
        m_Y += kTitleFont.Points;
        m_Canvas.Font(kTitleFont);
        m_Canvas.Text({kMargin, m_Y}, "Readings", kInk);
        m_Canvas.Font(kTextFont);
        m_Canvas.Text({kRight, m_Y}, PeriodText(), kMuted, Align::Right);
        m_Y += 10;
        m_Canvas.Curve({{kMargin, m_Y}, {kRight, m_Y}}, 1, kInk);
        m_Y += 10;
    }

    std::string PeriodText() const { return TimeText(m_Period.Since) + " to " + TimeText(m_Period.Until) + " UTC"; }

    void DrawTable(const std::vector<ReportedDevice>& devices) {
        DrawHeadings();
        for (const auto& one : devices) {
            if (MakeRoom(kRowHeight)) DrawHeadings();
            DrawRow(one.Summary);
        }
        m_Canvas.Curve({{kMargin, m_Y + 4}, {kRight, m_Y + 4}}, 0.5, kRule);
        m_Y += kPlotGap;
    }

    void DrawHeadings() {
        m_Canvas.Font(kBoldFont);
        m_Y += kRowHeight;
        for (const auto& column : kColumns)
            DrawCell(column, column.Heading);
        m_Canvas.Curve({{kMargin, m_Y + 4}, {kRight, m_Y + 4}}, 1, kInk);
    }

    void DrawRow(const HistorySummary& summary) {
        const auto& key = summary.Device.Key;
        const auto& figures = summary.Figures;
        const bool hasRange = figures.Count > 0 && !summary.Device.IsInputs();
        const auto value = [&](double number) {
            return ValueWithUnit(hasRange ? ReadingValue(number) : ReadingValue());
        };
        const std::string cells[] = {key.Port,
                                     std::to_string(key.Address),
                                     key.Name,
                                     std::to_string(figures.Count),
                                     value(figures.Lowest),
                                     value(figures.Mean()),
                                     value(figures.Highest),
                                     std::to_string(summary.Gaps),
                                     GapTimeText(summary.GapTime)};
        m_Canvas.Font(kTextFont);
        m_Y += kRowHeight;
        for (std::size_t i = 0; i < std::size(kColumns); ++i)
            DrawCell(kColumns[i], cells[i]);
    }

    void DrawCell(const Column& column, const std::string& text) {
        constexpr double kTextWidth = 98;
        const Point at{kMargin + column.Right, m_Y};
        if (column.IsText) {
            m_Canvas.TextWithin(at, {text}, kInk, kTextWidth);
        } else {
            m_Canvas.Text(at, text, kInk, Align::Right);
        }
    }

    void DrawDevice(const ReportedDevice& device) {
        const auto& key = device.Summary.Device.Key;
        MakeRoom(kPlotHeight + 2 * kRowHeight);
        m_Canvas.Font(kBoldFont);
        m_Y += kRowHeight;
        m_Canvas.TextWithin({kMargin, m_Y},
                            {std::to_string(key.Address) + "  ", key.Name, ", " + key.Variable + " on ", key.Port},
                            kInk, kRight - kMargin);
        m_Y += 4;
        if (device.Plot.Samples.empty() && device.Plot.Lanes.empty()) {
            m_Canvas.Font(kTextFont);
            m_Y += kRowHeight;
            m_Canvas.Text({kMargin, m_Y}, "There are no good readings.", kMuted);
        } else {
            auto plot = device.Plot;
            plot.Font = kSmallFont;
            plot.Unit = device.Summary.Device.IsInputs() ? "" : "°C";
            DrawPlot(m_Canvas, {kMargin, m_Y, kRight - kMargin, kPlotHeight}, plot);
            m_Y += kPlotHeight;
            DrawGapReasons(plot.GapReasons);
        }
        m_Y += kPlotGap - kRowHeight;
    }

    void DrawGapReasons(const std::string& reasons) {
        if (reasons.empty()) return;
        constexpr double kPatch = 8;
        m_Canvas.Font(kSmallFont);
        m_Y += kRowHeight;
        m_Canvas.Fill({kMargin, m_Y - kPatch + 1, kPatch, kPatch}, kGapColor);
        m_Canvas.TextWithin({kMargin + 1.5 * kPatch, m_Y}, {"no values: " + reasons}, kMuted,
                            kRight - kMargin - 1.5 * kPatch);
    }

    void DrawFooter() {
        const double rule = kBottom + kFooterHeight - 14;
        m_Canvas.Curve({{kMargin, rule}, {kRight, rule}}, 0.5, kRule);
        m_Canvas.Font(kSmallFont);
        const double baseline = kBottom + kFooterHeight - 3;
        m_Canvas.Text({kMargin, baseline}, "Printed " + Format(m_Printed, "dd/mm/yyyy hh:nn") + " UTC", kMuted);
        m_Canvas.Text({kRight, baseline}, "Page " + std::to_string(m_Page), kMuted, Align::Right);
    }

    const Period m_Period;
    const Date m_Printed;
    PdfCanvas m_Canvas{kPageWidth, kPageHeight};
    double m_Y = kMargin;
    int m_Page = 1;
};

}  // namespace

ByteArray DrawHistory(const std::vector<ReportedDevice>& devices, const Period& period, Date printed) {
    return Document(period, printed).Draw(devices);
}

}  // namespace orvix::station
