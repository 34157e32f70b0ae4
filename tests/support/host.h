#pragma once

#include <Eigen/Dense>
#include <string>
#include <vector>

#include "zemra/zmapi.h"

namespace ZEMRA::Vibration::tests {

inline ZmAPI_Matrix ToHost(const Eigen::MatrixXd& m) {
    return {static_cast<int>(m.rows()), static_cast<int>(m.cols()), m.data()};
}

/// A matrix, or with a slot that of a stack.
inline Eigen::MatrixXcd FromHost(const ZmAPI_Matrix& m, int slot = -1) {
    const int dim = slot < 0 ? 0 : 1;
    Eigen::MatrixXcd result(m.Size(dim), m.Size(dim + 1));
    for (int i = 0; i < m.Size(dim); ++i)
        for (int j = 0; j < m.Size(dim + 1); ++j)
            result(i, j) = (dim == 0 ? m.ValueC(i, j) : m.ValueC(slot, i, j)).GetComplex();
    return result;
}

struct EmptyHandle : ZmAPI_Actuator {};

/// One actuator of magnitude k + 1 for each type letter, as the constructors take them.
class HostActuators {
  public:
    explicit HostActuators(const std::string& types) {
        owned_.reserve(types.size());
        for (const char type : types)
            owned_.emplace_back(type, static_cast<double>(owned_.size() + 1), 0.0);
        handles_.reserve(types.size());
        for (const ZmAPI_Actuator& actuator : owned_) handles_.push_back(&actuator);
    }
    HostActuators(const HostActuators&) = delete;
    HostActuators& operator=(const HostActuators&) = delete;
    operator const ZmAPI_Actuator* const*() const { return handles_.data(); }

  private:
    std::vector<ZmAPI_Actuator> owned_;
    std::vector<const ZmAPI_Actuator*> handles_;
};

/// Whether an answer is the one in place of a failure.
inline bool Neutral(const ZmAPI_Matrix& m) {
    return m.Real() && m.Size(0) == 1 && m.Size(1) == 1 && m.Size(2) == 0 && m.Value(0, 0) == 0;
}
inline bool Neutral(const ZmAPI_Complex& z) { return z.GetComplex() == 0.0; }
inline bool Neutral(const ZmAPI_Actuator& a) {
    return a.DVAType() == 'F' && Neutral(a.Evaluate(1));
}

}  // namespace ZEMRA::Vibration::tests
