#include "tools/zemra/model.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "tools/zemra/failure.h"
#include "tools/zemra/progress.h"

namespace Tool {
namespace {

template <typename Part>
std::vector<double> Parts(const std::vector<std::complex<double>>& values, Part part) {
    std::vector<double> result(values.size());
    std::transform(values.begin(), values.end(), result.begin(), part);
    return result;
}

}  // namespace

ZmAPI_Matrix ForTheLibrary(const Example::DumpedMatrix& m) {
    return {m.rows, m.columns, m.values.data()};
}

ZmAPI_Matrix ForTheLibrary(const std::vector<double>& values) {
    return {static_cast<int>(values.size()), values.data()};
}

ZmAPI_SystemSS StateSpaceModel(const ModelFile& model, const Actuators& actuators) {
    const Example::DumpedModel& m = model.matrices;
    return {model.time,         ForTheLibrary(m.A), ForTheLibrary(m.B),
            ForTheLibrary(m.C), ForTheLibrary(m.D), actuators.Get()};
}

ZmAPI_System ModalModel(const ModelFile& model, const Actuators& actuators,
                        const std::vector<int>& modes, const ZmAPI_EigenProblem* eigen) {
    const Example::DumpedModel& m = model.matrices;
    return {model.time,
            ForTheLibrary(m.A),
            ForTheLibrary(m.B),
            ForTheLibrary(m.C),
            ForTheLibrary(m.D),
            actuators.Get(),
            static_cast<int>(modes.size()),
            modes.data(),
            eigen};
}

Model::Model(ZmAPI_SystemSS model) : model_(std::move(model)) {
    if (std::get<ZmAPI_SystemSS>(model_).Error()) throw NoResult();
}

Model::Model(ZmAPI_System model) : model_(std::move(model)) {
    if (std::get<ZmAPI_System>(model_).Error()) throw NoResult();
}

ZmAPI_Matrix Model::TransferFunction(const ZmAPI_Matrix& w) {
    return std::visit([&](auto& model) { return model.TransferFunction(w); }, model_);
}

ZmAPI_Matrix Model::FrequencyResponse(const ZmAPI_Matrix& w) {
    return std::visit([&](auto& model) { return model.FrequencyResponse(w); }, model_);
}

ZmAPI_Matrix Model::MCT(const ZmAPI_Matrix& w, bool withActuators) {
    return std::visit([&](auto& model) { return model.MCT(w, withActuators); }, model_);
}

ZmAPI_Matrix Model::Densities(double w, double dw) {
    const ZmAPI_Matrix spectral =
        std::visit([&](auto& model) { return model.PSD(w, dw); }, model_);
    std::vector<ZmAPI_Complex> diagonal;
    diagonal.reserve(static_cast<std::size_t>(spectral.Size(0)));
    for (int i = 0; i < spectral.Size(0); ++i) diagonal.push_back(spectral.ValueC(i, i));
    return {spectral.Size(0), 1, diagonal.data()};
}

std::vector<std::complex<double>> Sweep::Line(std::size_t i, std::size_t j) const {
    std::vector<std::complex<double>> line(done);
    for (std::size_t k = 0; k < done; ++k) line[k] = At(k, i, j);
    return line;
}

namespace {

// Asks for the next count frequencies. When the library reports an error among several, each is
// asked for by itself.
void Ask(Messages& messages, const std::vector<double>& w, std::size_t count,
         const std::function<ZmAPI_Matrix(const ZmAPI_Matrix&)>& query, Sweep& sweep) {
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    const int errors = messages.Errors();
    const ZmAPI_Matrix answer = query({static_cast<int>(count), w.data() + sweep.done});
    const bool good = messages.Errors() == errors;
    if (!good && count > 1) {
        for (std::size_t k = 0; k < count; ++k) Ask(messages, w, 1, query, sweep);
        return;
    }
    const bool stack = answer.Size(2) > 0;
    for (int k = 0; k < static_cast<int>(count); ++k, ++sweep.done) {
        bool finite = true;
        for (int i = 0; i < static_cast<int>(sweep.rows); ++i)
            for (int j = 0; j < static_cast<int>(sweep.columns); ++j) {
                const std::complex<double> value = !good   ? std::complex<double>(kNone, kNone)
                                                   : stack ? answer.ValueC(k, i, j).GetComplex()
                                                           : answer.ValueC(i, j).GetComplex();
                finite = finite && std::isfinite(value.real()) && std::isfinite(value.imag());
                sweep.values.push_back(value);
            }
        if (good && !finite)
            messages.Fail(
                fmt::format("the answer at {:g} rad/s is not finite: does a mode "
                            "without damping lie there?",
                            w[sweep.done]));
    }
}

}  // namespace

Sweep RunSweep(Messages& messages, const std::vector<double>& w, std::size_t rows,
               std::size_t columns,
               const std::function<ZmAPI_Matrix(const ZmAPI_Matrix&)>& query,
               std::size_t block) {
    Sweep sweep{rows, columns};
    sweep.values.reserve(w.size() * rows * columns);
    Progress progress("frequencies", w.size());
    while (sweep.done < w.size() && !Interrupted()) {
        Ask(messages, w, std::min(block, w.size() - sweep.done), query, sweep);
        progress.Show(sweep.done);
    }
    return sweep;
}

std::vector<double> Magnitudes(const std::vector<std::complex<double>>& values) {
    return Parts(values, [](const std::complex<double>& z) { return std::abs(z); });
}

std::vector<double> Phases(const std::vector<std::complex<double>>& values) {
    return Parts(values, [](const std::complex<double>& z) {
        return std::arg(z) * 180.0 / std::numbers::pi;
    });
}

std::vector<double> RealParts(const std::vector<std::complex<double>>& values) {
    return Parts(values, [](const std::complex<double>& z) { return z.real(); });
}

std::vector<double> ImaginaryParts(const std::vector<std::complex<double>>& values) {
    return Parts(values, [](const std::complex<double>& z) { return z.imag(); });
}

std::vector<double> CumulativeRms(const std::vector<double>& hertz,
                                  const std::vector<double>& density) {
    std::vector<double> result(density.size());
    double sum = 0.0;
    for (std::size_t k = 1; k < density.size(); ++k) {
        sum += 0.5 * (hertz[k] - hertz[k - 1]) * (density[k] + density[k - 1]);
        result[k] = std::sqrt(sum);
    }
    return result;
}

}  // namespace Tool
