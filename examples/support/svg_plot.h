#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <locale>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Example {

/// Text as it stands in XML or HTML, in an attribute's double quotes too.
inline std::string Escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else if (c == '"')
            result += "&quot;";
        else
            result += c;
    }
    return result;
}

struct Axis {
    std::string title;
    bool logarithmic = false;
};

/// The points (x[i], y[i]), joined in their order. A point that is not finite, or not positive
/// on a logarithmic axis, interrupts the line.
struct Curve {
    std::string name;
    std::vector<double> x, y;
    bool points = false;  // shown as dots, not joined
};

/// One axis of a plot: maps values to pixels and chooses the ticks.
class Scale {
  public:
    struct Tick {
        double value;
        std::string label;  // as SVG text; empty for a minor tick
    };

    /// Shows lowest to highest between the pixels from and to; with roundOutwards, from tick
    /// to tick.
    Scale(bool logarithmic, double lowest, double highest, double from, double to,
          bool roundOutwards)
        : logarithmic_(logarithmic), from_(from), to_(to) {
        low_ = Position(lowest);
        high_ = Position(highest);
        if (!(low_ < high_)) {
            low_ -= 0.5;
            high_ += 0.5;
        }
        step_ = logarithmic_ ? 1.0 : RoundStep((high_ - low_) / kMostSteps);
        if (roundOutwards) {
            low_ = std::floor(low_ / step_) * step_;
            high_ = std::ceil(high_ / step_) * step_;
        }
    }

    bool CanShow(double value) const { return std::isfinite(Position(value)); }

    double Pixel(double value) const {
        return from_ + (to_ - from_) * (Position(value) - low_) / (high_ - low_);
    }

    std::vector<Tick> Ticks() const { return logarithmic_ ? LogTicks() : LinearTicks(); }

  private:
    static constexpr double kMostSteps = 8.0;       // of a linear axis
    static constexpr double kRoomForLabels = 90.0;  // pixels a decade needs for 1, 2 and 5
    static constexpr double kRoomForPower = 24.0;   // pixels a label such as 10² needs
    static constexpr double kSlack = 1e-9;          // of the axis: keeps ticks at its ends

    bool logarithmic_;
    double from_, to_;
    double low_ = 0.0, high_ = 1.0;  // the ends: values, or their decimal logarithms
    double step_ = 1.0;

    double Position(double value) const { return logarithmic_ ? std::log10(value) : value; }

    // 1, 2 or 5 times a power of ten, not below the given step.
    static double RoundStep(double step) {
        const double power = std::pow(10.0, std::floor(std::log10(step)));
        for (const double factor : {1.0, 2.0, 5.0})
            if (factor * power >= step) return factor * power;
        return 10.0 * power;
    }

    bool Inside(double position) const {
        const double slack = kSlack * (high_ - low_);
        return position >= low_ - slack && position <= high_ + slack;
    }

    static std::string Number(double value) {
        std::ostringstream text;
        text.imbue(std::locale::classic());
        text.precision(10);
        text << value;
        return text.str();
    }

    std::vector<Tick> LinearTicks() const {
        std::vector<Tick> ticks;
        const double first = std::ceil(low_ / step_ - kSlack);
        for (double k = first; Inside(k * step_); ++k)
            ticks.push_back({k * step_, Number(k * step_ + 0.0)});  // + 0.0: no −0
        return ticks;
    }

    std::vector<Tick> LogTicks() const {
        const double decadePixels = std::abs(to_ - from_) / (high_ - low_);
        const int every = static_cast<int>(std::ceil(kRoomForPower / decadePixels));
        const int first = static_cast<int>(std::floor(low_));
        const int last = static_cast<int>(std::floor(high_ + kSlack));
        std::vector<Tick> ticks;
        for (int decade = first; decade <= last; ++decade) {
            if (decade % every != 0) continue;
            for (int digit = 1; digit <= (every > 1 ? 1 : 9); ++digit) {
                const double value = digit * std::pow(10.0, decade);
                if (Inside(std::log10(value)))
                    ticks.push_back({value, LogLabel(digit, decade, decadePixels)});
            }
        }
        return ticks;
    }

    std::string LogLabel(int digit, int decade, double decadePixels) const {
        const bool plain = low_ >= -3.0 && high_ <= 4.0;
        const bool between = digit == 2 || digit == 5;
        if (digit == 1) return plain ? Number(std::pow(10.0, decade)) : PowerOfTen(decade);
        if (!between || !plain || decadePixels < kRoomForLabels) return "";
        return Number(digit * std::pow(10.0, decade));
    }

    static std::string PowerOfTen(double exponent) {
        return "10<tspan dy='-6' font-size='11'>" + Number(exponent) + "</tspan>";
    }
};

/// A plot of named curves over common axes, written as a self-contained SVG picture. The
/// curves differ in colour and dashes, so that they can be told apart without seeing colours.
class SvgPlot {
  public:
    SvgPlot(std::string title, Axis x, Axis y)
        : title_(std::move(title)), x_(std::move(x)), y_(std::move(y)) {}

    void Add(Curve curve) { curves_.push_back(std::move(curve)); }

    void Write(std::ostream& out) const {
        const Scale x = ScaleOf(x_, &Curve::x, kLeft, kRight, false);
        const Scale y = ScaleOf(y_, &Curve::y, Bottom(), Top(), true);
        out.imbue(std::locale::classic());
        out << "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 " << kWidth << ' '
            << Height() << "' width='" << kWidth << "' height='" << Height()
            << "' font-family='sans-serif' font-size='14'>\n"
            << "<rect width='100%' height='100%' fill='white'/>\n";
        WriteTicks(out, x, y);
        WriteTitles(out);
        out << "<clipPath id='frame'>" << Frame("") << "</clipPath>\n";
        for (int i = 0; i < CurveCount(); ++i) WriteCurve(out, i, x, y);
        out << Frame(" fill='none' stroke='black'") << '\n';
        WriteLegend(out);
        out << "</svg>\n";
    }

  private:
    // Pixels. The picture grows with the rows of the legend; the frame keeps its height.
    static constexpr int kWidth = 860, kLeft = 100, kRight = 820, kFrameHeight = 410;
    static constexpr int kTitleBase = 30, kLegendRow = 22, kLegendLine = 40;

    struct Style {
        const char* colour;
        const char* dashes;
    };

    // Okabe and Ito's colours, which remain distinct in the common kinds of colour blindness.
    static constexpr std::array<Style, 6> kStyles{{{"#0072b2", "none"},
                                                   {"#d55e00", "9 4"},
                                                   {"#009e73", "3 3"},
                                                   {"#cc79a7", "12 4 3 4"},
                                                   {"#000000", "none"},
                                                   {"#e69f00", "6 6"}}};

    std::string title_;
    Axis x_, y_;
    std::vector<Curve> curves_;

    std::string Frame(const std::string& attributes) const {
        std::ostringstream text;
        text << "<rect x='" << kLeft << "' y='" << Top() << "' width='" << kRight - kLeft
             << "' height='" << Bottom() - Top() << "'" << attributes << "/>";
        return text.str();
    }

    Scale ScaleOf(const Axis& axis, std::vector<double> Curve::*values, int from, int to,
                  bool roundOutwards) const {
        double lowest = std::numeric_limits<double>::infinity();
        double highest = -lowest;
        for (const Curve& curve : curves_) {
            for (const double value : curve.*values) {
                if (!std::isfinite(axis.logarithmic ? std::log10(value) : value)) continue;
                lowest = std::min(lowest, value);
                highest = std::max(highest, value);
            }
        }
        if (lowest > highest) lowest = highest = 1.0;  // nothing to show
        return {axis.logarithmic,        lowest,       highest, static_cast<double>(from),
                static_cast<double>(to), roundOutwards};
    }

    static void WriteLine(std::ostream& out, double x1, double y1, double x2, double y2,
                          const std::string& attributes) {
        out << "<line x1='" << x1 << "' y1='" << y1 << "' x2='" << x2 << "' y2='" << y2 << "' "
            << attributes << "/>\n";
    }

    static void WriteText(std::ostream& out, double x, double y, const std::string& anchor,
                          const std::string& markup, const std::string& attributes = "") {
        out << "<text x='" << x << "' y='" << y << "' text-anchor='" << anchor << "' "
            << attributes << ">" << markup << "</text>\n";
    }

    static std::string GridColour(const Scale::Tick& tick) {
        return tick.label.empty() ? "stroke='#eeeeee'" : "stroke='#cccccc'";
    }

    void WriteTicks(std::ostream& out, const Scale& x, const Scale& y) const {
        for (const Scale::Tick& tick : x.Ticks()) {
            const double px = x.Pixel(tick.value);
            WriteLine(out, px, Top(), px, Bottom(), GridColour(tick));
            if (!tick.label.empty()) WriteText(out, px, Bottom() + 20, "middle", tick.label);
        }
        for (const Scale::Tick& tick : y.Ticks()) {
            const double py = y.Pixel(tick.value);
            WriteLine(out, kLeft, py, kRight, py, GridColour(tick));
            if (!tick.label.empty()) WriteText(out, kLeft - 8, py + 5, "end", tick.label);
        }
    }

    void WriteTitles(std::ostream& out) const {
        const double middleX = 0.5 * (kLeft + kRight);
        const double middleY = 0.5 * (Top() + Bottom());
        std::ostringstream turned;
        turned << "transform='rotate(-90 20 " << middleY << ")'";
        WriteText(out, middleX, kTitleBase, "middle", Escaped(title_), "font-size='17'");
        WriteText(out, middleX, Bottom() + 50, "middle", Escaped(x_.title));
        WriteText(out, 20, middleY, "middle", Escaped(y_.title), turned.str());
    }

    static std::string Stroke(int i) {
        const Style& style = kStyles[static_cast<std::size_t>(i) % kStyles.size()];
        return std::string("fill='none' stroke-width='2' stroke='") + style.colour +
               "' stroke-dasharray='" + style.dashes + "'";
    }

    static void WriteDot(std::ostream& out, double x, double y, int i) {
        out << "<circle r='4' cx='" << x << "' cy='" << y << "' fill='"
            << kStyles[static_cast<std::size_t>(i) % kStyles.size()].colour << "'/>\n";
    }

    void WriteCurve(std::ostream& out, int i, const Scale& x, const Scale& y) const {
        const Curve& curve = curves_[static_cast<std::size_t>(i)];
        if (curve.points) {
            out << "<g clip-path='url(#frame)'>\n";
            for (std::size_t k = 0; k < std::min(curve.x.size(), curve.y.size()); ++k)
                if (x.CanShow(curve.x[k]) && y.CanShow(curve.y[k]))
                    WriteDot(out, x.Pixel(curve.x[k]), y.Pixel(curve.y[k]), i);
            out << "</g>\n";
            return;
        }
        out << "<path clip-path='url(#frame)' " << Stroke(i) << " d='";
        char command = 'M';  // starts a line; 'L' goes on with it
        for (std::size_t k = 0; k < std::min(curve.x.size(), curve.y.size()); ++k) {
            if (!x.CanShow(curve.x[k]) || !y.CanShow(curve.y[k])) {
                command = 'M';
                continue;
            }
            out << command << x.Pixel(curve.x[k]) << ' ' << y.Pixel(curve.y[k]) << ' ';
            command = 'L';
        }
        out << "'/>\n";
    }

    // Rows between title and frame, where no curve can cover them.
    void WriteLegend(std::ostream& out) const {
        const int perRow = LegendColumns();
        const double slot = static_cast<double>(kRight - kLeft) / perRow;
        for (int i = 0; const Curve& curve : curves_) {
            const int row = i / perRow;
            const double x = kLeft + slot * (i % perRow);
            const int y = kTitleBase + 28 + kLegendRow * row;
            if (curve.points)
                WriteDot(out, x + 0.5 * kLegendLine, y, i);
            else
                WriteLine(out, x, y, x + kLegendLine, y, Stroke(i));
            WriteText(out, x + kLegendLine + 8, y + 5, "start", Escaped(curve.name));
            ++i;
        }
    }

    // As many as the longest name leaves room for, judged by a generous width of a letter.
    int LegendColumns() const {
        std::size_t longest = 0;
        for (const Curve& curve : curves_) longest = std::max(longest, curve.name.size());
        const double slot = kLegendLine + 24.0 + 8.5 * static_cast<double>(longest);
        const int room = std::max(1, static_cast<int>((kRight - kLeft) / slot));
        return std::clamp(CurveCount(), 1, room);
    }

    int LegendRows() const { return (CurveCount() + LegendColumns() - 1) / LegendColumns(); }

    int CurveCount() const { return static_cast<int>(curves_.size()); }

    int Top() const { return kTitleBase + 28 + kLegendRow * LegendRows(); }
    int Bottom() const { return Top() + kFrameHeight; }
    int Height() const { return Bottom() + 70; }
};

}  // namespace Example
