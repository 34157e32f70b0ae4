#include <gmock/gmock.h>

#include "tests/support/captured_messages.h"
#include "tests/support/dumped_models.h"
#include "tests/support/modal_reference.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Pair;

constexpr char kNoModels[] = "ZEMRA_MODEL_DATA names no folder of model dumps";

TEST(ModelData, AnswersTheDefinitionOfTheTransferFunction) {
    const std::vector<Model> models = DumpedModels();
    if (models.empty()) GTEST_SKIP() << kNoModels;
    for (const Model& model : models) {
        SCOPED_TRACE(model.name);
        ForceSystemSS system = StateSpace(model);
        for (const double w : {5.0, 700.0}) {
            const Reference reference(model, w);
            const auto& H = system.TransferFunction(Matrix1D<double>(1, w));
            EXPECT_TRUE(Within(reference.boundH, reference.H, ToEigen(H.Slot(0)))) << w;
        }
    }
}

// What eigenpairs of residual R = A·V − V·Λ allow: with X = V·q, q = (jw − Λ)⁻¹·V⁻¹·B, the
// modal answer is off by C·(jw − A)⁻¹·R·q exactly.
Eigen::MatrixXd ResidualBound(const Model& model, const EigenProblem& eigen, double w) {
    const Eigen::Index n = model.A.rows();
    const auto element = [&](Eigen::Index i, Eigen::Index j) {
        return eigen.Eigenvector(static_cast<int>(j), static_cast<int>(i));
    };
    const Eigen::MatrixXcd V = Eigen::MatrixXcd::NullaryExpr(n, n, element);
    Eigen::VectorXcd lambda(n);
    for (int i = 0; i < n; ++i) lambda(i) = eigen.Eigenvalue(i);
    const Eigen::MatrixXcd R = model.A * V - V * lambda.asDiagonal();
    const Complex jw(0, w);
    const Eigen::MatrixXcd I = Eigen::MatrixXcd::Identity(n, n);
    const Eigen::MatrixXcd q = (jw - lambda.array()).inverse().matrix().asDiagonal() *
                               V.partialPivLu().solve(model.B.cast<Complex>());
    const Eigen::MatrixXcd states = (jw * I - model.A).partialPivLu().inverse();
    return (model.C * states).cwiseAbs() * R.cwiseAbs() * q.cwiseAbs();
}

TEST(ModelData, AnswersInModalFormAsInStateSpaceForm) {
    const std::vector<Model> models = DumpedModels();
    if (models.empty()) GTEST_SKIP() << kNoModels;
    for (const Model& model : models) {
        SCOPED_TRACE(model.name);
        CapturedMessages messages;
        Modal modal(model);
        // Defective but for rounding, which leaves its vectors dependent to the last digit.
        const bool untrusted = model.name == "piezo_actuator.txt";
        EXPECT_EQ(testing::Value(messages.Take(), Contains(Pair('w', HasSubstr("dependent")))),
                  untrusted);
        if (untrusted) continue;

        // The beam has its largest response at 0.1, with a damping of 0.005: the rounding of
        // the reduction of a badly scaled matrix to Hessenberg form weighs by 1/0.005 there.
        const bool poorlyScaled = model.name == "beam.txt";
        double error = 0, largest = 0;
        for (const double w : {0.3, 50.0}) {
            const Eigen::MatrixXcd expected = Reference(model, w).H;
            const auto H =
                ToEigen(modal.system.TransferFunction(Matrix1D<double>(1, w)).Slot(0));
            error = std::max(error, (H - expected).cwiseAbs().maxCoeff());
            largest = std::max(largest, expected.cwiseAbs().maxCoeff());
            if (!poorlyScaled) continue;
            const Eigen::MatrixXd bound = ResidualBound(model, modal.eigen, w);
            EXPECT_TRUE(Within(bound, expected, H)) << w;
        }
        if (poorlyScaled) continue;
        EXPECT_LE(error, ModalTolerance(modal.eigen) * largest);
    }
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
