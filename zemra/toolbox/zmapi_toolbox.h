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

    /// The complex dynamic stiffness of a frequency-dependent element (a bushing, a mount) at
    /// the n angular frequencies omega, a real vector in rad/s:
    ///
    ///   H(w) = K0 + iwC0 + (K1 + iwC1)·(K2 + iwC2) / ((K1 + K2) + iw(C1 + C2))
    ///
    /// a spring K0 and a damper C0 in parallel with two spring-damper pairs in series; pairs of
    /// zeros are absent. A complex vector of n values; with magnitudePhase a real n × 2 matrix,
    /// a magnitude and a phase in degrees a row. Stiffness is in the unit of K0, C0 in that
    /// unit times a second. For any other omega the error that Value(int) gives is printed and
    /// the result is a 1 × 1 zero.
    static ZmAPI_Matrix FDEvaluate(double K0, double C0, double K1, double C1, double K2,
                                   double C2, const ZmAPI_Matrix& omega, bool magnitudePhase);

    /// The same for E elements, E the size of K0; element e has the e-th value of each real
    /// vector. A complex n × E matrix, column e for element e; with magnitudePhase a real
    /// n × 2E matrix, columns 2e and 2e + 1 for its magnitude and phase. For a parameter that
    /// is no real vector, or has fewer than E values, the error that Value(int) gives is
    /// printed and the result is a 1 × 1 zero.
    static ZmAPI_Matrix FDEvaluate(ZmAPI_Matrix& K0, ZmAPI_Matrix& C0, ZmAPI_Matrix& K1,
                                   ZmAPI_Matrix& C1, ZmAPI_Matrix& K2, ZmAPI_Matrix& C2,
                                   const ZmAPI_Matrix& omega, bool magnitudePhase);

    /// The element that fits measured stiffness best, in the sum of |H − measured|²: a real
    /// vector K0, C0, K1, C1, K2, C2 for FDEvaluate.
    ///
    /// Each row of data, a real matrix, is one measurement: a divisor a (a displacement, or 1),
    /// the frequency in Hz, a magnitude b (a force), a phase in degrees; the stiffness is b/a
    /// at that phase. Rows are best in ascending order of frequency: the starting values take
    /// the first rows for the lowest and the last row for the highest. The parameters are not
    /// unique: compare elements by their stiffness.
    ///
    /// A printed error is answered with six zeros:
    /// "ZmAPI_ToolBox::FDElementID: Data must have four columns not %d.",
    /// "ZmAPI_ToolBox::FDElementID: Data must be a real matrix.",
    /// "ZmAPI_ToolBox::FDElementID: Data must have at least one row.",
    /// "ZmAPI_ToolBox::FDElementID: Row %d gives no finite stiffness and frequency.",
    /// "ZmAPI_ToolBox::FDElementID: No element with a finite error was found.".
    static ZmAPI_Matrix FDElementID(const ZmAPI_Matrix& data);

    /// The frequency of line index of a transform of nPoints samples dt apart:
    /// index/(nPoints·dt), in Hz for dt in seconds; times 2π, in rad/s, without hertz. Not
    /// finite when nPoints·dt is 0.
    static double Frequency(int index, int nPoints, double dt, bool hertz);
};
