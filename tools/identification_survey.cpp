/// How well elements are identified: random elements of every family of free parameters, with
/// and without noise, and what the fits miss.
///
///     identification_survey [SETS]
///
/// Without noise a set succeeds when the relative RMS error of the stiffness is at most 1e-4;
/// with 1 % noise, when the squared error is at most 1.05 times that of the true parameters.
/// The stages are those of the identification: the search on the data's own scale, the whole.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/elements.h"
#include "zemra/toolbox/fd_identification.h"

using namespace ZEMRA::Vibration;
using tests::MeasuredElement;

namespace {

struct Survey {
    double noise;
    double limit;
    std::vector<double> searched, identified;
    double seconds = 0.0, slowest = 0.0;

    void Add(const std::string& family, unsigned seed) {
        const MeasuredElement element = tests::RandomElement(family, seed, noise);
        const FDData data(Matrix2D<double>(element.Points(), 4, element.rows.data()));
        searched.push_back(Judge(element, SearchFDElement(data)));
        const auto start = std::chrono::steady_clock::now();
        const FDParameters p = IdentifyFDElement(data);
        const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
        seconds += spent.count();
        slowest = std::max(slowest, spent.count());
        identified.push_back(Judge(element, p));
        if (!(identified.back() <= limit))
            std::printf("  miss: %s seed %u noise %g: %.3g\n", family.c_str(), seed, noise,
                        identified.back());
    }

    void Print(const char* name) const {
        std::printf("  %-6s searched ", name);
        Print(searched);
        std::printf("  identified ");
        Print(identified);
        std::printf("  %.2f ms, at most %.1f\n",
                    1e3 * seconds / static_cast<double>(identified.size()), 1e3 * slowest);
    }

  private:
    double Judge(const MeasuredElement& element, const FDParameters& p) const {
        const double error = element.SquaredError({p.begin(), p.end()});
        return noise > 0.0 ? error / element.SquaredError(element.p)
                           : std::sqrt(error / element.SquaredStiffness());
    }

    void Print(std::vector<double> values) const {
        std::sort(values.begin(), values.end());
        const auto good =
            std::count_if(values.begin(), values.end(), [&](double x) { return x <= limit; });
        const std::size_t n = values.size();
        std::printf("median %.1e, 90 %% %.1e, good %zu/%zu", values[n / 2], values[n * 9 / 10],
                    static_cast<std::size_t>(good), n);
    }
};

}  // namespace

int main(int argc, char** argv) {
    const int sets = std::max(1, argc > 1 ? std::atoi(argv[1]) : 100);
    for (const std::string& family : tests::ElementFamilies()) {
        std::printf("free %s\n", family.c_str());
        Survey exact{0.0, 1e-4, {}, {}}, noisy{0.01, 1.05, {}, {}};
        for (int k = 0; k < sets; ++k) {
            exact.Add(family, 1000 + static_cast<unsigned>(k));
            noisy.Add(family, 5000 + static_cast<unsigned>(k));
        }
        exact.Print("exact");
        noisy.Print("noisy");
    }
    return 0;
}
