#include <gmock/gmock.h>

#include <climits>

#include "tests/support/captured_messages.h"
#include "zemra/zmapi.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;
using testing::Pair;
using Value = std::complex<double>;

TEST(InterfaceToolBox, GivesTheFrequencyOfALine) {
    EXPECT_EQ(ZmAPI_ToolBox::Frequency(3, 100, 0.01, true), 3.0);
    EXPECT_DOUBLE_EQ(ZmAPI_ToolBox::Frequency(3, 100, 0.01, false), 18.84955592153876);
    EXPECT_EQ(ZmAPI_ToolBox::Frequency(-1, 2, 0.5, true), -1.0);
    EXPECT_EQ(ZmAPI_ToolBox::Frequency(0, 8, 0.1, false), 0.0);
}

TEST(InterfaceToolBox, TransformsTheColumns) {
    const auto none = ZmAPI_ToolBox::WINDOW_NONE;
    const double x[] = {1, 2, 3, 4, 5, 5, 5, 5};
    const ZmAPI_Matrix X = ZmAPI_ToolBox::FFT({4, 2, x}, 4, false, none);
    ASSERT_TRUE(X.Complex() && X.Size(0) == 3 && X.Size(1) == 2);
    EXPECT_EQ(X.ValueC(0, 0).GetComplex(), 10.0);
    EXPECT_EQ(X.ValueC(1, 0).GetComplex(), Value(-2, 2));
    EXPECT_EQ(X.ValueC(2, 0).GetComplex(), -2.0);
    EXPECT_EQ(X.ValueC(0, 1).GetComplex(), 20.0);
    EXPECT_EQ(X.ValueC(1, 1).Mag() + X.ValueC(2, 1).Mag(), 0);

    const ZmAPI_Matrix P = ZmAPI_ToolBox::PSD({4, 2, x}, none, 1, 0);
    ASSERT_TRUE(P.Real() && P.Size(0) == 3 && P.Size(1) == 2);
    EXPECT_EQ(P.Value(0, 0), 25);
    EXPECT_EQ(P.Value(1, 0), 2);
    EXPECT_EQ(P.Value(2, 1), 0);

    const ZmAPI_Complex z[] = {{0, 1}, {1, 0}};
    const ZmAPI_Matrix Z = ZmAPI_ToolBox::FFT({2, 1, z}, 2, false, none);
    EXPECT_EQ(Z.ValueC(0, 0).GetComplex(), Value(1, 1));
    EXPECT_EQ(Z.ValueC(1, 0).GetComplex(), Value(-1, 1));
    EXPECT_EQ(ZmAPI_ToolBox::PSD({2, 1, z}, none, 1, 0).Value(1, 0), 1);
}

TEST(InterfaceToolBox, ReportsWhatItCannotTransform) {
    CapturedMessages messages;
    const double x[16] = {};
    const ZmAPI_Complex z[16];
    const ZmAPI_Matrix data(8, 2, x);
    const auto none = ZmAPI_ToolBox::WINDOW_NONE;
    const auto expect = [&](const ZmAPI_Matrix& answer, const std::string& text) {
        EXPECT_TRUE(answer.Real() && answer.Size(0) == 1 && answer.Size(1) == 1) << text;
        EXPECT_EQ(answer.Value(0, 0), 0);
        EXPECT_THAT(messages.Take(), ElementsAre(Pair('e', text + "\n")));
    };
    const std::string few = "FFT: number of data points must be > 1.";
    const std::string kind = "FFT: Input matrix must be 1D or 2D real or complex.";
    for (const int points : {1, 0, -1, INT_MIN})
        expect(ZmAPI_ToolBox::FFT(data, points, true, none), few);
    for (const int segments : {0, -1, INT_MIN, 8, INT_MAX})
        expect(ZmAPI_ToolBox::PSD(data, none, segments, 0), few);
    for (const int overlap : {-14, -17, INT_MIN})
        expect(ZmAPI_ToolBox::PSD(data, none, 1, overlap), few);
    expect(ZmAPI_ToolBox::FFT({1, 8, x}, 8, false, none), few);
    expect(ZmAPI_ToolBox::FFT({0, 0, z}, INT_MAX, false, none), few);
    expect(ZmAPI_ToolBox::FFT({8, x}, 8, false, none), kind);
    expect(ZmAPI_ToolBox::PSD({2, 2, 2, x}, none, 1, 0), kind);
    for (const int type : {5, -1, INT_MAX}) {
        const auto unknown = static_cast<ZmAPI_ToolBox::eWindow>(type);
        expect(ZmAPI_ToolBox::FFT(data, 4, false, unknown), "FFT: Window type not known.");
        expect(ZmAPI_ToolBox::PSD(data, unknown, 1, 0), "FFT: Window type not known.");
    }
    ZmAPI_Matrix moved(data);
    const ZmAPI_Matrix taken(std::move(moved));
    // NOLINTNEXTLINE(bugprone-use-after-move): such a handle must be refused
    expect(ZmAPI_ToolBox::FFT(moved, 4, false, none), kind);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
