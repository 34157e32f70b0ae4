#include "tools/zemra/messages.h"

#include <cstdio>
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

// What is pushed with the handler: the library keeps a copy of it.
struct Handle {
    Messages::State* state;
};

void Receive(const char* text, unsigned char type, void* data) {
    Messages::State* const state = static_cast<Handle*>(data)->state;
    if (type == 'e') ++state->errors;
    if (type == 'i' && !state->verbose) return;
    std::istringstream words(text);
    std::string line = type == 'e' ? "error:" : type == 'w' ? "warning:" : "info:";
    for (std::string word; words >> word;) line += " " + word;
    state->Print(line);
}

}  // namespace

Messages::Messages(bool verbose) : state_(std::make_unique<State>(State{verbose})) {
    const Handle handle{state_.get()};
    ZmAPI::PushMessageHandler(Receive, sizeof handle, &handle);
}

Messages::~Messages() { ZmAPI::PopMessageHandler(); }

int Messages::Errors() const { return state_->errors; }
const std::vector<std::string>& Messages::Printed() const { return state_->printed; }
void Messages::Note(const std::string& text) { state_->Print("note: " + text); }

void Messages::Fail(const std::string& text) {
    ++state_->errors;
    state_->Print("error: " + text);
}

}  // namespace Tool
