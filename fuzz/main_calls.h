#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "zemra/zmapi.h"

namespace Fuzz {

/// What a callback of the host throws.
struct HostFailure {};

/// What a call was answered, number by number, without an allocation.
class Answer {
  public:
    void Add(double x) {
        if (count_ < kMost) values_[count_] = x;
        ++count_;
    }
    void Add(const ZmAPI_Complex& z) {
        Add(z.real());
        Add(z.imag());
    }
    void Add(const ZmAPI_Matrix& m);

    bool Fits() const { return count_ <= kMost; }
    /// The same bits.
    bool operator==(const Answer& other) const {
        return count_ == other.count_ &&
               std::memcmp(values_.data(), other.values_.data(), count_ * sizeof(double)) == 0;
    }
    /// That of a plain entry point that failed: 0, and nothing written.
    bool Failed() const;

    static constexpr double kUntouched = -7.0;

  private:
    static constexpr std::size_t kMost = 1000;
    std::array<double, kMost> values_{};
    std::size_t count_ = 0;
};

/// An object of the host and what it asks of it.
struct Held {
    std::function<void(Answer&)> ask;
    /// What must be as it was after ask has failed; may be absent.
    std::function<void(Answer&)> state;
};

/// One of the main calls of the library. Its answer is that of every object made anew.
struct MainCall {
    const char* name;
    std::function<Held()> make;
    /// Fails without an exception, with an answer that has Failed().
    bool plain = false;
    /// Changes the stack of message handlers, which threads share.
    bool touchesHandlers = false;
};

std::vector<MainCall> MainCalls();

/// Called by the actuator functions and the message handler of these calls each time they are;
/// may throw. Null for none.
using Interruption = void (*)();
extern Interruption onActuator, onMessage;

/// The message handler that these calls are to be made under.
void Receive(const char* text, unsigned char type, void* data);

}  // namespace Fuzz
