#include "station/report/pdf_plot.h"

#include <algorithm>

#include "station/report/plot_scale.h"

namespace orvix::station {
namespace {

constexpr Color kCurveColor{0.10, 0.34, 0.62};
constexpr Color kGridColor{0.87, 0.88, 0.90};
constexpr Color kAxisColor{0.45, 0.47, 0.50};
constexpr Color kLabelColor{0.30, 0.32, 0.35};
constexpr Color kHighColor{0.76, 0.16, 0.13};
constexpr Color kLowColor{0.05, 0.50, 0.62};

constexpr double kCurveWidth = 1.2;
constexpr double kHairline = 0.5;
constexpr double kDotRadius = 2;
constexpr double kLabelGap = 5;
constexpr std::size_t kMostDots = 60;  // of more samples the curve shows enough
constexpr int kValueSteps = 6;
constexpr int kTimeTicks = 8;

// Half the width of an axis on which all samples have the same time.
constexpr double kHalfHour = 1.0 / 48;

class Plot {
public:
    Plot(PdfCanvas& canvas, const Box& box, const PlotData& data) : m_Canvas(canvas), m_Data(data), m_Box(box) {
        TakePeriod();
        m_Ticks = data.Lanes.empty() ? ValueTicks() : LaneTicks();

        double labelWidth = 0;
        for (const auto& tick : m_Ticks)
            labelWidth = std::max(labelWidth, canvas.TextWidth(tick.Label));
        const double points = data.Font.Points;
        m_Box.Left += labelWidth + kLabelGap;
        m_Box.Width -= labelWidth + kLabelGap;
        m_Box.Top += 1.8 * points;
        m_Box.Height -= 1.8 * points + kLabelGap + 2.4 * points;
    }

    void Draw() {
        DrawGaps();
        DrawValueAxis();
        DrawTimeAxis();
        double right = m_Box.Right();
        DrawLimit(m_Data.LowLimit, "low limit ", kLowColor, right);
        DrawLimit(m_Data.HighLimit, "high limit ", kHighColor, right);
        DrawCurve();
        for (std::size_t lane = 0; lane < m_Data.Lanes.size(); ++lane)
            DrawLane(static_cast<double>(lane), m_Data.Lanes[lane]);
    }

private:
    void TakePeriod() {
        if (m_Data.Period) {
            m_Begin = m_Data.Period->Begin;
            m_End = m_Data.Period->End;
        } else {
            const auto [first, last] = std::minmax_element(m_Data.Samples.begin(), m_Data.Samples.end(), EarlierThan);
            m_Begin = first->Days;
            m_End = last->Days;
        }
        if (m_End > m_Begin) return;
        m_Begin -= kHalfHour;
        m_End += kHalfHour;
    }

    std::vector<Tick> ValueTicks() const {
        const auto [lowest, highest] = std::minmax_element(m_Data.Samples.begin(), m_Data.Samples.end(), LowerThan);
        return NumberTicks(std::min(lowest->Value, m_Data.LowLimit.value_or(lowest->Value)),
                           std::max(highest->Value, m_Data.HighLimit.value_or(highest->Value)), kValueSteps);
    }

    /// A lane lies between two ticks, the first of which has its name.
    std::vector<Tick> LaneTicks() const {
        std::vector<Tick> ticks;
        for (std::size_t lane = 0; lane <= m_Data.Lanes.size(); ++lane) {
            const bool isLast = lane == m_Data.Lanes.size();
            ticks.push_back({static_cast<double>(lane), isLast ? "" : "input " + std::to_string(lane), {}});
        }
        return ticks;
    }

    double LaneHeight() const { return Y(0) - Y(1); }

    /// A bar is as high as the share of the time in which the input was on.
    void DrawLane(double lane, const std::vector<PlotStretch>& stretches) {
        constexpr double kMargin = 2;
        const double room = LaneHeight() - 2 * kMargin;
        for (const auto& [begin, end, share] : stretches) {
            const double height = std::max(kHairline, share * room);
            m_Canvas.Fill({X(begin), Y(lane) - kMargin - height, std::max(kHairline, X(end) - X(begin)), height},
                          kCurveColor);
        }
    }

    static bool EarlierThan(const PlotSample& a, const PlotSample& b) { return a.Days < b.Days; }
    static bool LowerThan(const PlotSample& a, const PlotSample& b) { return a.Value < b.Value; }

    double X(double days) const { return m_Box.Left + (days - m_Begin) / (m_End - m_Begin) * m_Box.Width; }
    double Y(double value) const {
        const double low = m_Ticks.front().Value;
        return m_Box.Bottom() - (value - low) / (m_Ticks.back().Value - low) * m_Box.Height;
    }

    /// Also the shortest can be seen.
    void DrawGaps() {
        for (const auto& gap : m_Data.Gaps) {
            if (gap.End < m_Begin || gap.Begin > m_End) continue;
            const double left = X(std::max(gap.Begin, m_Begin));
            const double right = X(std::min(gap.End, m_End));
            m_Canvas.Fill({left, m_Box.Top, std::max(kHairline, right - left), m_Box.Height}, kGapColor);
        }
    }

    void DrawValueAxis() {
        m_Canvas.Text({m_Box.Left, m_Box.Top - 0.8 * m_Data.Font.Points}, m_Data.Unit, kLabelColor, Align::Right);
        const double raised = m_Data.Lanes.empty() ? 0 : LaneHeight() / 2;
        for (const auto& tick : m_Ticks) {
            const double y = Y(tick.Value);
            m_Canvas.Curve({{m_Box.Left, y}, {m_Box.Right(), y}}, kHairline, kGridColor);
            m_Canvas.Text({m_Box.Left - kLabelGap, y - raised + 0.35 * m_Data.Font.Points}, tick.Label, kLabelColor,
                          Align::Right);
        }
    }

    void DrawTimeAxis() {
        const double points = m_Data.Font.Points;
        const double bottom = m_Box.Bottom();
        for (const auto& tick : TimeTicks(m_Begin, m_End, kTimeTicks)) {
            const double x = X(tick.Value);
            m_Canvas.Curve({{x, m_Box.Top}, {x, bottom}}, kHairline, kGridColor);
            m_Canvas.Curve({{x, bottom}, {x, bottom + 3}}, kHairline, kAxisColor);
            const double label = bottom + kLabelGap + points;
            m_Canvas.Text({x, label}, tick.Label, kLabelColor, Align::Center);
            if (!tick.Day.empty()) m_Canvas.Text({x, label + 1.2 * points}, tick.Day, kLabelColor, Align::Center);
        }
        m_Canvas.Curve({{m_Box.Left, bottom}, {m_Box.Right(), bottom}}, 2 * kHairline, kAxisColor);
    }

    /// Its name stands above the frame, where no curve goes, left of what stands there already.
    void DrawLimit(const std::optional<double>& limit, const std::string& name, Color color, double& right) {
        if (!limit) return;
        const double y = Y(*limit);
        m_Canvas.Curve({{m_Box.Left, y}, {m_Box.Right(), y}}, 2 * kHairline, color, true);
        const std::string label = name + Variant(*limit).ToText() + " " + m_Data.Unit;
        m_Canvas.Text({right, m_Box.Top - 0.8 * m_Data.Font.Points}, label, color, Align::Right);
        right -= m_Canvas.TextWidth(label) + 2 * m_Data.Font.Points;
    }

    void DrawCurve() {
        std::vector<Point> points;
        for (const auto& sample : m_Data.Samples) {
            if (sample.BeginsCurve) DrawPiece(points);
            points.push_back({X(sample.Days), Y(sample.Value)});
        }
        DrawPiece(points);
    }

    void DrawPiece(std::vector<Point>& points) {
        m_Canvas.Curve(points, kCurveWidth, kCurveColor);
        // A sample between two gaps is no line.
        if (m_Data.Samples.size() <= kMostDots || points.size() == 1) {
            for (const auto& point : points)
                m_Canvas.Dot(point, points.size() == 1 ? kCurveWidth : kDotRadius, kCurveColor);
        }
        points.clear();
    }

    PdfCanvas& m_Canvas;
    const PlotData& m_Data;
    Box m_Box;
    double m_Begin = 0;
    double m_End = 0;
    std::vector<Tick> m_Ticks;
};

}  // namespace

void DrawPlot(PdfCanvas& canvas, const Box& box, const PlotData& data) {
    canvas.Font(data.Font);
    Plot(canvas, box, data).Draw();
}

}  // namespace orvix::station
