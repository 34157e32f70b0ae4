#include "zemra/toolbox/fd_identification.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "tests/support/data_folder.h"
#include "tests/support/elements.h"
#include "tests/support/error_text.h"
#include "tests/support/matrices.h"
#include "zemra/toolbox/fd_newton.h"
#include "zemra/toolbox/fd_polish.h"
#include "zemra/toolbox/fd_start.h"

namespace ZEMRA::Vibration::tests {
namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

FDData DataOf(const MeasuredElement& element) {
    return FDData(Matrix2D<double>(element.Points(), 4, element.rows.data()));
}

std::vector<double> Vector(const FDParameters& p) { return {p.begin(), p.end()}; }

// Points at the given angular frequencies, H from the definition.
FDData Sampled(const std::vector<double>& p, const std::vector<double>& omega) {
    std::vector<double> rows;
    for (const double w : omega) {
        const Complex H = MeasuredElement::Stiffness(p, w / kTwoPi);
        rows.insert(rows.end(), {1, w / kTwoPi, std::abs(H), 57.29577951308232 * std::arg(H)});
    }
    return FDData(Matrix2D<double>(static_cast<int>(omega.size()), 4, rows.data()));
}

std::vector<double> Even(double first, double last, int n) {
    std::vector<double> w;
    w.reserve(static_cast<std::size_t>(n));
    for (int j = 0; j < n; ++j) w.push_back(first + (last - first) * j / (n - 1));
    return w;
}

// ---- Data -----------------------------------------------------------------------------------

TEST(FDData, ReadsDivisorHertzMagnitudeAndDegrees) {
    const FDData data(FromRows<double>({{0.5, 3, 2, 90}, {-2, 0, 6, 60}}));
    EXPECT_DOUBLE_EQ(data.Omega()(0), 6 * 3.141592653589793);
    EXPECT_NEAR(std::abs(data.Stiffness()(0) - Complex(0, 4)), 0, 1e-14);
    EXPECT_EQ(data.Omega()(1), 0);
    EXPECT_NEAR(std::abs(data.Stiffness()(1) - Complex(-1.5, -1.5 * std::sqrt(3.0))), 0, 1e-14);
}

TEST(FDData, RefusesWhatIsNoStiffness) {
    const auto text = [](const Matrix2D<double>& rows) {
        return ErrorText([&] { FDData data(rows); });
    };
    const std::string member = "ZmAPI_ToolBox::FDElementID: ";
    EXPECT_EQ(text(Matrix2D<double>(2, 3)), member + "Data must have four columns not 3.\n");
    EXPECT_EQ(text(Matrix2D<double>(0, 4)), member + "Data must have at least one row.\n");
    for (const auto& bad : Table<double>{{0, 1, 1, 0},
                                         {1, kNaN, 1, 0},
                                         {1, kInfinity, 1, 0},
                                         {1, 1e308, 1, 0},
                                         {1, 1, 1, kInfinity},
                                         {0, 1, 0, 0}})
        EXPECT_EQ(text(FromRows<double>({{1, 1, 1, 0}, bad})),
                  member + "Row 1 gives no finite stiffness and frequency.\n");
}

// The error is evaluated in a form of its own: that of the definition, for every family, beside
// points at rest.
TEST(FDData, ErrorIsThatOfTheDefinition) {
    for (const std::string& free : ElementFamilies()) {
        MeasuredElement element = RandomElement(free, 5, 0.1);
        element.rows[1] = 0;
        const double expected = element.SquaredError(element.p);
        FDParameters p{};
        std::copy_n(element.p.begin(), 6, p.begin());
        EXPECT_NEAR(DataOf(element).SquaredError(p), expected, 1e-9 * expected) << free;
        p[2] = kNaN;
        EXPECT_EQ(DataOf(element).SquaredError(p), kInfinity);
        p[2] = 1e160;  // beside a damper: its square overflows, and it must not disappear
        p[5] = 1;
        EXPECT_EQ(DataOf(element).SquaredError(p), kInfinity);
    }
}

// ---- Starting values

// Re(H) = 7 + 2w² and Im(H)/w = 3 + w are polynomials, which the fits reproduce: K0 = 7, the
// low-frequency damping is 3, and the slope of Im(H) = 3w + w² at the end is 3 + 2w.
TEST(FDStart, ExtrapolatesTheFirstAndTheLastPoints) {
    const auto estimates = [](const std::vector<double>& omega) {
        const int n = static_cast<int>(omega.size());
        const Matrix1D<double> w(n, omega.data());
        Matrix1D<Complex> H(n);
        for (int j = 0; j < n; ++j) H(j) = {7 + 2 * w(j) * w(j), 3 * w(j) + w(j) * w(j)};
        double K0 = -1, C0 = -1;
        GetK0C0(n, H, w, K0, C0);
        return std::vector<double>{K0, C0, GetC(n, H, w)};
    };
    const auto near = [](double x) { return testing::DoubleNear(x, 1e-4); };
    using testing::ElementsAre;
    EXPECT_THAT(estimates(Even(0.5, 4, 12)), ElementsAre(near(7), near(11), near(3)));
    EXPECT_THAT(estimates(Even(0, 4, 40)), ElementsAre(near(7), near(11), near(3)));
    EXPECT_THAT(estimates({4, 3, 2, 1, 0}), ElementsAre(near(7), 0, near(3)));
    EXPECT_THAT(estimates({0, 0}), ElementsAre(near(7), 0, 0));
    EXPECT_THAT(estimates({}), ElementsAre(0, 0, 0));
}

TEST(FDStart, CountsSixteenPointsOff) {
    // A step behind the sixteenth point from either end must not be seen.
    Matrix1D<double> w(40);
    Matrix1D<Complex> low(40), high(40);
    for (int j = 0; j < 40; ++j) {
        w(j) = j + 1.0;
        low(j) = j < 16 ? Complex(5, 2 * w(j)) : Complex(900, -9 * w(j));
        high(j) = j >= 24 ? Complex(5, 2 * w(j)) : Complex(900, -9 * w(j));
    }
    double K0, C0;
    GetK0C0(40, low, w, K0, C0);
    EXPECT_NEAR(K0, 5, 1e-9);
    EXPECT_NEAR(GetC(40, low, w), 2, 1e-9);
    GetK0C0(40, high, w, K0, C0);
    EXPECT_NEAR(C0, 2, 1e-9);
    EXPECT_EQ(GetC(40, high, w), 0);  // −9, which no damper has
}

// The candidates for K0 = k0 + a·w and Im(H)/w = c + b·w, to w = 8.
std::vector<FDCandidate> CandidatesOfLines(double k0, double a, double c, double b) {
    std::vector<double> rows;
    for (const double w : Even(1, 8, 8)) {
        const Complex H(k0 + a * w, (c + b * w) * w);
        rows.insert(rows.end(), {1, w / kTwoPi, std::abs(H), 57.29577951308232 * std::arg(H)});
    }
    return FDCandidates(FDData(Matrix2D<double>(8, 4, rows.data())));
}

// Estimates worked by hand from the two straight lines: k0 and c + 2b·8 (0 when b < 0), and
// beyond the end k0 + 16a.
TEST(FDStart, LastCandidateFollowsTheData) {
    struct Case {
        double k0, a, c, b;
        FDParameters p;
        std::string free;
    };
    const std::vector<Case> cases{
        {10, 1, 3, 0.25, {10, 7, 16, 0, 0, 0}, "111111"},  // c0 = 7 exceeds the low 3
        {10, -1, 3, -1, {10, 0, 0, 0, 0, 3}, "101011"},
        {-1, 1, 3, -1, {0, 0, 15, 0, 0, 3}, "001001"},
        {-1, 1, 3, 0.25, {0, 7, 15, 0, 0, 0}, "011101"},
        {10, 1, -3, -1, {16, 0, 0, 0, 0, 0}, "101011"},  // no damper: the spring stands alone
    };
    for (const Case& expected : cases) {
        const auto all = CandidatesOfLines(expected.k0, expected.a, expected.c, expected.b);
        ASSERT_EQ(all.size(), 15U);
        for (std::size_t i = 0; i < 6; ++i) {
            EXPECT_NEAR(all.back().p[i], expected.p[i], 1e-5) << expected.free << i;
            EXPECT_EQ(all.back().free[i], expected.free[i] == '1') << expected.free << i;
        }
    }
}

// k0 = 10, c0 = 7, kH = 16 and cH = 3 − 7, all different: each candidate at its place in the
// order of trials.
TEST(FDStart, CandidatesGoFromTheSimpleToTheWhole) {
    const Table<double> expected{
        {10, 7, 0, 0, 0, 0},    {0, 0, 16, 0, 0, -4},  {0, 0, 10, 0, 0, 7},
        {10, 7, 16, 0, 0, -4},  {10, 7, 10, 0, 0, 7},  {0, 0, 10, 0, 16, -4},
        {0, 0, 16, 0, 10, 7},   {0, 0, 10, 0, 10, 7},  {0, 0, 0, 7, 16, -4},
        {0, 0, 0, -4, 10, 7},   {0, 0, 10, 7, 16, -4}, {0, 0, 16, -4, 10, 7},
        {10, 7, 10, 7, 16, -4}, {10, 7, 16, -4, 10, 7}};
    const auto all = CandidatesOfLines(10, 1, 3, 0.25);
    for (std::size_t k = 0; k < expected.size(); ++k) {
        for (std::size_t i = 0; i < 6; ++i) {
            EXPECT_NEAR(all[k].p[i], expected[k][i], 1e-5) << k + 1 << ' ' << i;
            EXPECT_EQ(all[k].free[i], expected[k][i] != 0) << k + 1 << ' ' << i;
        }
    }
}

// ---- Steps

// The minimum lies at K0 = −3, C0 = 2. The step from (1, 1) is (−4, 1): K0 may go half way to
// 0, which shortens the step to an eighth. A small parameter is set to 0 and lets the other go
// on; one that is 0 or negative does not shorten the step either.
TEST(FDNewton, KeepsTheParametersFromBecomingNegative) {
    const FDData data(Sampled({-3, 2, 0, 0, 0, 0}, Even(0.5, 2, 10)));
    const FDFree free{true, true, false, false, false, false};
    const std::vector<std::array<double, 4>> cases{
        {1, 1, 0.5, 1.125}, {5e-4, 1, 2.5e-4, 1}, {5e-5, 1, 0, 2}, {0, 1, 0, 2}, {-1, 1, 0, 2}};
    for (const auto& [K0, C0, expectedK0, expectedC0] : cases) {
        FDParameters p{K0, C0, 0, 0, 0, 0};
        const double before = data.SquaredError(p), after = NewtonStep(data, free, p);
        if (K0 == -1) {  // being set to 0 costs more than the damper gains
            EXPECT_LE(after, before);
            continue;
        }
        EXPECT_NEAR(p[0], expectedK0, 1e-3) << K0;
        EXPECT_NEAR(p[1], expectedC0, 1e-3) << K0;
        EXPECT_LT(after, before);
    }
}

// From these springs and dampers in series the whole step leads too far.
TEST(FDNewton, HalvesAStepThatOvershoots) {
    const FDData data = Sampled({0, 0, 1, 0, 0, 1}, {0.5, 1, 2});
    const FDFree free{false, false, true, false, false, true};
    for (const double K1 : {2, 4}) {
        FDParameters p{0, 0, K1, 0, 0, 0.25};
        const double before = data.SquaredError(p);
        EXPECT_LT(NewtonStep(data, free, p), before) << K1;
    }
}

TEST(FDNewton, NeverRaisesTheErrorAndReportsIt) {
    const FDFree all{true, true, true, true, true, true};
    for (const std::string& free : ElementFamilies()) {
        for (unsigned seed = 0; seed < 4; ++seed) {
            const FDData data = DataOf(RandomElement(free, seed, 0.05));
            for (const FDCandidate& candidate : FDCandidates(data)) {
                FDParameters p = candidate.p;
                const double before = data.SquaredError(p);
                const double after = NewtonStep(data, all, p);
                EXPECT_LE(after, before);
                EXPECT_EQ(after, data.SquaredError(p));
            }
        }
    }
}

// Where the polish ends no parameter can be moved, by a millionth of what matters, for the
// better: the derivatives lead to a minimum, not just downwards.
TEST(FDPolish, EndsAtAMinimum) {
    for (const std::string& free : ElementFamilies()) {
        for (unsigned seed = 9; seed < 15; ++seed) {
            const MeasuredElement element = RandomElement(free, seed, 0.05);
            const FDData data = DataOf(element);
            FDParameters start{};
            for (std::size_t i = 0; i < 6; ++i) start[i] = 1.1 * element.p[i];
            const FDParameters p = PolishFDElement(data, start);
            const double least = data.SquaredError(p);
            for (std::size_t i = 0; i < 6; ++i) {
                for (const double sign : {-1e-4, 1e-4}) {
                    FDParameters q = p;
                    q[i] = std::max(0.0, q[i] + sign * std::max(q[i], element.p[i]));
                    EXPECT_GE(data.SquaredError(q), least * (1 - 1e-9)) << free << seed << i;
                }
            }
        }
    }
}

// ---- Identification

class Identification : public testing::TestWithParam<std::string> {};

// Most sets are found by the search alone, where its absolute limits fit the data.
TEST_P(Identification, SearchesWellOnItsOwnScale) {
    int good = 0;
    for (unsigned seed = 300; seed < 320; ++seed) {
        const FDData measured = DataOf(RandomElement(GetParam(), seed, 0));
        const FDData data = measured.Scaled(100 / measured.LargestStiffness());
        const double error = data.SquaredError(SearchFDElement(data));
        good += std::sqrt(error / data.SquaredError(FDParameters{})) < 1e-4;
    }
    EXPECT_GE(good, 16);
}

// No more error than the true parameters leave: the fit follows the noise with what freedom
// it has.
TEST_P(Identification, FitsExactAndNoisyDataAsWellAsTheTruth) {
    for (unsigned seed = 200; seed < 206; ++seed)
        for (const double noise : {0.0, 0.01}) {
            const MeasuredElement element = RandomElement(GetParam(), seed, noise);
            const FDParameters p = IdentifyFDElement(DataOf(element));
            EXPECT_LT(element.SquaredError(Vector(p)), 1.05 * element.SquaredError(element.p) +
                                                           1e-18 * element.SquaredStiffness())
                << seed;
        }
}

INSTANTIATE_TEST_SUITE_P(Families, Identification, testing::ValuesIn(ElementFamilies()),
                         [](const auto& family) { return "Free" + family.param; });

// Here the search ends at parameters whose stiffness is rounding, the last two at frequencies
// far from those that its absolute steps are made for.
TEST(FDIdentification, KeepsTheParametersToWhatTheDataCanTell) {
    struct Set {
        std::string free;
        unsigned seed;
        double frequency;
    };
    const std::vector<Set> sets{{"110000", 138, 1},
                                {"000111", 160, 1},
                                {"111111", 830, 1},
                                {"110000", 9000, 1e5},
                                {"110000", 9008, 1e6}};
    for (const auto& [free, seed, frequency] : sets) {
        MeasuredElement element = RandomElement(free, seed, 0.01);
        for (std::size_t j = 1; j < element.rows.size(); j += 4) element.rows[j] *= frequency;
        for (const std::size_t i : {1U, 3U, 5U}) element.p[i] /= frequency;
        const FDData data = DataOf(element);
        const FDParameters p = IdentifyFDElement(data), limit = LargestFDParameters(data);
        for (std::size_t i = 0; i < 6; ++i) EXPECT_LE(p[i], limit[i] * (1 + 1e-9)) << seed;
        EXPECT_LT(element.SquaredError(Vector(p)), 1.05 * element.SquaredError(element.p))
            << seed;
    }
}

// Newtons or meganewtons, the element is the same.
TEST(FDIdentification, DoesNotDependOnTheUnitOfForce) {
    const MeasuredElement element = RandomElement("111111", 7, 0.01);
    const FDData data = DataOf(element);
    const FDParameters p = IdentifyFDElement(data);
    for (const double unit : {1e-180, 1e-9, 1e9, 1e180}) {
        FDParameters scaled = IdentifyFDElement(data.Scaled(unit));
        for (double& x : scaled) x /= unit;
        EXPECT_NEAR(data.SquaredError(scaled), data.SquaredError(p),
                    1e-6 * data.SquaredError(p))
            << unit;
    }
}

TEST(FDIdentification, AnswersDegenerateData) {
    const std::vector<Table<double>> tables{
        {{1, 5, 3, 30}},                                              // one row
        {{1, 0, 3, 0}},                                               // at rest
        {{1, 0, 0, 0}, {1, 1, 0, 0}},                                 // nothing
        {{1, 2, 3, 30}, {1, 2, 3, 30}, {1, 2, 3, 30}},                // equal
        {{1, 2, 3, 30}, {1, 2, 5, 10}, {1, 2, 9, 80}},                // equal frequencies
        {{1, 0, 3, 0}, {1, 0, 4, 0}, {1, 0, 5, 0}},                   // all at rest
        {{1, 3, 3, 30}, {1, 2, 2, 20}, {1, 1, 1, 10}, {1, 0, 1, 0}},  // falling, to rest
        {{1, -1, 3, 30}, {1, -2, 4, -20}},                            // negative frequencies
        {{1, 1, 3, 120}, {1, 2, 4, -150}, {1, 3, 4, 200}},            // no passive element
        {{1, 1e-200, 1, 1}, {1, 1e200, 2, 2}},
        {{1, 1, 1e-310, 1}, {1, 2, 1e-310, 2}},
        {{1, 1, 1e300, 1}, {1, 2, 1e300, 2}},
    };
    for (std::size_t k = 0; k < tables.size(); ++k) {
        const FDData data(FromRows<double>(tables[k]));
        const FDParameters p = IdentifyFDElement(data);
        for (const double x : p) EXPECT_TRUE(std::isfinite(x)) << k;
        // One stiffness, which a spring and a damper have.
        if (k < 4) {
            EXPECT_LT(data.SquaredError(p), 1e-12) << k;
        }
    }
}

// The least errors that another search, from 80 random starts, found on measured polymers.
TEST(FDIdentification, FitsMeasuredElements) {
    const auto folder = DataFolder("elements");
    if (folder.empty()) GTEST_SKIP() << "no elements beside ZEMRA_MODEL_DATA";
    const std::vector<std::pair<std::string, double>> files{
        {"polymer_dma_m27C", 0.0637508},     {"polymer_dma_p25C", 0.32463},
        {"polymer_dma_p25C_newton", 324630}, {"polymer_dma_p55C", 0.814216},
        {"polymer_dma_p92C", 0.0295789},     {"rubber_pi1131k_m30C", 0.145929}};
    for (const auto& [name, least] : files) {
        const FDData data(FromRows(ReadNumbers(folder / (name + ".csv"))));
        EXPECT_LT(data.SquaredError(IdentifyFDElement(data)), 1.0001 * least) << name;
    }
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
