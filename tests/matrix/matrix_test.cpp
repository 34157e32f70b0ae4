#include "zemra/matrix/matrix.h"

#include <gmock/gmock.h>

#include <array>
#include <limits>
#include <memory>
#include <new>

#include "tests/support/matrices.h"
#include "zemra/matrix/products.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr double kOneToSix[] = {1, 2, 3, 4, 5, 6};

Matrix2D<double> OneToSix() { return Matrix2D<double>(2, 3, kOneToSix); }

std::vector<int> Sizes(const Matrix& m) {
    return {m.Size(-1), m.Size(0), m.Size(1), m.Size(2), m.Size(3)};
}

template <typename... C>
bool KeepTheirTypeWhenCopied() {
    return (dynamic_cast<C*>(std::unique_ptr<Matrix>(C().Copy()).get()) && ...);
}

TEST(Matrices, KeepTheirDynamicTypeWhenCopied) {
    EXPECT_TRUE(
        (KeepTheirTypeWhenCopied<
            Matrix1D<int>, Matrix1D<float>, Matrix1D<bool>, Matrix1D<double>, Matrix1D<Complex>,
            Matrix1D<Matrix1D<double>>, Matrix1D<Matrix1D<Complex>>, Matrix1D<Matrix2D<double>>,
            Matrix1D<Matrix2D<Complex>>, Matrix2D<double>, Matrix2D<Complex>, Matrix3D<double>,
            Matrix3D<Complex>, MatrixSparse1D<double>, MatrixSparse1D<Complex>,
            MatrixSparse1D<MatrixSparse1D<double>>, MatrixSparse2D<double>>()));
}

// at(container) is one of its numbers.
template <typename C, typename At>
void ExpectDeepCopies(C source, At at) {
    at(source) = 7;
    C copied(source), assigned, &same = assigned;
    assigned = source;
    assigned = same;
    const std::unique_ptr<C> cloned(source.Copy());
    const std::vector<int> sizes = Sizes(source);
    at(source) = 0;
    source = C();
    EXPECT_THAT(Sizes(source), Each(0));
    for (C* copy : {&copied, &assigned, cloned.get()}) {
        EXPECT_EQ(Sizes(*copy), sizes);
        EXPECT_EQ(at(*copy), 7.0);
    }
}

TEST(Matrices, ShareNothingWithTheirCopies) {
    const auto nested = [](auto& m) -> auto& { return m(1)(1); };
    ExpectDeepCopies(Matrix1D<Matrix1D<double>>(2, Matrix1D<double>(2)), nested);
    ExpectDeepCopies(MatrixSparse1D<MatrixSparse1D<double>>(2), nested);
    ExpectDeepCopies(
        Matrix2D<double>(2, 3), [](auto& m) -> auto& { return m(1, 2); });
    ExpectDeepCopies(
        Matrix3D<Complex>(4, 2, 3), [](auto& m) -> auto& { return m(3, 1, 2); });
}

TEST(Matrices, KeepRowsAndSlotsApartFromWhatIsMovedOutAndIn) {
    Matrix1D<double> row;
    Matrix2D<double> slot, copied;
    Matrix3D<double> copiedStack;
    {
        Matrix2D<double> m = OneToSix();
        Matrix3D<double> stack(3, 2, 3, 5.0);
        const double *const inMatrix = m.Row(0).Data(), *const inStack = &stack(1, 0, 0);
        row = std::move(m.Row(0));
        slot = std::move(stack.Slot(1));
        m.Row(0) = Matrix1D<double>(3, 9.0);
        m.Row(1) = Matrix1D<double>(2, 8.0);  // too short, like the next slot
        Matrix2D<double> smaller(1, 2, 7.0);
        stack.Slot(0) = std::move(smaller);
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.Move, bugprone-use-after-move)
        EXPECT_THAT(Rows(Matrix2D<double>(smaller)), testing::IsEmpty());
        stack.Slot(1) = OneToSix();
        stack.Slot(1).Piviot(0, 1);
        stack.Slot(2).Row(1) = std::move(stack.Slot(1).Row(1));
        EXPECT_EQ(m.Row(0).Data(), inMatrix);
        EXPECT_EQ(&stack(1, 1, 0), inStack) << "a row exchanged by its vector";
        copied = m;
        copiedStack = stack;
    }
    EXPECT_THAT(Elements(row), ElementsAre(1, 2, 3));
    EXPECT_THAT(Rows(slot), ElementsAre(Each(5), Each(5)));
    EXPECT_THAT(Rows(copied), ElementsAre(ElementsAre(9, 9, 9), ElementsAre(8, 8)));
    EXPECT_THAT(Rows(copiedStack.Slot(0)), ElementsAre(ElementsAre(7, 7)));
    EXPECT_THAT(Rows(copiedStack.Slot(1)),
                ElementsAre(ElementsAre(4, 5, 6), ElementsAre(1, 2, 3)));
    EXPECT_THAT(Rows(copiedStack.Slot(2)), ElementsAre(Each(5), ElementsAre(1, 2, 3)));
}

TEST(Matrices, AnswerTheirElementsWhileTheyStandInOrder) {
    Matrix2D<double> m = OneToSix();
    const auto answersInOrder = [](const Matrix2D<double>& matrix) {
        return matrix.Elements() != nullptr;
    };
    m(1, 2) = 9;
    EXPECT_THAT(std::vector<double>(m.Elements(), m.Elements() + 6),
                ElementsAre(1, 2, 3, 4, 5, 9));
    m.Piviot(0, 1);
    EXPECT_FALSE(answersInOrder(m));
    const Matrix2D<double> copied = m;
    ASSERT_TRUE(answersInOrder(copied));
    EXPECT_EQ(copied.Elements()[0], 4);
    m = OneToSix();
    EXPECT_TRUE(answersInOrder(m));
    m.DeleteRow(0);
    EXPECT_EQ(m.Elements()[0], 4);
    m.DeleteColumn(0);
    EXPECT_FALSE(answersInOrder(m));
    m = OneToSix();
    m.Row(1) = Matrix1D<double>(4);
    EXPECT_FALSE(answersInOrder(Matrix2D<double>(m)));
    EXPECT_FALSE(answersInOrder(Matrix3D<double>(1, 2, 3).Slot(0)));
}

TEST(Matrices, BeyondAllNumbersOfElementsAreMemoryThatThereIsNot) {
    const int most = std::numeric_limits<int>::max();
    EXPECT_THROW(Matrix3D<Complex>(most, most, most), std::bad_alloc);
    EXPECT_THROW(Matrix2D<Complex>(most, most), std::bad_alloc);
}

TEST(Matrices, HaveTheirExtentsAndAreFilledInRowMajorOrder) {
    EXPECT_THAT(Sizes(Matrix1D<float>(4)), ElementsAre(0, 4, 0, 0, 0));
    EXPECT_THAT(Sizes(Matrix3D<double>(4, 2, 3)), ElementsAre(0, 4, 2, 3, 0));
    EXPECT_THAT(Sizes(MatrixSparse1D<Complex>(5)), ElementsAre(0, 5, 0, 0, 0));
    EXPECT_THAT(Elements(Matrix1D<bool>(2)), ElementsAre(false, false));
    EXPECT_THAT(Elements(Matrix1D<int>(2, 7)), ElementsAre(7, 7));
    EXPECT_THAT(Rows(OneToSix()), ElementsAre(ElementsAre(1, 2, 3), ElementsAre(4, 5, 6)));
    EXPECT_THAT(Rows(Matrix3D<Complex>(2, 1, 2, 7.0).Slot(1)), Each(ElementsAre(7.0, 7.0)));
    EXPECT_THAT(Elements(OneToSix().Column(1)), ElementsAre(2, 5));
    EXPECT_THAT(Elements(OneToSix().Row(1).SubMatrix(1, 2)), ElementsAre(5, 6));
}

TEST(Matrices, TransposeAndExchangeRowsInPlace) {
    Matrix2D<double> m = OneToSix(), empty(0, 3);
    m.Transpose();
    m.Piviot(0, 2);
    m.Piviot(1, 1);
    EXPECT_THAT(Sizes(m), ElementsAre(0, 3, 2, 0, 0));
    EXPECT_THAT(Rows(m), ElementsAre(ElementsAre(3, 6), ElementsAre(2, 5), ElementsAre(1, 4)));
    empty.Transpose();
    EXPECT_THAT(Sizes(Matrix2D<double>(empty)), ElementsAre(0, 3, 0, 0, 0));
}

TEST(Matrices, CloseTheGapThatADeletionLeaves) {
    Matrix2D<double> m = FromRows<double>({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
    const double* const storage = m.Row(0).Data();
    m.DeleteRow(1);
    m.DeleteColumn(0);
    EXPECT_THAT(Rows(m), ElementsAre(ElementsAre(2, 3), ElementsAre(8, 9)));
    EXPECT_EQ(m.Row(0).Data(), storage);
    m.DeleteRow(1);
    m.DeleteColumn(1);
    EXPECT_THAT(Rows(Matrix2D<double>(m)), ElementsAre(ElementsAre(2)));
}

TEST(SparseMatrices, AddAPositionOnlyWhenItIsLookedUpForWriting) {
    MatrixSparse1D<double> v(3);
    const MatrixSparse1D<double>& readOnly = v;
    for (const int p : {2, 0, 700}) v(p) = p;  // a position is not checked
    EXPECT_EQ(&readOnly(1), &readOnly(5)) << "not the shared zero";
    EXPECT_EQ(v(1), 0.0);
    EXPECT_NE(&readOnly(1), &readOnly(5));
    EXPECT_THAT((std::array{v(2), v(5), v(700)}), ElementsAre(2, 0, 700));
}

TEST(SparseMatrices, TakeTheLastOfSeveralTripletsForOneElement) {
    const int row[] = {2, 0, 0}, col[] = {0, 1, 1};
    const double val[] = {3, 5, 7};
    const MatrixSparse2D<double> s(3, 2, 3, row, col, val);
    const std::unique_ptr<Matrix> clone(s.Copy());
    EXPECT_THAT(Rows(Matrix2D<double>(dynamic_cast<MatrixSparse2D<double>&>(*clone))),
                ElementsAre(ElementsAre(0, 7), ElementsAre(0, 0), ElementsAre(3, 0)));
    EXPECT_EQ(s(1).Size(0), 2) << "a row without a triplet";
    EXPECT_EQ(s(9).Size(0), 0) << "a row beyond the last";
}

// Each element is the sum over k in ascending order, starting from 0, to the last bit.
template <typename A, typename B>
void ExpectOrderedSums(int p, int n, int m) {
    using R = decltype(A() * B());
    const Matrix2D<A> a = RandomMatrix<A>(p, n, 1);
    const Matrix2D<B> b = RandomMatrix<B>(n, m, 2);
    const auto sums = Generate<R>(p, m, [&](int i, int j) {
        R sum{};
        for (int k = 0; k < n; ++k) sum += a(i, k) * b(k, j);
        return sum;
    });
    EXPECT_EQ(Rows(a * b), Rows(sums));
    if constexpr (std::is_same_v<B, R>) {
        EXPECT_EQ(Elements(a * b.Column(0)), Elements(sums.Column(0)));
    }
}

TEST(Products, AreSumsInAscendingOrderForAnyExtents) {
    for (const auto& [p, n, m] : {std::array{3, 4, 2}, {5, 23, 7}, {2, 0, 3}, {0, 3, 2}}) {
        ExpectOrderedSums<double, double>(p, n, m);
        ExpectOrderedSums<Complex, Complex>(p, n, m);
        ExpectOrderedSums<Complex, double>(p, n, m);
        ExpectOrderedSums<double, Complex>(p, n, m);
    }
}

TEST(Products, OfStacksGoSlotBySlotAndDifferencesElementByElement) {
    Matrix3D<Complex> a(2, 2, 1, Complex(0, 1)), b(2, 1, 3, 2.0);
    b(1, 0, 2) = 5.0;
    EXPECT_THAT(Sizes(a * b), ElementsAre(0, 2, 2, 3, 0));
    EXPECT_EQ((a * b)(0, 1, 2), Complex(0, 2));
    EXPECT_EQ((a * b)(1, 1, 2), Complex(0, 5));
    EXPECT_THAT(Rows(Matrix2D<double>(2, 3, 4.0) - OneToSix()),
                ElementsAre(ElementsAre(3, 2, 1), ElementsAre(0, -1, -2)));
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
