#include <gmock/gmock.h>

#include <cmath>
#include <memory>
#include <type_traits>

#include "tests/support/captured_messages.h"
#include "tests/support/error_text.h"
#include "tests/support/host.h"
#include "tests/support/models.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

struct Driven {
    std::string name;
    Model model;
    std::string types;
};

std::vector<Driven> DrivenModels() {
    const Model chain = DampedChain(20);  // forces at coordinates 0 and 19
    return {{"HalfCar", HalfCar(), "FF"},
            {"RandomDense", RandomDense(), "FFF"},
            {"FreeMass", FreeMass(), "F"},
            {"DisplacedWheels", Prescribe(Prescribe(HalfCar(), 2, 'D'), 3, 'D'), "DD"},
            {"MovingEnd", Prescribe(chain, 19, 'V'), "FV"},
            {"ShakenEnd", Prescribe(chain, 19, 'A'), "FA"},
            {"DisplacedAndShakenEnds", Prescribe(Prescribe(chain, 0, 'D'), 19, 'A'), "DA"},
            {"ShakenFreeMass", Prescribe(FreeMass(), 0, 'A'), "A"}};
}

struct HostModel {
    HostActuators actuators;
    ZmAPI_Matrix A, B, C, D;

    explicit HostModel(const Driven& driven)
        : actuators(driven.types),
          A(ToHost(driven.model.A)),
          B(ToHost(driven.model.B)),
          C(ToHost(driven.model.C)),
          D(ToHost(driven.model.D)) {}

    ZmAPI_SystemSS StateSpace() const { return {2.5, A, B, C, D, actuators}; }
    ZmAPI_System Modal(const std::vector<int>& modes = {},
                       const ZmAPI_EigenProblem* eigen = nullptr) const {
        return {2.5,          A,    B, C, D, actuators, static_cast<int>(modes.size()),
                modes.data(), eigen};
    }
};

const double kW[] = {0.3, 1.1, 2.7, 40.0};
const ZmAPI_Matrix kFreq(4, kW), kNoVector(1, 2, kW), kOne(1, 1, kW);

// Rounding in the eigenvectors is amplified by their condition, here below 1e6.
void ExpectSame(const ZmAPI_Matrix& expected, const ZmAPI_Matrix& actual, int slots,
                const char* what) {
    for (int k = slots > 0 ? 0 : -1; k < slots; ++k) {
        const Eigen::MatrixXcd e = FromHost(expected, k), a = FromHost(actual, k);
        ASSERT_TRUE(e.rows() == a.rows() && e.cols() == a.cols()) << what;
        EXPECT_LE((e - a).cwiseAbs().maxCoeff(), 1e-9 * e.cwiseAbs().maxCoeff()) << what << k;
    }
}

class ModalForm : public testing::TestWithParam<Driven> {};

TEST_P(ModalForm, AnswersAsStateSpaceForm) {
    CapturedMessages messages;
    const HostModel host(GetParam());
    ZmAPI_SystemSS whole = host.StateSpace();
    ASSERT_FALSE(whole.Error());
    ZmAPI_EigenProblem eigen(host.A);
    eigen.Solve(false);

    auto built = std::make_unique<ZmAPI_System>(host.Modal({}, &eigen));
    const ZmAPI_System copy = *built;
    ZmAPI_System assigned = ZmAPI_System(ZmAPI_SystemSS(whole));
    built->TransferFunction(kFreq);
    ZmAPI_System converted = assigned;
    assigned = *built;
    built.reset();
    for (ZmAPI_System modal : {host.Modal(), copy, assigned, converted}) {
        ASSERT_FALSE(modal.Error());
        EXPECT_EQ(modal.Inputs(), whole.Inputs());
        EXPECT_EQ(modal.Outputs(), whole.Outputs());
        EXPECT_EQ(modal.Time(), 2.5);
        EXPECT_EQ(modal.Actuator(0).DVAType(), GetParam().types[0]);
        ExpectSame(whole.TransferFunction(kFreq), modal.TransferFunction(kFreq), 4, "H");
        ExpectSame(whole.FrequencyResponse(kFreq), modal.FrequencyResponse(kFreq), 4,
                   "response");
        ExpectSame(whole.PSD(1.1, 0.5), modal.PSD(1.1, 0.5), 0, "density");
        EXPECT_NEAR(modal.PSD(0, 0.9, 0.5).Mag(), whole.PSD(0, 0.9, 0.5).Mag(),
                    1e-9 * whole.PSD(0.9, 0.5).ValueC(0, 0).Mag());
    }
    for (const auto& [type, text] : messages.Take()) EXPECT_NE(type, 'e') << text;
}

// With its chains, as the eigen problem has them.
TEST(ModalSystem, KeepsTheEigenSolution) {
    CapturedMessages messages;
    const HostModel host({"", FreeMass(), "F"});
    ZmAPI_EigenProblem eigen(host.A);
    const int n = eigen.Solve(false);
    const ZmAPI_System modal = host.Modal();
    ASSERT_EQ(modal.Eigenvalues(), n);
    for (int i = 0; i < n; ++i) {
        std::vector<ZmAPI_Complex> v(static_cast<std::size_t>(n));
        modal.Eigenvector(i, v.data());
        for (int j = 0; j < n; ++j)
            for (const ZmAPI_Complex& z :
                 {v[static_cast<std::size_t>(j)], modal.Eigenvector(i, j)})
                EXPECT_EQ(z.GetComplex(), eigen.Eigenvector(i, j).GetComplex());
        for (const bool hertz : {false, true})
            EXPECT_EQ(modal.Eigenvalue(i, hertz).GetComplex(),
                      eigen.Eigenvalue(i, hertz).GetComplex());
        EXPECT_EQ(modal.Defective(i), eigen.Defective(i));
        EXPECT_EQ(modal.CheckEigenVector(i, true), eigen.CheckEigenVector(i, true));
    }
    EXPECT_NE(modal.Defective(1), 1);
    messages.Take();
    EXPECT_TRUE(Neutral(modal.Eigenvalue(n, true)) && Neutral(modal.Eigenvector(0, n)));
    EXPECT_EQ(modal.CheckEigenVector(-1, true), -1);
    EXPECT_THAT(messages.Take(),
                ElementsAre(Pair('e', HasSubstr("Eigenvalue(const int indx): Range error.\n")),
                            Pair('e', "Eigenvector(whcih, i): Range error.\n"),
                            Pair('e', HasSubstr("checkEigenvector: Range error.\n"))));
    EXPECT_EQ(ErrorText([&] { modal.Defective(n); }), "Defective: Range error.\n");
}

INSTANTIATE_TEST_SUITE_P(Models, ModalForm, testing::ValuesIn(DrivenModels()),
                         [](const auto& driven) { return driven.param.name; });

const Driven kForces = DrivenModels()[0];  // the half car: four conjugate pairs

TEST(ModalSystem, KeepsASelectionOfModes) {
    const CapturedMessages messages;
    const HostModel host(kForces);
    ZmAPI_System modal = host.Modal({1, 3});
    ASSERT_FALSE(modal.Error());
    EXPECT_EQ(modal.Eigenvalues(), 8);
    const ZmAPI_Matrix A = modal.ModalMatrix('A');
    ASSERT_EQ(A.Size(0), 4);
    EXPECT_EQ(modal.MPF(0, 0, 0, -1, kFreq, false).Size(0), 2);
    for (int r = 0; r < 4; r += 2) {
        const int i = r == 0 ? 2 : 6;  // the first eigenvalue of modes 1 and 3
        const Complex lambda = modal.Eigenvalue(i, false).GetComplex();
        EXPECT_EQ(Complex(A.Value(r, r), A.Value(r + 1, r)), lambda);
        EXPECT_EQ(Complex(A.Value(r + 1, r + 1), -A.Value(r, r + 1)), lambda);
    }
    EXPECT_EQ(host.Modal({0, 1, 2, 3}).ModalMatrix('A').Size(0), 8);
}

// What ModalMatrix('A') gives is taken back as it is, with the eigen problem it came from.
TEST(ModalSystem, TakesASparseMatrixThatIsModalAlready) {
    CapturedMessages messages;
    const HostModel host(kForces);
    ZmAPI_System modal = host.Modal();
    ZmAPI_EigenProblem eigen(host.A);
    const ZmAPI_EigenProblem empty(kFreq);
    eigen.Solve(false);
    messages.Take();
    const auto rebuild = [&](const char* types, const ZmAPI_EigenProblem* problem) {
        return ZmAPI_System(2.5, modal.ModalMatrix('A'), modal.ModalMatrix('B'),
                            modal.ModalMatrix('C'), modal.ModalMatrix('D'),
                            HostActuators(types), 0, nullptr, problem);
    };
    ZmAPI_System same = rebuild("FF", &eigen);
    ExpectSame(modal.TransferFunction(kFreq), same.TransferFunction(kFreq), 4, "H");
    EXPECT_EQ(same.Eigenvalues(), 8);
    EXPECT_THAT(messages.Take(), IsEmpty());
    EXPECT_TRUE(rebuild("FF", nullptr).Error() && rebuild("FF", &empty).Error() &&
                rebuild("FD", &eigen).Error());
    EXPECT_THAT(messages.Take(),
                testing::AllOf(testing::SizeIs(3),
                               testing::Each(Pair('e', "ZmAPI_System: Non dense matrix\n"))));
}

TEST(ModalSystem, SaysWhyItHasNoModel) {
    CapturedMessages messages;
    const HostModel host(kForces), oscillator({"", Oscillator(4, 0.1), "F"});
    ZmAPI_EigenProblem values(host.A), other(oscillator.A);
    values.Solve(true);
    other.Solve(false);
    messages.Take();
    const auto expect = [&](const ZmAPI_System& system, const std::string& text) {
        EXPECT_TRUE(system.Error()) << text;
        const auto told = messages.Take();
        ASSERT_FALSE(told.empty()) << text;
        EXPECT_EQ(told.back(), std::pair('e', text + "\n"));
    };
    const auto modal = [&](const ZmAPI_Matrix& A, const ZmAPI_Matrix& C,
                           const ZmAPI_Actuator* const* actuators,
                           const ZmAPI_EigenProblem* eigen = nullptr) {
        return ZmAPI_System(0, A, host.B, C, host.D, actuators, 0, nullptr, eigen);
    };
    const EmptyHandle empty;
    const ZmAPI_Actuator force('F', 1.0, 0.0);
    const ZmAPI_Actuator* const second[] = {&force, &empty};
    expect(modal(kFreq, host.C, host.actuators), "ZmAPI_System: Non dense matrix");
    expect(modal(host.A, kFreq, host.actuators), "ZmAPI_System: Non dense matrix");
    expect(modal(host.A, host.C, nullptr), "ZmAPI_System: Actuator 0 is missing.");
    expect(modal(host.A, host.C, second), "ZmAPI_System: Actuator 1 is missing.");
    expect(
        modal(ToHost(Eigen::MatrixXd(2, 3)), host.C, host.actuators),
        "ZEMRA::Vibration::EigenProblem::Solve(int nVal, bool noVectors): Row size not equal "
        "to column size.");
    expect(modal(host.A, host.A, host.actuators),
           "The state matrix and eigen vector matrix are not of compatable sizes.\n   A: 8 x "
           "8\n   B: 8 x 2\n   C: 8 x 8\n   D: 6 x 2");
    expect(modal(host.A, host.C, host.actuators, &values),
           "Eigenvector(which, i): Eigenvectors are not available.");
    expect(modal(host.A, host.C, host.actuators, &other),
           "The state matrix and eigen vector matrix are not of compatable sizes.\n   T: 2 x "
           "2\n   B: 8 x 2\n   C: 6 x 8\n   Z: 2 x 2");
    // More prescribed motions than rows of C to hold them.
    const Model& m = kForces.model;
    expect(ZmAPI_System(0, host.A, host.B, ToHost(m.C.topRows(1)), ToHost(m.D.topRows(1)),
                        HostActuators("DD"), 0, nullptr, nullptr),
           "ABCD Matrix size error.\n  The number of rows and columns of ABCD must match.\n"
           "   A: 8 x 8\n   B: 8 x 2\n   C: 1 x 8\n   D: 1 x 2 ");
    EXPECT_TRUE(ZmAPI_System(ZmAPI_SystemSS(0, kOne, kOne, kFreq, kOne, nullptr)).Error());
    EXPECT_THAT(messages.Take(), IsEmpty());
}

template <typename System>
class AnySystem : public testing::Test {
  public:
    static std::string Name() {
        return std::is_same_v<System, ZmAPI_System> ? "ZmAPI_System" : "ZmAPI_SystemSS";
    }
    /// The half car, or without actuators an object that holds no model.
    static System Build(bool withActuators) {
        const HostModel host(kForces);
        const ZmAPI_Actuator* const* const list =
            withActuators ? static_cast<const ZmAPI_Actuator* const*>(host.actuators) : nullptr;
        if constexpr (std::is_same_v<System, ZmAPI_System>)
            return {2.5, host.A, host.B, host.C, host.D, list, 0, nullptr, nullptr};
        else
            return {2.5, host.A, host.B, host.C, host.D, list};
    }
};
using Systems = testing::Types<ZmAPI_SystemSS, ZmAPI_System>;
TYPED_TEST_SUITE(AnySystem, Systems);

TYPED_TEST(AnySystem, WithoutAModelAnswersNeutrallyAndSilently) {
    CapturedMessages messages;
    const TypeParam none = this->Build(false);
    TypeParam copy = none, assigned = this->Build(true);
    assigned = none;
    messages.Take();
    for (TypeParam* const s : {&copy, &assigned}) {
        EXPECT_TRUE(s->Error());
        EXPECT_EQ(s->Inputs() + s->Outputs() + s->Time(), 0);
        EXPECT_TRUE(Neutral(s->TransferFunction(kNoVector)) &&
                    Neutral(s->TransferFunction(kFreq)));
        EXPECT_TRUE(Neutral(s->FrequencyResponse(kFreq)) && Neutral(s->MCT(kFreq, true)));
        EXPECT_TRUE(Neutral(s->PSD(1, 1)) && Neutral(s->PSD(9, 1, 1)));
        EXPECT_TRUE(Neutral(s->MPF(9, 9, 9, 9, kNoVector, true)) && Neutral(s->Actuator(9)));
        EXPECT_TRUE(Neutral(s->ModalMatrix('x')) && Neutral(s->ModalMatrix('A')));
        if constexpr (std::is_same_v<TypeParam, ZmAPI_System>) {
            EXPECT_TRUE(Neutral(s->Eigenvalue(0, true)) && Neutral(s->Eigenvector(0, 0)));
            EXPECT_EQ(s->Eigenvalues() + s->Defective(7), 0);
            EXPECT_EQ(s->CheckEigenVector(0, true), -1);
            s->Eigenvector(0, nullptr);
        } else {
            EXPECT_TRUE(Neutral(s->ComplianceMatrix()));
            EXPECT_EQ(ErrorText([&] { s->GetSystem(); }),
                      "ZmAPI_SystemSS::GetSystem: No model\n");
        }
    }
    EXPECT_THAT(messages.Take(), IsEmpty());
}

TYPED_TEST(AnySystem, ReportsEveryWrongArgumentAndAnswersNeutrally) {
    CapturedMessages messages;
    TypeParam s = this->Build(true);  // 2 inputs, 6 outputs, 8 states
    messages.Take();
    const auto expect = [&](const auto& answer, const std::string& text) {
        EXPECT_TRUE(Neutral(answer)) << text;
        EXPECT_THAT(messages.Take(), ElementsAre(Pair('e', this->Name() + text + "\n")));
    };
    const auto mpf = [&](int i, int o, int k, int q, const ZmAPI_Matrix& w, const char* text) {
        expect(s.MPF(i, o, k, q, w, true), std::string("::MPF: ") + text);
    };
    expect(s.TransferFunction(kNoVector), "::TransferFunction: Invalid input");
    expect(s.FrequencyResponse(kNoVector), "::FrequencyResponse: Invalid input");
    expect(s.MCT(kNoVector, true), "::MCT: Invalid input");
    expect(s.PSD(-1, 1, 1), "::PSD: output channel index (-1) out of range (0, 5)");
    expect(s.PSD(6, 1, 1), "::PSD: output channel index (6) out of range (0, 5)");
    expect(s.Actuator(-1), "::Actuator: input channel index (-1) out of range (0, 1)");
    expect(s.Actuator(2), "::Actuator: input channel index (2) out of range (0, 1)");
    mpf(2, 6, 4, 8, kFreq, "input channel index (2) out of range (0, 1)");
    mpf(-1, 6, 4, 8, kFreq, "output channel index (6) out of range (0, 5)");
    mpf(1, -1, 4, 8, kFreq, "frequency index (4) out of range (0, 3)");
    mpf(1, 5, -1, 8, kFreq, "input channel index (8) out of range (0, 7)");
    mpf(0, 0, 0, 8, kNoVector, "Invalid input Frequency matrix");
    mpf(0, 0, -1, 5, kNoVector, "Invalid input");
    EXPECT_TRUE(Neutral(s.ModalMatrix('a')));
    EXPECT_THAT(messages.Take(),
                ElementsAre(Pair('e', "Invalid matrix option [a] must be A, B, C, or D.\n")));
}

// A free chain of three masses: the rigid-body pair at 0 is left out, and what remains is the
// compliance of the two elastic modes, Σ φ·φᵀ/ω², with ω² = 1 and 3 and the normalised shapes
// (1, 0, −1)/√2 and (1, −2, 1)/√6.
TEST(Compliance, LeavesRigidBodiesOut) {
    CapturedMessages messages;
    Eigen::Matrix3d K;
    K << 1, -1, 0, -1, 2, -1, 0, -1, 1;
    const Eigen::MatrixXd I = Eigen::Matrix3d::Identity();
    Model model = SecondOrder("", I, 0 * I, K, I, I);
    model.C = model.C.topRows(3).eval();
    model.D = model.D.topRows(3).eval();
    Eigen::Matrix3d expected;
    expected << 5, -1, -4, -1, 2, -1, -4, -1, 5;
    const Eigen::MatrixXcd compliance =
        FromHost(HostModel({"", model, "FFF"}).StateSpace().ComplianceMatrix());
    EXPECT_LE((compliance - expected.cast<Complex>() / 9).cwiseAbs().maxCoeff(), 1e-13);
    const auto told = messages.Take();
    EXPECT_EQ(
        told.back(),
        std::pair('w', std::string("ZEMRA/Vibration compliance matrix:\n"
                                   "   The A matrix is singular, it produced 2 rigid body "
                                   "modes. \n   The rigid body modes will be removed for "
                                   "the compliance matrix calculation.\n   Rigid body "
                                   "modes uasualy indicate that the model is not properly "
                                   "constrained.\n")));
}

// A spring to the ground that is weaker than rounding leaves no digit of the compliance.
TEST(Compliance, WarnsWhereRoundingHidesARigidBody) {
    CapturedMessages messages;
    const Eigen::Matrix2d K{{1 + 1e-15, -1}, {-1, 1}}, I = Eigen::Matrix2d::Identity();
    const Model model = SecondOrder("", I, 0 * I, K, I, I);
    HostModel({"", model, "FF"}).StateSpace().ComplianceMatrix();
    EXPECT_THAT(messages.Take(), ElementsAre(Pair('w', HasSubstr("nearly singular"))));
}

// Elimination finds the rigid body of a damped free chain exactly, but rounding parts its
// double zero into two eigenvalues above 1e-8, which count as elastic.
TEST(Compliance, WarnsWhereRoundingHidesTheZeroEigenvaluesOfARigidBody) {
    CapturedMessages messages;
    const Eigen::MatrixXd M = Eigen::Vector4d(0.125, 1, 8, 2).asDiagonal(),
                          I = Eigen::Matrix4d::Identity();
    Eigen::Matrix4d K;
    K << 21, -21, 0, 0, -21, 46, -25, 0, 0, -25, 59, -34, 0, 0, -34, 34;
    const Model model = SecondOrder("", M, K / 512, K, I, I);
    const Eigen::MatrixXcd compliance =
        FromHost(HostModel({"", model, "FFFF"}).StateSpace().ComplianceMatrix());
    EXPECT_GT(compliance.cwiseAbs().maxCoeff(), 1e6);  // of springs whose own is below 1/21
    EXPECT_THAT(messages.Take().back(), Pair('w', HasSubstr("nearly singular")));
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
