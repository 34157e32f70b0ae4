#include "zemra/toolbox/fd_data.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "zemra/message/message.h"

namespace ZEMRA::Vibration {
namespace {

constexpr char kFourColumns[] =
    "ZmAPI_ToolBox::FDElementID: Data must have four columns not %d.";
constexpr char kNotReal[] = "ZmAPI_ToolBox::FDElementID: Data must be a real matrix.";
constexpr char kNoRows[] = "ZmAPI_ToolBox::FDElementID: Data must have at least one row.";
constexpr char kNotFinite[] =
    "ZmAPI_ToolBox::FDElementID: Row %d gives no finite stiffness and frequency.";

constexpr double kDegrees = 57.29577951308232;  // in a radian
constexpr double kTwoPi = 2 * 3.141592653589793;

}  // namespace

FDData::FDData(const Matrix& data) {
    if (data.Size(1) != 4) throw Error(kFourColumns) << data.Size(1);
    const auto* const rows = dynamic_cast<const Matrix2D<double>*>(&data);
    if (!rows) throw Error(kNotReal);
    if (rows->Size(0) == 0) throw Error(kNoRows);
    omega_ = Matrix1D<double>(rows->Size(0));
    H_ = Matrix1D<Complex>(rows->Size(0));
    for (int j = 0; j < Points(); ++j) {
        const double* const row = rows->Row(j).Data();
        const double magnitude = row[2] / row[0];
        const double phase = row[3] / kDegrees;
        omega_(j) = kTwoPi * row[1];
        H_(j) = {magnitude * std::cos(phase), magnitude * std::sin(phase)};
        if (!std::isfinite(omega_(j)) || !std::isfinite(H_(j).real()) ||
            !std::isfinite(H_(j).imag()))
            throw Error(kNotFinite) << j;
    }
}

double FDData::LargestStiffness() const {
    double largest = 0.0;
    for (int j = 0; j < Points(); ++j) largest = std::max(largest, std::abs(H_(j)));
    return largest;
}

FDData FDData::Scaled(double factor) const {
    FDData scaled = *this;
    for (int j = 0; j < Points(); ++j) scaled.H_(j) *= factor;
    return scaled;
}

// The division is written out without protection against overflow of squares: this runs some
// ten thousand times for one element, and would take most of the time of an identification.
double FDData::SquaredError(const FDParameters& p) const {
    const FDSeriesForm e(p);
    const double* const omega = omega_.Data();
    const Complex* const H = H_.Data();
    double sum = 0.0;
    for (int j = 0; j < Points(); ++j) {
        const double w = omega[j];
        double re = e.K - H[j].real();
        double im = w * e.C - H[j].imag();
        if (e.R != 0.0) {
            const double wC2 = w * e.C2;
            const double wCs = w * e.Cs;
            const double square = e.Ks * e.Ks + wCs * wCs;
            if (std::isinf(square)) return square;  // the quotient would vanish, and fit
            if (square > 0.0) {
                const double factor = e.R / square;
                re += factor * (e.K2 * e.Ks + wC2 * wCs);
                im += factor * (wC2 * e.Ks - e.K2 * wCs);
            } else {
                re += e.R * e.C2 / e.Cs;
            }
        }
        sum += re * re + im * im;
    }
    return std::isfinite(sum) ? sum : std::numeric_limits<double>::infinity();
}

}  // namespace ZEMRA::Vibration
