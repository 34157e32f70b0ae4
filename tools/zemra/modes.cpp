#include "tools/zemra/modes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <numeric>

#include "tools/zemra/failure.h"
#include "tools/zemra/model.h"

namespace Tool {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

// Below these a real part is rounding: of the largest eigenvalue, and of the mode's own.
constexpr double kRounding = 1e-13;
constexpr double kUndamped = 1e-7;

constexpr std::size_t kStatesShown = 3;
constexpr double kMovesLittle = 0.05;  // of the largest component: not worth a mention

std::string LargestStates(const ModelFile& model, const std::vector<ZmAPI_Complex>& vector) {
    std::vector<std::size_t> order(vector.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const std::size_t shown = std::min(kStatesShown, order.size());
    std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(shown),
                      order.end(), [&](std::size_t a, std::size_t b) {
                          const double x = vector[a].Mag(), y = vector[b].Mag();
                          return x != y ? x > y : a < b;
                      });
    const double largest = vector[order.front()].Mag();
    std::string text;
    for (std::size_t k = 0; k < shown; ++k) {
        const double share = vector[order[k]].Mag() / largest;
        if (!(share >= kMovesLittle)) break;
        text += fmt::format("{}{} {:.2f}", k ? ", " : "", model.states[order[k]].name, share);
    }
    return text;
}

std::vector<bool> InChains(const ZmAPI_EigenProblem& problem) {
    std::vector<bool> inChain(static_cast<std::size_t>(problem.Eigenvalues()));
    for (int i = 0; i < problem.Eigenvalues(); ++i) {
        const int previous = problem.Defective(i);
        if (previous == i || previous < 0) continue;
        inChain[static_cast<std::size_t>(i)] = inChain[static_cast<std::size_t>(previous)] =
            true;
    }
    return inChain;
}

std::string Remark(const Mode& mode, double largest, double rigid) {
    const double growth = mode.eigenvalue.real();
    if (mode.Frequency() <= rigid) return "";
    const bool rounding =
        std::abs(growth) <= kRounding * largest || std::abs(mode.Damping()) <= kUndamped;
    if (rounding) return "undamped";
    return growth > 0.0 ? "unstable" : "";
}

}  // namespace

double Mode::Damping() const {
    return Frequency() > 0.0 ? -eigenvalue.real() / Frequency() : 0.0;
}

double RigidBound(const std::vector<std::complex<double>>& eigenvalues) {
    double largest = 0.0;
    for (const std::complex<double>& lambda : eigenvalues)
        largest = std::max(largest, std::abs(lambda));
    return 1e-8 * largest;
}

ZmAPI_EigenProblem SolveEigenProblem(const ModelFile& model) {
    ZmAPI_EigenProblem problem(ForTheLibrary(model.matrices.A));
    if (problem.Solve(false) < 1) throw NoResult();
    return problem;
}

std::vector<std::complex<double>> Eigenvalues(const ZmAPI_EigenProblem& problem) {
    std::vector<std::complex<double>> result;
    result.reserve(static_cast<std::size_t>(problem.Eigenvalues()));
    for (int i = 0; i < problem.Eigenvalues(); ++i)
        result.push_back(problem.Eigenvalue(i, false).GetComplex());
    return result;
}

std::vector<Mode> FindModes(const ModelFile& model, const ZmAPI_EigenProblem& problem) {
    const std::vector<std::complex<double>> eigenvalues = Eigenvalues(problem);
    const std::vector<bool> inChain = InChains(problem);
    const double rigid = RigidBound(eigenvalues);
    const double largest = rigid / 1e-8;
    std::vector<ZmAPI_Complex> vector(eigenvalues.size());
    std::vector<Mode> modes;
    modes.reserve(eigenvalues.size());
    for (std::size_t i = 0; i < eigenvalues.size(); ++i) {
        const int index = static_cast<int>(i);
        Mode mode{static_cast<int>(modes.size()), index, eigenvalues[i], "", "", 0.0, ""};
        mode.kind = inChain[i]                      ? "chain"
                    : mode.Frequency() <= rigid     ? "rigid"
                    : mode.eigenvalue.imag() != 0.0 ? "pair"
                                                    : "real";
        mode.remark = Remark(mode, largest, rigid);
        mode.residual = problem.CheckEigenVector(index, false);
        problem.Eigenvector(index, vector.data());
        mode.states = LargestStates(model, vector);
        modes.push_back(std::move(mode));
        if (eigenvalues[i].imag() != 0.0) ++i;  // its conjugate
    }
    return modes;
}

Table ModeTable(const std::vector<Mode>& modes) {
    std::vector<double> number, hertz, w, damping, real, imaginary, residual;
    std::vector<std::string> kind, remark, states;
    for (const Mode& mode : modes) {
        number.push_back(mode.number);
        hertz.push_back(mode.Frequency() / kTwoPi);
        w.push_back(mode.Frequency());
        damping.push_back(mode.Damping());
        real.push_back(mode.eigenvalue.real());
        imaginary.push_back(mode.eigenvalue.imag());
        kind.push_back(mode.kind);
        remark.push_back(mode.remark);
        residual.push_back(mode.residual);
        states.push_back(mode.states);
    }
    Table table{"Modes (undamped frequencies)", {}};
    table.Add("mode", "", number);
    table.Add("frequency", "Hz", hertz);
    table.Add("frequency", "rad/s", w);
    table.Add("damping", "", damping);
    table.Add("re", "rad/s", real);
    table.Add("im", "rad/s", imaginary);
    table.Add("kind", "", kind);
    table.Add("remark", "", remark);
    table.Add("residual", "", residual);
    table.Add("largest states", "", states);
    return table;
}

std::string ModeName(const Mode& mode) {
    return fmt::format("mode {}, {:.4g} Hz", mode.number, mode.Frequency() / kTwoPi);
}

}  // namespace Tool
