#pragma once

#include <memory>

#include "zemra/system/force_system_ss.h"

namespace ZEMRA::Vibration::tests {

/// A state-space model that counts the frequencies that it solves one by one, together with its
/// copies and with whoever else has its counter.
class CountingModel : public ForceSystemSS {
  public:
    explicit CountingModel(const ForceSystemSS& model,
                           std::shared_ptr<int> solves = std::make_shared<int>(0))
        : ForceSystemSS(model), solves_(std::move(solves)) {}
    using System::FrequencyResponse;
    int Solves() const { return *solves_; }

  private:
    std::shared_ptr<int> solves_;

    void FrequencyResponse(double w, Matrix2D<Complex>& H, bool statesOnly) override {
        ++*solves_;
        ForceSystemSS::FrequencyResponse(w, H, statesOnly);
    }
};

}  // namespace ZEMRA::Vibration::tests
