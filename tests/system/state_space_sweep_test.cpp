#include <gmock/gmock.h>

#include "tests/support/captured_messages.h"
#include "tests/support/counting_model.h"
#include "tests/support/dumped_models.h"
#include "tests/support/systems.h"

namespace ZEMRA::Vibration::tests {
namespace {

using Messages = std::vector<std::pair<char, std::string>>;

// Counts the frequencies that are left to the inverse.
struct Swept : CountingModel {
    explicit Swept(const Model& m, SweepRoad road = SweepRoad::kFast,
                   KernelSet kernels = ChosenKernels())
        : CountingModel(StateSpace(m)) {
        TakeRoad(road, kernels);
    }
    const Matrix3D<Complex>& Ask(const Frequencies& w, bool statesOnly) {
        return statesOnly ? MCT(w, false) : TransferFunction(w);
    }
};

// Kernels and road.
struct Way {
    KernelSet kernels;
    SweepRoad road;
};
std::vector<Way> Ways() {
    std::vector<Way> ways;
    for (const KernelSet kernels : {KernelSet::kBaseline, KernelSet::kAvx2})
        for (const SweepRoad road : {SweepRoad::kReduced, SweepRoad::kDense, SweepRoad::kFast})
            if (IsAvailable(kernels)) ways.push_back({kernels, road});
    return ways;
}

std::vector<Model> SweptModels() {
    std::vector<Model> models = AllModels();
    const auto add = [&](std::vector<Model>&& more) {
        models.insert(models.end(), more.begin(), more.end());
    };
    Model wide = RandomDense(24);  // more inputs than outputs
    wide.C.conservativeResize(1, 24);
    wide.D.conservativeResize(1, 3);
    Model apart = DampedChain(8);  // and another one that nothing connects
    const Eigen::Index n = apart.A.rows();
    apart.A.conservativeResizeLike(Eigen::MatrixXd::Zero(2 * n, 2 * n));
    apart.A.bottomRightCorner(n, n) = 2 * apart.A.topLeftCorner(n, n);
    apart.B.conservativeResizeLike(Eigen::MatrixXd::Zero(2 * n, 2));
    apart.C.conservativeResizeLike(Eigen::MatrixXd::Zero(5, 2 * n));
    apart.C(4, 2 * n - 1) = 1;
    apart.D.conservativeResizeLike(Eigen::MatrixXd::Zero(5, 2));
    add({Rotor(), FreeChain(5, 0.01), DampedChain(45), wide, apart});
    add(BadlyScaledModels());
    return models;
}

// Around the sharpest peaks, those of the modes with the least damping, among others. Several
// to a peak, since the errors at a single one compare by chance.
std::vector<double> TellingFrequencies(const Model& model) {
    std::vector<double> telling = LogSpaced(0.1, 1e5, 8);
    if (model.A.rows() > 150) return telling;
    const CapturedMessages ofTheSolver;
    const EigenProblem eigen = Modal::Solved(model);
    std::vector<std::pair<double, double>> peaks;
    for (int i = 0; i < eigen.Eigenvalues(); ++i)
        if (const Complex lambda = eigen.Eigenvalue(i); lambda.imag() > 0)
            peaks.emplace_back(std::fabs(lambda.real()) / lambda.imag(), lambda.imag());
    std::sort(peaks.begin(), peaks.end());
    for (std::size_t k = 0; k < std::min<std::size_t>(peaks.size(), 6); ++k)
        for (const double beside : {1 - 1e-7, 1 + 1e-7, 1 + 1e-4})
            telling.push_back(peaks[k].second * beside);
    return telling;
}

// Largest errors of each element over the frequencies, against the definition solved in
// extended precision; and the largest magnitude in each row.
struct Errors {
    Eigen::MatrixXd error;
    Eigen::VectorXd largest;
};
struct Exact {
    std::vector<Eigen::MatrixXcd> H, rest;  // the double and what is left to it

    Exact(const Model& model, const std::vector<double>& w, bool statesOnly) {
        using Scalar = std::complex<long double>;
        using Dense = Eigen::Matrix<Scalar, Eigen::Dynamic, Eigen::Dynamic>;
        const Dense B = model.B.cast<Scalar>();
        for (const double x : w) {
            Dense M = -model.A.cast<Scalar>();
            M.diagonal().array() += Scalar(0, x);
            const Eigen::PartialPivLU<Dense> lu(M);
            Dense X = lu.solve(B);
            X += lu.solve(B - M * X);
            if (!statesOnly) X = model.C.cast<Scalar>() * X + model.D.cast<Scalar>();
            H.push_back(X.cast<Complex>());
            rest.push_back(Dense(X - H.back().cast<Scalar>()).cast<Complex>());
        }
    }
    Errors Of(const Matrix3D<Complex>& answer) const {
        Errors errors{Eigen::MatrixXd::Zero(H[0].rows(), H[0].cols()),
                      Eigen::VectorXd::Zero(H[0].rows())};
        for (std::size_t k = 0; k < H.size(); ++k) {
            const Eigen::MatrixXcd off =
                ToEigen(answer.Slot(static_cast<int>(k))) - H[k] - rest[k];
            errors.error = errors.error.cwiseMax(off.cwiseAbs());
            errors.largest = errors.largest.cwiseMax(H[k].cwiseAbs().rowwise().maxCoeff());
        }
        return errors;
    }
};

void ExpectTheAccuracyOfTheInverse(const Model& model) {
    SCOPED_TRACE(model.name);
    const std::vector<double> w = TellingFrequencies(model);
    for (const bool statesOnly : {false, true}) {
        if (statesOnly && model.A.rows() > 150) continue;  // as slow, and nothing else
        const Exact exact(model, w, statesOnly);
        Swept inverted(model, SweepRoad::kWritten);
        const Errors byInversion = exact.Of(inverted.Ask(Vector(w), statesOnly));
        for (const auto& [kernels, road] : Ways()) {
            Swept swept(model, road, kernels);
            const Errors errors = exact.Of(swept.Ask(Vector(w), statesOnly));
            const Eigen::MatrixXd bound =
                (3 * byInversion.error)
                    .cwiseMax(1e-13 * errors.largest.replicate(1, errors.error.cols()));
            EXPECT_TRUE((errors.error.array() <= bound.array()).all())
                << "kernels " << static_cast<int>(kernels) << ", road "
                << static_cast<int>(road) << "\nerrors\n"
                << errors.error << "\nbounds\n"
                << bound;
        }
    }
}

class SweptModel : public testing::TestWithParam<Model> {};

INSTANTIATE_TEST_SUITE_P(All, SweptModel, testing::ValuesIn(SweptModels()),
                         [](const auto& model) {
                             return model.param.name + std::to_string(model.index);
                         });

TEST_P(SweptModel, IsAsAccurateOnTheFastRoadsAsByInversion) {
    ExpectTheAccuracyOfTheInverse(GetParam());
}

TEST(SweptModelData, IsAsAccurateOnTheFastRoadsAsByInversion) {
    const std::vector<Model> models = DumpedModels();
    if (models.empty()) GTEST_SKIP() << "ZEMRA_MODEL_DATA names no folder of model dumps";
    for (const Model& model : models) ExpectTheAccuracyOfTheInverse(model);
}

TEST(StateSpaceSweep, LeavesFewFrequenciesToTheInverse) {
    for (const Model& model : {DampedChain(5), DampedChain(20), RandomDense(), HalfCar()})
        for (const bool statesOnly : {false, true})
            for (const int count : {8, 16, 33}) {
                Swept swept(model);
                swept.Ask(Vector(LogSpaced(0.1, 100, count)), statesOnly);
                EXPECT_EQ(swept.Solves(), 0) << model.name;
            }
}

// What the inverse says and what it leaves empty.
struct Outcome {
    Messages messages;
    std::vector<char> slots;  // zero, not finite or otherwise

    Outcome(Swept&& system, const std::vector<double>& w, bool statesOnly) {
        CapturedMessages captured;
        const auto& answer = system.Ask(Vector(w), statesOnly);
        messages = captured.Take();
        for (int k = 0; k < answer.Size(0); ++k) {
            const Eigen::MatrixXcd slot = ToEigen(answer.Slot(k));
            slots.push_back(slot.isZero(0) ? '0' : slot.allFinite() ? 'H' : 'n');
        }
    }
    bool operator==(const Outcome&) const = default;
};

// Two copies of a model that share inputs and outputs; the second is x times as fast.
Model Twice(const Model& model, double x) {
    const Eigen::Index n = model.A.rows();
    Model twice{model.name + "Twice", Eigen::MatrixXd::Zero(2 * n, 2 * n),
                Eigen::MatrixXd(2 * n, model.B.cols()), Eigen::MatrixXd(model.C.rows(), 2 * n),
                model.D};
    twice.A << model.A, 0 * model.A, 0 * model.A, x * model.A;
    twice.B << model.B, model.B;
    twice.C << model.C, model.C;
    return twice;
}

TEST(StateSpaceSweep, DecidesAsTheInverseDoes) {
    const double nan = std::nan(""), inf = std::numeric_limits<double>::infinity();
    std::vector<double> w = LogSpaced(0.05, 500, 20);
    for (const double telling : {0.0, 1.0, 2.0, 4.0, -2.0, 1e-300, 1e160, nan, inf})
        w.insert(w.begin() + static_cast<int>(w.size()) / 2, telling);

    std::vector<Model> models{Oscillator(4, 0),
                              FreeMass(),
                              FreeChain(3),
                              FreeChain(6),
                              Twice(Oscillator(4, 0), 2),
                              Twice(FreeMass(), 1),
                              Twice(DampedChain(4), 1)};
    Model unheard = Twice(Oscillator(4, 0), 0.5);  // its poles are neither driven nor seen
    unheard.B.bottomRows(2).setZero();
    unheard.C.rightCols(2).setZero();
    Model tiny = RandomDense(6), huge = tiny, empty = tiny, nobody = tiny;
    tiny.A *= 1e-19;
    huge.A *= 1e150;
    empty.A.setZero();
    nobody.B.setZero();
    models.insert(models.end(), {unheard, tiny, huge, empty, nobody});
    for (const double x : {nan, inf})
        for (Eigen::MatrixXd Model::*const which :
             {&Model::A, &Model::B, &Model::C, &Model::D}) {
            models.push_back(RandomDense(6));
            (models.back().*which)(1, 2) = x;
        }
    for (const Model& model : models)
        for (const bool statesOnly : {false, true}) {
            const Outcome inverse(Swept(model, SweepRoad::kWritten), w, statesOnly);
            for (const auto& [kernels, road] : Ways()) {
                const Outcome outcome(Swept(model, road, kernels), w, statesOnly);
                EXPECT_EQ(outcome.messages, inverse.messages) << model.name;
                EXPECT_EQ(outcome.slots, inverse.slots) << model.name;
            }
        }
}

TEST(StateSpaceSweep, TakesTheOldInverseWhenAskedTo) {
    const Model model = RandomDense();
    const Frequencies w = Vector(LogSpaced(0.1, 10, 20));
    setenv("ZEMRA_VIBRATION_OLD_INVERSE", "1", 1);
    Swept fast(model), inverted(model, SweepRoad::kWritten);
    const auto& H = fast.TransferFunction(w);
    EXPECT_EQ(fast.Solves(), 20);
    for (int k = 0; k < 20; ++k)
        EXPECT_EQ(ToEigen(H.Slot(k)), ToEigen(inverted.TransferFunction(w).Slot(k)));
    unsetenv("ZEMRA_VIBRATION_OLD_INVERSE");
}

// A copy made before or after the reduction, or after another question, answers the same.
TEST(StateSpaceSweep, AnswersTheSameWhateverWasAskedBefore) {
    const Model model = RandomDense();
    const Frequencies w = Vector(LogSpaced(0.1, 10, 20)), other = Vector(LogSpaced(1, 2, 17));
    Swept first(model), second(model);
    const Swept early(first);
    const auto H = first.Ask(w, false);
    second.Ask(other, true);
    second.Ask(other, false);
    Swept late(first), copied(early);
    late.Ask(other, false);
    for (Swept* const asked : {&second, &late, &copied})
        for (int k = 0; k < 20; ++k)
            EXPECT_EQ(ToEigen(asked->Ask(w, false).Slot(k)), ToEigen(H.Slot(k)));
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
