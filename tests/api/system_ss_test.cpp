#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

#include "tests/support/captured_messages.h"
#include "tests/support/error_text.h"
#include "tests/support/excitation.h"
#include "tests/support/reference.h"
#include "zemra/zmapi.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

ZmAPI_Matrix ToHost(const Eigen::MatrixXd& m) {
    return {static_cast<int>(m.rows()), static_cast<int>(m.cols()), m.data()};
}

// A matrix, or with a slot that of a stack.
Eigen::MatrixXcd FromHost(const ZmAPI_Matrix& m, int slot = -1) {
    const int dim = slot < 0 ? 0 : 1;
    Eigen::MatrixXcd result(m.Size(dim), m.Size(dim + 1));
    for (int i = 0; i < result.rows(); ++i)
        for (int j = 0; j < result.cols(); ++j)
            result(i, j) = (dim == 0 ? m.ValueC(i, j) : m.ValueC(slot, i, j)).GetComplex();
    return result;
}

struct EmptyHandle : ZmAPI_Actuator {};

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

// Whether an answer is the one in place of a failure.
bool Neutral(const ZmAPI_Matrix& m) {
    return m.Real() && m.Size(0) == 1 && m.Size(1) == 1 && m.Size(2) == 0 && m.Value(0, 0) == 0;
}
bool Neutral(const ZmAPI_Complex& z) { return z.GetComplex() == 0.0; }
bool Neutral(const ZmAPI_Actuator& a) { return a.DVAType() == 'F' && Neutral(a.Evaluate(1)); }

TEST(InterfaceSystem, WithoutUsableMatricesOrForcesHasNoModel) {
    CapturedMessages messages;
    const ZmAPI_Complex z;
    const ZmAPI_Actuator* const null = nullptr;
    EXPECT_TRUE(Build(kFreq).Error());
    EXPECT_TRUE(Build({1, 1, &z}).Error());
    EXPECT_TRUE(Build({1, 1, 2, kW}).Error());
    EXPECT_TRUE(BuildWith(EmptyHandle()).Error());
    EXPECT_TRUE(ZmAPI_SystemSS(0, kOne, kOne, kOne, kOne, nullptr).Error());
    EXPECT_TRUE(ZmAPI_SystemSS(0, kOne, kOne, kOne, kOne, &null).Error());
    EXPECT_THAT(messages.Take(), IsEmpty());
    EXPECT_TRUE(BuildWith({'D', 2.0, 0.0}).Error());
    EXPECT_TRUE(Build(kOne).Error());
    const char* const type =
        "ZmAPI_SystemSS: Actuator 1 is of type D, only force actuators [F] are supported.\n";
    const char* const sizes =
        "ABCD Matrix size error.\n  The number of rows and columns of ABCD must match.\n"
        "   A: 1 x 1\n   B: 6 x 3\n   C: 4 x 6\n   D: 4 x 3 \n";
    EXPECT_THAT(messages.Take(), ElementsAre(Pair('e', type), Pair('e', sizes)));
}

TEST(InterfaceSystem, WithoutAModelAnswersNeutrallyAndSilently) {
    CapturedMessages messages;
    const ZmAPI_SystemSS none = BuildWith(EmptyHandle());
    ZmAPI_SystemSS copy = none, assigned = Build();
    assigned = none;
    for (ZmAPI_SystemSS* const s : {&copy, &assigned}) {
        EXPECT_TRUE(s->Error());
        EXPECT_EQ(s->Inputs() + s->Outputs() + s->Time(), 0);
        EXPECT_TRUE(Neutral(s->TransferFunction(kNoVector)) &&
                    Neutral(s->TransferFunction(kFreq)));
        EXPECT_TRUE(Neutral(s->FrequencyResponse(kFreq)) && Neutral(s->MCT(kFreq, true)));
        EXPECT_TRUE(Neutral(s->PSD(1, 1)) && Neutral(s->PSD(9, 1, 1)));
        EXPECT_TRUE(Neutral(s->MPF(9, 9, 9, 9, kNoVector, true)) && Neutral(s->Actuator(9)));
        EXPECT_TRUE(Neutral(s->ModalMatrix('x')) && Neutral(s->ComplianceMatrix()));
        EXPECT_EQ(ErrorText([&] { s->GetSystem(); }), "ZmAPI_SystemSS::GetSystem: No model\n");
    }
    EXPECT_THAT(messages.Take(), IsEmpty());
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
    ZmAPI_SystemSS assigned = BuildWith(EmptyHandle());
    assigned = *copy;
    copy.reset();
    const ZmAPI_SystemSS& itself = assigned;
    assigned = itself;
    ExpectAnswers(assigned);
    const ZmAPI_Matrix all = assigned.MPF(-1, -1, -1, -1, kFreq, true);
    EXPECT_TRUE(all.Complex() && all.Size(0) == 0);
    EXPECT_THAT(messages.Take(), IsEmpty());
}

TEST(InterfaceSystem, ReportsEveryWrongArgumentAndAnswersNeutrally) {
    CapturedMessages messages;
    ZmAPI_SystemSS s = Build();
    const auto expect = [&](const auto& answer, const std::string& text) {
        EXPECT_TRUE(Neutral(answer)) << text;
        EXPECT_THAT(messages.Take(), ElementsAre(Pair('e', text + "\n")));
    };
    const auto mpf = [&](int i, int o, int k, int q, const ZmAPI_Matrix& w, const char* text) {
        expect(s.MPF(i, o, k, q, w, true), std::string("ZmAPI_SystemSS::MPF: ") + text);
    };
    expect(s.TransferFunction(kNoVector), "ZmAPI_SystemSS::TransferFunction: Invalid input");
    expect(s.FrequencyResponse(kNoVector), "ZmAPI_SystemSS::FrequencyResponse: Invalid input");
    expect(s.MCT(kNoVector, true), "ZmAPI_SystemSS::MCT: Invalid input");
    expect(s.PSD(-1, 1, 1),
           "ZmAPI_SystemSS::PSD: output channel index (-1) out of range (0, 3)");
    expect(s.PSD(4, 1, 1), "ZmAPI_SystemSS::PSD: output channel index (4) out of range (0, 3)");
    expect(s.Actuator(-1),
           "ZmAPI_SystemSS::Actuator: input channel index (-1) out of range (0, 2)");
    expect(s.Actuator(3),
           "ZmAPI_SystemSS::Actuator: input channel index (3) out of range (0, 2)");
    mpf(3, 4, 2, 6, kFreq, "input channel index (3) out of range (0, 2)");
    mpf(-1, 4, 2, 6, kFreq, "output channel index (4) out of range (0, 3)");
    mpf(2, -1, 2, 6, kFreq, "frequency index (2) out of range (0, 1)");
    mpf(2, 3, -1, 6, kFreq, "input channel index (6) out of range (0, 5)");
    mpf(0, 0, 0, 6, kNoVector, "Invalid input Frequency matrix");
    mpf(0, 0, -1, 5, kNoVector, "Invalid input");
    expect(s.ModalMatrix('a'), "Invalid matrix option [a] must be A, B, C, or D.");
}

void Throw(const char*, unsigned char, void*) { throw std::runtime_error("host"); }

TEST(InterfaceSystem, LetsExceptionsOfTheHostThroughAndStaysAsItWas) {
    Excitation excitation{[](int, double) { return 2.0; }};
    const Excitation::Block block{&excitation, 0};
    ZmAPI_SystemSS system = BuildWith({'F', Excitation::Evaluate, sizeof block, &block});
    ExpectAnswers(system);
    excitation.value = [](int, double) -> Complex { throw std::runtime_error("host"); };
    EXPECT_THROW(system.FrequencyResponse({1, kW}), std::runtime_error);
    EXPECT_THROW(system.MCT({1, kW}, true), std::runtime_error);
    EXPECT_THROW(system.PSD(2, 1), std::runtime_error);
    EXPECT_THROW(system.MPF(0, 0, 0, 0, {1, kW}, true), std::runtime_error);
    ZmAPI::PushMessageHandler(Throw, 0, nullptr);
    EXPECT_THROW(system.ModalMatrix('a'), std::runtime_error);
    EXPECT_THROW(BuildWith({'D', 1.0, 0.0}), std::runtime_error);
    ZmAPI::PopMessageHandler();
    excitation.value = [](int, double) { return 2.0; };
    ExpectAnswers(system);
}

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
    EXPECT_EQ(ZmAPI_PushMessageHandler(Throw, 0, nullptr), Collect);
    EXPECT_EQ(ZmAPI_PopMessageHandler(), Throw);
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
    EXPECT_EQ(ZmAPI_PushMessageHandler(Throw, ~0ull, ""), nullptr);
    EXPECT_EQ(ZmAPI_PopMessageHandler(), nullptr);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
