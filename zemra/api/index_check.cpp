#include "zemra/api/index_check.h"

#include "zemra/message/message.h"

using ZEMRA::Vibration::Error;
using ZEMRA::Vibration::Matrix;
using ZEMRA::Vibration::Matrix1D;
using ZEMRA::Vibration::System;

namespace {

constexpr char kOutputRange[] = ": output channel index (%d) out of range (0, %d)";
constexpr char kInputRange[] = ": input channel index (%d) out of range (0, %d)";
constexpr char kFrequencyRange[] = ": frequency index (%d) out of range (0, %d)";
constexpr char kFrequencyMatrix[] = ": Invalid input Frequency matrix";

bool CheckIndex(const std::string& operation, const char* range, int index, int extent) {
    if (index >= 0 && index < extent) return true;
    (Error(operation + range) << index << extent - 1).Print();
    return false;
}

}  // namespace

bool CheckOCIndex(const std::string& operation, const System& model, int index) {
    return CheckIndex(operation, kOutputRange, index, model.Outputs());
}

bool CheckICIndex(const std::string& operation, const System& model, int index) {
    return CheckIndex(operation, kInputRange, index, model.Inputs());
}

bool CheckModalIndex(const std::string& operation, const System& model, int index) {
    return CheckIndex(operation, kInputRange, index, model.ABCDMatrix('C').Size(1));
}

bool CheckFrIndex(const std::string& operation, const Matrix& freq, int index) {
    if (dynamic_cast<const Matrix1D<double>*>(&freq))
        return CheckIndex(operation, kFrequencyRange, index, freq.Size(0));
    Error(operation + kFrequencyMatrix).Print();
    return false;
}
