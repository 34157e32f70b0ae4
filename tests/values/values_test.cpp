#include <gmock/gmock.h>

#include <array>
#include <climits>

#include "tests/support/captured_messages.h"
#include "zemra/matrix/matrix_sparse.h"
#include "zemra/zmapi.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::ElementsAre;
using Index = std::array<int, 3>;
using Messages = std::vector<std::pair<char, std::string>>;
using Value = std::complex<double>;

// A host's arrays of the values 1, 2, …, 24; the complex ones have the imaginary part −value.
struct Arrays {
    float floats[24];
    double reals[24];
    ZmAPI_Complex complexes[24];
    Arrays() {
        for (int k = 0; k < 24; ++k) {
            floats[k] = static_cast<float>(reals[k] = k + 1.0);
            complexes[k] = ZmAPI_Complex(k + 1.0, -k - 1.0);
        }
    }
};
const Arrays host;

struct Container {
    char element;  // 'f', 'd', 'c', or 's' for a sparse one
    Index sizes;
    int (*place)(const Index& at);  // in the host's array
    ZmAPI_Matrix matrix;
};

std::vector<Container> Containers() {
    const auto inVector = [](const Index& at) { return at[0]; };
    const auto byColumns = [](const Index& at) { return at[0] + 2 * at[1]; };
    const auto byRows = [](const Index& at) { return 3 * at[0] + at[1]; };
    const auto bySlots = [](const Index& at) { return (4 * at[0] + at[2]) * 3 + at[1]; };
    const int rows[] = {0, 0, 0, 1, 1, 1}, columns[] = {0, 1, 2, 0, 1, 2};
    const MatrixSparse2D<double> sparse(2, 3, 6, rows, columns, host.reals);
    return {{'f', {5}, inVector, {5, host.floats}},
            {'d', {5}, inVector, {5, host.reals}},
            {'c', {5}, inVector, {5, host.complexes}},
            {'d', {2, 3}, byColumns, {2, 3, host.reals}},
            {'c', {2, 3}, byColumns, {2, 3, host.complexes}},
            {'d', {2, 3}, byRows, {host.reals, 2, 3}},
            {'c', {2, 3}, byRows, {host.complexes, 2, 3}},
            {'d', {2, 3, 4}, bySlots, {2, 3, 4, host.reals}},
            {'c', {2, 3, 4}, bySlots, {2, 3, 4, host.complexes}},
            {'s', {2, 3}, byRows, ZmAPI_Matrix(sparse)},
            {'s', {3}, inVector, ZmAPI_Matrix(sparse(0))}};
}

int Dimensions(const Index& sizes) { return sizes[2] ? 3 : sizes[1] ? 2 : 1; }

Value Read(const ZmAPI_Matrix& m, bool complex, int dimensions, const Index& at) {
    const auto [i, j, k] = at;
    if (dimensions == 1) return complex ? m.ValueC(i).GetComplex() : m.Value(i);
    if (dimensions == 2) return complex ? m.ValueC(i, j).GetComplex() : m.Value(i, j);
    return complex ? m.ValueC(i, j, k).GetComplex() : m.Value(i, j, k);
}

// Reads at and around every element in one of the six ways, and checks answers and messages.
void ReadAround(const Container& c, bool complex, int dimensions) {
    const char* const arguments[] = {"const int row", "const int row, const int col",
                                     "const int slot, const int row, const int col"};
    const char* const indices[] = {"Row", "Row or Column", "Row, Column, or Slot"};
    const std::string method = complex ? "ValueC" : "Value", list = arguments[dimensions - 1];
    const std::string unknown = "Unknown Matrix Type: " + method + " (" + list + ") const\n";
    const std::string range = "ZmAPI_Matrix::" + method + "(" + list +
                              "): " + indices[dimensions - 1] + " out of range.\n";
    const bool known = dimensions == Dimensions(c.sizes) &&
                       (c.element == 'd' || (c.element == 'c') == complex);
    CapturedMessages messages;
    for (int place = 0; place < 343; ++place) {
        const Index at{place / 49 - 1, place / 7 % 7 - 1, place % 7 - 1};
        bool inside = known;
        for (std::size_t d = 0; d < 3 && c.sizes[d] > 0; ++d)
            inside = inside && at[d] >= 0 && at[d] < c.sizes[d];
        const double value = inside ? c.place(at) + 1 : 0;
        const Value expected(value, c.element == 'c' ? -value : 0);
        EXPECT_EQ(Read(c.matrix, complex, dimensions, at), expected);
        const Messages report{{'e', known ? range : unknown}};
        EXPECT_EQ(messages.Take(), inside ? Messages() : report);
    }
}

TEST(InterfaceMatrix, ReadsEveryElementOfItsKindAndReportsAllElse) {
    for (const Container& container : Containers())
        for (const bool complex : {false, true})
            for (const int dimensions : {1, 2, 3}) ReadAround(container, complex, dimensions);
}

TEST(InterfaceMatrix, IsAValue) {
    CapturedMessages messages;
    for (Container& c : Containers()) {
        std::vector<ZmAPI_Matrix> values{c.matrix, ZmAPI_Matrix(1, host.floats)};
        values[1] = values[0];
        const ZmAPI_Matrix& itself = values[1];
        values[1] = itself;
        values.push_back(std::move(c.matrix));
        for (const ZmAPI_Matrix& m : values) {
            EXPECT_TRUE(m.Real() == (c.element == 'd') && m.Complex() == (c.element == 'c'));
            EXPECT_THAT(c.sizes, ElementsAre(m.Size(0), m.Size(1), m.Size(2)));
            const Value z = Read(m, c.element == 'c', Dimensions(c.sizes), {1, 1, 1});
            EXPECT_EQ(z.real(), c.place({1, 1, 1}) + 1);
        }
        const ZmAPI_Matrix empty(c.matrix);
        EXPECT_FALSE(empty.Size(0) || empty.Real() || empty.Complex());
        EXPECT_EQ(Read(empty, false, 1, {}) + Read(empty, true, 2, {}), 0.0);
        double y = 7;
        empty.MultMv(&y, &y);
        EXPECT_EQ(y, 7);
    }
    EXPECT_EQ(messages.Take(), Messages());
}

TEST(InterfaceMatrix, OfImpossibleSizesOrWithoutAnArrayIsEmpty) {
    using M = ZmAPI_Matrix;
    const double *const a = host.reals, *const none = nullptr;
    for (const M& m : {M(-1, a), M(INT_MIN, a), M(3, none), M(-2, 3, a), M(2, -3, a),
                       M(2, 3, none), M(a, INT_MIN, 1), M(none, 2, 3), M(-1, -1, -1, a),
                       M(2, 3, INT_MIN, a), M(2, 3, 4, none)}) {
        EXPECT_TRUE(m.Real());
        EXPECT_EQ(m.Size(0) + m.Size(1) + m.Size(2), 0);
    }
    EXPECT_TRUE(M(-1, host.complexes).Complex());
    EXPECT_EQ(M(0, 3, none).Size(1), 3);
}

TEST(InterfaceMatrix, MultipliesAVectorEvenOntoItself) {
    const ZmAPI_Matrix real(host.reals, 2, 3), complex(host.complexes, 2, 3);
    double x[] = {1, 10, 100}, y[] = {0, 0, 7};
    real.MultMv(y, x);
    EXPECT_THAT(y, ElementsAre(321, 654, 7));
    real.MultMv(x, x);
    EXPECT_THAT(x, ElementsAre(321, 654, 100));
    ZmAPI_Complex u[] = {{1, 0}, {0, 1}, {0, 0}}, v[2];
    real.MultMv(v, u);
    EXPECT_EQ(v[1].GetComplex(), Value(4, 5));
    complex.MultMv(u, u);  // (1 − j) + (2 − 2j)·j and (4 − 4j) + (5 − 5j)·j
    EXPECT_EQ(u[0].GetComplex(), Value(3, 1));
    EXPECT_EQ(u[1].GetComplex(), Value(9, 1));

    CapturedMessages messages;
    real.MultMv(x, nullptr);
    real.MultMv(nullptr, x);
    complex.MultMv(u, nullptr);
    complex.MultMv(nullptr, u);
    EXPECT_EQ(messages.Take(), Messages());
    complex.MultMv(x, x);
    ZmAPI_Matrix(3, host.reals).MultMv(x, x);
    ZmAPI_Matrix(3, host.reals).MultMv(u, u);
    EXPECT_EQ(messages.Take(), Messages(3, {'e', "Unknown Matrix Type: MultMv\n"}));
    EXPECT_THAT(x, ElementsAre(321, 654, 100));
    EXPECT_EQ(u[0].GetComplex(), Value(3, 1));
}

TEST(InterfaceComplex, HasPolarFormInDegrees) {
    EXPECT_EQ(ZmAPI_Complex(3, -4).Mag(), 5);
    EXPECT_EQ(ZmAPI_Complex(-1, 0).Phase(), 180);
    EXPECT_EQ(ZmAPI_Complex(0, -2).Phase(), -90);
    ZmAPI_Complex z;
    z += ZmAPI_Complex(1, 2);
    z += z * 3;
    EXPECT_EQ(z.GetComplex(), Value(4, 8));
    EXPECT_EQ(&z.byMP(2, 90), &z);
    EXPECT_EQ(z.GetComplex(), Value(2 * std::cos(std::acos(-1.0) / 2), 2));
    z = 5;
    EXPECT_EQ(z.GetComplex(), 5.0);
    EXPECT_EQ(toDEG(1), 57.29577951308232);
    EXPECT_EQ(toRAD(57.29577951308232), 1);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
