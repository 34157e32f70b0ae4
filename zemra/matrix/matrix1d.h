#pragma once

#include <algorithm>
#include <cassert>
#include <memory>
#include <utility>

#include "zemra/matrix/matrix.h"

namespace ZEMRA::Vibration {

template <typename T>
class Matrix2D;
template <typename T>
class Matrix3D;

/// Dense vector of n elements in one block of storage; none when n is 0.
///
/// The block is the vector's own, but for a row: that one has its place in the block of its
/// matrix, which copies and moves neither leave nor enter. A vector moved from a row copies it,
/// and a row is assigned in place, unless the new one has another size and storage of its own.
template <typename T>
class Matrix1D final : public Matrix {
  public:
    Matrix1D() = default;
    /// n value-initialised elements.
    // The analyzer does not see that the array is owned from here on.
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
    explicit Matrix1D(int n) : data_(AllocateBlock<T>(n)), size_(n) {}
    /// n copies of v.
    Matrix1D(int n, const T& v) : Matrix1D(n) { std::fill_n(data_.get(), n, v); }
    /// A copy of a[0] … a[n−1].
    Matrix1D(int n, const T* a) : Matrix1D(n) { std::copy_n(a, n, data_.get()); }

    Matrix1D(const Matrix1D& other) : Matrix1D(other.size_, other.data_.get()) {}
    // Not noexcept: a row is copied.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    Matrix1D(Matrix1D&& other) { *this = std::move(other); }
    Matrix1D& operator=(const Matrix1D& other) {
        if (this == &other) return *this;
        if (!lent_ || size_ != other.size_) return *this = Matrix1D(other);
        std::copy_n(other.data_.get(), size_, data_.get());
        return *this;
    }
    // NOLINTNEXTLINE(performance-noexcept-move-constructor)
    Matrix1D& operator=(Matrix1D&& other) {
        if (other.lent_ || (lent_ && size_ == other.size_)) return *this = std::as_const(other);
        GiveBack();
        Exchange(other);
        return *this;
    }
    /// Lent storage stays.
    ~Matrix1D() override { GiveBack(); }

    int Size(int dim) const override { return dim == 0 ? size_ : 0; }
    Matrix1D* Copy() const override { return new Matrix1D(*this); }

    T* Data() { return data_.get(); }
    const T* Data() const { return data_.get(); }
    T& operator()(int i) { return data_[Index(i)]; }
    const T& operator()(int i) const { return data_[Index(i)]; }

    /// The count elements from start on.
    Matrix1D SubMatrix(int start, int count) const {
        return Matrix1D(count, data_.get() + start);
    }

    /// Removes element i by moving the later ones down one place; the storage stays as it is.
    void Delete(int i) {
        --size_;
        std::move(data_.get() + i + 1, data_.get() + size_ + 1, data_.get() + i);
    }

  private:
    template <typename>
    friend class Matrix2D;
    template <typename>
    friend class Matrix3D;

    std::unique_ptr<T[]> data_;
    int size_ = 0;
    bool lent_ = false;  // the storage belongs to somebody who stays longer

    // An empty vector takes n elements that stay their owner's.
    void Borrow(T* storage, int n) {
        data_.reset(n > 0 ? storage : nullptr);
        size_ = n;
        lent_ = true;
    }
    // Empty where the storage is borrowed. The analyzer does not see that somebody owns it.
    void GiveBack() {
        if (!lent_) return;
        static_cast<void>(data_.release());
        size_ = 0;  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)
        lent_ = false;
    }
    void Exchange(Matrix1D& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(lent_, other.lent_);
    }
    std::size_t Index(int i) const {
        assert(i >= 0 && i < size_);
        return static_cast<std::size_t>(i);
    }
};

/// Equal sizes and exactly equal elements.
template <typename T>
bool operator==(const Matrix1D<T>& a, const Matrix1D<T>& b) {
    const int n = a.Size(0);
    return n == b.Size(0) && std::equal(a.Data(), a.Data() + n, b.Data());
}

}  // namespace ZEMRA::Vibration
