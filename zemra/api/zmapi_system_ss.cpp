#include "zemra/api/zmapi_system_ss.h"

#include "zemra/api/guarded.h"
#include "zemra/api/model_builder.h"
#include "zemra/api/model_dump.h"
#include "zemra/api/system_queries.h"
#include "zemra/system/compliance.h"

using ZEMRA::Vibration::System;

namespace {

constexpr char kName[] = "ZmAPI_SystemSS";
constexpr char kNoModel[] = "ZmAPI_SystemSS::GetSystem: No model";

SystemQueries Queries(const std::unique_ptr<System>& model) { return {model.get(), kName}; }

}  // namespace

ZmAPI_SystemSS::ZmAPI_SystemSS(double time, const ZmAPI_Matrix& A, const ZmAPI_Matrix& B,
                               const ZmAPI_Matrix& C, const ZmAPI_Matrix& D,
                               const ZmAPI_Actuator* const* actuators) {
    DumpModel(A, B, C, D);
    const auto* const a = Dense(A);
    const auto* const b = Dense(B);
    const auto* const c = Dense(C);
    const auto* const d = Dense(D);
    if (!a || !b || !c || !d) return;
    model_ = Guarded(std::unique_ptr<System>(), [&] {
        return BuildStateSpaceModel(time, {*a, *b, *c, *d},
                                    CollectActuators(kName, b->Size(1), actuators));
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
