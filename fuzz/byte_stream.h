#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace Fuzz {

/// The bytes of one input, read as the choices of a hostile host. After the last byte every
/// choice is 0.
class ByteStream {
  public:
    ByteStream(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool Empty() const { return size_ == 0; }

    std::uint8_t Byte() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }
    /// 0 … count − 1.
    int Choice(int count) { return Byte() % count; }
    bool Flag() { return Byte() & 1; }
    /// True for one byte in 16.
    bool Rarely() { return Byte() % 16 == 15; }

    /// Mostly an index or a size that fits, else one that does not.
    int Index() {
        constexpr int kFar[] = {std::numeric_limits<int>::min(),
                                std::numeric_limits<int>::max(),
                                -1,
                                -2,
                                100,
                                65536};
        const int byte = Byte();
        return byte < 224 ? byte % 8 : kFar[static_cast<std::size_t>(byte) % std::size(kFar)];
    }

    /// Everyday numbers, the edges of double and of the library's thresholds, and any bits.
    double Number() {
        using Limits = std::numeric_limits<double>;
        constexpr double kEdges[] = {0.0,
                                     -0.0,
                                     1.0,
                                     -1.0,
                                     Limits::max(),
                                     Limits::lowest(),
                                     Limits::min(),
                                     Limits::denorm_min(),
                                     1e-18,
                                     -0.999e-18,
                                     1e-25,
                                     1e-8,
                                     1e-300,
                                     1e300,
                                     1e154,
                                     1e-154,
                                     3.0,
                                     -1e9,
                                     Limits::infinity(),
                                     -Limits::infinity(),
                                     Limits::quiet_NaN(),
                                     Limits::epsilon()};
        const int byte = Byte();
        if (byte < 208) return (byte - 104) * 0.25;
        if (byte < 248) return kEdges[static_cast<std::size_t>(byte) % std::size(kEdges)];
        std::uint64_t bits = 0;
        for (int k = 0; k < 8; ++k) bits = bits << 8 | Byte();
        return std::bit_cast<double>(bits);
    }
    /// The everyday ones alone.
    double Finite() { return (Byte() - 100) * 0.25; }

    std::vector<double> Numbers(std::size_t count, bool finite) {
        std::vector<double> result(count);
        for (double& x : result) x = finite ? Finite() : Number();
        return result;
    }

    std::string Text(std::size_t longest) {
        std::string text;
        for (std::size_t n = Byte() % (longest + 1); text.size() < n && !Empty();)
            text += static_cast<char>(Byte());
        return text;
    }
    /// All bytes that are left.
    std::string Rest() {
        std::string text(reinterpret_cast<const char*>(data_), size_);
        size_ = 0;
        return text;
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
};

/// What an input was answered, folded into one number: the same input must give the same one
/// whatever the memory held before.
class Digest {
  public:
    void Add(std::uint64_t bits) { value_ = (value_ ^ bits) * 1099511628211u; }
    void Add(int x) { Add(static_cast<std::uint64_t>(static_cast<std::uint32_t>(x))); }
    void Add(bool x) { Add(x ? 1 : 0); }
    void Add(double x) { Add(x != x ? 0x7ff8u : std::bit_cast<std::uint64_t>(x)); }
    void Add(const std::string& text) {
        for (const char c : text) Add(static_cast<int>(c));
    }
    std::uint64_t Value() const { return value_; }

  private:
    std::uint64_t value_ = 14695981039346656037u;
};

}  // namespace Fuzz
