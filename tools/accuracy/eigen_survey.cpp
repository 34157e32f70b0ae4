#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <set>

#include "tests/support/captured_messages.h"
#include "tests/support/dumped_models.h"
#include "tests/support/eigen_reference.h"
#include "tests/support/eigen_zoo.h"
#include "tests/support/model_zoo.h"
#include "tests/support/pencils.h"
#include "tools/accuracy/exact.h"
#include "tools/accuracy/surveys.h"
#include "zemra/eigen/balance.h"
#include "zemra/eigen/eigen_problem.h"

namespace ZEMRA::Vibration::accuracy {
namespace {

struct Case {
    std::string family, name;
    MatrixXd A;
};

std::string FamilyOf(const std::string& kind) {
    static const std::map<std::string, std::vector<std::string>> families{
        {"dense", {"Dense"}},
        {"triangular", {"UpperTriangular", "LowerTriangular", "Diagonal", "ZeroOneTriangle"}},
        {"free body", {"FreeBodies", "FreeBeside", "FreeDriven", "FreeDriving"}},
        {"chain", {"Mechanical", "FloatingChain", "DashpotsOnly"}},
        {"nearly defective", {"ComplexJordan", "NearlySingular", "Growing"}},
        {"textbook", {"Frank", "Grcar", "Kahan", "Companion", "Cyclic"}},
        {"badly scaled", {"ScaledRows", "ScaledColumns", "ScaledBoth", "ScaledSimilar"}}};
    for (const auto& [family, kinds] : families)
        if (std::find(kinds.begin(), kinds.end(), kind) != kinds.end()) return family;
    return "defective";
}

std::vector<Case> Cases(Extent extent) {
    std::vector<Case> cases;
    for (int i = 0; const tests::EigenCase& one : tests::EigenZoo())
        if (extent == Extent::kWhole || i++ % 8 == 0)
            cases.push_back({FamilyOf(one.name.substr(0, one.name.find('_'))), one.name,
                             tests::ToEigen(one.A)});
    for (unsigned seed = 1; seed <= (extent == Extent::kWhole ? 20u : 2u); ++seed) {
        for (const tests::Mechanism& one : tests::Mechanisms(seed))
            cases.push_back({one.family, one.name, one.InFirstOrder().A});
        for (const auto& [family, model] : tests::FirstOrderModels(seed))
            cases.push_back({family, model.name, model.A});
    }
    if (extent == Extent::kShort) return cases;
    for (const tests::Model& model : tests::DumpedModels())
        if (model.A.rows() <= 250) cases.push_back({"collected model", model.name, model.A});
    if (const auto folder = tests::DataFolder("matrices"); !folder.empty())
        for (const char* const name :
             {"bfwa62", "bwm200", "ck104", "fs_183_6", "gre_216b", "impcol_c", "lop163",
              "lund_a", "olm100", "rdb200", "rotor1", "west0132", "wingbeam_k"})
            cases.push_back({"collected matrix", name,
                             tests::ReadMatrixMarket(folder / (std::string(name) + ".mtx"))});
    return cases;
}

EigenProblem Solved(const MatrixXd& A) {
    EigenProblem problem(tests::ToCore(A));
    problem.Solve(/*noVectors=*/false);
    return problem;
}

VectorXcd VectorOf(const EigenProblem& problem, int i) {
    return VectorXcd::NullaryExpr(problem.Eigenvectors(), [&](Index k) {
        return problem.Eigenvector(i, static_cast<int>(k));
    });
}

VectorXcd ValuesOf(const EigenProblem& problem) {
    return VectorXcd::NullaryExpr(problem.Eigenvalues(), [&](Index i) {
        return problem.Eigenvalue(static_cast<int>(i));
    });
}

// X⁻¹·A·X by the library's balancing: X is a permutation times powers of 16.
struct Balanced {
    MatrixXd A, X;

    explicit Balanced(const MatrixXd& matrix)
        : A(matrix), X(MatrixXd::Identity(matrix.rows(), matrix.cols())) {
        const int n = static_cast<int>(A.rows());
        ::Eigen::VectorXd scale(n);
        const CoupledBlock block = Balance({n, A.data()}, scale.data());
        BackBalance(block, scale.data(), {n, X.data()});
    }
};

double NormInf(const MatrixXd& A) { return A.cwiseAbs().rowwise().sum().maxCoeff(); }

// What residuals of A of order n are held to.
double ResidualBound(const MatrixXd& A) {
    return 20.0 * static_cast<double>(A.rows() + 10) * kEpsilon;
}

// The largest residual of an ordinary vector and of a member of a chain, each by
// ‖A‖·‖v‖ in balanced coordinates.
struct Residuals {
    Worst vectors, chains;
    int links = 0;

    Residuals(const Case& one, const EigenProblem& problem) {
        const Balanced balanced(one.A);
        const MatrixXd inverse = balanced.X.partialPivLu().inverse();
        const double norm = std::max(NormInf(balanced.A), std::numeric_limits<double>::min());
        const auto size = [&](const VectorXcd& x) {
            return (inverse * x).cwiseAbs().maxCoeff();
        };
        for (int i = 0; i < problem.Eigenvalues(); ++i) {
            const VectorXcd v = VectorOf(problem, i);
            const int p = problem.Defective(i);
            const VectorXcd previous = p != i ? VectorOf(problem, p) : 0.0 * v;
            const double residual = size(ResidualOf(one.A, problem.Eigenvalue(i), v, previous));
            (p != i ? chains : vectors).Take(residual / (norm * size(v)), ResidualBound(one.A));
            links += p != i;
        }
    }
};

// The eigenvalues in extended precision, each in the place of its nearest in double. Where the
// two differ by more than the shift, as for defective ones, whose s is rounding itself, the
// shift is that much.
void Sharpen(tests::ReferenceEigenvalues& reference, const MatrixXd& A) {
    const VectorXcd exact = ExactEigenvalues(Balanced(A).A);
    std::vector<std::complex<double>> left(exact.begin(), exact.end());
    for (Index i = 0; i < reference.values.size(); ++i) {
        std::complex<double>& value = reference.values(i);
        const auto nearest = std::ranges::min_element(
            left, {}, [&](const auto& x) { return std::abs(x - value); });
        reference.shifts(i) = std::max(reference.shifts(i), std::abs(value - *nearest));
        value = *nearest;
        left.erase(nearest);
    }
}

// ---- Chains, from the ranks of (A − λI)^k in exact arithmetic modulo a prime.

constexpr std::uint64_t kPrime = (std::uint64_t{1} << 61) - 1;

std::uint64_t Times(std::uint64_t a, std::uint64_t b) {
    __extension__ using Wide = unsigned __int128;
    return static_cast<std::uint64_t>(Wide{a} * b % kPrime);
}

using Residues = std::vector<std::vector<std::uint64_t>>;

int Rank(Residues m) {
    int rank = 0;
    const std::size_t n = m.size();
    for (std::size_t column = 0; column < n; ++column) {
        std::size_t pivot = static_cast<std::size_t>(rank);
        while (pivot < n && m[pivot][column] == 0) ++pivot;
        if (pivot == n) continue;
        std::swap(m[pivot], m[static_cast<std::size_t>(rank)]);
        const auto& row = m[static_cast<std::size_t>(rank)];
        std::uint64_t inverse = 1;  // by Fermat: x^(p − 2)
        for (std::uint64_t power = row[column], e = kPrime - 2; e > 0; e >>= 1) {
            if (e & 1) inverse = Times(inverse, power);
            power = Times(power, power);
        }
        for (std::size_t i = static_cast<std::size_t>(rank) + 1; i < n; ++i) {
            const std::uint64_t f = Times(m[i][column], inverse);
            for (std::size_t j = column; j < n && f != 0; ++j)
                m[i][j] = (m[i][j] + kPrime - Times(f, row[j])) % kPrime;
        }
        ++rank;
    }
    return rank;
}

// The lengths of the Jordan chains of a whole eigenvalue, in ascending order.
std::multiset<int> ChainLengths(const MatrixXd& A, double lambda) {
    const std::size_t n = static_cast<std::size_t>(A.rows());
    Residues shifted(n, std::vector<std::uint64_t>(n));
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            const double x =
                A(static_cast<Index>(i), static_cast<Index>(j)) - (i == j ? lambda : 0.0);
            const auto whole = static_cast<std::int64_t>(x);
            shifted[i][j] = whole < 0 ? kPrime - static_cast<std::uint64_t>(-whole)
                                      : static_cast<std::uint64_t>(whole);
        }
    Residues power = shifted;
    std::vector<int> ranks{static_cast<int>(n), Rank(power)};
    while (ranks.back() != ranks[ranks.size() - 2]) {
        Residues next(n, std::vector<std::uint64_t>(n));
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t k = 0; k < n; ++k)
                for (std::size_t j = 0; j < n && power[i][k] != 0; ++j)
                    next[i][j] = (next[i][j] + Times(power[i][k], shifted[k][j])) % kPrime;
        power = next;
        ranks.push_back(Rank(power));
    }
    std::multiset<int> lengths;
    for (std::size_t k = 1; k + 1 < ranks.size(); ++k) {
        const int longer = k + 2 < ranks.size() ? ranks[k] - ranks[k + 1] : 0;
        for (int i = longer; i < ranks[k - 1] - ranks[k]; ++i)
            lengths.insert(static_cast<int>(k));
    }
    return lengths;
}

bool IsWhole(const MatrixXd& A) {
    return (A.array() == A.array().round()).all() && A.cwiseAbs().maxCoeff() < 1e6;
}

// Whether the chains of every whole real eigenvalue that was found are those of exact
// arithmetic.
bool HasTheChains(const MatrixXd& A, const EigenProblem& problem) {
    std::map<double, std::multiset<int>> found;
    for (int i = 0; i < problem.Eigenvalues(); ++i) {
        const Complex lambda = problem.Eigenvalue(i);
        const double whole = std::round(lambda.real());
        if (std::abs(lambda - whole) > 1e-3) continue;
        if (lambda != whole) {
            found[whole].insert(0);  // near it, which no chain can be
            continue;
        }
        if (problem.Defective(i) != i) continue;
        int length = 1;
        while (i + length < problem.Eigenvalues() &&
               problem.Defective(i + length) != i + length)
            ++length;
        found[whole].insert(length);
    }
    return std::all_of(found.begin(), found.end(), [&](const auto& one) {
        return one.second == ChainLengths(A, one.first);
    });
}

void SurveyPencils(Table& table, Extent extent) {
    std::vector<tests::Pencil> pencils = tests::PencilZoo();
    if (extent == Extent::kShort)
        std::erase_if(pencils, [](const auto& one) { return one.A.rows() > 15; });
    const auto family = [](const tests::Pencil& one) {
        const std::string name = one.name.substr(0, one.name.find_first_of("0123456789"));
        static const std::map<std::string, std::string> families{
            {"Random", "dense"},
            {"Standard", "dense"},
            {"Mechanical", "mass and stiffness"},
            {"Massless", "nodes without mass"},
            {"MasslessMixed", "nodes without mass"},
            {"RankOne", "singular B"},
            {"SingularA", "singular A"},
            {"DefectiveAtZero", "defective"},
            {"DefectiveAtInfinity", "defective"},
            {"Repeated", "repeated"},
            {"Constrained", "constraints with multipliers"}};
        const auto found = families.find(name);
        return found == families.end() ? "collected" : found->second;
    };
    std::vector<EigenProblem> solved;
    for (const tests::Pencil& one : pencils) {
        solved.emplace_back(tests::ToCore(one.A), tests::ToCore(one.B));
        solved.back().Solve(/*noVectors=*/false);
    }

    table.Begin("Vectors of the generalized problem",
                "‖A·v − λ·B·v‖ by (‖A‖ + |λ|·‖B‖)·‖v‖, for finite λ",
                "20·n·ε, the rounding of n-fold orthogonal transformations");
    for (std::size_t k = 0; k < pencils.size(); ++k) {
        const MatrixXd &A = pencils[k].A, &B = pencils[k].B;
        Worst worst;
        for (int i = 0; i < solved[k].Eigenvalues(); ++i) {
            const Complex lambda = solved[k].Eigenvalue(i);
            if (std::isinf(lambda.real())) continue;
            const VectorXcd v = VectorOf(solved[k], i);
            worst.Take((A * v - lambda * (B * v)).norm() /
                           ((A.norm() + std::abs(lambda) * B.norm()) * v.norm()),
                       20.0 * static_cast<double>(A.rows()) * kEpsilon);
        }
        table.Add(family(pencils[k]), pencils[k].name, worst);
    }

    table.Begin(
        "Eigenvalues of the generalized problem",
        "the sine of the angle between (α, β) of λ = α/β, where infinity is a value like "
        "any other, from LAPACK's",
        "10·n times the shift that one rounding of A and B causes, "
        "ε·‖x‖·‖y‖/|(yᴴAx, yᴴBx)|");
    for (std::size_t k = 0; k < pencils.size(); ++k) {
        const MatrixXd &A = pencils[k].A, &B = pencils[k].B;
        const double scale = B.norm() / A.norm();
        std::vector<tests::Ratio> ours;
        for (int i = 0; i < solved[k].Eigenvalues(); ++i) {
            const Complex lambda = solved[k].Eigenvalue(i);
            ours.push_back(std::isinf(lambda.real()) ? tests::Ratio(1, 0)
                                                     : tests::Ratio(scale * lambda, 1));
        }
        const tests::PencilReference reference(pencils[k]);
        if (reference.values.size() != ours.size()) continue;  // LAPACK gave up
        Worst worst;
        for (const auto& value : reference.values) {
            const double shift = value.first;
            const tests::Ratio& expected = value.second;
            const auto nearest = std::ranges::min_element(
                ours, {}, [&](const auto& ratio) { return Distance(ratio, expected); });
            worst.Take(Distance(*nearest, expected),
                       10.0 * static_cast<double>(A.rows()) * shift);
            ours.erase(nearest);
        }
        table.Add(family(pencils[k]), pencils[k].name, worst);
    }
}

}  // namespace

void SurveyEigenProblems(Table& table, Extent extent) {
    const std::vector<Case> cases = Cases(extent);
    std::vector<EigenProblem> solved;
    for (const Case& one : cases) solved.push_back(Solved(one.A));

    table.Begin(
        "Eigenvectors",
        "the largest component of A·v − λ·v by ‖A‖·‖v‖, in the coordinates of the balanced "
        "matrix",
        "20·(n + 10)·ε: the rounding of a reduction of n steps, whose elementary "
        "transformations may let elements grow a little");
    std::vector<Residuals> residuals;
    for (std::size_t k = 0; k < cases.size(); ++k) {
        residuals.emplace_back(cases[k], solved[k]);
        table.Add(cases[k].family, cases[k].name, residuals[k].vectors);
    }

    table.Begin("Chains of eigenvectors",
                "the same of A·v − λ·v − v′, where v′ is the vector before v in its chain",
                "the same");
    for (std::size_t k = 0; k < cases.size(); ++k)
        if (residuals[k].links > 0)
            table.Add(cases[k].family, cases[k].name, residuals[k].chains);

    table.Begin(
        "Lengths of chains",
        "1 for a matrix of whole numbers where the chains of a whole eigenvalue are not "
        "those of the Jordan form, from ranks modulo 2⁶¹ − 1, else 0",
        "nothing: only eigenvalues that come out equal to the last bit can form chains, "
        "and rounding parts some of them",
        1.0);
    for (std::size_t k = 0; k < cases.size(); ++k)
        if (IsWhole(cases[k].A)) {
            Worst worst;
            worst.Take(HasTheChains(cases[k].A, solved[k]) ? 0.0 : 1.0, 0.5);
            table.Add(cases[k].family, cases[k].name, worst);
        }

    table.Begin(
        "Eigenvalues",
        "the shift that one rounding of the balanced matrix causes, ε·‖A‖/s with the "
        "cosine s between left and right vector, or the difference of LAPACK's value from that "
        "of QR in extended precision, whichever is larger; from the latter",
        "20·(n + 10), as the vectors are");
    for (std::size_t k = 0; k < cases.size(); ++k) {
        tests::ReferenceEigenvalues reference(cases[k].A);
        Sharpen(reference, cases[k].A);
        Worst worst;
        worst.Take(reference.DistanceOf(ValuesOf(solved[k])),
                   ResidualBound(cases[k].A) / kEpsilon);
        table.Add(cases[k].family, cases[k].name, worst);
    }

    SurveyPencils(table, extent);
}

}  // namespace ZEMRA::Vibration::accuracy
