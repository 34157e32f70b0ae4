// faults [every]
// Lets the k-th allocation of each main call fail, then the k-th call of an actuator function,
// then the k-th message, until the call gets through. Each time the failure comes out as it
// went in, or where a plain entry point promises so a neutral answer; nothing stays behind on
// the heap; what the object held is as it was; and asked again it answers as an untouched one,
// bit by bit. Without "every", late allocations are sampled.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "fuzz/main_calls.h"
#include "fuzz/target.h"

namespace {

using Fuzz::Answer;
using Fuzz::Held;
using Fuzz::HostFailure;
using Fuzz::MainCall;

int failures = 0;

int countdown = 0;  // to the call of a callback that throws
void ThrowAtZero() {
    if (countdown > 0 && --countdown == 0) throw HostFailure();
}

enum class Fault { kAllocation, kActuator, kMessage };
constexpr const char* kNames[] = {"allocation", "actuator call", "message"};

void Arm(Fault fault, int k) {
    if (fault == Fault::kAllocation) return Fuzz::FailAllocation(k);
    countdown = k;
    (fault == Fault::kActuator ? Fuzz::onActuator : Fuzz::onMessage) = &ThrowAtZero;
}

// Whether the fault has happened.
bool Disarm(Fault fault) {
    Fuzz::onActuator = Fuzz::onMessage = nullptr;
    return fault == Fault::kAllocation ? Fuzz::AllocationFailed() : countdown == 0;
}

void Complain(const MainCall& call, Fault fault, int k, const char* what) {
    std::printf("%s, %s %d: %s\n", call.name, kNames[static_cast<int>(fault)], k, what);
    ++failures;
}

Answer Asked(const std::function<void(Answer&)>& query) {
    Answer answer;
    if (query) query(answer);
    return answer;
}

enum class Outcome { kAnswer, kOwnException, kOtherException };

Outcome Attempt(const Held& held, Fault fault, Answer& answer) {
    try {
        held.ask(answer);
        return Outcome::kAnswer;
    } catch (const std::bad_alloc&) {
        return fault == Fault::kAllocation ? Outcome::kOwnException : Outcome::kOtherException;
    } catch (const HostFailure&) {
        return fault == Fault::kAllocation ? Outcome::kOtherException : Outcome::kOwnException;
    } catch (...) {
        return Outcome::kOtherException;
    }
}

// Whether the fault happened: else the call has got through.
bool Interrupted(const MainCall& call, const Answer& expected, Fault fault, int k) {
    const long long before = Fuzz::InUse().blocks;
    bool happened = false;
    {
        const Held held = call.make();
        const Answer state = Asked(held.state);
        Answer answer;
        Arm(fault, k);
        const Outcome outcome = Attempt(held, fault, answer);
        happened = Disarm(fault);
        const auto complain = [&](const char* what) { Complain(call, fault, k, what); };
        if (outcome == Outcome::kOtherException) complain("another exception comes out");
        if (outcome == Outcome::kOwnException && (call.plain || !happened))
            complain("an exception comes out");
        // Memory that is wanted, not needed, may be missing: then the answer is complete.
        if (outcome == Outcome::kAnswer && !(answer == expected) &&
            !(call.plain && happened && answer.Failed()))
            complain("the answer is another one");
        if (happened && outcome != Outcome::kAnswer && !(Asked(held.state) == state))
            complain("the object has changed");
        if (happened && !(Asked(held.ask) == expected))
            complain("asked again, the object answers otherwise");
    }
    if (Fuzz::InUse().blocks != before) Complain(call, fault, k, "memory stays behind");
    return happened;
}

}  // namespace

int main(int argc, char** argv) {
    const bool every = argc > 1 && std::strcmp(argv[1], "every") == 0;
    ZmAPI::PushMessageHandler(&Fuzz::Receive, 0, nullptr);
    int total = 0;
    for (const MainCall& call : Fuzz::MainCalls()) {
        const Answer expected = Asked(call.make().ask);
        if (!expected.Fits()) Complain(call, Fault::kAllocation, 0, "too long an answer");
        int counts[3] = {};
        for (const Fault fault : {Fault::kAllocation, Fault::kActuator, Fault::kMessage}) {
            int k = 1;
            for (; Interrupted(call, expected, fault, k);
                 k += every ? 1 : 1 + std::max(0, k - 60) / 16)
                ++total;
            counts[static_cast<int>(fault)] = k - 1;
        }
        std::printf("%-32s %5d allocations, %3d actuator calls, %2d messages\n", call.name,
                    counts[0], counts[1], counts[2]);
    }
    std::printf("%d faults, %d failures\n", total, failures);
    return failures == 0 ? 0 : 1;
}
