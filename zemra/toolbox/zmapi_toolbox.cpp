#include "zemra/toolbox/zmapi_toolbox.h"

#include "zemra/api/guarded.h"
#include "zemra/toolbox/spectrum.h"

namespace {

constexpr double kTwoPi = 6.283185307179586;

}  // namespace

ZmAPI_ToolBox::ZmAPI_ToolBox() = default;
ZmAPI_ToolBox::ZmAPI_ToolBox(const ZmAPI_ToolBox&) = default;
ZmAPI_ToolBox& ZmAPI_ToolBox::operator=(const ZmAPI_ToolBox&) = default;
ZmAPI_ToolBox::~ZmAPI_ToolBox() = default;

ZmAPI_Matrix ZmAPI_ToolBox::FFT(const ZmAPI_Matrix& data, int nfft, bool detrend,
                                eWindow window) {
    return Guarded(NeutralMatrix(), [&] {
        ZEMRA::Vibration::cFFT transform;
        return ZmAPI_Matrix(transform.fft(data.GetMatrix(), nfft, detrend, window));
    });
}

ZmAPI_Matrix ZmAPI_ToolBox::PSD(const ZmAPI_Matrix& data, eWindow window, int nSegments,
                                int nOverlap) {
    return Guarded(NeutralMatrix(), [&] {
        ZEMRA::Vibration::cFFT transform;
        return ZmAPI_Matrix(transform.psd(data.GetMatrix(), window, nSegments, nOverlap));
    });
}

double ZmAPI_ToolBox::Frequency(int index, int nPoints, double dt, bool hertz) {
    const double frequency = index / (nPoints * dt);
    return hertz ? frequency : frequency * kTwoPi;
}
