#include "zemra/toolbox/fit_function.h"

#include <gtest/gtest.h>

#include "tests/support/matrices.h"

namespace ZEMRA::Vibration::tests {
namespace {

using Points = std::vector<double>;

cFitFunction Fit(const Points& x, const Points& y) {
    return {static_cast<int>(x.size()), y.data(), x.data()};
}

TEST(FitFunction, StopsAtTheDegreeOfThePointsAndReproducesThem) {
    for (int degree = 0; degree <= 7; ++degree) {
        // y = Σ (k + 1)·(x/300)^k, on abscissae as a bushing is measured at
        const auto y = [&](double x, bool slope) {
            double sum = 0;
            for (int k = slope; k <= degree; ++k)
                sum += (k + 1) * (slope ? k / 300.0 : 1) * std::pow(x / 300, k - slope);
            return sum;
        };
        Points x, values;
        for (int j = 0; j < 16; ++j) {
            x.push_back(10 + 25 * j);
            values.push_back(y(x.back(), false));
        }
        const cFitFunction fit = Fit(x, values);
        EXPECT_EQ(fit.Coefficients(), degree + 1);
        for (const double at : {0.0, 100.0, 385.0}) {
            EXPECT_NEAR(fit.Eval(at), y(at, false), 1e-6) << degree;
            EXPECT_NEAR(fit.EvalD1(at), y(at, true), 1e-7) << degree;
        }
    }
}

// A least-squares fit leaves differences that are orthogonal to every power it uses.
TEST(FitFunction, LeavesDifferencesOrthogonalToItsPowers) {
    const Matrix2D<double> noise = RandomMatrix<double>(1, 40, 3);
    Points x, y;
    for (int j = 0; j < 40; ++j) {
        x.push_back(0.05 * (j + 1));
        y.push_back(noise(0, j));
    }
    const cFitFunction fit = Fit(x, y);
    ASSERT_GE(fit.Coefficients(), 2);
    for (int k = 0; k < fit.Coefficients(); ++k) {
        double product = 0;
        for (std::size_t j = 0; j < x.size(); ++j)
            product += (y[j] - fit.Eval(x[j])) * std::pow(x[j] / 2, k);
        EXPECT_NEAR(product, 0, 1e-9) << k;
    }
}

TEST(FitFunction, GetsByWithTheDegenerate) {
    struct Case {
        Points x, y;
        int coefficients;
        double at0, at1;
    };
    const std::vector<Case> cases{
        {{}, {}, 0, 0, 0},
        {{3}, {5}, 1, 5, 5},
        {{0}, {5}, 1, 5, 5},                     // nothing to scale by
        {{1, 2, 3}, {3, 5, 7}, 2, 1, 3},         // a line
        {{-2, -1, 0}, {3, 5, 7}, 2, 7, 9},       // unscaled
        {{2, 2, 2}, {1, 2, 6}, 1, 3, 3},         // one abscissa: the mean
        {{1, 1, 2, 2}, {1, 3, 4, 6}, 2, -1, 2},  // two: the line through the means
        {{1, 2}, {3e9, 5e9}, 2, 1e9, 3e9},       // no more coefficients than points
    };
    for (const auto& c : cases) {
        const cFitFunction fit = Fit(c.x, c.y);
        EXPECT_EQ(fit.Coefficients(), c.coefficients) << c.x.size();
        EXPECT_NEAR(fit.Eval(0), c.at0, 1e-12 * (1 + std::abs(c.at0)));
        EXPECT_NEAR(fit.Eval(1), c.at1, 1e-12 * (1 + std::abs(c.at1)));
    }
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
