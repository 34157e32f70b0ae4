#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

#include "tests/support/captured_messages.h"
#include "tests/support/dumped_models.h"
#include "tests/support/excitation.h"
#include "tests/support/host.h"
#include "tests/support/kinematics.h"
#include "tests/support/model_zoo.h"
#include "tools/accuracy/exact.h"
#include "tools/accuracy/surveys.h"
#include "zemra/system/compliance.h"

namespace ZEMRA::Vibration::accuracy {
namespace {

using tests::Frequencies;
using tests::Model;
using tests::StateSpace;
using tests::ToCore;
using tests::ToEigen;

struct Case {
    std::string family;
    Model model;
    std::optional<tests::Mechanism> mechanism;
    Frequencies w;
    std::vector<ExactResponse> at;  // each frequency
};

// From below the lowest to above the highest of the modes, and beside the lightly damped ones.
Frequencies TellingFrequencies(const MatrixXd& A, int count) {
    double low = kInfinity, high = 0.0;
    std::vector<double> peaks;
    for (const Complex& lambda : VectorXcd(A.eigenvalues())) {
        high = std::max(high, std::abs(lambda));
        if (lambda.imag() > 10 * std::fabs(lambda.real())) peaks.push_back(lambda.imag());
    }
    for (const Complex& lambda : VectorXcd(A.eigenvalues()))
        if (std::abs(lambda) > 1e-6 * high) low = std::min(low, std::abs(lambda));
    if (!std::isfinite(low)) low = high = 1.0;
    std::vector<double> w = tests::LogSpaced(low / 3, 3 * high, count);
    std::sort(peaks.begin(), peaks.end());
    const std::size_t step = std::max<std::size_t>(1, peaks.size() / 4);
    for (std::size_t i = 0; i < peaks.size(); i += step) w.push_back(peaks[i] * (1 + 1e-3));
    std::sort(w.begin(), w.end());
    return tests::Vector(w);
}

Case Prepared(const std::string& family, const Model& model, int count,
              const std::optional<tests::Mechanism>& mechanism = {}) {
    Case one{family, model, mechanism, TellingFrequencies(model.A, count), {}};
    for (int k = 0; k < one.w.Size(0); ++k) one.at.push_back(ResponseAt(model, one.w(k)));
    return one;
}

std::vector<Case> Cases(Extent extent) {
    const bool whole = extent == Extent::kWhole;
    std::vector<Case> cases;
    for (unsigned seed = 1; seed <= (whole ? 20u : 2u); ++seed) {
        for (const tests::Mechanism& one : tests::Mechanisms(seed, whole ? 20 : 5))
            cases.push_back(Prepared(one.family, one.InFirstOrder(), 18, one));
        for (const auto& [family, model] : tests::FirstOrderModels(seed, whole ? 40 : 8))
            cases.push_back(Prepared(family, model, 18));
    }
    if (!whole) return cases;
    for (const Model& model : tests::BadlyScaledModels())
        cases.push_back(Prepared("stiff beside soft", model, 18));
    for (const Model& model : tests::DumpedModels())
        if (model.A.rows() <= 130) cases.push_back(Prepared("collected model", model, 18));
    return cases;
}

// Errors relative to the largest magnitude in the row of the answer, over all frequencies.
class Judge {
  public:
    /// terms: what an answer is the difference of, where that is more than itself.
    void Take(const Expected& expected, const MatrixXcd& actual, const MatrixXd& terms = {}) {
        expected_.push_back(expected);
        terms_.push_back(terms);
        errors_.push_back(
            actual.rows() == expected.value.rows() && actual.cols() == expected.value.cols()
                ? MatrixXd((actual - expected.value).cwiseAbs())
                : MatrixXd::Constant(expected.value.rows(), expected.value.cols(), kInfinity));
    }
    bool IsEmpty() const { return expected_.empty(); }
    /// floor: what is allowed of the largest magnitude in its row; at least its own rounding,
    /// since bounds follow zeros that rounding does not respect.
    Worst Verdict(double floor = kEpsilon) const {
        Worst worst;
        if (expected_.empty()) return {std::numeric_limits<double>::quiet_NaN(), 0.0};
        ::Eigen::VectorXd largest = ::Eigen::VectorXd::Zero(expected_[0].value.rows());
        for (std::size_t k = 0; k < expected_.size(); ++k) {
            largest = largest.cwiseMax(expected_[k].value.cwiseAbs().rowwise().maxCoeff());
            if (terms_[k].size() > 0)
                largest = largest.cwiseMax(terms_[k].rowwise().maxCoeff());
        }
        for (std::size_t k = 0; k < expected_.size(); ++k)
            for (Index i = 0; i < largest.size(); ++i)
                for (Index j = 0; j < errors_[k].cols(); ++j) {
                    const double scale = largest(i) > 0.0 ? largest(i) : 1.0;
                    worst.Take(errors_[k](i, j) / scale,
                               std::max(expected_[k].bound(i, j) / scale, floor));
                }
        return worst;
    }

  private:
    std::vector<Expected> expected_;
    std::vector<MatrixXd> errors_, terms_;
};

// What is said that leaves an answer in doubt; a chain of vectors does not.
bool IsDoubted(tests::CapturedMessages& messages) {
    const auto all = messages.Take();
    return std::any_of(all.begin(), all.end(), [](const auto& one) {
        return one.first != 'i' && one.second.find(
                                       "QR: The eigen solution produced one or "
                                       "more defective") == std::string::npos;
    });
}

// Solves a case by ask, which fills a judge. What the library warned of or refused is entered
// as such.
void Enter(Table& table, const std::string& family, const std::string& name,
           const std::function<void(Judge&)>& ask, double floor = kEpsilon) {
    tests::CapturedMessages messages;
    Judge judge;
    bool refused = false;
    try {
        ask(judge);
    } catch (const Error&) {
        refused = true;
    }
    if (refused)
        table.Warned(family, name, kInfinity);
    else if (IsDoubted(messages))
        table.Warned(family, name, judge.Verdict().error);
    else if (!judge.IsEmpty())
        table.Add(family, name, judge.Verdict(floor));
}

// ---- Modal form

/// What a modal answer owes. With the real vectors V, the blocks J and R = A·V − V·J, all known
/// here, V·q is off from (jw − A)⁻¹·B by (jw − A)⁻¹·R·q exactly, q = (jw − J)⁻¹·V⁻¹·B. To that
/// come the roundings of V⁻¹ by elimination, of the blocks' own inverses and of the products.
class ModalBound {
  public:
    explicit ModalBound(const Model& model, const tests::Modal& modal) : model_(model) {
        J_ = ToEigen(Matrix2D<double>(modal.canon.A()));
        V_ = ToEigen(modal.eigen.MatrixV());
        for (Index i = 0; i + 1 < J_.rows(); ++i)
            if (J_(i + 1, i) != 0.0) V_.col(++i) *= -1.0;
        const ExactBasis exact(model, V_, J_);
        R_ = exact.residual.cwiseAbs();
        modalB_ = exact.B;
        modalBError_ = exact.boundB;
    }
    MatrixXd At(double w, const MatrixXd& C) const {
        const Index n = J_.rows();
        const MatrixXcd I = MatrixXcd::Identity(n, n), blocks = Complex(0, w) * I - J_;
        const MatrixXcd inverse = blocks.inverse(), q = inverse * modalB_;
        const MatrixXcd states = (Complex(0, w) * I - model_.A).partialPivLu().inverse();
        const MatrixXd G = (C * V_).cwiseAbs() + 1e-300 * MatrixXd::Ones(C.rows(), n);
        const MatrixXd blockErrors =
            modalBError_ + 8 * kEpsilon * blocks.cwiseAbs() * q.cwiseAbs();
        const double sums = 4 * static_cast<double>(n) * kEpsilon;
        return (C * states).cwiseAbs() * (R_ * q.cwiseAbs()) +
               G * (inverse.cwiseAbs() * blockErrors) +
               sums * C.cwiseAbs() * (V_.cwiseAbs() * q.cwiseAbs());
    }
    MatrixXd OfResponse(double w) const {
        return At(w, model_.C) + 4 * kEpsilon * model_.D.cwiseAbs();
    }

  private:
    const Model& model_;
    MatrixXd J_, V_, R_, modalB_, modalBError_;
};

// ---- Transfer functions

// Of each element over the frequencies.
template <typename Exact>
MatrixXd LargestErrors(const Matrix3D<Complex>& answer, const Exact& exact) {
    MatrixXd off = MatrixXd::Zero(answer.Size(1), answer.Size(2));
    for (int k = 0; k < answer.Size(0); ++k)
        off = off.cwiseMax((ToEigen(answer.Slot(k)) - exact(k)).cwiseAbs());
    return off;
}

void SurveyTransferFunctions(Table& table, const std::vector<Case>& cases) {
    const std::string unit =
        "the largest magnitude in the row of the answer, from LU in extended precision";
    struct Way {
        const char* title;
        SweepRoad road;
        KernelSet kernels;
        double floor;
    };
    for (const Way& way :
         {Way{"Transfer function, one inverse a frequency", SweepRoad::kWritten,
              KernelSet::kBaseline, kEpsilon},
          Way{"Transfer function, elimination side by side", SweepRoad::kDense, ChosenKernels(),
              kEpsilon},
          Way{"Transfer function, as swept", SweepRoad::kFast, ChosenKernels(), 1e-13},
          Way{"Transfer function, as swept by the baseline kernels", SweepRoad::kFast,
              KernelSet::kBaseline, 1e-13}}) {
        table.Begin(
            way.title, unit,
            std::string("the error of elimination element by element, "
                        "n·ε·(3·|C·M⁻¹|·|L|·|U|·|M⁻¹|·|B| + 2·|C|·|M⁻¹|·|B|) + ε·|D|, "
                        "with the factors L and U of that elimination, whose pivots are sought "
                        "in a row "
                        "and a column") +
                (way.road == SweepRoad::kFast
                     ? ", or 1e-13 in the unit above, or three times what the inverse is "
                       "off by over the frequencies; one case in a hundred may miss it, since "
                       "an "
                       "estimate of the error decides"
                     : ""),
            way.road == SweepRoad::kFast ? 0.01 : 0.0);
        for (const Case& one : cases)
            Enter(
                table, one.family, one.model.name,
                [&](Judge& judge) {
                    ForceSystemSS system = StateSpace(one.model), inverse = system;
                    system.TakeRoad(way.road, way.kernels);
                    inverse.TakeRoad(SweepRoad::kWritten);
                    const auto exact = [&](int k) -> const ExactResponse& {
                        return one.at[static_cast<std::size_t>(k)];
                    };
                    const MatrixXd off = LargestErrors(
                        inverse.TransferFunction(one.w),
                        [&](int k) -> const MatrixXcd& { return exact(k).H.value; });
                    const auto& H = system.TransferFunction(one.w);
                    for (int k = 0; k < one.w.Size(0); ++k)
                        judge.Take({exact(k).H.value,
                                    exact(k).H.bound.cwiseMax(way.road == SweepRoad::kFast
                                                                  ? MatrixXd(3 * off)
                                                                  : exact(k).byInverse)},
                                   ToEigen(H.Slot(k)));
                },
                way.floor);
    }

    const std::string modalBound =
        "|C·M⁻¹|·|A·V − V·J|·|q| for the residuals of the vectors V, which have a table of "
        "their own, with q = (jw − J)⁻¹·V⁻¹·B, and the roundings of V⁻¹·B, "
        "n·ε·(3·|V⁻¹|·|L|·|U|·|V⁻¹|·|B| + 2·|V⁻¹|·|B|), and of the blocks J, taken through the "
        "rest";
    table.Begin("Transfer function in modal form", unit, modalBound);
    for (const Case& one : cases)
        Enter(table, one.family, one.model.name, [&](Judge& judge) {
            tests::Modal modal(one.model);
            const ModalBound bound(one.model, modal);
            const auto& H = modal.system.TransferFunction(one.w);
            for (int k = 0; k < one.w.Size(0); ++k)
                judge.Take(
                    {one.at[static_cast<std::size_t>(k)].H.value, bound.OfResponse(one.w(k))},
                    ToEigen(H.Slot(k)));
        });

    table.Begin("Transfer function of a host's model, converted from state-space to modal form",
                unit, modalBound);
    for (std::size_t i = 0; i < cases.size(); i += 4) {
        const Case& one = cases[i];
        Enter(table, one.family, one.model.name, [&](Judge& judge) {
            const std::string types(static_cast<std::size_t>(one.model.B.cols()), 'F');
            const tests::HostActuators actuators(types);
            const ZmAPI_SystemSS source(0, tests::ToHost(one.model.A),
                                        tests::ToHost(one.model.B), tests::ToHost(one.model.C),
                                        tests::ToHost(one.model.D), actuators);
            ZmAPI_System system(source);
            const ZmAPI_Matrix H =
                system.TransferFunction(ZmAPI_Matrix(one.w.Size(0), one.w.Data()));
            const tests::Modal modal(one.model);
            const ModalBound bound(one.model, modal);
            for (int k = 0; k < one.w.Size(0); ++k)
                judge.Take(
                    {one.at[static_cast<std::size_t>(k)].H.value, bound.OfResponse(one.w(k))},
                    tests::FromHost(H, k));
        });
    }
}

// ---- Prescribed motions

std::vector<tests::Inputs> MotionsOf(const Case& one) {
    const int last = static_cast<int>(one.model.A.rows()) / 2 - 1;
    if (last == 0) return {{{0, 'D'}}, {{0, 'V'}}, {{0, 'A'}}};
    return {{{0, 'D'}}, {{last, 'A'}}, {{last, 'F'}, {0, 'V'}}, {{0, 'A'}, {last, 'D'}}};
}

std::string NameOf(const Case& one, const tests::Inputs& inputs) {
    std::string name = one.model.name + ' ';
    for (const tests::Input& input : inputs) name += input.type;
    return name;
}

// What the conversion P = T·G⁻¹ of force results T, known within their bounds, may be off by,
// to first order; nothing where the equivalent forces may change by a tenth.
std::optional<MatrixXd> ConvertedBound(const Expected& T, const Expected& G,
                                       const tests::Inputs& inputs) {
    std::vector<int> moving;
    for (int j = 0; const tests::Input& input : inputs) {
        if (input.Moves()) moving.push_back(j);
        ++j;
    }
    const MatrixXcd inverse = G.value.inverse();
    const MatrixXd inverseAbs = inverse.cwiseAbs(),
                   Tk = T.value(::Eigen::all, moving).cwiseAbs(),
                   P = (T.value(::Eigen::all, moving) * inverse).cwiseAbs();
    const double change = (inverseAbs * G.bound).rowwise().sum().maxCoeff();
    if (!(change < 0.1)) return {};
    const double k = static_cast<double>(moving.size());
    MatrixXd bound = T.bound;
    bound(::Eigen::all, moving) =
        (T.bound(::Eigen::all, moving) * inverseAbs + P * G.bound * inverseAbs +
         8 * k * kEpsilon *
             (Tk * inverseAbs * G.value.cwiseAbs() * inverseAbs + Tk * inverseAbs)) /
        (1 - change);
    return bound;
}

/// Every frequency of one case with prescribed motions.
struct Constrained {
    Model full, force, motion;  // with both kinds of outputs; one kind each
    std::vector<MatrixXcd> value;
    std::vector<Expected> T, G;

    Constrained(const Case& one, const tests::Inputs& inputs)
        : full(tests::Constrainable(one.model, inputs)), force(full), motion(full) {
        const auto moves = std::count_if(inputs.begin(), inputs.end(),
                                         [](const auto& input) { return input.Moves(); });
        force.C = full.C.topRows(full.C.rows() - moves);
        force.D = full.D.topRows(full.C.rows() - moves);
        std::vector<int> moving;
        for (int j = 0; const tests::Input& input : inputs) {
            if (input.Moves()) moving.push_back(j);
            ++j;
        }
        motion.B = full.B(::Eigen::all, moving).eval();
        motion.C = full.C.bottomRows(moves);
        motion.D = full.D.bottomRows(moves)(::Eigen::all, moving).eval();
        for (int k = 0; k < one.w.Size(0); ++k) {
            value.push_back(MotionsAt(one.model, inputs, one.w(k)));
            T.push_back(AsSwept(ResponseAt(force, one.w(k))));
            G.push_back(AsSwept(ResponseAt(motion, one.w(k))));
        }
        AllowForSweep(T);
        AllowForSweep(G);
    }

  private:
    // A sweep leaves frequencies where it is not certain to the inverse, and may be off by
    // 1e-13 of the largest magnitude in a row.
    static Expected AsSwept(const ExactResponse& at) {
        return {at.H.value, at.H.bound.cwiseMax(at.byInverse)};
    }
    static void AllowForSweep(std::vector<Expected>& all) {
        ::Eigen::VectorXd largest = ::Eigen::VectorXd::Zero(all[0].value.rows());
        for (const Expected& one : all)
            largest = largest.cwiseMax(one.value.cwiseAbs().rowwise().maxCoeff());
        for (Expected& one : all)
            one.bound = one.bound.cwiseMax(1e-13 * largest.replicate(1, one.bound.cols()));
    }
};

double Amplitude(int channel) { return 0.5 + channel; }

void SurveyMotions(Table& table, const std::vector<Case>& cases) {
    const std::string unit =
        "the largest magnitude in the row of the answer (displacements, velocities and "
        "accelerations of all coordinates), from the dynamic stiffness with the prescribed "
        "coordinates held, in extended precision";
    tests::Excitation excitation{
        [](int channel, double) { return Complex(Amplitude(channel), 0.0); }};
    for (const bool modal : {false, true}) {
        table.Begin(
            modal ? "Prescribed motions, modal form" : "Prescribed motions, state-space form",
            unit,
            "δT·|G⁻¹| + |T·G⁻¹|·δG·|G⁻¹| + 8·k·ε·(|T|·|G⁻¹|·|G|·|G⁻¹| + |T|·|G⁻¹|) for "
            "k motions, δT and δG the bounds of transfer functions in this form, as swept. "
            "Frequencies where |G⁻¹|·δG exceeds a tenth are left out: rounding of the model's "
            "elements leaves no digit of the forces there, mostly far below the modes of a "
            "free "
            "body");
        for (std::size_t i = 0; i < cases.size(); i += 2) {
            const Case& one = cases[i];
            if (!one.mechanism) continue;
            for (const tests::Inputs& inputs : MotionsOf(one)) {
                const Constrained exact(one, inputs);
                Enter(
                    table, one.family, NameOf(one, inputs),
                    [&](Judge& judge) {
                        const tests::Actuators actuators(excitation, inputs);
                        const auto system =
                            tests::Build(exact.full, actuators,
                                         modal ? tests::Form::Modal : tests::Form::StateSpace);
                        std::optional<tests::Modal> modes;
                        if (modal) modes.emplace(exact.full);
                        const auto& H = system->TransferFunction(one.w);
                        for (int k = 0; k < one.w.Size(0); ++k) {
                            Expected T = exact.T[static_cast<std::size_t>(k)],
                                     G = exact.G[static_cast<std::size_t>(k)];
                            if (modal) {
                                // The modes do not depend on B and C: once for both.
                                T.bound = ModalBound(exact.force, *modes).OfResponse(one.w(k));
                                G.bound = ModalBound(exact.motion, *modes).OfResponse(one.w(k));
                            }
                            if (const auto bound = ConvertedBound(T, G, inputs))
                                judge.Take({exact.value[static_cast<std::size_t>(k)], *bound},
                                           ToEigen(H.Slot(k)));
                        }
                    },
                    modal ? kEpsilon : 1e-13);
            }
        }
    }
}

// ---- Spectral densities

// H·S·Hᴴ with what H may be off by.
Expected Density(const Expected& H, const MatrixXcd& S) {
    const MatrixXd h = H.value.cwiseAbs(), s = S.cwiseAbs();
    const double sums = 8 * static_cast<double>(S.rows() + 1) * kEpsilon;
    return {H.value * S * H.value.adjoint(),
            H.bound * s * h.transpose() + h * s * H.bound.transpose() +
                H.bound * s * H.bound.transpose() + sums * h * s * h.transpose()};
}

void SurveyDensities(Table& table, const std::vector<Case>& cases) {
    table.Begin("Power spectral density of the outputs",
                "the largest magnitude in the row of the matrix, from H·S·Hᴴ with H of LU in "
                "extended precision; S holds densities and cross densities",
                "δH·|S|·|Hᴴ| + |H|·|S|·δHᴴ and 8·(m + 1)·ε·|H|·|S|·|Hᴴ|, δH the bound of the "
                "transfer function. The diagonal asked for alone is held to the same");
    // Input j has the density j + 1, and the cross density of input m with every other is
    // (0.3 + 0.1·j·m).
    tests::Excitation excitation{[](int channel, double) {
        return channel < 100 ? Complex(channel + 1.0) : Complex(0.3, 0.1 * (channel - 100));
    }};
    for (const Case& one : cases) {
        const int m = static_cast<int>(one.model.B.cols());
        std::vector<Actuator> cross;
        for (int i = 0; i < m; ++i) {
            const tests::Excitation::Block block{&excitation, 100 + i};
            cross.emplace_back('F', tests::Excitation::Evaluate, sizeof block, &block, true, 0,
                               nullptr);
        }
        std::vector<const Actuator*> slots;
        for (const Actuator& actuator : cross) slots.push_back(&actuator);
        MatrixXcd S = MatrixXcd::Zero(m, m);
        for (int i = 0; i < m; ++i) {
            S.row(i).setConstant(Complex(0.3, 0.1 * i));
            S(i, i) += i + 1.0;
        }
        const tests::Actuators actuators(
            excitation, tests::Inputs(static_cast<std::size_t>(m), {0, 'F'}), true, slots);
        Enter(table, one.family, one.model.name, [&](Judge& judge) {
            ForceSystemSS system = StateSpace(one.model, actuators);
            for (int k = 0; k < one.w.Size(0); ++k) {
                const auto& at = one.at[static_cast<std::size_t>(k)];
                // One frequency at a time goes by the inverse.
                const Expected expected =
                    Density({at.H.value, at.H.bound.cwiseMax(at.byInverse)}, S);
                MatrixXcd actual = ToEigen(system.PSD(one.w(k), 0.25));
                judge.Take(expected, actual);
                for (int o = 0; o < system.Outputs(); ++o)
                    actual(o, o) = system.PSD(o, one.w(k), 0.25);
                judge.Take(expected, actual);
            }
        });
    }
}

// ---- Modal coordinates and participation

void SurveyParticipation(Table& table, const std::vector<Case>& cases) {
    tests::Excitation excitation{
        [](int channel, double w) { return Complex(1.0 + channel, w > 1 ? 0.5 : -0.5); }};
    const auto driven = [&](const Case& one) {
        return tests::Actuators(
            excitation, tests::Inputs(static_cast<std::size_t>(one.model.B.cols()), {0, 'F'}));
    };
    const auto amplitudes = [&](const Case& one, double w) -> VectorXcd {
        return VectorXcd::NullaryExpr(one.model.B.cols(), [&](Index j) {
            return excitation.value(static_cast<int>(j), w);
        });
    };

    table.Begin(
        "Modal coordinates (MCT) of the states, with and without actuators",
        "the largest magnitude of the state, from LU in extended precision",
        "the error of elimination, n·ε·(3·|M⁻¹|·|L|·|U|·|M⁻¹|·|B| + 2·|M⁻¹|·|B|), or "
        "1e-13 in the unit above, or three times what the inverse is off by; one case in a "
        "hundred may miss it",
        0.01);
    for (const Case& one : cases)
        Enter(
            table, one.family, one.model.name,
            [&](Judge& judge) {
                ForceSystemSS system = StateSpace(one.model, driven(one));
                ForceSystemSS inverse = system;
                inverse.TakeRoad(SweepRoad::kWritten);
                for (const bool withActuators : {false, true}) {
                    const auto value = [&](int k) -> MatrixXcd {
                        const VectorXcd u = withActuators ? amplitudes(one, one.w(k))
                                                          : VectorXcd::Ones(one.model.B.cols());
                        return one.at[static_cast<std::size_t>(k)].X.value * u.asDiagonal();
                    };
                    const MatrixXd off =
                        LargestErrors(inverse.MCT(one.w, withActuators), value);
                    const auto& X = system.MCT(one.w, withActuators);
                    for (int k = 0; k < one.w.Size(0); ++k) {
                        // No amplitude is below 1.
                        const MatrixXd bound = one.at[static_cast<std::size_t>(k)].X.bound;
                        judge.Take({value(k), bound.cwiseMax(3 * off)}, ToEigen(X.Slot(k)));
                    }
                }
            },
            1e-13);

    // C·X, without what comes straight through D.
    const auto participation = [&](const Case& one, System& system, const auto& bound,
                                   Judge& judge) {
        for (int k = 0; k < one.w.Size(0); k += 4) {
            const auto& at = one.at[static_cast<std::size_t>(k)];
            MatrixXcd sum = MatrixXcd::Zero(at.H.value.rows(), at.H.value.cols());
            for (int o = 0; o < sum.rows(); ++o)
                for (int i = 0; i < sum.cols(); ++i)
                    for (const Complex& part :
                         tests::Elements(system.MPF(i, o, k, -1, one.w, false)))
                        sum(o, i) += part;
            judge.Take({at.H.value - one.model.D, bound(k)}, sum);
        }
    };
    const std::string unit =
        "the largest magnitude in the row, for the factors of all modes together, from H − D";
    table.Begin("Participation factors (MPF), states", unit,
                "|C|·δX and n·ε·|C|·|X| of their sum, δX the bound of the states");
    for (const Case& one : cases)
        Enter(
            table, one.family, one.model.name,
            [&](Judge& judge) {
                ForceSystemSS system = StateSpace(one.model, driven(one));
                participation(
                    one, system,
                    [&](int k) -> MatrixXd {
                        const auto& at = one.at[static_cast<std::size_t>(k)];
                        const double n = static_cast<double>(one.model.A.rows());
                        return one.model.C.cwiseAbs() * at.X.bound +
                               n * kEpsilon * one.model.C.cwiseAbs() * at.X.value.cwiseAbs() +
                               4 * kEpsilon * one.model.D.cwiseAbs();
                    },
                    judge);
            },
            1e-13);

    table.Begin("Participation factors (MPF), modes", unit,
                "the bound of the transfer function in modal form");
    for (const Case& one : cases)
        Enter(table, one.family, one.model.name, [&](Judge& judge) {
            tests::Modal modal(one.model);
            const ModalBound bound(one.model, modal);
            participation(
                one, modal.system,
                [&](int k) -> MatrixXd {
                    return bound.OfResponse(one.w(k)) + 4 * kEpsilon * one.model.D.cwiseAbs();
                },
                judge);
        });

    table.Begin(
        "Participation of a single mode",
        "the largest term of the modal sum, from eigenvectors in extended precision, for "
        "modes apart from all others by 1e-3 of their modulus",
        "20·(n + 10)·ε·‖A‖·κ·(1/gap + 1/|jw − λ|), κ the condition of the "
        "vectors with unit length: how a residual turns a vector and moves a value");
    for (const Case& one : cases) {
        if (one.model.A.rows() > 60) continue;
        tests::CapturedMessages messages;
        tests::Modal modal = [&] {
            try {
                return tests::Modal(one.model);
            } catch (const Error&) {
                return tests::Modal(tests::Oscillator(1, 0.1));
            }
        }();
        if (IsDoubted(messages) || modal.eigen.Defective() ||
            modal.eigen.Eigenvalues() != one.model.A.rows())
            continue;
        const ExactModes exact(one.model);
        const VectorXcd& lambda = exact.lambda;
        const double residual = 20 * static_cast<double>(one.model.A.rows() + 10) * kEpsilon *
                                one.model.A.norm() * exact.condition;
        Worst worst;
        bool any = false;
        for (int i = 0, mode = 0; i < modal.eigen.Eigenvalues(); ++i) {
            const Complex ours = modal.eigen.Eigenvalue(i);
            if (ours.imag() < 0) continue;
            const int q = mode++;
            Index match = 0;
            double nearest = kInfinity, gap = kInfinity;
            for (Index j = 0; j < lambda.size(); ++j) {
                const double distance = std::abs(lambda(j) - ours);
                if (distance < nearest) {
                    gap = nearest;
                    nearest = distance;
                    match = j;
                } else {
                    gap = std::min(gap, distance);
                }
            }
            if (!(gap > 1e-3 * std::abs(ours)) || residual > 0.01 * gap) continue;
            for (int k = 0; k < one.w.Size(0); k += 6) {
                const Complex jw(0, one.w(k));
                const auto term = [&](Index o, Index in, Index j) {
                    return exact.right(o, j) * exact.left(j, in) / (jw - lambda(j));
                };
                for (int o = 0; o < exact.right.rows(); ++o) {
                    const int in = 0;
                    Complex expected = term(o, in, match);
                    if (ours.imag() > 0) {
                        Index other = 0;
                        (lambda.array() - std::conj(lambda(match))).abs().minCoeff(&other);
                        expected += term(o, in, other);
                    }
                    double largest = 0;
                    for (Index j = 0; j < lambda.size(); ++j)
                        largest = std::max(largest, std::abs(term(o, in, j)));
                    const double off = std::abs(modal.system.MPF(in, o, k, q, one.w, false)(0) -
                                                Complex(expected));
                    const double near = std::abs(Complex(0, one.w(k)) - ours);
                    if (largest > 0 && residual < 0.01 * near)
                        worst.Take(off / largest, residual * (1 / gap + 1 / near));
                    any = true;
                }
            }
        }
        if (any) table.Add(one.family, one.model.name, worst);
    }
}

// ---- Compliance

void SurveyCompliance(Table& table, const std::vector<Case>& cases) {
    table.Begin("Compliance",
                "the largest term |C|·|A⁻¹·B| + |D| of the row, from D − C·A⁻¹·B in extended "
                "precision; for free bodies from the projection on the range of A², which "
                "leaves their motion out",
                "the bound of the transfer function at w = 0; for free bodies "
                "20·(n + 10)·ε·κ·|C·Q·S⁻¹|·|S|·|S⁻¹·Qᵀ·B|, S = Qᵀ·A·Q with the condition κ");
    for (const Case& one : cases) {
        const Model& m = one.model;
        const bool free = one.family == "free body";
        tests::CapturedMessages messages;
        std::vector<std::pair<char, std::string>> told;
        Judge judge;
        try {
            const MatrixXd value =
                ToEigen(ComplianceMatrix(ToCore(m.A), ToCore(m.B), ToCore(m.C), ToCore(m.D)));
            told = messages.Take();
            int rigid = 0;
            for (const auto& message : told)
                if (const auto at = message.second.find("it produced ");
                    at != std::string::npos)
                    rigid = std::atoi(message.second.c_str() + at + 12);
            const ExactResponse still = ResponseAt(m, 0);
            if (rigid > 0 || free)
                judge.Take(ElasticCompliance(m, free ? 2 : rigid), value.cast<Complex>());
            else if (still.H.value.allFinite())
                judge.Take({still.H.value, still.H.bound.cwiseMax(still.byInverse)},
                           value.cast<Complex>(),
                           m.C.cwiseAbs() * still.X.value.cwiseAbs() + m.D.cwiseAbs());
            else
                judge.Take({value.cast<Complex>(), 0.0 * value},  // A is singular
                           MatrixXcd::Constant(value.rows(), value.cols(), kInfinity));
        } catch (const Error&) {
            table.Warned(one.family, m.name, kInfinity);
            continue;
        }
        const bool doubted = std::any_of(told.begin(), told.end(), [](const auto& message) {
            return message.second.find("nearly singular") != std::string::npos;
        });
        if (doubted)
            table.Warned(one.family, m.name, judge.Verdict().error);
        else
            table.Add(one.family, m.name, judge.Verdict());
    }
}

}  // namespace

void SurveySystems(Table& table, Extent extent) {
    const std::vector<Case> cases = Cases(extent);
    SurveyTransferFunctions(table, cases);
    SurveyMotions(table, cases);
    SurveyDensities(table, cases);
    SurveyParticipation(table, cases);
    SurveyCompliance(table, cases);
}

}  // namespace ZEMRA::Vibration::accuracy
