#pragma once

#include <string>

#include "zemra/api/zmapi_actuator.h"
#include "zemra/system/system.h"

/// The queries that every interface system answers from its model: the checks of the host's
/// arguments, the model's answer as an interface value, and the neutral value with a printed
/// message in place of a failure. Without a model, the neutral value without a message.
class SystemQueries {
  public:
    ///   model  borrowed; may be null
    ///   owner  the interface class, with which the messages begin
    SystemQueries(ZEMRA::Vibration::System* model, const char* owner)
        : model_(model), owner_(owner) {}

    ZmAPI_Matrix TransferFunction(const ZmAPI_Matrix& freq) const;
    ZmAPI_Matrix FrequencyResponse(const ZmAPI_Matrix& freq) const;
    ZmAPI_Matrix PSD(double w, double dw) const;
    ZmAPI_Complex PSD(int output, double w, double dw) const;
    ZmAPI_Matrix MCT(const ZmAPI_Matrix& freq, bool withActuators) const;
    ZmAPI_Matrix MPF(int input, int output, int freqIndex, int mode, const ZmAPI_Matrix& freq,
                     bool project) const;
    ZmAPI_Matrix ModalMatrix(char which) const;
    ZmAPI_Actuator Actuator(int i) const;
    int Outputs() const { return model_ ? model_->Outputs() : 0; }
    int Inputs() const { return model_ ? model_->Inputs() : 0; }
    double Time() const { return model_ ? model_->Time() : 0.0; }

  private:
    ZEMRA::Vibration::System* model_;
    const char* owner_;

    std::string Operation(const char* name) const;
    template <typename Query>
    ZmAPI_Matrix OverFrequencies(const char* name, const ZmAPI_Matrix& freq, Query query) const;
    bool CheckMPF(int input, int output, int freqIndex, int mode,
                  const ZmAPI_Matrix& freq) const;
};
