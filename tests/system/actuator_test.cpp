#include "zemra/system/actuator.h"

#include <gmock/gmock.h>

#include <climits>
#include <limits>
#include <numbers>

#include "tests/support/error_text.h"

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

TEST(Actuator, AcceptsTheFourTypeLettersAndNoOther) {
    for (int c = 1; c <= UCHAR_MAX; ++c) {
        const std::string letter(1, static_cast<char>(c));
        const bool known = c == 'F' || c == 'D' || c == 'V' || c == 'A';
        EXPECT_EQ(
            ErrorText([&] { Actuator(letter[0], Echo, 0, nullptr, false, 0, nullptr); }),
            known ? ""
                  : "Vibration Actuator unknown type: " + letter + " must be [F, D, V, A].\n");
    }
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

TEST(Actuator, AnswersForEveryCrossSlotIndex) {
    const Actuator set = Single(Echo, 0, nullptr);
    const Actuator* const list[] = {&set, nullptr, &set};
    const Actuator three('F', nullptr, 0, nullptr, true, 3, list);
    for (const int slot : {INT_MIN, -1, 0, 1, 2, 3, INT_MAX}) {
        const bool holds = slot == 0 || slot == 2;
        EXPECT_EQ(three.HasCrossActuator(slot), holds || slot < 0) << slot;
        EXPECT_EQ(three.CrossActuator(slot) != nullptr, holds) << slot;
    }
    EXPECT_FALSE(Actuator('F', Echo, 0, nullptr, true, 0, list).HasCrossActuator(-1));
    EXPECT_FALSE(Actuator('F', Echo, 0, nullptr, true, -3, list).HasCrossActuator(-1));
    EXPECT_FALSE(Actuator('F', Echo, 0, nullptr, true, 3, nullptr).HasCrossActuator(-1));
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

TEST(BuiltInFunctions, AreAPhasorAndARotatingMass) {
    const double phasor[] = {2, std::numbers::pi / 6};
    const Complex rotated = Single(ssFunc, sizeof phasor, phasor).Evaluate(100);
    EXPECT_LE(std::abs(rotated - Complex(std::sqrt(3), 1)), kRounding);
    const auto atTen = [](const RotatingMass& mass) {
        return Single(rmFunc, sizeof mass, &mass).Evaluate(10);
    };
    EXPECT_EQ(atTen({true, false, 2, 3, 0.5}), Complex(0, -600));
    EXPECT_EQ(atTen({false, false, 2, 3, 0.5}), Complex(0, -300));
    EXPECT_EQ(atTen({false, true, 2, 3, 0.5}), Complex(300, 0));
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
