#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "zemra/zmapi.h"

namespace Example {

/// While it lives, prints the library's warnings and errors to standard error, each on one
/// line behind the program's name and once however often it comes, and counts the errors.
/// Informations are left out.
class MessageLog {
  public:
    explicit MessageLog(std::string program)
        : state_(std::make_unique<State>(State{std::move(program), {}, 0})) {
        const Data data{state_.get()};
        ZmAPI::PushMessageHandler(Print, sizeof data, &data);
    }
    MessageLog(const MessageLog&) = delete;
    MessageLog& operator=(const MessageLog&) = delete;
    ~MessageLog() { ZmAPI::PopMessageHandler(); }

    int Errors() const { return state_->errors; }

  private:
    struct State {
        std::string program;
        std::set<std::string> printed;
        int errors;
    };
    // What is pushed with the handler: the library keeps a copy of it.
    struct Data {
        State* state;
    };
    std::unique_ptr<State> state_;

    static void Print(const char* text, unsigned char type, void* data) {
        if (type == 'i') return;
        State& state = *static_cast<Data*>(data)->state;
        std::istringstream words(text);
        std::string line = state.program + ":";
        for (std::string word; words >> word;) line += " " + word;
        if (state.printed.insert(line).second) std::fprintf(stderr, "%s\n", line.c_str());
        if (type == 'e') ++state.errors;
    }
};

}  // namespace Example
