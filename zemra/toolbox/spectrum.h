#pragma once

#include <memory>

#include "zemra/matrix/matrix2d.h"
#include "zemra/toolbox/fftpack/complex_to_complex.h"
#include "zemra/toolbox/fftpack/real_to_complex.h"
#include "zemra/toolbox/zmapi_toolbox.h"

namespace ZEMRA::Vibration {

/// Spectra of the columns of a matrix: one signal a column, one sample a row. Owns its last
/// result and the transform of one call, which serves all columns and segments.
///
/// A spectrum of M real points has the lines 0 … M/2, one of complex points 0 … M − 1. The
/// reference answered is good until the next call, and a call that throws leaves no result.
///
/// Both throw Error
///   "FFT: Input matrix must be 1D or 2D real or complex." unless data is a dense real or
///       complex matrix (a vector is none),
///   "FFT: number of data points must be > 1." for fewer points to transform, or to window,
///   "FFT: Window type not known.".
class cFFT {
  public:
    cFFT() = default;
    cFFT(const cFFT&) = delete;
    cFFT& operator=(const cFFT&) = delete;
    ~cFFT() = default;

    /// Lines × columns, complex: X_k = Σ_j x_j·e^(−2πi·jk/nfft), not scaled, of the first
    /// min(nfft, rows) samples, less their straight line of least squares with detrend, times
    /// the window over them, and followed by zeros up to nfft.
    const Matrix& fft(const Matrix& data, int nfft, bool detrend,
                      ZmAPI_ToolBox::eWindow window);

    /// Lines × columns, real: the mean of |X_k|²/M over nSegments windowed segments of
    /// M = psdNumPoints(rows, nSegments, nOverlap) points. Segment s starts at sample
    /// (M − nOverlap)·s, the last one so that it ends with the last sample; samples that do not
    /// exist count as 0. No detrending, no correction for the window, no one-sided doubling.
    /// Welch, IEEE Trans. Audio Electroacoust. 15 (1967) 70–73.
    const Matrix& psd(const Matrix& data, ZmAPI_ToolBox::eWindow window, int nSegments,
                      int nOverlap);

    /// nPoints/nSegments, rounded to the nearest integer, halves up, plus nOverlap/2,
    /// truncated, plus 1 for an odd overlap of either sign. 0 for fewer than one segment.
    static int psdNumPoints(int nPoints, int nSegments, int nOverlap);

  private:
    std::unique_ptr<Matrix> result_;
    std::unique_ptr<fftpack::real_to_complex<double, Complex>> ofReal_;
    std::unique_ptr<fftpack::complex_to_complex<double, Complex>> ofComplex_;

    template <typename T>
    Matrix2D<Complex> Spectra(const Matrix2D<T>& data, int nfft, bool detrend,
                              ZmAPI_ToolBox::eWindow window);
    template <typename T>
    Matrix2D<double> Densities(const Matrix2D<T>& data, ZmAPI_ToolBox::eWindow window,
                               int nSegments, int nOverlap);

    void Prepare(int n, const Matrix2D<double>& data);
    void Prepare(int n, const Matrix2D<Complex>& data);
    void Transform(int n, const Matrix1D<double>& x, std::vector<Complex>& lines);
    void Transform(int n, const Matrix1D<Complex>& x, std::vector<Complex>& lines);
    const double* TransformInPlace(Matrix1D<double>& x);
    const double* TransformInPlace(Matrix1D<Complex>& x);
    // Transform the first n values of x with the transform prepared; answer the line count.
    int RealFFT(int n, const Matrix1D<double>& x, Complex* out);
    int ComplexFFT(int n, const Matrix1D<Complex>& x, Complex* out);
};

}  // namespace ZEMRA::Vibration
