#pragma once

#include <utility>

#include "zemra/api/zmapi_matrix.h"
#include "zemra/matrix/matrix2d.h"
#include "zemra/message/message.h"

/// The answer in place of a matrix that could not be computed: 1 × 1, real, 0.
inline ZmAPI_Matrix NeutralMatrix() {
    return ZmAPI_Matrix(ZEMRA::Vibration::Matrix2D<double>(1, 1));
}

/// The one place where a core failure ends: runs work() and returns its result; an Error that
/// leaves it is printed and answered with the neutral value. So is an Error that a callback of
/// the host throws; its other exceptions, and lack of memory, pass through.
template <typename T, typename Work>
T Guarded(T neutral, Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const ZEMRA::Vibration::Error& error) {
        error.Print();
        return neutral;
    }
}
