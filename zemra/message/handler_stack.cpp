#include "zemra/message/handler_stack.h"

#include <cstdio>
#include <cstring>

namespace ZEMRA::Vibration {
namespace {

constexpr char kNoHandler[] =
    "No message handler has been set to for ZEMRA/Vibration. Using default.";

void WriteLine(std::FILE* stream, const char* indent, const char* text) {
    std::fprintf(stream, "%s%s\n", indent, text);
    std::fflush(stream);
}

}  // namespace

HandlerStack& HandlerStack::Instance() {
    static HandlerStack& stack = *new HandlerStack;
    return stack;
}

Message::Handler HandlerStack::Push(Message::Handler handler, unsigned long long size,
                                    const void* data) {
    Entry entry{handler, nullptr};
    if (data) {
        entry.data.reset(new std::byte[size]);
        std::memcpy(entry.data.get(), data, size);
    } else {
        entry.data.reset(new std::byte[1]{std::byte{'0'}});
    }
    const Message::Handler previous = entries_.empty() ? nullptr : entries_.back().handler;
    entries_.push_back(std::move(entry));
    return previous;
}

Message::Handler HandlerStack::Pop() {
    if (entries_.empty()) return nullptr;
    const Message::Handler top = entries_.back().handler;
    entries_.pop_back();
    return top;
}

void HandlerStack::Deliver(const char* text, unsigned char type) {
    if (entries_.empty() || !entries_.back().handler) {
        WriteToStandardStreams(text, type);
        return;
    }
    const Entry top = entries_.back();  // a handler that pops itself keeps its block until done
    top.handler(text, type, top.data.get());
}

void HandlerStack::WriteToStandardStreams(const char* text, unsigned char type) {
    if (!bannerWritten_) {
        bannerWritten_ = true;
        WriteLine(stdout, "", "INFO");
        WriteLine(stdout, "", kNoHandler);
    }
    std::FILE* const stream = type == 'i' || type == 'w' ? stdout : stderr;
    WriteLine(stream, "", type == 'i' ? "INFO:" : type == 'w' ? "WARNING:" : "ERROR:");
    WriteLine(stream, "   ", text);
}

}  // namespace ZEMRA::Vibration
