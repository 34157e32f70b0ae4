#include <gmock/gmock.h>

#include <climits>

#include "tests/support/captured_messages.h"
#include "zemra/zmapi.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;
using testing::Pair;
using Value = std::complex<double>;

void Shift(unsigned long long size, void* data, double w, double* re, double* im) {
    *re = w + *static_cast<double*>(data);
    *im = static_cast<double>(size);
}

TEST(InterfaceActuator, IsWhatItsConstructorSays) {
    const double shift = 5, w[] = {0, 4 * std::acos(-1.0)};  // over w, dw = 2
    const ZmAPI_Actuator amplitude('V', Shift, 8, &shift);
    EXPECT_TRUE(amplitude.DVAType() == 'V' && !amplitude.PSD());
    EXPECT_EQ(amplitude.Evaluate({2, w}).ValueC(1).GetComplex(), Value(w[1] + 5, 8));
    EXPECT_EQ(amplitude.EvalPSD(1, 0.5).GetComplex(), Value(6 * 6 - 8 * 8, 2 * 6 * 8));
    EXPECT_EQ(amplitude.EvalPSD({2, w}).ValueC(0).GetComplex(), Value(-39, 80) / 4.0);
    const ZmAPI_Actuator density('A', Shift, 8, &shift, 0, nullptr);
    EXPECT_TRUE(density.DVAType() == 'A' && density.PSD());
    EXPECT_EQ(density.EvalPSD(1, 0.5).GetComplex(), Value(6, 8));
    const ZmAPI_Actuator phasor('D', 2.0, 30.0);
    EXPECT_TRUE(phasor.DVAType() == 'D' && !phasor.PSD());
    EXPECT_LE(std::abs(phasor.Evaluate(9).GetComplex() - Value(std::sqrt(3), 1)), 1e-15);
    const ZmAPI_Actuator mass(true, false, 2, 3, 0.5);
    EXPECT_TRUE(mass.DVAType() == 'F' && !mass.PSD());
    EXPECT_EQ(mass.Evaluate(10).GetComplex(), Value(0, -600));
    EXPECT_EQ(ZmAPI_Actuator(false, true, 2, 3, 0.5).Evaluate(10).GetComplex(), 300.0);
}

TEST(InterfaceActuator, KeepsCopiesOfItsCrossActuators) {
    const auto build = [](int count) {
        const ZmAPI_Actuator cross('A', 3.0, 0.0), empty('x', 0.0, 0.0);
        const ZmAPI_Actuator* const list[] = {nullptr, &cross, &empty};
        ZmAPI_Actuator assigned = cross;
        assigned = ZmAPI_Actuator('F', nullptr, 0, nullptr, count, list);
        const ZmAPI_Actuator& itself = assigned;
        assigned = itself;
        return ZmAPI_Actuator(assigned);
    };
    CapturedMessages ofTheUnknownType;
    const ZmAPI_Actuator actuator = build(3);
    for (const int slot : {INT_MIN, -1, 0, 1, 2, 3, INT_MAX}) {
        EXPECT_EQ(actuator.HasCrossActuator(slot), slot < 0 || slot == 1) << slot;
        EXPECT_EQ(actuator.CrossActuator(slot).DVAType(), slot == 1 ? 'A' : 'F') << slot;
        EXPECT_EQ(actuator.CrossActuator(slot).Evaluate(1).real(), slot == 1 ? 3 : 0) << slot;
    }
    EXPECT_TRUE(build(1).HasCrossActuator(-1));  // a list of one empty slot
    EXPECT_FALSE(build(0).HasCrossActuator(-1) || build(-3).HasCrossActuator(-1));
    EXPECT_FALSE(ZmAPI_Actuator('F', Shift, 0, nullptr, 3, nullptr).HasCrossActuator(-1));
}

TEST(InterfaceActuator, ReportsAnUnknownTypeAndWhatIsNoVector) {
    CapturedMessages messages;
    const double w[] = {1, 2};
    const auto report = [](const std::string& text) { return Pair('e', text + "\n"); };
    const ZmAPI_Actuator force('F', 1.0, 0.0), empty('x', 1.0, 0.0);
    const ZmAPI_Actuator unknown[] = {
        empty, {'%', Shift, 0, w}, {'f', Shift, 0, w, 0, nullptr}};
    for (const ZmAPI_Actuator& none : unknown) {
        EXPECT_EQ(none.DVAType(), '0');
        EXPECT_FALSE(none.PSD() || none.HasCrossActuator(-1));
        EXPECT_EQ(none.CrossActuator(0).DVAType(), 'F');
        EXPECT_EQ(none.Evaluate(1).Mag() + none.EvalPSD(1, 1).Mag(), 0);
        EXPECT_EQ(none.Evaluate({2, w}).Size(0) * none.EvalPSD({2, w}).Size(0), 1);
    }
    EXPECT_THAT(
        messages.Take(),
        ElementsAre(report("Vibration Actuator unknown type: x must be [F, D, V, A]."),
                    report("Vibration Actuator unknown type: % must be [F, D, V, A]."),
                    report("Vibration Actuator unknown type: f must be [F, D, V, A].")));
    EXPECT_EQ(force.Evaluate({1, 2, w}).ValueC(0).Mag(), 0);
    EXPECT_EQ(force.EvalPSD({1, 2, w}).ValueC(0).Mag(), 0);
    EXPECT_THAT(messages.Take(),
                ElementsAre(report("ZmAPI_Actuator::Evaluate : Omega not a vector"),
                            report("ZmAPI_Actuator::EvalPSD : Omega not a vector")));
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
