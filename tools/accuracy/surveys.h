#pragma once

#include "tools/accuracy/table.h"

namespace ZEMRA::Vibration::accuracy {

/// How much is solved: a few seconds of it, or all.
enum class Extent { kShort, kWhole };

/// Eigenvalues, vectors and chains, of matrices and of pencils.
void SurveyEigenProblems(Table& table, Extent extent);
/// What models answer: transfer functions by every road, spectral densities, participation,
/// compliance.
void SurveySystems(Table& table, Extent extent);
/// Spectra of samples, and frequency-dependent elements.
void SurveySignals(Table& table, Extent extent);

}  // namespace ZEMRA::Vibration::accuracy
