#include "zemra/api/zmapi_eigen_problem.h"

#include <utility>

#include "zemra/api/core_values.h"
#include "zemra/api/guarded.h"
#include "zemra/eigen/eigen_problem.h"

using ZEMRA::Vibration::EigenProblem;
using ZEMRA::Vibration::Matrix2D;

namespace {

constexpr char kNotDense[] = "ZmAPI_EigenProblem: Non dense matrix";

// The problem of one dense matrix or of two; none, with a message, for anything else.
template <typename... Handles>
std::unique_ptr<EigenProblem> Build(const Handles&... handles) {
    const auto build = [](const auto*... matrices) -> std::unique_ptr<EigenProblem> {
        if ((matrices && ...)) return std::make_unique<EigenProblem>(*matrices...);
        ZEMRA::Vibration::Error(kNotDense).Print();
        return nullptr;
    };
    return build(dynamic_cast<const Matrix2D<double>*>(&handles.GetMatrix())...);
}

}  // namespace

ZmAPI_EigenProblem::ZmAPI_EigenProblem(const ZmAPI_Matrix& A) : problem_(Build(A)) {}

ZmAPI_EigenProblem::ZmAPI_EigenProblem(const ZmAPI_Matrix& A, const ZmAPI_Matrix& B)
    : problem_(Build(A, B)) {}

ZmAPI_EigenProblem::ZmAPI_EigenProblem(const ZmAPI_EigenProblem& other)
    : ZmAPI(other),
      problem_(other.problem_ ? std::make_unique<EigenProblem>(*other.problem_) : nullptr) {}

ZmAPI_EigenProblem& ZmAPI_EigenProblem::operator=(const ZmAPI_EigenProblem& other) {
    if (this != &other) problem_ = std::move(ZmAPI_EigenProblem(other).problem_);
    return *this;
}

ZmAPI_EigenProblem::~ZmAPI_EigenProblem() = default;

int ZmAPI_EigenProblem::Solve(bool noVectors) {
    if (!problem_) return -1;
    return Guarded(0, [&] { return problem_->Solve(noVectors); });
}

int ZmAPI_EigenProblem::Eigenvalues() const { return problem_ ? problem_->Eigenvalues() : 0; }
int ZmAPI_EigenProblem::Eigenvectors() const { return problem_ ? problem_->Eigenvectors() : 0; }

int ZmAPI_EigenProblem::Defective(int i) const {
    return problem_ ? problem_->Defective(i) : -1;
}

ZmAPI_Complex ZmAPI_EigenProblem::Eigenvalue(int i, bool cycles) const {
    if (!problem_) return {};
    return ToHost(problem_->Eigenvalue(i), cycles);
}

ZmAPI_Complex ZmAPI_EigenProblem::Eigenvector(int which, int i) const {
    if (!problem_) return {};
    const auto component = [&] { return ToHost(problem_->Eigenvector(which, i)); };
    return problem_->HasVectors() ? component() : Guarded(ZmAPI_Complex(), component);
}

void ZmAPI_EigenProblem::Eigenvector(int which, ZmAPI_Complex* out) const {
    for (int k = 0; out && k < Eigenvectors(); ++k) out[k] = Eigenvector(which, k);
}

double ZmAPI_EigenProblem::CheckEigenVector(int i, bool flag) const {
    if (!problem_) return -1.0;
    const auto residual = [&] { return problem_->CheckEigenVector(i, flag); };
    const bool isMissing = i >= 0 && i < Eigenvalues() && !problem_->HasVectors();
    return isMissing ? Guarded(-1.0, residual) : residual();
}

const EigenProblem* ZmAPI_EigenProblem::GetEigenProblem() const { return problem_.get(); }
