#include "zemra/api/zmapi_system_ss.h"

#include "zemra/api/guarded.h"
#include "zemra/api/model_dump.h"
#include "zemra/api/system_queries.h"
#include "zemra/system/compliance.h"
#include "zemra/system/force_system_ss.h"

using ZEMRA::Vibration::ForceSystemSS;
using ZEMRA::Vibration::Matrix1D;
using ZEMRA::Vibration::Matrix2D;
using ZEMRA::Vibration::System;

namespace {

constexpr char kNotAForce[] =
    "ZmAPI_SystemSS: Actuator %d is of type %c, only force actuators [F] are supported.";
constexpr char kNoModel[] = "ZmAPI_SystemSS::GetSystem: No model";

using CoreActuators = Matrix1D<const ZEMRA::Vibration::Actuator*>;

const Matrix2D<double>* Dense(const ZmAPI_Matrix& m) {
    return dynamic_cast<const Matrix2D<double>*>(&m.GetMatrix());
}

// The core actuators of the first n handles, or false when one is missing.
bool Collect(int n, const ZmAPI_Actuator* const* handles, CoreActuators& actuators) {
    if (!handles) return false;
    actuators = CoreActuators(n);
    for (int k = 0; k < n; ++k) {
        actuators(k) = handles[k] ? handles[k]->GetActuator() : nullptr;
        if (!actuators(k)) return false;
    }
    return true;
}

void RequireForces(const CoreActuators& actuators) {
    for (int k = 0; k < actuators.Size(0); ++k)
        if (const char type = actuators(k)->DVAType(); type != 'F')
            throw ZEMRA::Vibration::Error(kNotAForce) << k << type;
}

SystemQueries Queries(const std::unique_ptr<System>& model) {
    return {model.get(), "ZmAPI_SystemSS"};
}

}  // namespace

ZmAPI_SystemSS::ZmAPI_SystemSS(double time, const ZmAPI_Matrix& A, const ZmAPI_Matrix& B,
                               const ZmAPI_Matrix& C, const ZmAPI_Matrix& D,
                               const ZmAPI_Actuator* const* actuators) {
    DumpModel(A, B, C, D);
    const auto* const a = Dense(A);
    const auto* const b = Dense(B);
    const auto* const c = Dense(C);
    const auto* const d = Dense(D);
    CoreActuators list;
    if (!a || !b || !c || !d || !Collect(b->Size(1), actuators, list)) return;
    model_ = Guarded(std::unique_ptr<System>(), [&]() -> std::unique_ptr<System> {
        RequireForces(list);
        return std::make_unique<ForceSystemSS>(time, *a, *b, *c, *d, list);
    });
}

ZmAPI_SystemSS::ZmAPI_SystemSS(const ZmAPI_SystemSS& other)
    : ZmAPI(other), model_(other.model_ ? other.model_->Copy() : nullptr) {}

ZmAPI_SystemSS& ZmAPI_SystemSS::operator=(const ZmAPI_SystemSS& other) {
    if (this != &other) model_ = std::move(ZmAPI_SystemSS(other).model_);
    return *this;
}

ZmAPI_SystemSS::~ZmAPI_SystemSS() = default;

ZmAPI_Matrix ZmAPI_SystemSS::TransferFunction(const ZmAPI_Matrix& freq) {
    return Queries(model_).TransferFunction(freq);
}

ZmAPI_Matrix ZmAPI_SystemSS::FrequencyResponse(const ZmAPI_Matrix& freq) {
    return Queries(model_).FrequencyResponse(freq);
}

ZmAPI_Matrix ZmAPI_SystemSS::PSD(double w, double dw) { return Queries(model_).PSD(w, dw); }

ZmAPI_Complex ZmAPI_SystemSS::PSD(int output, double w, double dw) {
    return Queries(model_).PSD(output, w, dw);
}

ZmAPI_Matrix ZmAPI_SystemSS::MCT(const ZmAPI_Matrix& freq, bool withActuators) {
    return Queries(model_).MCT(freq, withActuators);
}

ZmAPI_Matrix ZmAPI_SystemSS::MPF(int input, int output, int freqIndex, int mode,
                                 const ZmAPI_Matrix& freq, bool project) {
    return Queries(model_).MPF(input, output, freqIndex, mode, freq, project);
}

ZmAPI_Matrix ZmAPI_SystemSS::ModalMatrix(char which) const {
    return Queries(model_).ModalMatrix(which);
}

ZmAPI_Matrix ZmAPI_SystemSS::ComplianceMatrix() const {
    if (!model_) return NeutralMatrix();
    return Guarded(NeutralMatrix(), [&] {
        return ZmAPI_Matrix(ZEMRA::Vibration::ComplianceMatrix(
            model_->ABCDMatrix('A'), model_->ABCDMatrix('B'), model_->ABCDMatrix('C'),
            model_->ABCDMatrix('D')));
    });
}

ZmAPI_Actuator ZmAPI_SystemSS::Actuator(int i) const { return Queries(model_).Actuator(i); }
int ZmAPI_SystemSS::Outputs() const { return Queries(model_).Outputs(); }
int ZmAPI_SystemSS::Inputs() const { return Queries(model_).Inputs(); }
double ZmAPI_SystemSS::Time() const { return Queries(model_).Time(); }
bool ZmAPI_SystemSS::Error() const { return !model_; }

const System& ZmAPI_SystemSS::GetSystem() const {
    if (!model_) throw ZEMRA::Vibration::Error(kNoModel);
    return *model_;
}
