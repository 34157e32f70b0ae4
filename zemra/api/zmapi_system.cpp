#include "zemra/api/zmapi_system.h"

#include "zemra/api/core_values.h"
#include "zemra/api/guarded.h"
#include "zemra/api/model_builder.h"
#include "zemra/api/model_dump.h"
#include "zemra/api/system_queries.h"
#include "zemra/api/zmapi_eigen_problem.h"
#include "zemra/api/zmapi_system_ss.h"
#include "zemra/system/force_system_ms.h"
#include "zemra/system/kinematic_system_ms.h"

using ZEMRA::Vibration::EigenProblem;
using ZEMRA::Vibration::ForceSystemMS;
using ZEMRA::Vibration::KinematicSystemMS;
using ZEMRA::Vibration::MatrixSparse2D;
using ZEMRA::Vibration::System;

namespace {

constexpr char kName[] = "ZmAPI_System";
constexpr char kNotDense[] = "ZmAPI_System: Non dense matrix";

using Model = std::unique_ptr<System>;

SystemQueries Queries(const Model& model) { return {model.get(), kName}; }

Model Build(double time, const ZmAPI_Matrix& A, const ZmAPI_Matrix& B, const ZmAPI_Matrix& C,
            const ZmAPI_Matrix& D, const ZmAPI_Actuator* const* handles, int nModes,
            const int* modes, const EigenProblem* eigen) {
    const auto* const a = Dense(A);
    const auto* const modal = dynamic_cast<const MatrixSparse2D<double>*>(&A.GetMatrix());
    const auto* const b = Dense(B);
    const auto* const c = Dense(C);
    const auto* const d = Dense(D);
    if (!b || !c || !d || !(a || (modal && eigen))) throw ZEMRA::Vibration::Error(kNotDense);

    const CoreActuators actuators = CollectActuators(kName, b->Size(1), handles);
    if (a) return BuildModalModel(time, {*a, *b, *c, *d}, actuators, nModes, modes, eigen);
    if (AnyMotion(actuators)) throw ZEMRA::Vibration::Error(kNotDense);
    return std::make_unique<ForceSystemMS>(time, *modal, *b, *c, *d, actuators, *eigen);
}

// Calls query with the model as what it is, one of the two modal classes.
template <typename Query>
decltype(auto) WithModalModel(const System& model, Query query) {
    if (const auto* const force = dynamic_cast<const ForceSystemMS*>(&model))
        return query(*force);
    return query(dynamic_cast<const KinematicSystemMS&>(model));
}

const EigenProblem& EigenOf(const System& model) {
    return WithModalModel(
        model, [](const auto& modal) -> const EigenProblem& { return modal.Eigen(); });
}

}  // namespace

ZmAPI_System::ZmAPI_System(double time, const ZmAPI_Matrix& A, const ZmAPI_Matrix& B,
                           const ZmAPI_Matrix& C, const ZmAPI_Matrix& D,
                           const ZmAPI_Actuator* const* actuators, int nModes, const int* modes,
                           const ZmAPI_EigenProblem* eigen) {
    DumpModel(A, B, C, D);
    model_ = Guarded(Model(), [&] {
        return Build(time, A, B, C, D, actuators, nModes, modes,
                     eigen ? eigen->GetEigenProblem() : nullptr);
    });
}

ZmAPI_System::ZmAPI_System(const ZmAPI_SystemSS& ss)
    : model_(ss.Error() ? nullptr
                        : Guarded(Model(), [&] { return ConvertToModal(ss.GetSystem()); })) {}

ZmAPI_System::ZmAPI_System(const ZmAPI_System& other)
    : ZmAPI(other), model_(other.model_ ? other.model_->Copy() : nullptr) {}

ZmAPI_System& ZmAPI_System::operator=(const ZmAPI_System& other) {
    if (this != &other) model_ = std::move(ZmAPI_System(other).model_);
    return *this;
}

ZmAPI_System::~ZmAPI_System() = default;

ZmAPI_Matrix ZmAPI_System::TransferFunction(const ZmAPI_Matrix& freq) {
    return Queries(model_).TransferFunction(freq);
}

ZmAPI_Matrix ZmAPI_System::FrequencyResponse(const ZmAPI_Matrix& freq) {
    return Queries(model_).FrequencyResponse(freq);
}

ZmAPI_Matrix ZmAPI_System::PSD(double w, double dw) { return Queries(model_).PSD(w, dw); }

ZmAPI_Complex ZmAPI_System::PSD(int output, double w, double dw) {
    return Queries(model_).PSD(output, w, dw);
}

ZmAPI_Matrix ZmAPI_System::MCT(const ZmAPI_Matrix& freq, bool withActuators) {
    return Queries(model_).MCT(freq, withActuators);
}

ZmAPI_Matrix ZmAPI_System::MPF(int input, int output, int freqIndex, int mode,
                               const ZmAPI_Matrix& freq, bool project) {
    return Queries(model_).MPF(input, output, freqIndex, mode, freq, project);
}

ZmAPI_Matrix ZmAPI_System::ModalMatrix(char which) const {
    if (!model_ || which != 'A') return Queries(model_).ModalMatrix(which);
    return ZmAPI_Matrix(WithModalModel(
        *model_, [](const auto& modal) -> const auto& { return modal.AMatrix(); }));
}

ZmAPI_Actuator ZmAPI_System::Actuator(int i) const { return Queries(model_).Actuator(i); }
int ZmAPI_System::Outputs() const { return Queries(model_).Outputs(); }
int ZmAPI_System::Inputs() const { return Queries(model_).Inputs(); }
double ZmAPI_System::Time() const { return Queries(model_).Time(); }
bool ZmAPI_System::Error() const { return !model_; }

int ZmAPI_System::Eigenvalues() const { return model_ ? EigenOf(*model_).Eigenvalues() : 0; }

ZmAPI_Complex ZmAPI_System::Eigenvalue(int i, bool hertz) const {
    if (!model_) return {};
    return Guarded(ZmAPI_Complex(),
                   [&] { return ToHost(EigenOf(*model_).Eigenvalue(i), hertz); });
}

ZmAPI_Complex ZmAPI_System::Eigenvector(int i, int j) const {
    if (!model_) return {};
    return Guarded(ZmAPI_Complex(), [&] { return ToHost(EigenOf(*model_).Eigenvector(i, j)); });
}

void ZmAPI_System::Eigenvector(int i, ZmAPI_Complex* out) const {
    if (!model_ || !out) return;
    const EigenProblem& eigen = EigenOf(*model_);
    Guarded(false, [&] {
        for (int j = 0; j < eigen.Eigenvalues(); ++j) out[j] = ToHost(eigen.Eigenvector(i, j));
        return true;
    });
}

int ZmAPI_System::Defective(int i) const { return model_ ? EigenOf(*model_).Defective(i) : 0; }

double ZmAPI_System::CheckEigenVector(int i, bool flag) const {
    if (!model_) return -1.0;
    return Guarded(-1.0, [&] { return EigenOf(*model_).CheckEigenVector(i, flag); });
}
