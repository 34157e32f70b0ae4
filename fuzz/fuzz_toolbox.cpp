// Transforms, averaged spectra, windows and the stiffness of frequency-dependent elements over
// any data.

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "fuzz/byte_stream.h"
#include "fuzz/quiet_host.h"
#include "fuzz/target.h"
#include "zemra/zmapi.h"

namespace {

using Fuzz::Broken;
using Fuzz::ByteStream;
using Fuzz::Digest;

bool Neutral(const ZmAPI_Matrix& m) {
    return m.Real() && m.Size(0) == 1 && m.Size(1) == 1 && m.Value(0, 0) == 0;
}

void Add(const ZmAPI_Matrix& m, Digest& digest) {
    for (int i = 0; i < m.Size(0); ++i)
        for (int j = 0; j < m.Size(1) || (j == 0 && m.Size(1) == 0); ++j) {
            const ZmAPI_Complex z = m.Size(1) == 0 ? m.ValueC(i) : m.ValueC(i, j);
            digest.Add(z.real());
            digest.Add(z.imag());
        }
}

// Samples, one a row: everyday numbers, or any.
ZmAPI_Matrix Samples(ByteStream& in, int rows, int columns) {
    const bool finite = !in.Rarely();
    const auto count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
    const std::vector<double> re = in.Numbers(count, finite);
    if (in.Flag()) return {re.data(), rows, columns};
    std::vector<ZmAPI_Complex> z;
    for (const double x : re) z.emplace_back(x, in.Finite());
    return {z.data(), rows, columns};
}

// Up to some hundred points, or a length that no memory holds.
int Length(ByteStream& in) { return in.Rarely() ? in.Index() : in.Byte() * (1 + in.Choice(3)); }

void Transform(ByteStream& in, Digest& digest) {
    const int rows = in.Choice(40), columns = in.Choice(4);
    const int nfft = Length(in);
    const auto window = static_cast<ZmAPI_ToolBox::eWindow>(in.Choice(6));
    const bool detrend = in.Flag();
    const ZmAPI_Matrix x = Samples(in, rows, columns);
    const ZmAPI_Matrix X = ZmAPI_ToolBox::FFT(x, nfft, detrend, window);
    const int lines = x.Real() ? nfft / 2 + 1 : nfft;
    if (!Neutral(X) && (X.Size(0) != lines || X.Size(1) != columns || !X.Complex()))
        Broken("a spectrum is a line a row");
    Add(X, digest);
}

void Average(ByteStream& in, Digest& digest) {
    const int rows = in.Choice(60), columns = in.Choice(3);
    const int segments = in.Rarely() ? in.Index() : in.Choice(12);
    const int overlap = in.Rarely() ? in.Index() : in.Choice(40) - 8;
    const auto window = static_cast<ZmAPI_ToolBox::eWindow>(in.Choice(6));
    const ZmAPI_Matrix x = Samples(in, rows, columns);
    const ZmAPI_Matrix P = ZmAPI_ToolBox::PSD(x, window, segments, overlap);
    if (!P.Real() || (!Neutral(P) && P.Size(1) != columns)) Broken("a density is real");
    for (int i = 0; i < P.Size(0); ++i)
        for (int j = 0; j < P.Size(1); ++j)
            if (P.Value(i, j) < 0) Broken("a density is not negative");
    Add(P, digest);
}

void Evaluate(ByteStream& in, Digest& digest) {
    const int n = in.Choice(6);
    const std::vector<double> w = in.Numbers(static_cast<std::size_t>(n), in.Flag());
    const ZmAPI_Matrix omega(n, w.data());
    const std::vector<double> p = in.Numbers(6, !in.Rarely());
    const bool pairs = in.Flag();
    const ZmAPI_Matrix one =
        ZmAPI_ToolBox::FDEvaluate(p[0], p[1], p[2], p[3], p[4], p[5], omega, pairs);
    Add(one, digest);
    std::vector<ZmAPI_Matrix> each;
    for (const double x : p) each.emplace_back(1, &x);
    const ZmAPI_Matrix many = ZmAPI_ToolBox::FDEvaluate(each[0], each[1], each[2], each[3],
                                                        each[4], each[5], omega, pairs);
    for (int k = 0; k < n; ++k) {
        const ZmAPI_Complex a = pairs ? one.ValueC(k, 0) : one.ValueC(k), b = many.ValueC(k, 0);
        const bool finite = std::isfinite(a.Mag()) && std::isfinite(b.Mag());
        if (finite && a.GetComplex() != b.GetComplex()) Broken("an element is one of several");
    }
}

}  // namespace

std::uint64_t Fuzz::Play(const std::uint8_t* data, std::size_t size) {
    const QuietHost host;
    ByteStream in(data, size);
    Digest digest;
    try {
        const int what = in.Choice(8);
        what < 3   ? Transform(in, digest)
        : what < 5 ? Average(in, digest)
                   : Evaluate(in, digest);
    } catch (const std::bad_alloc&) {
        digest.Add(-1);
    }
    digest.Add(host.Messages());
    return digest.Value();
}
