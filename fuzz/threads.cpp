// Two threads make the main calls at the same time, each on objects of its own, and get the
// answers that one thread alone gets. Built with the thread sanitizer (preset tsan), which ends
// the program when they share anything but the stack of message handlers; that one is set up
// before they start.

#include <cstdio>
#include <cstdlib>
#include <latch>
#include <thread>
#include <vector>

#include "fuzz/main_calls.h"

namespace {

using Fuzz::Answer;

// Each call on a fresh object; forwards or backwards, so that the threads meet in all pairs.
std::vector<Answer> Answers(bool backwards) {
    const std::vector<Fuzz::MainCall> calls = Fuzz::MainCalls();
    std::vector<Answer> answers(calls.size());
    for (std::size_t k = 0; k < calls.size(); ++k) {
        const std::size_t at = backwards ? calls.size() - 1 - k : k;
        if (calls[at].touchesHandlers) continue;
        calls[at].make().ask(answers[at]);
    }
    return answers;
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 3;
    ZmAPI::PushMessageHandler(&Fuzz::Receive, 0, nullptr);
    const std::vector<Answer> expected = Answers(false);
    std::latch start(2);
    int differences[2] = {};
    const auto run = [&](int which) {
        start.arrive_and_wait();
        for (int round = 0; round < rounds; ++round)
            differences[which] += Answers((round + which) % 2 == 1) != expected;
    };
    std::thread first(run, 0), second(run, 1);
    first.join();
    second.join();
    std::printf("%zu calls, %d rounds, %d and %d with other answers\n", expected.size(), rounds,
                differences[0], differences[1]);
    return differences[0] + differences[1] == 0 ? 0 : 1;
}
