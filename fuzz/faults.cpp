// faults [every]
// Lets the k-th allocation of each main call fail, then the k-th call of an actuator function,
// then the k-th message, until the call gets through; the callbacks throw something of the
// host's, then an Error, which a query may print and answer with a neutral value. Each time the
// failure comes out as it went in, or where a plain entry point promises so a neutral answer;
// nothing stays behind on the heap; what the object held is as it was; and asked again it
// answers as an untouched one, bit by bit. Without "every", late allocations are sampled.

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

// The callback of that number throws something of the host's, or an Error of the library.
int countdown = 0;
bool throwsError = false;
void ThrowAtZero() {
    if (countdown <= 0 || --countdown > 0) return;
    if (throwsError) throw ZEMRA::Vibration::Error("a callback of the host failed");
    throw HostFailure();
}

enum Fault { kAllocation, kActuator, kMessage, kActuatorError, kMessageError, kFaults };
constexpr const char* kNames[kFaults] = {"allocation", "actuator call", "message",
                                         "actuator call with an Error",
                                         "message with an Error"};

bool IsError(Fault fault) { return fault == kActuatorError || fault == kMessageError; }

void Arm(Fault fault, int k) {
    if (fault == kAllocation) return Fuzz::FailAllocation(k);
    countdown = k;
    throwsError = IsError(fault);
    const bool byActuator = fault == kActuator || fault == kActuatorError;
    (byActuator ? Fuzz::onActuator : Fuzz::onMessage) = &ThrowAtZero;
}

// Whether the fault has happened.
bool Disarm(Fault fault) {
    Fuzz::onActuator = Fuzz::onMessage = nullptr;
    return fault == kAllocation ? Fuzz::AllocationFailed() : countdown == 0;
}

void Complain(const MainCall& call, Fault fault, int k, const char* what) {
    std::printf("%s, %s %d: %s\n", call.name, kNames[fault], k, what);
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
        return fault == kAllocation ? Outcome::kOwnException : Outcome::kOtherException;
    } catch (const HostFailure&) {
        const bool own = fault == kActuator || fault == kMessage;
        return own ? Outcome::kOwnException : Outcome::kOtherException;
    } catch (const ZEMRA::Vibration::Error&) {
        return IsError(fault) ? Outcome::kOwnException : Outcome::kOtherException;
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
        // Memory that is wanted, not needed, may be missing: then the answer is complete. An
        // Error ends in a neutral answer.
        const bool complete = outcome == Outcome::kAnswer && answer == expected;
        const bool neutral = IsError(fault) || (call.plain && answer.Failed());
        if (outcome == Outcome::kAnswer && !complete && !(happened && neutral))
            complain("the answer is another one");
        // An Error from a handler ends a solution as one of the library's own does.
        const bool mayChange = complete || fault == kMessageError;
        if (happened && !mayChange && !(Asked(held.state) == state))
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
        if (!expected.Fits()) Complain(call, kAllocation, 0, "too long an answer");
        int counts[kFaults] = {};
        for (const Fault fault :
             {kAllocation, kActuator, kMessage, kActuatorError, kMessageError}) {
            int k = 1;
            for (; Interrupted(call, expected, fault, k);
                 k += every ? 1 : 1 + std::max(0, k - 60) / 16)
                ++total;
            counts[fault] = k - 1;
        }
        std::printf("%-32s %5d allocations, %3d actuator calls, %2d messages\n", call.name,
                    counts[kAllocation], counts[kActuator], counts[kMessage]);
    }
    std::printf("%d faults, %d failures\n", total, failures);
    return failures == 0 ? 0 : 1;
}
