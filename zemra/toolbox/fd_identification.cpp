#include "zemra/toolbox/fd_identification.h"

#include <algorithm>
#include <cmath>

#include "zemra/message/message.h"
#include "zemra/toolbox/fd_newton.h"
#include "zemra/toolbox/fd_polish.h"

namespace ZEMRA::Vibration {
namespace {

constexpr double kSmallError = 1e-6;  // also the least gain that is worth another step
constexpr int kStartSteps = 26;
constexpr int kSteps = 100;

constexpr double kScaledStiffness = 100.0;
constexpr double kMetToRounding = 1e-24;  // squared error, relative to that of H = 0

constexpr char kNoFit[] =
    "ZmAPI_ToolBox::FDElementID: No element with a finite error was found.";

struct Fit {
    FDParameters p;
    double error;
};

// Refines a candidate; the best fit of all takes what comes out better.
void Refine(const FDData& data, const FDCandidate& candidate, Fit& best) {
    FDParameters p = candidate.p;
    double error = data.SquaredError(p);
    for (int k = 0; k < kStartSteps; ++k) {
        const double before = error;
        error = NewtonStep(data, candidate.free, p);
        if (error < best.error) best = {p, error};
        if (error <= kSmallError || !(before - error > kSmallError)) return;
    }
}

Fit FindStart(const FDData& data) {
    const std::vector<FDCandidate> candidates = FDCandidates(data);
    const FDParameters& first = candidates.front().p;
    Fit best{first, data.SquaredError(first)};
    for (const FDCandidate& candidate : candidates) {
        if (best.error <= kSmallError) break;
        Refine(data, candidate, best);
    }
    return best;
}

// Takes p when it fits strictly better.
void Improve(const FDData& data, const FDParameters& p, Fit& best) {
    const double error = data.SquaredError(p);
    if (error < best.error) best = {p, error};
}

FDParameters Times(double factor, FDParameters p) {
    for (double& x : p) x *= factor;
    return p;
}

// Beyond the limits the stiffness is what rounding leaves of huge terms: an error that seems
// small there is none that another order of operations finds.
FDParameters Within(const FDParameters& limit, FDParameters p) {
    for (std::size_t i = 0; i < p.size(); ++i) p[i] = std::clamp(p[i], -limit[i], limit[i]);
    return p;
}

FDParameters OnlyFinite(const FDParameters& p) {
    if (!std::all_of(p.begin(), p.end(), [](double x) { return std::isfinite(x); }))
        throw Error(kNoFit);
    return p;
}

}  // namespace

FDParameters SearchFDElement(const FDData& data) {
    Fit fit = FindStart(data);
    const FDFree all{true, true, true, true, true, true};
    double before = 10.0 * fit.error;
    for (int k = 0; k < kSteps; ++k) {
        if (!(fit.error > kSmallError && before - fit.error > kSmallError)) break;
        before = fit.error;
        fit.error = NewtonStep(data, all, fit.p);
    }
    return fit.p;
}

FDParameters IdentifyFDElement(const FDData& data) {
    const FDParameters found = SearchFDElement(data);
    const double factor = kScaledStiffness / data.LargestStiffness();
    if (!std::isfinite(factor)) return OnlyFinite(found);  // no stiffness at all

    // Errors are compared here for small and large units alike: both are multiplied by
    // factor², which changes no order, and no square of a stiffness overflows or underflows.
    const FDData scaled = data.Scaled(factor);
    const FDParameters limit = LargestFDParameters(scaled);
    const FDParameters start = Within(limit, Times(factor, found));
    Fit best{start, scaled.SquaredError(start)};
    Improve(scaled, Within(limit, SearchFDElement(scaled)), best);

    // The Newton steps end where the difference formulas do, and sometimes in a poor minimum.
    const double met = kMetToRounding * scaled.SquaredError(FDParameters{});
    Improve(scaled, PolishFDElement(scaled, best.p), best);
    for (const FDCandidate& candidate : FDCandidates(scaled)) {
        if (best.error <= met) break;
        Improve(scaled, PolishFDElement(scaled, candidate.p), best);
    }

    if (!std::isfinite(best.error)) throw Error(kNoFit);
    return OnlyFinite(Times(1.0 / factor, best.p));
}

}  // namespace ZEMRA::Vibration
