#include "zemra/api/system_queries.h"

#include "zemra/api/core_values.h"
#include "zemra/api/guarded.h"
#include "zemra/api/index_check.h"

using ZEMRA::Vibration::Error;
using ZEMRA::Vibration::Matrix1D;
using ZEMRA::Vibration::System;

namespace {

constexpr char kInvalidInput[] = ": Invalid input";

// A copy: a callback of the host may assign to its matrix.
Matrix1D<double> RealVector(const ZmAPI_Matrix& freq, const std::string& operation) {
    if (const auto* w = dynamic_cast<const Matrix1D<double>*>(&freq.GetMatrix())) return *w;
    throw Error(operation + kInvalidInput);
}

}  // namespace

std::string SystemQueries::Operation(const char* name) const {
    return std::string(owner_) + "::" + name;
}

template <typename Query>
ZmAPI_Matrix SystemQueries::OverFrequencies(const char* name, const ZmAPI_Matrix& freq,
                                            Query query) const {
    if (!model_) return NeutralMatrix();
    return Guarded(NeutralMatrix(),
                   [&] { return ZmAPI_Matrix(query(RealVector(freq, Operation(name)))); });
}

ZmAPI_Matrix SystemQueries::TransferFunction(const ZmAPI_Matrix& freq) const {
    return OverFrequencies(
        "TransferFunction",
        freq, [&](const auto& w) -> const auto& { return model_->TransferFunction(w); });
}

ZmAPI_Matrix SystemQueries::FrequencyResponse(const ZmAPI_Matrix& freq) const {
    return OverFrequencies(
        "FrequencyResponse",
        freq, [&](const auto& w) -> const auto& { return model_->FrequencyResponse(w); });
}

ZmAPI_Matrix SystemQueries::MCT(const ZmAPI_Matrix& freq, bool withActuators) const {
    return OverFrequencies(
        "MCT",
        freq, [&](const auto& w) -> const auto& { return model_->MCT(w, withActuators); });
}

ZmAPI_Matrix SystemQueries::PSD(double w, double dw) const {
    if (!model_) return NeutralMatrix();
    return Guarded(NeutralMatrix(), [&] { return ZmAPI_Matrix(model_->PSD(w, dw)); });
}

ZmAPI_Complex SystemQueries::PSD(int output, double w, double dw) const {
    if (!model_) return {};
    return Guarded(ZmAPI_Complex(), [&] {
        if (!CheckOCIndex(Operation("PSD"), *model_, output)) return ZmAPI_Complex();
        return ToHost(model_->PSD(output, w, dw));
    });
}

bool SystemQueries::CheckMPF(int input, int output, int freqIndex, int mode,
                             const ZmAPI_Matrix& freq) const {
    const std::string name = Operation("MPF");
    return (input < 0 || CheckICIndex(name, *model_, input)) &&
           (output < 0 || CheckOCIndex(name, *model_, output)) &&
           (freqIndex < 0 || CheckFrIndex(name, freq.GetMatrix(), freqIndex)) &&
           (mode < 0 || CheckModalIndex(name, *model_, mode));
}

ZmAPI_Matrix SystemQueries::MPF(int input, int output, int freqIndex, int mode,
                                const ZmAPI_Matrix& freq, bool project) const {
    if (!model_) return NeutralMatrix();
    return Guarded(NeutralMatrix(), [&] {
        if (!CheckMPF(input, output, freqIndex, mode, freq)) return NeutralMatrix();
        const Matrix1D<double> w = RealVector(freq, Operation("MPF"));
        return ZmAPI_Matrix(model_->MPF(input, output, freqIndex, mode, w, project));
    });
}

ZmAPI_Matrix SystemQueries::ModalMatrix(char which) const {
    if (!model_) return NeutralMatrix();
    return Guarded(NeutralMatrix(), [&] { return ZmAPI_Matrix(model_->ABCDMatrix(which)); });
}

ZmAPI_Actuator SystemQueries::Actuator(int i) const {
    if (!model_ || !CheckICIndex(Operation("Actuator"), *model_, i))
        return ZmAPI_Actuator('F', 0.0, 0.0);
    return ZmAPI_Actuator(model_->Actuator(i));
}
