#pragma once

#include <array>
#include <string>
#include <vector>

namespace Tool {

struct Series {
    std::string name;
    std::vector<double> x, y;
    std::vector<double> lower{};  // not empty: a filled band from here up to y
    bool points = false;          // dots, not joined
};

struct Panel {
    std::string xTitle, yTitle;
    bool xLog = false, yLog = false;
    bool phase = false;  // degrees from −180 to 180
    std::vector<Series> series{};
};

/// Panels one above the other.
struct Plot {
    std::string title;
    std::vector<Panel> panels{};
};

/// As many lines as can be told apart in one panel.
constexpr std::size_t kMostSeries = 8;

/// Okabe and Ito's colours, which remain distinct in the common kinds of colour blindness.
extern const std::array<const char*, kMostSeries> kColours;

/// Throws BadInput unless the name ends in .svg or .png and gnuplot is there.
void CheckPlotFile(const std::string& file);

/// Draws the plot through gnuplot, which runs as a child process. Throws BadInput.
void WritePlot(const std::string& file, const Plot& plot);

}  // namespace Tool
