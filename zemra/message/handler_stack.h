#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "zemra/message/message.h"

namespace ZEMRA::Vibration {

/// The process-wide stack of message handlers, each with its own copy of the host's data.
class HandlerStack {
  public:
    /// The one stack. It is never destroyed, so that an object of the host that outlives the
    /// library's static data may still report a failure.
    static HandlerStack& Instance();

    Message::Handler Push(Message::Handler handler, unsigned long long size, const void* data);
    Message::Handler Pop();
    /// Hands a formatted text to the top handler, or to the default handler.
    void Deliver(const char* text, unsigned char type);

  private:
    HandlerStack() = default;

    struct Entry {
        Message::Handler handler;
        std::shared_ptr<std::byte[]> data;
    };
    std::vector<Entry> entries_;
    bool bannerWritten_ = false;

    void WriteToStandardStreams(const char* text, unsigned char type);
};

}  // namespace ZEMRA::Vibration
