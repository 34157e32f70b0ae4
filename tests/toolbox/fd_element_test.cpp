#include "zemra/toolbox/fd_element.h"

#include <gtest/gtest.h>

#include "tests/support/matrices.h"

namespace ZEMRA::Vibration::tests {
namespace {

struct Case {
    FDParameters p;
    double w;
    Complex H;
};

TEST(FDElement, HasTheStiffnessThatFollowsByHand) {
    const std::vector<Case> cases{
        {{1000, 2, 0, 0, 0, 0}, 0, 1000},  // no series connection
        {{1000, 2, 0, 0, 0, 0}, 10, {1000, 20}},
        {{0, 0, 100, 0, 100, 0}, 5, 50},     // two springs in series
        {{3, 4, 100, 0, 0, 0}, 5, {3, 20}},  // a spring on nothing
        {{0, 0, 0, 2, 0, 6}, 2, {0, 3}},     // two dampers in series: C = 12/8
        {{0, 0, 0, 2, 0, 6}, 0, 0},          // and at rest
        {{5, 0, 100, 0, 0, 1}, 0, 5},        // a damper takes no static force
        {{0, 0, 100, 1, 0, 1}, 1, {100 / 10004.0, 10002 / 10004.0}},  // (100+i)·i/(100+2i)
        {{0, 0, -2, 1, 2, 1}, 0, 0},  // springs that cancel, at rest
    };
    for (const auto& [p, w, H] : cases) {
        const Matrix1D<Complex> answer =
            doFDEvaluate(1, p[0], p[1], p[2], p[3], p[4], p[5], Matrix1D<double>(1, w));
        EXPECT_LT(std::abs(answer(0) - H), 1e-14 * (1 + std::abs(H))) << p[2] << ' ' << w;
    }
}

// In the formula as it stands, in extended precision: parallel pairs add, pairs in series add
// inversely.
TEST(FDElement, AgreesWithItsDefinitionForEverySetOfParameters) {
    using Wide = std::complex<long double>;
    Matrix1D<double> omega(3);
    omega(0) = 0.03;
    omega(1) = 7;
    omega(2) = 2000;
    for (unsigned set = 0; set < 64; ++set) {
        const Matrix2D<double> random = RandomMatrix<double>(1, 6, set);
        FDParameters p{};
        for (std::size_t i = 0; i < 6; ++i)
            if (set >> i & 1) p[i] = std::pow(10, 2 * random(0, static_cast<int>(i)));
        const Matrix1D<Complex> H = doFDEvaluate(3, p[0], p[1], p[2], p[3], p[4], p[5], omega);
        for (int k = 0; k < 3; ++k) {
            const auto pair = [&](std::size_t i) { return Wide(p[i], omega(k) * p[i + 1]); };
            const Wide series = pair(2) + pair(4);
            const Wide exact = pair(0) + (series == 0.0L ? 0.0L : pair(2) * pair(4) / series);
            // The form that stays finite subtracts terms as large as the pairs.
            const long double scale = std::abs(exact) + std::abs(pair(2)) + std::abs(pair(4));
            EXPECT_LT(std::abs(Wide(H(k)) - exact), 1e-14L * scale + 1e-300L)
                << set << ' ' << k;
        }
    }
}

TEST(FDElement, EvaluatesNoMoreThanThereIs) {
    const Matrix1D<double> omega(2, 1.0);
    EXPECT_EQ(doFDEvaluate(5, 1, 0, 0, 0, 0, 0, omega).Size(0), 2);
    EXPECT_EQ(doFDEvaluate(1, 1, 0, 0, 0, 0, 0, omega).Size(0), 1);
    EXPECT_EQ(doFDEvaluate(-1, 1, 0, 0, 0, 0, 0, omega).Size(0), 0);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
