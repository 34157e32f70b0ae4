#include "zemra/system/actuator.h"

#include <gmock/gmock.h>

#include <limits>
#include <numbers>

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;

constexpr double kRounding = 4 * std::numeric_limits<double>::epsilon();

// Counts its calls in its own data block, and so shows whether two actuators share one.
void Count(unsigned long long, void* data, double, double* re, double*) {
    *re = ++*static_cast<double*>(data);
}

// Answers with the arguments it is called with.
void Echo(unsigned long long size, void* data, double w, double* re, double* im) {
    *re = static_cast<double>(size) + w;
    *im = data ? 1.0 : 0.0;
}

Actuator Single(ActuatorFunc func, unsigned long long size, const void* data,
                bool psd = false) {
    return Actuator('F', func, size, data, psd, 0, nullptr);
}

TEST(Actuator, OwnsItsDataAndItsCrossActuatorsAtEveryDepth) {
    const auto build = [] {
        double calls = 10;
        const Actuator inner('A', Count, sizeof calls, &calls, true, 0, nullptr);
        const Actuator* const ofMiddle[] = {nullptr, &inner};
        const Actuator middle('V', Count, sizeof calls, &calls, true, 2, ofMiddle);
        const Actuator* const ofOuter[] = {&middle};
        const Actuator outer('D', Count, sizeof calls, &calls, false, 1, ofOuter);
        calls = 50;
        return Actuator(outer);
    };
    const auto count = [](const Actuator& outer) {
        const Actuator& middle = *outer.CrossActuator(0);
        return std::vector{outer.Evaluate(0).real(), middle.Evaluate(0).real(),
                           middle.CrossActuator(1)->Evaluate(0).real()};
    };
    Actuator original = build(), copy = original, assigned;
    assigned = original;
    const Actuator& itself = assigned;
    assigned = itself;
    EXPECT_THAT(count(original), ElementsAre(11, 11, 11));
    EXPECT_THAT(count(original), ElementsAre(12, 12, 12));
    EXPECT_THAT(count(copy), ElementsAre(11, 11, 11));
    EXPECT_THAT(count(assigned), ElementsAre(11, 11, 11));
    copy = *copy.CrossActuator(0);  // a part of what the assignment frees
    EXPECT_EQ(copy.DVAType(), 'V');
    EXPECT_TRUE(copy.PSD());
    EXPECT_EQ(copy.CrossActuator(1)->Evaluate(0), 12.0);
}

TEST(Actuator, WithoutFunctionOrDataEvaluatesAllTheSame) {
    const double data = 0;
    EXPECT_EQ(Single(nullptr, 8, &data).EvalPSD(3, 1), 0.0);
    EXPECT_EQ(Single(Echo, 8, &data).Evaluate(3), Complex(11, 1));
    EXPECT_EQ(Actuator(Single(Echo, 8, nullptr)).Evaluate(3), Complex(3, 0));
    EXPECT_EQ(Actuator(Single(Echo, 0, &data)).Evaluate(3), Complex(3, 0));
}

TEST(Actuator, MakesADensityOfTheComplexSquareOfAnAmplitude) {
    const double data = 0, pi = std::numbers::pi;
    const Actuator amplitude = Single(Echo, 8, &data), density = Single(Echo, 8, &data, true);
    EXPECT_EQ(amplitude.EvalPSD(-5, 0.5), Complex(8, 6));  // (3 + j)² = 8 + 6j
    EXPECT_EQ(density.EvalPSD(-5, 0.5), Complex(3, 1));
    const double values[] = {5, 1, 3, 5 - 4 * pi};  // from first to last −4π: dw = −2
    const Matrix1D<double> w(4, values);
    for (int k = 0; k < 4; ++k) {
        const Complex z(8 + w(k), 1);
        EXPECT_EQ(amplitude.Evaluate(w)(k), z);
        EXPECT_EQ(density.EvalPSD(w)(k), z);
        EXPECT_LE(std::abs(amplitude.EvalPSD(w)(k) + z * z / 4.0), kRounding * std::norm(z));
    }
    EXPECT_EQ(amplitude.Evaluate(Matrix1D<double>()).Size(0), 0);
    EXPECT_EQ(amplitude.EvalPSD(Matrix1D<double>()).Size(0), 0);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
