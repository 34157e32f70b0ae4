#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "tools/zemra/commands.h"
#include "tools/zemra/failure.h"
#include "tools/zemra/model.h"
#include "tools/zemra/samples.h"

namespace Tool {
namespace {

constexpr double kUnevenTimes = 1e-3;  // of a step: more than the digits of a file explain

struct Signals {
    double interval = 0.0;  // s
    std::vector<std::string> names;
    std::vector<double> values;  // column by column
    int rows = 0;

    int Columns() const { return static_cast<int>(names.size()); }
    ZmAPI_Matrix ForTheLibrary() const { return {rows, Columns(), values.data()}; }
};

// The step of evenly spaced times, from their ends.
double Interval(const Samples& samples, const std::vector<double>& times) {
    const auto n = times.size();
    if (n < 2) throw BadInput(samples.file + ": one sample has no time step");
    const double step = (times.back() - times.front()) / static_cast<double>(n - 1);
    if (!(step > 0.0)) throw BadInput(samples.file + ": the times do not ascend");
    for (std::size_t k = 0; k < n; ++k) {
        const double expected = times.front() + step * static_cast<double>(k);
        if (std::abs(times[k] - expected) > kUnevenTimes * step * static_cast<double>(n))
            throw BadInput(
                fmt::format("{}: the times are not evenly spaced: sample {} is at {}",
                            samples.file, k, times[k]));
        if (k > 0 && std::abs(times[k] - times[k - 1] - step) > 0.1 * step)
            throw BadInput(
                fmt::format("{}: the times are not evenly spaced: from sample {} to "
                            "{} they step by {}, not {}",
                            samples.file, k - 1, k, times[k] - times[k - 1], step));
    }
    return step;
}

Signals ReadSignals(const Arguments& arguments) {
    const Samples samples = ReadSamples(arguments.file);
    if (arguments.interval && !arguments.timeColumn.empty())
        throw BadInput("give either --dt or --time");
    Signals signals;
    std::optional<std::size_t> time;
    if (!arguments.timeColumn.empty())
        time = samples.Find("--time", arguments.timeColumn);
    else if (!arguments.interval)
        time = 0;
    signals.interval = time ? Interval(samples, samples.columns[*time]) : *arguments.interval;

    std::vector<std::size_t> chosen;
    for (const std::string& column : arguments.columns)
        chosen.push_back(samples.Find("--column", column));
    for (std::size_t c = 0; arguments.columns.empty() && c < samples.columns.size(); ++c)
        if (c != time) chosen.push_back(c);
    if (chosen.empty()) throw BadInput(samples.file + ": there is no signal beside the times");
    for (const std::size_t c : chosen) {
        signals.names.push_back(samples.names[c]);
        signals.values.insert(signals.values.end(), samples.columns[c].begin(),
                              samples.columns[c].end());
    }
    signals.rows = static_cast<int>(samples.columns.front().size());
    if (signals.rows < 2) throw BadInput(samples.file + ": one sample has no spectrum");
    return signals;
}

ZmAPI_ToolBox::eWindow Window(const std::string& name) {
    if (name == "hamming") return ZmAPI_ToolBox::WINDOW_HAMMING;
    if (name == "hanning") return ZmAPI_ToolBox::WINDOW_HANNING;
    if (name == "parzen") return ZmAPI_ToolBox::WINDOW_PARZEN;
    if (name == "welch") return ZmAPI_ToolBox::WINDOW_WELCH;
    return ZmAPI_ToolBox::WINDOW_NONE;
}

// The weights of a window over so many points, summed as they are or squared.
double WindowSum(const std::string& name, int points, bool squared) {
    const double n = points;
    double sum = 0.0;
    for (int j = 0; j < points; ++j) {
        const double turn = std::cos(2.0 * std::acos(-1.0) * j / (n - 1.0));
        const double t = (j - 0.5 * (n - 1.0)) / (0.5 * (n + 1.0));
        double weight = 1.0;
        if (name == "hamming") weight = 0.54 - 0.46 * turn;
        if (name == "hanning") weight = 0.5 * (1.0 - turn);
        if (name == "parzen") weight = 1.0 - std::abs(t);
        if (name == "welch") weight = 1.0 - t * t;
        sum += squared ? weight * weight : weight;
    }
    return sum;
}

std::vector<double> LineFrequencies(int lines, int points, double interval) {
    std::vector<double> hertz(static_cast<std::size_t>(lines));
    for (int k = 0; k < lines; ++k)
        hertz[static_cast<std::size_t>(k)] =
            ZmAPI_ToolBox::Frequency(k, points, interval, true);
    return hertz;
}

}  // namespace

Result Fft(const Arguments& arguments, Messages& messages) {
    const Signals signals = ReadSignals(arguments);
    const int points = arguments.points ? arguments.points : signals.rows;
    constexpr int kMostPoints = 1 << 28;
    if (points < 2 || points > kMostPoints)
        throw BadInput(fmt::format("--points: must be from 2 to {}", kMostPoints));
    const ZmAPI_Matrix X = ZmAPI_ToolBox::FFT(signals.ForTheLibrary(), points,
                                              arguments.detrend, Window(arguments.window));
    if (messages.Errors() > 0) throw NoResult();

    const int lines = X.Size(0);
    const double sum = WindowSum(arguments.window, std::min(points, signals.rows), false);
    Grid grid;
    grid.shown = LineFrequencies(lines, points, signals.interval);
    Result result;
    Table table{arguments.scaled ? "Amplitudes" : "Spectrum (not scaled)", {}};
    table.Add("frequency", "Hz", grid.shown);
    ResponsePlot plot(arguments.file + (arguments.scaled ? ": amplitudes" : ": spectrum"), grid,
                      messages);
    for (int c = 0; c < signals.Columns(); ++c) {
        std::vector<std::complex<double>> line(static_cast<std::size_t>(lines));
        for (int k = 0; k < lines; ++k) {
            // A line at 0 or half the sampling rate has no mirror image.
            const bool alone = k == 0 || 2 * k == points;
            const double factor = !arguments.scaled ? 1.0 : (alone ? 1.0 : 2.0) / sum;
            line[static_cast<std::size_t>(k)] = factor * X.ValueC(k, c).GetComplex();
        }
        const std::string& name = signals.names[static_cast<std::size_t>(c)];
        if (arguments.polar) {
            table.Add("magnitude " + name, "", Magnitudes(line));
            table.Add("phase " + name, "deg", Phases(line));
        } else {
            table.Add("re " + name, "", RealParts(line));
            table.Add("im " + name, "", ImaginaryParts(line));
        }
        if (!arguments.plot.empty()) plot.Add(name, "", line);
    }
    result.tables.push_back(std::move(table));
    result.plot = plot.Take();
    return result;
}

Result Spectrum(const Arguments& arguments, Messages& messages) {
    const Signals signals = ReadSignals(arguments);
    if (arguments.segments < 1) throw BadInput("--segments: must be at least 1");
    if (arguments.overlap < 0) throw BadInput("--overlap: must not be negative");
    if (arguments.overlap > signals.rows)
        throw BadInput(fmt::format("--overlap: there are only {} samples", signals.rows));
    const int points =
        static_cast<int>(std::lround(static_cast<double>(signals.rows) / arguments.segments)) +
        (arguments.overlap + 1) / 2;
    if (points < 2)
        throw BadInput(fmt::format("--segments: {} are too many for {} samples",
                                   arguments.segments, signals.rows));
    if (arguments.overlap >= points || points > signals.rows)
        throw BadInput(
            fmt::format("--overlap: {} samples are too many for segments of {} of "
                        "{} samples",
                        arguments.overlap, points, signals.rows));
    const ZmAPI_Matrix P = ZmAPI_ToolBox::PSD(signals.ForTheLibrary(), Window(arguments.window),
                                              arguments.segments, arguments.overlap);
    if (messages.Errors() > 0) throw NoResult();

    const int lines = P.Size(0);
    const double meanSquare = WindowSum(arguments.window, points, true) / points;
    const double step = ZmAPI_ToolBox::Frequency(1, points, signals.interval, true);
    const std::vector<double> hertz = LineFrequencies(lines, points, signals.interval);
    Table summary{fmt::format("RMS, {} segments of {} samples, {:g} Hz apart",
                              arguments.segments, points, step),
                  {}};
    Table table{"One-sided power spectral densities", {}};
    table.Add("frequency", "Hz", hertz);
    Panel panel{"frequency [Hz]", "density [signal^2/Hz]", false, true};
    std::vector<double> rms;
    for (int c = 0; c < signals.Columns(); ++c) {
        std::vector<double> density(static_cast<std::size_t>(lines));
        double sum = 0.0;
        for (int k = 0; k < lines; ++k) {
            const bool alone = k == 0 || 2 * k == points;
            const double value =
                (alone ? 1.0 : 2.0) * signals.interval * P.Value(k, c) / meanSquare;
            density[static_cast<std::size_t>(k)] = value;
            sum += value * step;
        }
        const std::string& name = signals.names[static_cast<std::size_t>(c)];
        rms.push_back(std::sqrt(sum));
        table.Add(name, "signal^2/Hz", density);
        if (panel.series.size() < kMostSeries)
            panel.series.push_back({name, hertz, std::move(density)});
    }
    summary.Add("signal", "", signals.names);
    summary.Add("RMS", "", rms);
    Result result;
    result.summaries = 1;
    result.tables = {std::move(summary), std::move(table)};
    result.plot = {arguments.file + ": power spectral densities", {std::move(panel)}};
    return result;
}

}  // namespace Tool
