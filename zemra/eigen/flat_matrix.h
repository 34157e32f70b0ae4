#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace ZEMRA::Vibration {

/// A view of a square matrix of order n in one array, column-major: element (r, c) stands at
/// c·n + r, or c·ld + r with a leading dimension ld > n. The array belongs to somebody else; a
/// default view looks at nothing.
template <typename T>
class FlatMatrix {
  public:
    FlatMatrix() = default;
    FlatMatrix(int n, T* data) : FlatMatrix(n, data, n) {}
    FlatMatrix(int n, T* data, int ld) : data_(data), n_(n), ld_(ld) {}

    explicit operator bool() const { return data_ != nullptr; }
    int Order() const { return n_; }
    int LeadingDimension() const { return ld_; }
    T* Column(int c) const {
        return data_ + static_cast<std::size_t>(c) * static_cast<std::size_t>(ld_);
    }
    T& operator()(int r, int c) const { return Column(c)[r]; }

  private:
    T* data_ = nullptr;
    int n_ = 0;
    int ld_ = 0;
};

/// The elements of a square matrix of order n.
constexpr std::size_t Elements(int n) {
    return static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
}

/// Zero matrices of order n in one block, as the kernels of the eigen solver want them: columns
/// on boundaries of whole vectors, three more of them, and rows up to a leading dimension that
/// is no multiple of 512 bytes, or columns would share a few places of the cache.
class PaddedMatrices {
  public:
    PaddedMatrices(int n, int count) : n_(n), ld_((n + 7) / 8 * 8) {
        if (ld_ % 64 == 0) ld_ += 8;
        constexpr std::size_t kLine = 64;
        const std::size_t elements = static_cast<std::size_t>(count) * Size();
        data_.resize(elements + kLine / sizeof(double));
        void* start = data_.data();
        std::size_t room = data_.size() * sizeof(double);
        first_ =
            static_cast<double*>(std::align(kLine, elements * sizeof(double), start, room));
    }

    FlatMatrix<double> operator()(int i) const {
        return {n_, first_ + static_cast<std::size_t>(i) * Size(), ld_};
    }

  private:
    int n_, ld_;
    std::vector<double> data_;
    double* first_ = nullptr;

    std::size_t Size() const {
        return static_cast<std::size_t>(ld_) * static_cast<std::size_t>(n_ + 3);
    }
};

/// Transposes in place.
template <typename T>
void Transpose(FlatMatrix<T> a) {
    for (int c = 1; c < a.Order(); ++c)
        for (int r = 0; r < c; ++r) std::swap(a(r, c), a(c, r));
}

}  // namespace ZEMRA::Vibration
