#pragma once

#include "zemra/api/zmapi_matrix.h"

/// Signal tools beside the models: spectra of sampled time histories and frequency-dependent
/// elements. Every operation is static; an object holds nothing.
class ZM_API ZmAPI_ToolBox : public ZmAPI {
  public:
    /// The taper over the points of a transform, t = (j − (n − 1)/2)/((n + 1)/2) running from
    /// near −1 to near 1.
    enum eWindow : int {
        WINDOW_NONE = 0,     ///< all weights 1
        WINDOW_HAMMING = 1,  ///< 0.54 − 0.46·cos(2πj/(n − 1))
        WINDOW_HANNING = 2,  ///< 0.5·(1 − cos(2πj/(n − 1)))
        WINDOW_PARZEN = 3,   ///< the triangle 1 − |t|
        WINDOW_WELCH = 4     ///< the parabola 1 − t²
    };

    ZmAPI_ToolBox();
    ZmAPI_ToolBox(const ZmAPI_ToolBox&);
    ZmAPI_ToolBox& operator=(const ZmAPI_ToolBox&);
    ~ZmAPI_ToolBox() override;

    /// The spectrum of each column of data, a real or complex matrix of one sample a row: a
    /// complex matrix of one line a row, X_k = Σ_j x_j·e^(−2πi·jk/nfft), k = 0 … nfft/2 for
    /// real data, 0 … nfft − 1 for complex data. Not scaled: in the unit of the samples.
    ///
    /// Of each column the first nfft samples are taken, or all, followed by zeros; with detrend
    /// their straight line of least squares is taken off first; then the window over the
    /// samples taken is applied. Any nfft > 1 will do; a large prime factor makes it slow.
    ///
    /// A printed error is answered with a 1 × 1 zero:
    /// "FFT: Input matrix must be 1D or 2D real or complex." for any other container, vectors
    /// included; "FFT: number of data points must be > 1." for fewer samples or a smaller nfft;
    /// "FFT: Window type not known.".
    static ZmAPI_Matrix FFT(const ZmAPI_Matrix& data, int nfft, bool detrend, eWindow window);

    /// The averaged power spectrum of each column of data: a real matrix of one line a row, the
    /// mean over nSegments windowed segments of |X_k|²/M, in the square of the samples' unit.
    /// M is the nearest integer to N/nSegments, N the number of rows, plus half of nOverlap,
    /// rounded up; lines as for nfft = M. A segment starts M − nOverlap samples after the one
    /// before, the last one so that it ends with the data; samples beyond the data count as 0.
    /// For the one-sided density per Hz of real samples dt seconds apart take
    /// 2·dt·P_k/(mean of the squared window), and half of it at line 0 and, for an even M, the
    /// last.
    ///
    /// Errors as for FFT; too few points are M < 2, which fewer than one segment gives as well.
    static ZmAPI_Matrix PSD(const ZmAPI_Matrix& data, eWindow window, int nSegments,
                            int nOverlap);

    /// The frequency of line index of a transform of nPoints samples dt apart:
    /// index/(nPoints·dt), in Hz for dt in seconds; times 2π, in rad/s, without hertz. Not
    /// finite when nPoints·dt is 0.
    static double Frequency(int index, int nPoints, double dt, bool hertz);
};
