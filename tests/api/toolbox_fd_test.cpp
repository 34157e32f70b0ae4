#include <gmock/gmock.h>

#include <limits>

#include "tests/support/captured_messages.h"
#include "tests/support/elements.h"
#include "zemra/zmapi.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr char kUnknown[] = "Unknown Matrix Type: Value (const int row) const\n";
constexpr char kShort[] = "ZmAPI_Matrix::Value(const int row): Row out of range.\n";

TEST(InterfaceElements, EvaluateInRadiansASecond) {
    const double omega[] = {0, 10};
    const ZmAPI_Matrix w(2, omega);
    const ZmAPI_Matrix H = ZmAPI_ToolBox::FDEvaluate(1000, 2, 0, 0, 0, 0, w, false);
    ASSERT_TRUE(H.Complex() && H.Size(0) == 2 && H.Size(1) == 0);
    EXPECT_EQ(H.ValueC(0).GetComplex(), std::complex<double>(1000, 0));
    EXPECT_EQ(H.ValueC(1).GetComplex(), std::complex<double>(1000, 20));

    const ZmAPI_Matrix polar = ZmAPI_ToolBox::FDEvaluate(0, 2, 0, 0, 0, 0, w, true);
    ASSERT_TRUE(polar.Real() && polar.Size(0) == 2 && polar.Size(1) == 2);
    EXPECT_EQ(polar.Value(0, 0), 0);
    EXPECT_EQ(polar.Value(1, 0), 20);
    EXPECT_EQ(polar.Value(1, 1), 90);
}

// Two elements, parameters from vectors of float and of double; the second and the third value
// tell rows from columns.
TEST(InterfaceElements, EvaluateMoreThanOneAtOnce) {
    const double omega[] = {1, 2, 3}, k0[] = {100, -50}, c0[] = {0, 50};
    const float k[] = {0, 0};
    ZmAPI_Matrix K0(2, k0), C0(2, c0), none(2, k);
    const ZmAPI_Matrix w(3, omega);
    const ZmAPI_Matrix H = ZmAPI_ToolBox::FDEvaluate(K0, C0, none, none, none, none, w, false);
    ASSERT_TRUE(H.Complex() && H.Size(0) == 3 && H.Size(1) == 2);
    EXPECT_EQ(H.ValueC(2, 0).GetComplex(), 100.0);
    EXPECT_EQ(H.ValueC(2, 1).GetComplex(), std::complex<double>(-50, 150));
    const ZmAPI_Matrix polar =
        ZmAPI_ToolBox::FDEvaluate(K0, C0, none, none, none, none, w, true);
    ASSERT_TRUE(polar.Real() && polar.Size(0) == 3 && polar.Size(1) == 4);
    EXPECT_EQ(polar.Value(2, 0), 100);
    EXPECT_EQ(polar.Value(2, 1), 0);
    EXPECT_DOUBLE_EQ(polar.Value(0, 2), 50 * std::sqrt(2.0));
    EXPECT_DOUBLE_EQ(polar.Value(0, 3), 135);
}

TEST(InterfaceElements, EvaluateNothingFromWhatIsNoVector) {
    CapturedMessages messages;
    const double x[] = {1, 2};
    const ZmAPI_Complex z[] = {{1, 2}, {3, 4}};
    ZmAPI_Matrix two(2, x), one(1, x), matrix(2, 1, x), complex(2, z);
    const auto expect = [&](const ZmAPI_Matrix& answer, const std::string& text) {
        EXPECT_TRUE(answer.Real() && answer.Size(0) == 1 && answer.Size(1) == 1);
        EXPECT_EQ(answer.Value(0, 0), 0);
        EXPECT_THAT(messages.Take(), ElementsAre(Pair('e', text)));
    };
    expect(ZmAPI_ToolBox::FDEvaluate(1, 2, 3, 4, 5, 6, complex, false), kUnknown);
    expect(ZmAPI_ToolBox::FDEvaluate(1, 2, 3, 4, 5, 6, matrix, true), kUnknown);
    expect(ZmAPI_ToolBox::FDEvaluate(two, two, two, two, two, one, two, false), kShort);
    expect(ZmAPI_ToolBox::FDEvaluate(two, two, complex, two, two, two, two, true), kUnknown);
    expect(ZmAPI_ToolBox::FDEvaluate(two, two, two, two, two, two, matrix, true), kUnknown);
    ZmAPI_Matrix moved(two);
    const ZmAPI_Matrix taken(std::move(moved));
    // NOLINTNEXTLINE(bugprone-use-after-move): such a handle must be refused
    expect(ZmAPI_ToolBox::FDEvaluate(1, 2, 3, 4, 5, 6, moved, true), kUnknown);
    expect(ZmAPI_ToolBox::FDEvaluate(moved, two, two, two, two, two, two, false), kUnknown);

    const ZmAPI_Matrix nothing(0, x);
    EXPECT_EQ(ZmAPI_ToolBox::FDEvaluate(1, 2, 3, 4, 5, 6, nothing, true).Size(0), 0);
    EXPECT_EQ(ZmAPI_ToolBox::FDEvaluate(two, two, two, two, two, two, nothing, 0).Size(0), 0);
    EXPECT_THAT(messages.Take(), IsEmpty());
}

// What one member identifies, in Hz and degrees, the other evaluates, in rad/s.
TEST(InterfaceElements, IdentifyWhatTheyEvaluate) {
    const MeasuredElement element = RandomElement("111111", 42, 0);
    const ZmAPI_Matrix p =
        ZmAPI_ToolBox::FDElementID({element.rows.data(), element.Points(), 4});
    ASSERT_TRUE(p.Real() && p.Size(0) == 6);
    for (int j = 0; j < element.Points(); ++j) {
        const double w = 6.283185307179586 * element.Hertz(j);
        const ZmAPI_Matrix H =
            ZmAPI_ToolBox::FDEvaluate(p.Value(0), p.Value(1), p.Value(2), p.Value(3),
                                      p.Value(4), p.Value(5), ZmAPI_Matrix(1, &w), false);
        const std::complex<double> measured = element.Measured(j);
        EXPECT_LT(std::abs(H.ValueC(0).GetComplex() - measured), 1e-9 * std::abs(measured))
            << j;
    }
}

TEST(InterfaceElements, IdentifyNothingFromWhatIsNoMeasurement) {
    CapturedMessages messages;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double x[] = {1, 1, 1, 1, 0, 1, 1, 1, 1, 2, nan, 1};
    const ZmAPI_Complex z[4];
    const auto expect = [&](const ZmAPI_Matrix& data, const std::string& text) {
        const ZmAPI_Matrix answer = ZmAPI_ToolBox::FDElementID(data);
        EXPECT_TRUE(answer.Real() && answer.Size(0) == 6 && answer.Size(1) == 0) << text;
        for (int i = 0; i < 6; ++i) EXPECT_EQ(answer.Value(i), 0);
        EXPECT_THAT(messages.Take(),
                    ElementsAre(Pair('e', "ZmAPI_ToolBox::FDElementID: " + text + "\n")));
    };
    expect({x, 4, 3}, "Data must have four columns not 3.");
    expect({12, x}, "Data must have four columns not 0.");
    expect({z, 1, 4}, "Data must be a real matrix.");
    expect({2, 4, 1, x}, "Data must be a real matrix.");
    expect({x, 0, 4}, "Data must have at least one row.");
    expect({x, 2, 4}, "Row 1 gives no finite stiffness and frequency.");
    expect({x + 8, 1, 4}, "Row 0 gives no finite stiffness and frequency.");
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
