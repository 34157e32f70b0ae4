#pragma once

#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/target.h"
#include "zemra/message/message.h"

namespace Fuzz {

/// No target has more handlers at a time. A pop answers null for a null handler, too, so that
/// its answer does not tell when the stack is empty.
constexpr int kMostHandlers = 32;

/// Sets the library to its first state for one input: the environment without our variables,
/// and one handler, which reads what it is handed.
class QuietHost {
  public:
    QuietHost() {
        for (const char* name : {"ZEMRA_VIBRATION_OLD_INVERSE", "ZEMRA_VIBRATION_EIGEN_ERROR",
                                 "ZEMRA_DUMP_VIBRATION_MODEL"})
            unsetenv(name);
        AllowWriting(false);
        BoundMemory(true);
        const QuietHost* const self = this;
        ZEMRA::Vibration::Message::PushHandler(&Read, sizeof self, &self);
    }
    ~QuietHost() {
        for (int k = 0; k < kMostHandlers; ++k) ZEMRA::Vibration::Message::PopHandler();
        BoundMemory(false);
    }
    QuietHost(const QuietHost&) = delete;
    QuietHost& operator=(const QuietHost&) = delete;

    const std::string& LastText() const { return text_; }
    int Messages() const { return messages_; }

  private:
    mutable std::string text_;
    mutable int messages_ = 0;

    static void Read(const char* text, unsigned char type, void* data) {
        const QuietHost* self;
        std::memcpy(&self, data, sizeof self);
        self->text_ = text;
        ++self->messages_;
        if (type != 'i' && type != 'w' && type != 'e') Broken("a message is i, w or e");
    }
};

}  // namespace Fuzz
