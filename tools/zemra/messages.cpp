#include "tools/zemra/messages.h"

#include <cstdio>
#include <cstring>
#include <set>
#include <sstream>

#include "tools/zemra/progress.h"
#include "zemra/zmapi.h"

namespace Tool {

struct Messages::State {
    bool verbose;
    int errors = 0;
    std::set<std::string> known{};
    std::vector<std::string> printed{};

    void Print(const std::string& line) {
        if (!known.insert(line).second) return;
        printed.push_back(line);
        Progress::Clear();
        std::fprintf(stderr, "zemra: %s\n", line.c_str());
    }
};

namespace {

// The library hands back a copy of the pointer that was pushed with the handler.
void Receive(const char* text, unsigned char type, void* data) {
    Messages::State* state = nullptr;
    std::memcpy(static_cast<void*>(&state), data, sizeof state);
    if (type == 'e') ++state->errors;
    if (type == 'i' && !state->verbose) return;
    std::istringstream words(text);
    std::string line = type == 'e' ? "error:" : type == 'w' ? "warning:" : "info:";
    for (std::string word; words >> word;) line += " " + word;
    state->Print(line);
}

}  // namespace

Messages::Messages(bool verbose) : state_(std::make_unique<State>(State{verbose})) {
    const State* const state = state_.get();
    ZmAPI::PushMessageHandler(Receive, sizeof state, static_cast<const void*>(&state));
}

Messages::~Messages() { ZmAPI::PopMessageHandler(); }

int Messages::Errors() const { return state_->errors; }
const std::vector<std::string>& Messages::Printed() const { return state_->printed; }
void Messages::Note(const std::string& text) { state_->Print("note: " + text); }

}  // namespace Tool
