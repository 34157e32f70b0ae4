#include <gmock/gmock.h>

#include <memory>

#include "tests/support/captured_messages.h"
#include "tests/support/host.h"
#include "tests/support/reference.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const Model kModel = RandomDense(6);  // 3 inputs, 4 outputs
const double kW[] = {0.5, 3};
const ZmAPI_Matrix kFreq(2, kW), kNoVector(1, 2, kW), kOne(1, 1, kW);
const ZmAPI_Actuator kForce('F', 2.0, 0.0);

// Forces 1, 2 and 4, unless another second one is given.
ZmAPI_SystemSS Build(const ZmAPI_Matrix& A = ToHost(kModel.A),
                     const ZmAPI_Actuator& second = kForce) {
    const ZmAPI_Actuator first('F', 1.0, 0.0), third('F', 4.0, 0.0);
    const ZmAPI_Actuator* const actuators[] = {&first, &second, &third};
    return {2.5, A, ToHost(kModel.B), ToHost(kModel.C), ToHost(kModel.D), actuators};
}
ZmAPI_SystemSS BuildWith(const ZmAPI_Actuator& second) {
    return Build(ToHost(kModel.A), second);
}

TEST(InterfaceSystem, WithoutUsableMatricesOrForcesHasNoModel) {
    CapturedMessages messages;
    const ZmAPI_Complex z;
    const ZmAPI_Actuator* const null = nullptr;
    EXPECT_TRUE(Build(kFreq).Error());
    EXPECT_TRUE(Build({1, 1, &z}).Error());
    EXPECT_TRUE(Build({1, 1, 2, kW}).Error());
    EXPECT_THAT(messages.Take(), IsEmpty());
    EXPECT_TRUE(BuildWith(EmptyHandle()).Error());
    EXPECT_TRUE(ZmAPI_SystemSS(0, kOne, kOne, kOne, kOne, nullptr).Error());
    EXPECT_TRUE(ZmAPI_SystemSS(0, kOne, kOne, kOne, kOne, &null).Error());
    EXPECT_TRUE(Build(kOne).Error());
    EXPECT_TRUE(Build(kOne, {'D', 2.0, 0.0}).Error());
    const auto missing = [](int k) {
        return "ZmAPI_SystemSS: Actuator " + std::to_string(k) + " is missing.\n";
    };
    const char* const sizes =
        "ABCD Matrix size error.\n  The number of rows and columns of ABCD must match.\n"
        "   A: 1 x 1\n   B: 6 x 3\n   C: 4 x 6\n   D: 4 x 3 \n";
    EXPECT_THAT(messages.Take(),
                ElementsAre(Pair('e', missing(1)), Pair('e', missing(0)), Pair('e', missing(0)),
                            Pair('e', sizes), Pair('e', sizes)));
}

// Compares the answers of a system over kFreq with the definitions. Products with the forces
// 1, 2 and 4 are exact.
void ExpectAnswers(ZmAPI_SystemSS& system) {
    const Reference at(kModel, 3), still(kModel, 0);
    const Eigen::Matrix3cd u = Eigen::Vector3cd(1, 2, 4).asDiagonal();
    const Eigen::MatrixXcd H = FromHost(system.TransferFunction(kFreq), 1);
    const Eigen::MatrixXcd X = FromHost(system.MCT(kFreq, false), 1);
    EXPECT_TRUE(Within(at.boundH, at.H, H));
    EXPECT_TRUE(Within(at.boundX, at.X, X));
    EXPECT_EQ(FromHost(system.FrequencyResponse(kFreq), 1), H * u);
    EXPECT_EQ(FromHost(system.MCT(kFreq, true), 1), X * u);
    EXPECT_TRUE(Within(still.boundH, still.H, FromHost(system.ComplianceMatrix())));

    const Eigen::MatrixXcd S = H * u * u * H.adjoint();  // u²·0.5/dw with dw = 0.5
    const Eigen::MatrixXd rounding = 1e-15 * H.cwiseAbs() * 16 * H.cwiseAbs().transpose();
    EXPECT_TRUE(Within(rounding, S, FromHost(system.PSD(3, 0.5))));
    EXPECT_LE(std::abs(system.PSD(2, 3, 0.5).GetComplex() - S(2, 2)), rounding(2, 2));

    const ZmAPI_Matrix parts = system.MPF(1, 2, 1, -1, kFreq, false);
    ASSERT_EQ(parts.Size(0), 6);
    for (int q = 0; q < 6; ++q)
        EXPECT_EQ(parts.ValueC(q).GetComplex(), kModel.C(2, q) * X(q, 1));
    EXPECT_NE(system.MPF(1, 2, 1, 4, kFreq, true).ValueC(0).GetComplex(),
              kModel.C(2, 4) * X(4, 1));
}

TEST(InterfaceSystem, AnswersEveryQueryAndSoDoItsCopies) {
    CapturedMessages messages;
    ZmAPI_SystemSS assigned = BuildWith(EmptyHandle());
    messages.Take();
    auto built = std::make_unique<ZmAPI_SystemSS>(Build());
    EXPECT_EQ(FromHost(built->ModalMatrix('A')), kModel.A.cast<Complex>());
    EXPECT_EQ(FromHost(built->ModalMatrix('B')), kModel.B.cast<Complex>());
    EXPECT_EQ(FromHost(built->ModalMatrix('C')), kModel.C.cast<Complex>());
    EXPECT_EQ(FromHost(built->ModalMatrix('D')), kModel.D.cast<Complex>());
    EXPECT_TRUE(built->Inputs() == 3 && built->Outputs() == 4 && built->Time() == 2.5);
    EXPECT_EQ(built->Actuator(0).Evaluate(1).real(), 1);
    EXPECT_EQ(built->Actuator(2).Evaluate(1).real(), 4);
    EXPECT_EQ(&built->GetSystem(), &built->GetSystem());

    built->TransferFunction({1, kW});
    auto copy = std::make_unique<ZmAPI_SystemSS>(*built);
    ExpectAnswers(*built);
    built.reset();
    ExpectAnswers(*copy);
    assigned = *copy;
    copy.reset();
    const ZmAPI_SystemSS& itself = assigned;
    assigned = itself;
    ExpectAnswers(assigned);
    const ZmAPI_Matrix all = assigned.MPF(-1, -1, -1, -1, kFreq, true);
    EXPECT_TRUE(all.Complex() && all.Size(0) == 0);
    EXPECT_THAT(messages.Take(), IsEmpty());
}

void Ignore(const char*, unsigned char, void*) {}

struct Block {
    std::string* messages;
};

// Puts messages into the string that its data block points to.
void Collect(const char* text, unsigned char type, void* data) {
    *static_cast<Block*>(data)->messages += std::string(1, static_cast<char>(type)) + text;
}

TEST(PlainEntryPoints, PushAndPopHandlersWithDataOfTheirOwn) {
    std::string collected;
    Block data{&collected};
    EXPECT_EQ(ZmAPI_PopMessageHandler(), nullptr);
    EXPECT_EQ(ZmAPI_PushMessageHandler(Collect, sizeof data, &data), nullptr);
    EXPECT_EQ(ZmAPI_PushMessageHandler(Ignore, 0, nullptr), Collect);
    EXPECT_EQ(ZmAPI_PopMessageHandler(), Ignore);
    data.messages = nullptr;
    kFreq.Value(2);
    EXPECT_EQ(collected, "eZmAPI_Matrix::Value(const int row): Row out of range.\n");
    EXPECT_EQ(ZmAPI_PopMessageHandler(), Collect);
    EXPECT_EQ(ZmAPI_PopMessageHandler(), nullptr);
}

TEST(PlainEntryPoints, SwallowAShortageOfMemory) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer ends the program instead of throwing";
#endif
    EXPECT_EQ(ZmAPI_PushMessageHandler(Ignore, ~0ull, ""), nullptr);
    EXPECT_EQ(ZmAPI_PopMessageHandler(), nullptr);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
