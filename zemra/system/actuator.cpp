#include "zemra/system/actuator.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <string_view>

#include "zemra/matrix/kernels.h"
#include "zemra/message/message.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kUnknownType[] = "Vibration Actuator unknown type: %c must be [F, D, V, A].";

std::unique_ptr<const Actuator> CopyOf(const Actuator* actuator) {
    return actuator ? std::make_unique<const Actuator>(*actuator) : nullptr;
}

}  // namespace

template class Matrix1D<Actuator>;
template class Matrix1D<const Actuator*>;

Actuator::Actuator(char type, ActuatorFunc func, unsigned long long size, const void* data,
                   bool psd, int nCross, const Actuator* const* cross)
    : func_(func), dvaType_(type), isPSD_(psd) {
    if (std::string_view("FDVA").find(type) == std::string_view::npos)
        throw Error(kUnknownType) << type;
    CopyData(data, size);
    for (int i = 0; cross && i < nCross; ++i) cross_.push_back(CopyOf(cross[i]));
}

Actuator::Actuator(const Actuator& other)
    : func_(other.func_), dvaType_(other.dvaType_), isPSD_(other.isPSD_) {
    CopyData(other.data_.get(), other.dataSize_);
    cross_.reserve(other.cross_.size());
    for (const auto& cross : other.cross_) cross_.push_back(CopyOf(cross.get()));
}

Actuator& Actuator::operator=(const Actuator& other) {
    if (this != &other) *this = Actuator(other);
    return *this;
}

void Actuator::CopyData(const void* data, unsigned long long size) {
    if (!data || size == 0) return;
    data_.reset(new std::byte[size]);
    std::memcpy(data_.get(), data, size);
    dataSize_ = size;
}

const Actuator* Actuator::CrossActuator(int i) const {
    const auto slot = static_cast<std::size_t>(i);
    return i >= 0 && slot < cross_.size() ? cross_[slot].get() : nullptr;
}

bool Actuator::HasCrossActuator(int i) const {
    return i < 0 ? !cross_.empty() : CrossActuator(i) != nullptr;
}

Complex Actuator::Evaluate(double w) const {
    double re = 0.0;
    double im = 0.0;
    if (func_) func_(dataSize_, data_.get(), w, &re, &im);
    return {re, im};
}

Complex Actuator::EvalPSD(double w, double dw) const {
    const Complex z = Evaluate(w);
    return isPSD_ ? z : Product(z, z) * 0.5 / dw;
}

Matrix1D<Complex> Actuator::Evaluate(const Matrix1D<double>& w) const {
    Matrix1D<Complex> result(w.Size(0));
    for (int i = 0; i < w.Size(0); ++i) result(i) = Evaluate(w(i));
    return result;
}

Matrix1D<Complex> Actuator::EvalPSD(const Matrix1D<double>& w) const {
    const int n = w.Size(0);
    Matrix1D<Complex> result(n);
    if (n == 0) return result;
    const double dw = (w(n - 1) - w(0)) * 0.5 / std::numbers::pi;
    for (int i = 0; i < n; ++i) result(i) = EvalPSD(w(i), dw);
    return result;
}

void ssFunc(unsigned long long, void* data, double, double* re, double* im) {
    const auto* const phasor = static_cast<const double*>(data);
    *re = phasor[0] * std::cos(phasor[1]);
    *im = phasor[0] * std::sin(phasor[1]);
}

void rmFunc(unsigned long long, void* data, double w, double* re, double* im) {
    const auto& mass = *static_cast<const RotatingMass*>(data);
    const double f = mass.useUnitFactor ? 1.0 : mass.scale;
    const double m = mass.value2 * mass.value1 * w * w * f;
    *re = mass.onRealAxis ? m : 0.0;
    *im = mass.onRealAxis ? 0.0 : -m;
}

}  // namespace ZEMRA::Vibration
