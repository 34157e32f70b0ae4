#include "tools/zemra/progress.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <utility>

namespace Tool {
namespace {

volatile std::sig_atomic_t interrupted = 0;
bool lineShown = false;

void Interrupt(int /*signal*/) { interrupted = 1; }

}  // namespace

void CatchInterrupts() {
    struct sigaction action = {};
    action.sa_handler = Interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
}

bool Interrupted() { return interrupted != 0; }

Progress::Progress(std::string what, std::size_t total)
    : what_(std::move(what)), total_(total), last_(std::chrono::steady_clock::now()) {}

Progress::~Progress() { Clear(); }

void Progress::Show(std::size_t done) {
    const auto now = std::chrono::steady_clock::now();
    if (now - last_ < std::chrono::milliseconds(100) || !isatty(STDERR_FILENO)) return;
    last_ = now;
    lineShown = true;
    std::fprintf(stderr, "\r%s: %zu of %zu", what_.c_str(), done, total_);
    std::fflush(stderr);
}

void Progress::Clear() {
    if (!lineShown) return;
    std::fputs("\r\x1b[K", stderr);
    lineShown = false;
}

}  // namespace Tool
