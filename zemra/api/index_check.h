#pragma once

#include <string>

#include "zemra/matrix/matrix.h"
#include "zemra/system/system.h"

/// Checks of the indices that a host passes to a system. Each takes the name of the operation,
/// prints an Error that begins with it when the index is out of range, and returns whether it
/// is in range.

/// ": output channel index (%d) out of range (0, %d)"
bool CheckOCIndex(const std::string& operation, const ZEMRA::Vibration::System& model,
                  int index);
/// ": input channel index (%d) out of range (0, %d)"
bool CheckICIndex(const std::string& operation, const ZEMRA::Vibration::System& model,
                  int index);
/// The same text, for a mode number against the columns of C.
bool CheckModalIndex(const std::string& operation, const ZEMRA::Vibration::System& model,
                     int index);
/// ": frequency index (%d) out of range (0, %d)", or ": Invalid input Frequency matrix" when
/// freq is not a real vector.
bool CheckFrIndex(const std::string& operation, const ZEMRA::Vibration::Matrix& freq,
                  int index);
