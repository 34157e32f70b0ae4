#include "zemra/api/zmapi_actuator.h"

#include <vector>

#include "zemra/api/guarded.h"
#include "zemra/system/actuator.h"

using ZEMRA::Vibration::Actuator;
using ZEMRA::Vibration::Error;
using ZEMRA::Vibration::Matrix1D;
using ZEMRA::Vibration::RotatingMass;

namespace {

constexpr char kEvaluateNotVector[] = "ZmAPI_Actuator::Evaluate : Omega not a vector";
constexpr char kEvalPSDNotVector[] = "ZmAPI_Actuator::EvalPSD : Omega not a vector";

using Owned = std::unique_ptr<Actuator>;

// A core actuator, or none with a message when the type letter is unknown.
Owned Build(char type, ActuatorFunc func, unsigned long long size, const void* data, bool psd,
            const std::vector<const Actuator*>& cross = {}) {
    return Guarded(Owned(), [&] {
        return std::make_unique<Actuator>(type, func, size, data, psd,
                                          static_cast<int>(cross.size()), cross.data());
    });
}

Owned BuildPhasor(char type, double magnitude, double phaseDegrees) {
    const double phasor[] = {magnitude, toRAD(phaseDegrees)};
    return Build(type, ZEMRA::Vibration::ssFunc, sizeof phasor, phasor, false);
}

// Evaluates over a frequency vector; one complex zero without an actuator or a vector.
template <typename Evaluation>
ZmAPI_Matrix OverFrequencies(const Actuator* actuator, const ZmAPI_Matrix& w,
                             const char* notVector, Evaluation evaluate) {
    const ZmAPI_Complex zero;
    if (!actuator) return {1, &zero};
    // Evaluated on a copy: a callback of the host may assign to its matrix.
    if (const auto* const vector = dynamic_cast<const Matrix1D<double>*>(&w.GetMatrix()))
        return ZmAPI_Matrix(evaluate(*actuator, Matrix1D<double>(*vector)));
    Error(notVector).Print();
    return {1, &zero};
}

}  // namespace

ZmAPI_Actuator::ZmAPI_Actuator() = default;

ZmAPI_Actuator::ZmAPI_Actuator(char type, ActuatorFunc func, unsigned long long size,
                               const void* data)
    : impl_(Build(type, func, size, data, false)) {}

ZmAPI_Actuator::ZmAPI_Actuator(char type, double magnitude, double phaseDegrees)
    : impl_(BuildPhasor(type, magnitude, phaseDegrees)) {}

ZmAPI_Actuator::ZmAPI_Actuator(bool useUnitFactor, bool onRealAxis, double value1,
                               double value2, double scale) {
    const RotatingMass mass{useUnitFactor, onRealAxis, value1, value2, scale};
    impl_ = Build('F', ZEMRA::Vibration::rmFunc, sizeof mass, &mass, false);
}

ZmAPI_Actuator::ZmAPI_Actuator(char type, ActuatorFunc func, unsigned long long size,
                               const void* data, int nCross,
                               const ZmAPI_Actuator* const* cross) {
    std::vector<const Actuator*> list;
    for (int i = 0; cross && i < nCross; ++i)
        list.push_back(cross[i] ? cross[i]->GetActuator() : nullptr);
    impl_ = Build(type, func, size, data, true, list);
}

ZmAPI_Actuator::ZmAPI_Actuator(const Actuator& actuator)
    : impl_(std::make_unique<Actuator>(actuator)) {}

ZmAPI_Actuator::ZmAPI_Actuator(const ZmAPI_Actuator& other)
    : ZmAPI(other), impl_(other.impl_ ? std::make_unique<Actuator>(*other.impl_) : nullptr) {}

ZmAPI_Actuator& ZmAPI_Actuator::operator=(const ZmAPI_Actuator& other) {
    if (this != &other) impl_ = std::move(ZmAPI_Actuator(other).impl_);
    return *this;
}

ZmAPI_Actuator::~ZmAPI_Actuator() = default;

char ZmAPI_Actuator::DVAType() const { return impl_ ? impl_->DVAType() : '0'; }
bool ZmAPI_Actuator::PSD() const { return impl_ && impl_->PSD(); }
bool ZmAPI_Actuator::HasCrossActuator(int i) const {
    return impl_ && impl_->HasCrossActuator(i);
}

ZmAPI_Actuator ZmAPI_Actuator::CrossActuator(int i) const {
    const Actuator* const cross = impl_ ? impl_->CrossActuator(i) : nullptr;
    return cross ? ZmAPI_Actuator(*cross) : ZmAPI_Actuator('F', 0.0, 0.0);
}

ZmAPI_Complex ZmAPI_Actuator::Evaluate(double w) const {
    return impl_ ? ZmAPI_Complex(impl_->Evaluate(w)) : ZmAPI_Complex();
}

ZmAPI_Complex ZmAPI_Actuator::EvalPSD(double w, double dw) const {
    return impl_ ? ZmAPI_Complex(impl_->EvalPSD(w, dw)) : ZmAPI_Complex();
}

ZmAPI_Matrix ZmAPI_Actuator::Evaluate(const ZmAPI_Matrix& w) const {
    return OverFrequencies(impl_.get(), w, kEvaluateNotVector,
                           [](const Actuator& a, const auto& f) { return a.Evaluate(f); });
}

ZmAPI_Matrix ZmAPI_Actuator::EvalPSD(const ZmAPI_Matrix& w) const {
    return OverFrequencies(impl_.get(), w, kEvalPSDNotVector,
                           [](const Actuator& a, const auto& f) { return a.EvalPSD(f); });
}

const Actuator* ZmAPI_Actuator::GetActuator() const { return impl_.get(); }
