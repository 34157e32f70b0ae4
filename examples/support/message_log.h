#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "zemra/zmapi.h"

namespace Example {

/// While it lives, prints the library's warnings and errors to standard error, each on one
/// line behind the program's name, and counts the errors. Informations are left out.
class MessageLog {
  public:
    /// The library keeps a copy of what is pushed with the handler: here a pointer to the
    /// state.
    explicit MessageLog(std::string program)
        : state_(std::make_unique<State>(State{std::move(program), 0})) {
        State* const state = state_.get();
        ZmAPI::PushMessageHandler(Print, sizeof state, &state);
    }
    MessageLog(const MessageLog&) = delete;
    MessageLog& operator=(const MessageLog&) = delete;
    ~MessageLog() { ZmAPI::PopMessageHandler(); }

    int Errors() const { return state_->errors; }

  private:
    struct State {
        std::string program;
        int errors;
    };
    std::unique_ptr<State> state_;

    static void Print(const char* text, unsigned char type, void* data) {
        if (type == 'i') return;
        State& state = **static_cast<State**>(data);
        std::istringstream words(text);
        std::string line = state.program + ":";
        for (std::string word; words >> word;) line += " " + word;
        std::fprintf(stderr, "%s\n", line.c_str());
        if (type == 'e') ++state.errors;
    }
};

}  // namespace Example
