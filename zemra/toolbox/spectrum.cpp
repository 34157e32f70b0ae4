#include "zemra/toolbox/spectrum.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "zemra/matrix/kernel_set.h"
#include "zemra/matrix/kernels.h"
#include "zemra/message/message.h"
#include "zemra/toolbox/window.h"

namespace ZEMRA::Vibration {

namespace {

constexpr char kBadMatrix[] = "FFT: Input matrix must be 1D or 2D real or complex.";
constexpr char kTooFewPoints[] = "FFT: number of data points must be > 1.";
constexpr char kNoDetrend[] = "FFT: Detrend not possible check input data points.";
constexpr char kRealPoints[] = "RealFFT: Point miss match.";
constexpr char kComplexPoints[] = "ComplexFFT: Point miss match.";
constexpr char kRealLines[] = "FFT: Real point length miss match.";
constexpr char kComplexLines[] = "FFT: Complex point length miss match.";

int Lines(int n, const Matrix2D<double>&) { return n / 2 + 1; }
int Lines(int n, const Matrix2D<Complex>&) { return n; }

const fftpack::kernels& TransformKernels() {
    return OneOf(ChosenKernels(), fftpack::baseline_kernels, fftpack::avx2_kernels);
}

// The weights of n points, computed once for all that they are applied to; none without a
// window.
Matrix1D<double> Weights(ZmAPI_ToolBox::eWindow window, int n) {
    const std::unique_ptr<cWindow> taper = MakeWindow(window, n);
    if (!taper) return {};
    Matrix1D<double> weights(n);
    for (int j = 0; j < n; ++j) weights(j) = taper->Window(j);
    return weights;
}

template <typename T>
void Apply(const Matrix1D<double>& weights, Matrix1D<T>& y) {
    for (int j = 0; j < weights.Size(0); ++j) y(j) = Product(y(j), weights(j));
}

// Takes the straight line of least squares off the first m points.
template <typename T>
void Detrend(int m, Matrix1D<T>& y) {
    double t = 0.0, tt = 0.0;
    T sum{}, moment{};
    for (int j = 0; j < m; ++j) {
        const double tj = j;
        t += tj;
        tt += tj * tj;
        sum += y(j);
        moment += Product(tj, y(j));
    }
    const double determinant = m * tt - t * t;
    if (determinant == 0.0) throw Error(kNoDetrend);
    const T slope = (Product(static_cast<double>(m), moment) - Product(t, sum)) / determinant;
    const T intercept = (Product(tt, sum) - Product(t, moment)) / determinant;
    for (int j = 0; j < m; ++j) y(j) -= Product(static_cast<double>(j), slope) + intercept;
}

// Samples from place `first` of a segment on, which begins at row start of a column; zero where
// there is no such row.
template <typename T>
void Extract(const Matrix2D<T>& data, int column, std::int64_t start, int first,
             Matrix1D<T>& x) {
    const std::int64_t n = x.Size(0), ncols = data.Size(1);
    const std::int64_t begin = std::clamp<std::int64_t>(-start, first, n);
    const std::int64_t end = std::clamp<std::int64_t>(data.Size(0) - start, begin, n);
    std::fill(x.Data() + first, x.Data() + begin, T{});
    if (const T* const samples = data.Elements()) {
        for (std::int64_t j = begin; j < end; ++j)
            x.Data()[j] = samples[(start + j) * ncols + column];
    } else {
        for (std::int64_t j = begin; j < end; ++j)
            x.Data()[j] = data.Row(static_cast<int>(start + j)).Data()[column];
    }
    std::fill(x.Data() + end, x.Data() + n, T{});
}

// Segments of n samples of the columns, as they stand in memory where they do so side by side.
// Else neighbours share those in which they overlap: to visit a row costs more than to
// transform what it holds.
template <typename T>
class SegmentReader {
  public:
    SegmentReader(const Matrix2D<T>& data, int n)
        : data_(data), signal_(data.Size(1) == 1 ? data.Elements() : nullptr), x_(n) {}

    // From row start on, zero where there is no such row.
    const T* Read(int column, std::int64_t start) {
        const std::int64_t n = x_.Size(0), advance = start - start_;
        if (signal_ && start >= 0 && start + n <= data_.Size(0)) return signal_ + start;
        std::int64_t kept = 0;
        if (column == column_ && advance >= 0 && advance < n) {
            kept = n - advance;
            std::copy_n(x_.Data() + advance, kept, x_.Data());
        }
        Extract(data_, column, start, static_cast<int>(kept), x_);
        column_ = column;
        start_ = start;
        return x_.Data();
    }

  private:
    const Matrix2D<T>& data_;
    const T* signal_;  // the only column, if it stands in one piece
    Matrix1D<T> x_;
    int column_ = -1;
    std::int64_t start_ = 0;
};

// y = x times the weights, if there are any.
template <typename T>
void Weigh(const Matrix1D<double>& weights, const T* __restrict x, Matrix1D<T>& y) {
    const int n = y.Size(0);
    if (weights.Size(0) == 0) {
        std::copy_n(x, n, y.Data());
        return;
    }
    const double* __restrict const w = weights.Data();
    T* __restrict const to = y.Data();
    for (int j = 0; j < n; ++j) to[j] = Product(x[j], w[j]);
}

// squares[i] += share·z[i]²: the parts of a line are added up at the end.
void AddSquares(double share, const double* __restrict z, std::vector<double>& squares) {
    double* __restrict const sum = squares.data();
    for (std::size_t i = 0; i < squares.size(); ++i) sum[i] += share * (z[i] * z[i]);
}

double LineOf(const std::vector<double>& squares, int line, const Matrix2D<double>&) {
    const std::size_t k = 2 * static_cast<std::size_t>(line);
    if (line == 0) return squares[0];
    return k < squares.size() ? squares[k - 1] + squares[k] : squares[k - 1];
}

double LineOf(const std::vector<double>& squares, int line, const Matrix2D<Complex>&) {
    const std::size_t k = 2 * static_cast<std::size_t>(line);
    return squares[k] + squares[k + 1];
}

}  // namespace

const Matrix& cFFT::fft(const Matrix& data, int nfft, bool detrend,
                        ZmAPI_ToolBox::eWindow window) {
    const std::unique_ptr<Matrix> former = std::move(result_);  // data may be it
    if (const auto* real = dynamic_cast<const Matrix2D<double>*>(&data))
        result_ = std::make_unique<Matrix2D<Complex>>(Spectra(*real, nfft, detrend, window));
    else if (const auto* complex = dynamic_cast<const Matrix2D<Complex>*>(&data))
        result_ = std::make_unique<Matrix2D<Complex>>(Spectra(*complex, nfft, detrend, window));
    else
        throw Error(kBadMatrix);
    return *result_;
}

const Matrix& cFFT::psd(const Matrix& data, ZmAPI_ToolBox::eWindow window, int nSegments,
                        int nOverlap) {
    const std::unique_ptr<Matrix> former = std::move(result_);
    if (const auto* real = dynamic_cast<const Matrix2D<double>*>(&data))
        result_ =
            std::make_unique<Matrix2D<double>>(Densities(*real, window, nSegments, nOverlap));
    else if (const auto* complex = dynamic_cast<const Matrix2D<Complex>*>(&data))
        result_ = std::make_unique<Matrix2D<double>>(
            Densities(*complex, window, nSegments, nOverlap));
    else
        throw Error(kBadMatrix);
    return *result_;
}

// Counted in 64 bits; a length that no int holds is answered with the largest, which no memory
// holds.
int cFFT::psdNumPoints(int nPoints, int nSegments, int nOverlap) {
    if (nSegments < 1) return 0;
    const double share = static_cast<double>(nPoints) / nSegments;
    const std::int64_t points = static_cast<std::int64_t>(std::trunc(share + 0.5)) +
                                nOverlap / 2 + (nOverlap % 2 != 0 ? 1 : 0);
    return static_cast<int>(std::clamp<std::int64_t>(points, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

template <typename T>
Matrix2D<Complex> cFFT::Spectra(const Matrix2D<T>& data, int nfft, bool detrend,
                                ZmAPI_ToolBox::eWindow window) {
    const int m = std::min(nfft, data.Size(0));
    if (m < 2) throw Error(kTooFewPoints);
    const Matrix1D<double> weights = Weights(window, m);
    Prepare(nfft, data);
    Matrix1D<T> x(nfft);
    std::vector<Complex> lines(static_cast<std::size_t>(Lines(nfft, data)));
    Matrix2D<Complex> result(Lines(nfft, data), data.Size(1));
    for (int c = 0; c < data.Size(1); ++c) {
        Extract(data, c, 0, 0, x);
        if (detrend) Detrend(m, x);
        Apply(weights, x);
        Transform(nfft, x, lines);
        for (int k = 0; k < result.Size(0); ++k)
            result(k, c) = lines[static_cast<std::size_t>(k)];
    }
    return result;
}

template <typename T>
Matrix2D<double> cFFT::Densities(const Matrix2D<T>& data, ZmAPI_ToolBox::eWindow window,
                                 int nSegments, int nOverlap) {
    const int m = psdNumPoints(data.Size(0), nSegments, nOverlap);
    if (m < 2) throw Error(kTooFewPoints);
    const Matrix1D<double> weights = Weights(window, m);
    Prepare(m, data);
    SegmentReader<T> reader(data, m);
    Matrix1D<T> x(m);
    constexpr std::size_t kParts = std::is_same_v<T, Complex> ? 2 : 1;
    std::vector<double> squares(kParts * static_cast<std::size_t>(m));
    Matrix2D<double> result(Lines(m, data), data.Size(1));
    const double share = 1.0 / m / nSegments;
    const std::int64_t rows = data.Size(0), advance = std::int64_t{m} - nOverlap;
    for (int c = 0; c < data.Size(1); ++c) {
        std::fill(squares.begin(), squares.end(), 0.0);
        for (int s = 0; s < nSegments; ++s) {
            // After the first that holds nothing but zeros so do all, but for the last.
            if (advance * s + m <= 0 || advance * s >= rows) s = nSegments - 1;
            const std::int64_t start = s == nSegments - 1 ? rows - m : advance * s;
            if (start + m <= 0 || start >= rows) continue;
            Weigh(weights, reader.Read(c, start), x);
            AddSquares(share, TransformInPlace(x), squares);
        }
        for (int k = 0; k < result.Size(0); ++k) result(k, c) = LineOf(squares, k, data);
    }
    return result;
}

// Packed real lines, or interleaved complex ones.
const double* cFFT::TransformInPlace(Matrix1D<double>& x) {
    ofReal_->forward_compressed(x.Data());
    return x.Data();
}

const double* cFFT::TransformInPlace(Matrix1D<Complex>& x) {
    ofComplex_->forward(x.Data());
    return reinterpret_cast<const double*>(x.Data());
}

// The transforms of a length are kept for further calls.
void cFFT::Prepare(int n, const Matrix2D<double>&) {
    const auto length = static_cast<std::size_t>(n);
    if (!ofReal_ || ofReal_->n_real() != length)
        ofReal_ = std::make_unique<fftpack::real_to_complex<double, Complex>>(
            length, TransformKernels());
}

void cFFT::Prepare(int n, const Matrix2D<Complex>&) {
    const auto length = static_cast<std::size_t>(n);
    if (!ofComplex_ || ofComplex_->n() != length)
        ofComplex_ = std::make_unique<fftpack::complex_to_complex<double, Complex>>(
            length, TransformKernels());
}

void cFFT::Transform(int n, const Matrix1D<double>& x, std::vector<Complex>& lines) {
    if (RealFFT(n, x, lines.data()) != static_cast<int>(lines.size())) throw Error(kRealLines);
}

void cFFT::Transform(int n, const Matrix1D<Complex>& x, std::vector<Complex>& lines) {
    if (ComplexFFT(n, x, lines.data()) != static_cast<int>(lines.size()))
        throw Error(kComplexLines);
}

int cFFT::RealFFT(int n, const Matrix1D<double>& x, Complex* out) {
    if (ofReal_->n_real() != static_cast<std::size_t>(n)) throw Error(kRealPoints);
    // The lines need room for n/2 + 1 complex values, in which the n real ones fit.
    std::copy_n(x.Data(), n, reinterpret_cast<double*>(out));
    ofReal_->forward_adaptor(out);
    return static_cast<int>(ofReal_->n_complex());
}

int cFFT::ComplexFFT(int n, const Matrix1D<Complex>& x, Complex* out) {
    if (ofComplex_->n() != static_cast<std::size_t>(n)) throw Error(kComplexPoints);
    std::copy_n(x.Data(), n, out);
    ofComplex_->forward(out);
    return n;
}

}  // namespace ZEMRA::Vibration
