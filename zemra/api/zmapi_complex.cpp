#include "zemra/api/zmapi_complex.h"

#include <cmath>

namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

}  // namespace

ZmAPI_Complex::ZmAPI_Complex() = default;
ZmAPI_Complex::ZmAPI_Complex(double re, double im) : value_(re, im) {}
ZmAPI_Complex::ZmAPI_Complex(const std::complex<double>& value) : value_(value) {}
ZmAPI_Complex::ZmAPI_Complex(const ZmAPI_Complex&) = default;
ZmAPI_Complex& ZmAPI_Complex::operator=(const ZmAPI_Complex&) = default;
ZmAPI_Complex::~ZmAPI_Complex() = default;

ZmAPI_Complex& ZmAPI_Complex::operator=(double v) {
    value_ = v;
    return *this;
}

ZmAPI_Complex& ZmAPI_Complex::operator+=(const ZmAPI_Complex& other) {
    value_ += other.value_;
    return *this;
}

double ZmAPI_Complex::real() const { return value_.real(); }
double ZmAPI_Complex::imag() const { return value_.imag(); }
const std::complex<double>& ZmAPI_Complex::GetComplex() const { return value_; }

double ZmAPI_Complex::Mag() const { return std::sqrt(real() * real() + imag() * imag()); }

double ZmAPI_Complex::Phase() const { return toDEG(std::atan2(imag(), real())); }

ZmAPI_Complex& ZmAPI_Complex::byMP(double mag, double phase) {
    const double angle = toRAD(phase);
    value_ = {mag * std::cos(angle), mag * std::sin(angle)};
    return *this;
}

ZmAPI_Complex operator*(const ZmAPI_Complex& z, double d) {
    return {z.real() * d, z.imag() * d};
}

double toDEG(double rad) { return rad * kDegreesPerRadian; }
double toRAD(double deg) { return deg / kDegreesPerRadian; }
