#pragma once

#include <cstddef>
#include <utility>

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

/// Transposes in place.
template <typename T>
void Transpose(FlatMatrix<T> a) {
    for (int c = 1; c < a.Order(); ++c)
        for (int r = 0; r < c; ++r) std::swap(a(r, c), a(c, r));
}

}  // namespace ZEMRA::Vibration
