#pragma once

#include <algorithm>
#include <cassert>
#include <memory>
#include <utility>

#include "zemra/matrix/matrix.h"

namespace ZEMRA::Vibration {

/// Dense vector of n elements in one block of storage; none when n is 0.
template <typename T>
class Matrix1D : public Matrix {
  public:
    Matrix1D() = default;
    /// n value-initialised elements.
    // The analyzer does not see that the array is owned from here on.
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
    explicit Matrix1D(int n) : data_(Allocate(n)), size_(n) {}
    /// n copies of v.
    Matrix1D(int n, const T& v) : Matrix1D(n) { std::fill_n(data_.get(), n, v); }
    /// A copy of a[0] … a[n−1].
    Matrix1D(int n, const T* a) : Matrix1D(n) { std::copy_n(a, n, data_.get()); }

    Matrix1D(const Matrix1D& other) : Matrix1D(other.size_, other.data_.get()) {}
    Matrix1D(Matrix1D&& other) noexcept
        : data_(std::move(other.data_)), size_(std::exchange(other.size_, 0)) {}
    Matrix1D& operator=(const Matrix1D& other) {
        if (this != &other) *this = Matrix1D(other);
        return *this;
    }
    Matrix1D& operator=(Matrix1D&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        return *this;
    }

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
    std::unique_ptr<T[]> data_;
    int size_ = 0;

    static std::unique_ptr<T[]> Allocate(int n) {
        assert(n >= 0);
        return n > 0 ? std::make_unique<T[]>(static_cast<std::size_t>(n)) : nullptr;
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
