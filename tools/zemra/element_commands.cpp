#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <numeric>
#include <sstream>

#include "tools/zemra/commands.h"
#include "tools/zemra/failure.h"
#include "tools/zemra/model.h"
#include "tools/zemra/samples.h"

namespace Tool {
namespace {

constexpr int kParameters = 6;
constexpr std::array<const char*, kParameters> kParameterNames{"K0", "C0", "K1",
                                                               "C1", "K2", "C2"};

using Parameters = std::array<double, kParameters>;

Parameters ParseElement(const std::string& text) {
    std::vector<double> values;
    std::istringstream fields(text);
    bool good = true;
    for (std::string field; std::getline(fields, field, ',');) {
        double value = 0.0;
        const char* const end = field.data() + field.size();
        const auto [rest, error] = std::from_chars(field.data(), end, value);
        good = good && error == std::errc() && rest == end && std::isfinite(value);
        values.push_back(value);
    }
    if (!good || values.size() != kParameters)
        throw BadInput("--element: \"" + text + "\" is not K0,C0,K1,C1,K2,C2");
    Parameters parameters{};
    std::copy(values.begin(), values.end(), parameters.begin());
    return parameters;
}

std::vector<std::complex<double>> Stiffness(const Parameters& p, const std::vector<double>& w) {
    const ZmAPI_Matrix H =
        ZmAPI_ToolBox::FDEvaluate(p[0], p[1], p[2], p[3], p[4], p[5], ForTheLibrary(w), false);
    std::vector<std::complex<double>> result;
    result.reserve(w.size());
    for (int k = 0; k < H.Size(0); ++k) result.push_back(H.ValueC(k).GetComplex());
    return result;
}

}  // namespace

Result EvaluateElements(const Arguments& arguments, Messages& messages) {
    const std::optional<GridRequest> request = AskedGrid(arguments);
    if (!request) throw BadInput("fd-eval: give the frequencies by --hz or --rad");
    const Grid grid = MakeGrid(*request, {});
    Table table{"Dynamic stiffness", {}};
    table.Add(grid.Name(), grid.Unit(), grid.shown);
    ResponsePlot plot("Dynamic stiffness", grid, messages);
    for (std::size_t e = 0; e < arguments.elements.size(); ++e) {
        const auto H = Stiffness(ParseElement(arguments.elements[e]), grid.w);
        if (messages.Errors() > 0) throw NoResult();
        const std::string name = fmt::format("element {}", e);
        table.Add("re " + name, "stiffness", RealParts(H));
        table.Add("im " + name, "stiffness", ImaginaryParts(H));
        table.Add("magnitude " + name, "stiffness", Magnitudes(H));
        table.Add("phase " + name, "deg", Phases(H));
        if (!arguments.plot.empty()) plot.Add(name, "", H);
    }
    Result result;
    result.tables.push_back(std::move(table));
    result.plot = plot.Take();
    return result;
}

Result IdentifyElement(const Arguments& arguments, Messages& messages) {
    const Samples samples = ReadSamples(arguments.file);
    if (samples.columns.size() != 4)
        throw BadInput(
            fmt::format("{}: expected 4 columns (displacement, frequency in Hz, "
                        "force, phase in degrees), found {}",
                        arguments.file, samples.columns.size()));
    // The starting values take the first rows for the lowest frequencies.
    const std::size_t n = samples.columns.front().size();
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return samples.columns[1][a] < samples.columns[1][b];
    });
    std::vector<double> rows, hertz, w;
    std::vector<std::complex<double>> measured;
    for (const std::size_t k : order) {
        for (const auto& column : samples.columns) rows.push_back(column[k]);
        hertz.push_back(samples.columns[1][k]);
        w.push_back(2.0 * std::numbers::pi * hertz.back());
        measured.push_back(std::polar(1.0, samples.columns[3][k] * std::numbers::pi / 180.0) *
                           (samples.columns[2][k] / samples.columns[0][k]));
    }
    const ZmAPI_Matrix found =
        ZmAPI_ToolBox::FDElementID(ZmAPI_Matrix(rows.data(), static_cast<int>(n), 4));
    if (messages.Errors() > 0) throw NoResult();
    Parameters parameters{};
    for (int k = 0; k < kParameters; ++k)
        parameters[static_cast<std::size_t>(k)] = found.Value(k);
    const auto fitted = Stiffness(parameters, w);

    double error = 0.0, size = 0.0;
    for (std::size_t k = 0; k < n; ++k) {
        error += std::norm(fitted[k] - measured[k]);
        size += std::norm(measured[k]);
    }
    Table summary{fmt::format("Element: RMS error of the fit {:.4g} % of the stiffness",
                              100.0 * std::sqrt(error / size)),
                  {}};
    summary.Add("parameter", "",
                std::vector<std::string>(kParameterNames.begin(), kParameterNames.end()));
    summary.Add("value", "", std::vector<double>(parameters.begin(), parameters.end()));
    summary.Add("unit", "",
                std::vector<std::string>{"stiffness", "stiffness s", "stiffness", "stiffness s",
                                         "stiffness", "stiffness s"});
    Table table{"Measured and fitted stiffness", {}};
    table.Add("frequency", "Hz", hertz);
    table.Add("magnitude measured", "stiffness", Magnitudes(measured));
    table.Add("phase measured", "deg", Phases(measured));
    table.Add("magnitude fitted", "stiffness", Magnitudes(fitted));
    table.Add("phase fitted", "deg", Phases(fitted));

    const bool logarithmic = hertz.front() > 0.0;
    Panel magnitude{"frequency [Hz]", "magnitude [stiffness]", logarithmic, true};
    magnitude.series = {{"measured", hertz, Magnitudes(measured), {}, true},
                        {"fitted", hertz, Magnitudes(fitted)}};
    Panel phase{"frequency [Hz]", "phase [deg]", logarithmic};
    phase.series = {{"measured", hertz, Phases(measured), {}, true},
                    {"fitted", hertz, Phases(fitted)}};
    Result result;
    result.summaries = 1;
    result.tables = {std::move(table)};
    result.tables.insert(result.tables.begin(), std::move(summary));
    result.plot = {arguments.file + ": dynamic stiffness", {magnitude, phase}};
    return result;
}

}  // namespace Tool
