// Two threads solve eigen problems of their own at the same time. Built with the thread
// sanitizer, which ends the program when they share anything but the stack of message handlers;
// that one is set up before they start.

#include <atomic>
#include <cmath>
#include <cstdio>
#include <latch>
#include <thread>
#include <vector>

#include "zemra/eigen/eigen_problem.h"
#include "zemra/message/message.h"

namespace {

using ZEMRA::Vibration::EigenProblem;
using ZEMRA::Vibration::Matrix2D;

constexpr int kRounds = 20;
std::atomic<int> messages = 0;

// Full, with rigid bodies (a chain and its warning) and poor vectors to refine among them.
std::vector<EigenProblem> Problems(int seed) {
    std::vector<EigenProblem> problems;
    for (int n = 2; n <= 20; n += 6) {
        Matrix2D<double> full(n, n), pencil(n, n), free(n, n);
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                full(i, j) = std::sin(1 + i * n + j + seed);
                pencil(i, j) = std::cos(1 + i * i + j + seed) + (i == j ? n : 0);
            }
            if (i < n / 2) free(i, n / 2 + i) = 1 + seed;
        }
        problems.emplace_back(full);
        problems.emplace_back(full, pencil);
        problems.emplace_back(free);
    }
    return problems;
}

std::vector<double> Residuals(int seed) {
    std::vector<double> residuals;
    for (EigenProblem& problem : Problems(seed)) {
        problem.Solve(/*noVectors=*/false);
        for (int i = 0; i < problem.Eigenvalues(); ++i)
            residuals.push_back(problem.CheckEigenVector(i, false));
    }
    return residuals;
}

}  // namespace

int main() {
    ZEMRA::Vibration::Message::PushHandler(
        [](const char*, unsigned char, void*) { ++messages; }, 0, nullptr);
    const std::vector<double> expected[] = {Residuals(0), Residuals(1)};
    const int alone = messages.exchange(0);
    // Held back until both run, and many rounds: each message orders the threads, since the
    // handler's block counts its users, and hides what they did before it.
    std::latch start(2);
    std::vector<double> actual[2];
    const auto solve = [&](int seed) {
        start.arrive_and_wait();
        for (int round = 0; round < kRounds; ++round) actual[seed] = Residuals(seed);
    };
    std::thread first(solve, 0), second(solve, 1);
    first.join();
    second.join();
    const bool same =
        actual[0] == expected[0] && actual[1] == expected[1] && messages == kRounds * alone;
    std::printf("%zu and %zu pairs, %d messages\n", actual[0].size(), actual[1].size(), alone);
    return same ? 0 : 1;
}
