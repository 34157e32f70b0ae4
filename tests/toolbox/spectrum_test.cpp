#include "zemra/toolbox/spectrum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/support/data_folder.h"
#include "tests/support/spectra.h"

namespace ZEMRA::Vibration::tests {
namespace {

using Window = ZmAPI_ToolBox::eWindow;

template <typename M, typename Expected>
void ExpectColumn(const M& actual, int column, const std::vector<Expected>& expected) {
    ASSERT_EQ(actual.Size(0), static_cast<int>(expected.size()));
    long double size = 0, error = 0;
    for (std::size_t k = 0; k < expected.size(); ++k) {
        size = std::max(size, std::abs(expected[k]));
        const Expected value(actual(static_cast<int>(k), column));
        error = std::max(error, std::abs(value - expected[k]));
    }
    EXPECT_LE(error, 1e-13L * size);
}

// ---- Signals

// Noise about a slope and an offset, which differ from column to column.
template <typename T>
Matrix2D<T> Signals(int rows, int columns) {
    std::mt19937 random(11);
    std::normal_distribution<double> normal;
    Matrix2D<T> result(rows, columns);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < columns; ++j) {
            if constexpr (std::is_same_v<T, double>)
                result(i, j) = normal(random) + 3 - 0.2 * i * (j + 1);
            else
                result(i, j) = {normal(random) + 0.1 * i, normal(random) - 2 * (j + 1)};
        }
    }
    return result;
}

template <typename T>
class Spectra : public testing::Test {};
using Kinds = testing::Types<double, Complex>;
TYPED_TEST_SUITE(Spectra, Kinds);

TYPED_TEST(Spectra, AreThoseOfTheDetrendedWindowedPaddedColumns) {
    cFFT transform;  // one for all lengths and kinds
    const auto data = Signals<TypeParam>(20, 3);
    for (const int nfft : {20, 16, 13, 2, 32, 45})
        for (const bool detrend : {false, true})
            for (int window = 0; window <= 4; ++window)
                for (int column = 0; column < 3; ++column) {
                    SCOPED_TRACE(testing::Message() << nfft << detrend << window << column);
                    const Matrix1D<TypeParam> y = data.Column(column);
                    const int taken = std::min(nfft, 20);
                    std::vector<TypeParam> x(y.Data(), y.Data() + taken);
                    if (detrend) TakeOffLine(x);
                    for (int j = 0; j < taken; ++j)
                        x[static_cast<std::size_t>(j)] *= Weight(window, j, taken);
                    x.resize(static_cast<std::size_t>(nfft));
                    const auto& X = dynamic_cast<const Matrix2D<Complex>&>(
                        transform.fft(data, nfft, detrend, static_cast<Window>(window)));
                    EXPECT_EQ(X.Size(1), 3);
                    if (nfft > 2 || !detrend)  // a line through two points leaves rounding
                        ExpectColumn(X, column, DefiningSum(x));
                }
}

struct Averaging {
    int rows, segments, overlap, length;
};

TYPED_TEST(Spectra, AverageTheirSegments) {
    cFFT transform;
    const Averaging
        cases[] = {{40, 1, 0, 40},  {41, 1, 0, 41}, {40, 4, 0, 10},
                   {42, 4, 6, 14},  {42, 4, 7, 15}, {43, 2, -4, 20},
                   {43, 3, -3, 14}, {40, 8, -6, 2},  // the last but one begins behind the data
                   {9, 3, 20, 13},                   // longer than the data, going backwards
                   {5, 3, 7, 6},    {12, 7, 3, 4},  {2, 1, 0, 2}};
    for (const auto& [rows, segments, overlap, length] : cases) {
        EXPECT_EQ(cFFT::psdNumPoints(rows, segments, overlap), length);
        for (int form = 0; form < 4; ++form)
            for (int window = 0; window <= 4; ++window) {
                SCOPED_TRACE(testing::Message()
                             << rows << " rows " << segments << " segments " << overlap
                             << " overlap, window " << window << ", form " << form);
                const int columns = 1 + form / 2;
                auto data = Signals<TypeParam>(rows, columns);
                if (form % 2 == 1) data.Row(0);  // no longer known to stand in one piece
                EXPECT_EQ(data.Elements() == nullptr, form % 2 == 1);
                const auto& P = dynamic_cast<const Matrix2D<double>&>(
                    transform.psd(data, static_cast<Window>(window), segments, overlap));
                for (int column = 0; column < columns; ++column)
                    ExpectColumn(
                        P, column,
                        DefinedDensity(data, column, window, length, segments, overlap));
            }
    }
}

TEST(Spectrum, OfItsOwnResult) {
    cFFT transform;
    const Matrix2D<double> ones(8, 1, 1.0);
    const Matrix& lines = transform.fft(ones, 8, false, ZmAPI_ToolBox::WINDOW_NONE);
    const auto& again = dynamic_cast<const Matrix2D<Complex>&>(
        transform.fft(lines, 5, false, ZmAPI_ToolBox::WINDOW_NONE));
    for (int k = 0; k < 5; ++k) EXPECT_LE(std::abs(again(k, 0) - 8.0), 1e-14);
    const auto& level = dynamic_cast<const Matrix2D<Complex>&>(
        transform.fft(ones, 8, true, ZmAPI_ToolBox::WINDOW_NONE));
    for (int k = 0; k < 5; ++k) EXPECT_EQ(level(k, 0), 0.0);
}

TEST(Spectrum, CountsTheSegmentLengthWithoutOverflow) {
    const int most = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();
    EXPECT_EQ(cFFT::psdNumPoints(1000, 4, 0), 250);
    EXPECT_EQ(cFFT::psdNumPoints(1000, 4, 100), 300);
    EXPECT_EQ(cFFT::psdNumPoints(10, 4, 3), 5);
    EXPECT_EQ(cFFT::psdNumPoints(10, 3, -3), 3);
    EXPECT_EQ(cFFT::psdNumPoints(10, 0, 3), 0);
    EXPECT_EQ(cFFT::psdNumPoints(10, -2, 100), 0);
    EXPECT_EQ(cFFT::psdNumPoints(most, 1, most), most);
    EXPECT_EQ(cFFT::psdNumPoints(0, 1, least), least / 2);
}

// Two of the segments reach the data; visiting all of them takes seconds.
TEST(Spectrum, PassesOverSegmentsWithoutData) {
    cFFT transform;
    const int most = std::numeric_limits<int>::max();
    const std::clock_t start = std::clock();
    const auto& P = dynamic_cast<const Matrix2D<double>&>(transform.psd(
        Matrix2D<double>(4, 3, 1.0), ZmAPI_ToolBox::WINDOW_NONE, most, /*nOverlap=*/3));
    EXPECT_LT(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC, 0.5);
    // (1, 1), then the first sample alone, then the last two: at line 0 4/2 + 1/2 + 4/2.
    EXPECT_NEAR(P(0, 0) * most, 4.5, 1e-15 * 4.5);
}

// ---- Measured signals

struct Record {
    std::string name;
    int rows, column, line;  // column 0 is the time
    double magnitude;        // of the strongest line, by another program
};

class MeasuredSignals : public testing::TestWithParam<Record> {};

TEST_P(MeasuredSignals, HaveTheirSpectra) {
    const auto& [name, rows, column, line, magnitude] = GetParam();
    const auto folder = DataFolder("signals");
    if (folder.empty()) GTEST_SKIP() << "no signals beside ZEMRA_MODEL_DATA";
    const Matrix2D<double> data = FromRows(ReadNumbers(folder / (name + ".csv")));
    ASSERT_EQ(data.Size(0), rows);
    cFFT transform;
    const auto& X = dynamic_cast<const Matrix2D<Complex>&>(
        transform.fft(data, rows, false, ZmAPI_ToolBox::WINDOW_NONE));
    EXPECT_NEAR(std::abs(X(line, column)) / magnitude, 1, 1e-6);
    for (int k = 1; k < X.Size(0); ++k)
        EXPECT_LE(std::abs(X(k, column)), std::abs(X(line, column)));
    for (const int overlap : {0, 60, 61, -40}) {
        const int length = cFFT::psdNumPoints(rows, 13, overlap);
        const auto& P = dynamic_cast<const Matrix2D<double>&>(
            transform.psd(data, ZmAPI_ToolBox::WINDOW_HANNING, 13, overlap));
        ExpectColumn(P, column, DefinedDensity(data, column, 2, length, 13, overlap));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Signals, MeasuredSignals,
    testing::Values(Record{"elcentro_1940_ns", 1560, 1, 47, 1.066967e+01},
                    Record{"beam_shaker_case1_time", 4096, 1, 1, 5.280842e+00},
                    Record{"beam_shaker_case1_time", 4096, 2, 679, 2.628339e+03}),
    [](const auto& record) { return record.param.name + std::to_string(record.param.column); });

}  // namespace
}  // namespace ZEMRA::Vibration::tests
