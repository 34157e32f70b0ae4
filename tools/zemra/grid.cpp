#include "tools/zemra/grid.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <optional>
#include <string_view>

#include "tools/zemra/failure.h"
#include "tools/zemra/modes.h"
#include "tools/zemra/samples.h"

namespace Tool {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr int kMostPoints = 10'000'000;

template <typename T>
std::optional<T> Number(std::string_view text) {
    T value{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end) return std::nullopt;
    return value;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t at = 0; at != std::string_view::npos;) {
        const std::size_t next = text.find(separator, at);
        parts.push_back(text.substr(at, next == std::string_view::npos ? next : next - at));
        at = next == std::string_view::npos ? next : next + 1;
    }
    return parts;
}

// count values; the ends exactly as given.
std::vector<double> Spaced(const GridRequest& request) {
    std::vector<double> result(static_cast<std::size_t>(request.count), request.lowest);
    for (std::size_t k = 1; k < result.size(); ++k) {
        const double t = static_cast<double>(k) / static_cast<double>(result.size() - 1);
        result[k] = request.logarithmic
                        ? request.lowest * std::pow(request.highest / request.lowest, t)
                        : request.lowest + t * (request.highest - request.lowest);
    }
    if (result.size() > 1) result.back() = request.highest;
    return result;
}

// Frequencies around a mode at centre with the half-power band centre ± half: dense at the
// peak, then each step longer than the last, until they are as far apart as the grid is anyway.
void AddCluster(double centre, double half, double step, std::vector<double>& frequencies) {
    const bool undamped = half < 1e-9 * centre;
    if (undamped)
        half = 1e-4 * centre;  // beside the pole, where the response has no value
    else
        frequencies.push_back(centre);
    double offset = 0.0;
    for (double stride = 0.2 * half; stride < step && offset < step; stride *= 1.5) {
        offset += stride;
        frequencies.push_back(centre - offset);
        frequencies.push_back(centre + offset);
    }
}

void Cluster(const std::vector<std::complex<double>>& eigenvalues, double unit,
             std::vector<double>& frequencies) {
    std::sort(frequencies.begin(), frequencies.end());
    const double lowest = frequencies.front(), highest = frequencies.back();
    std::vector<double> added;
    for (const std::complex<double>& lambda : eigenvalues) {
        const double centre = lambda.imag() / unit, half = std::abs(lambda.real()) / unit;
        if (!(centre > lowest && centre < highest)) continue;  // pairs once, no real ones
        const auto after = std::upper_bound(frequencies.begin(), frequencies.end(), centre);
        const double step = *after - *(after - 1);
        if (half < step) AddCluster(centre, half, step, added);
    }
    for (const double f : added)
        if (f > lowest && f < highest) frequencies.push_back(f);
    std::sort(frequencies.begin(), frequencies.end());
    frequencies.erase(std::unique(frequencies.begin(), frequencies.end()), frequencies.end());
}

}  // namespace

std::vector<double> Grid::Hertz() const {
    std::vector<double> result = shown;
    if (!hertz)
        for (double& f : result) f /= kTwoPi;
    return result;
}

void CheckGrid(const std::string& name, const GridRequest& request) {
    const auto fail = [&](const std::string& what) { throw BadInput(name + ": " + what); };
    const auto finite = [](double f) { return std::isfinite(f * kTwoPi) && f >= 0.0; };
    if (!request.values.empty()) {
        if (!std::all_of(request.values.begin(), request.values.end(), finite))
            fail("frequencies must be finite and not negative");
        return;
    }
    if (request.count < 1) fail("there must be at least one frequency");
    if (request.count > kMostPoints) fail("there may be at most 10000000 frequencies");
    if (!finite(request.lowest) || !finite(request.highest))
        fail("frequencies must be finite and not negative");
    if (request.lowest > request.highest) fail("the highest frequency is below the lowest");
    if (request.logarithmic && !(request.lowest > 0.0))
        fail("logarithmic frequencies must be above 0 (or ask for linear ones)");
}

GridRequest ParseGrid(const std::string& option, const std::string& text, bool hertz,
                      bool logarithmic) {
    GridRequest request;
    request.hertz = hertz;
    request.logarithmic = logarithmic;
    if (text.starts_with('@')) {
        request.values = ReadSamples(text.substr(1)).columns.front();
    } else if (text.find(':') != std::string::npos) {
        const std::vector<std::string_view> parts = Split(text, ':');
        std::optional<double> lowest, highest;
        std::optional<int> count;
        if (parts.size() == 3) {
            lowest = Number<double>(parts[0]);
            highest = Number<double>(parts[1]);
            count = Number<int>(parts[2]);
        }
        if (!lowest || !highest || !count)
            throw BadInput(option + ": \"" + text + "\" is not LOW:HIGH:COUNT");
        request.lowest = *lowest;
        request.highest = *highest;
        request.count = *count;
    } else {
        for (const std::string_view part : Split(text, ',')) {
            const std::optional<double> value = Number<double>(part);
            if (!value)
                throw BadInput(option + ": \"" + std::string(part) + "\" is not a frequency");
            request.values.push_back(*value);
        }
    }
    CheckGrid(option, request);
    return request;
}

Grid MakeGrid(const GridRequest& request,
              const std::vector<std::complex<double>>& eigenvalues) {
    Grid grid;
    grid.hertz = request.hertz;
    grid.shown = request.values.empty() ? Spaced(request) : request.values;
    if (request.cluster) Cluster(eigenvalues, request.hertz ? kTwoPi : 1.0, grid.shown);
    grid.w = grid.shown;
    if (request.hertz)
        for (double& w : grid.w) w *= kTwoPi;
    return grid;
}

GridRequest RangeOfModes(const std::vector<std::complex<double>>& eigenvalues, int count) {
    double lowest = std::numeric_limits<double>::infinity(), highest = 0.0;
    const double rigid = RigidBound(eigenvalues);
    const auto include = [&](bool pairsOnly) {
        for (const std::complex<double>& lambda : eigenvalues) {
            const double w = std::abs(lambda);
            if (!(w > rigid) || (pairsOnly && lambda.imag() == 0.0)) continue;
            lowest = std::min(lowest, w);
            highest = std::max(highest, w);
        }
    };
    include(true);
    if (highest == 0.0) include(false);
    if (highest == 0.0) lowest = highest = kTwoPi;
    GridRequest request;
    request.lowest = lowest / 3.0 / kTwoPi;
    request.highest = highest * 3.0 / kTwoPi;
    request.count = count;
    return request;
}

}  // namespace Tool
