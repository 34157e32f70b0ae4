#pragma once

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "zemra/message/message.h"

namespace ZEMRA::Vibration::tests {

/// Collects every message printed during its life, as pairs of type character and whole text.
class CapturedMessages {
  public:
    CapturedMessages() {
        const void* const self = this;
        Message::PushHandler(&Collect, sizeof self, &self);
    }
    ~CapturedMessages() { Message::PopHandler(); }
    CapturedMessages(const CapturedMessages&) = delete;
    CapturedMessages& operator=(const CapturedMessages&) = delete;

    /// The messages since the last call, in the order of printing.
    std::vector<std::pair<char, std::string>> Take() { return std::exchange(messages_, {}); }

  private:
    std::vector<std::pair<char, std::string>> messages_;

    static void Collect(const char* text, unsigned char type, void* data) {
        void* self;
        std::memcpy(&self, data, sizeof self);
        static_cast<CapturedMessages*>(self)->messages_.emplace_back(static_cast<char>(type),
                                                                     text);
    }
};

}  // namespace ZEMRA::Vibration::tests
