#pragma once

#include <complex>

#include "zemra/api/zmapi_base.h"

/// A complex number with magnitude and phase operations; phases are in degrees.
class ZM_API ZmAPI_Complex : public ZmAPI {
  public:
    ZmAPI_Complex();
    ZmAPI_Complex(double re, double im);
    ZmAPI_Complex(const ZmAPI_Complex&);
    ~ZmAPI_Complex() override;

    ZmAPI_Complex& operator=(const ZmAPI_Complex&);
    /// v + 0i.
    ZmAPI_Complex& operator=(double v);
    ZmAPI_Complex& operator+=(const ZmAPI_Complex& other);

    double real() const;
    double imag() const;
    const std::complex<double>& GetComplex() const;

    /// √(re² + im²).
    double Mag() const;
    /// The angle in degrees, between −180 and 180.
    double Phase() const;
    /// Sets the value from a magnitude and a phase in degrees, and returns the object.
    ZmAPI_Complex& byMP(double mag, double phase);

  private:
    friend class ZmAPI_Matrix;
    friend class ZmAPI_Actuator;
    explicit ZmAPI_Complex(const std::complex<double>& value);

    std::complex<double> value_;
};

/// Both parts times d.
ZM_API ZmAPI_Complex operator*(const ZmAPI_Complex& z, double d);

/// Radians to degrees and back.
ZM_API double toDEG(double rad);
ZM_API double toRAD(double deg);
