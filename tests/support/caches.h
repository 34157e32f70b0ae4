#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "tests/support/excitation.h"
#include "tests/support/frequencies.h"
#include "tests/support/matrices.h"
#include "zemra/message/message.h"
#include "zemra/system/system.h"

namespace ZEMRA::Vibration::tests {

/// The queries over a frequency vector, with what each may cost a force model for 3 frequencies
/// and 2 inputs: the first time, again, and first but with H and the states known.
using Answer = std::vector<Complex>;
using W = const Frequencies&;

inline Answer Slots(const Matrix3D<Complex>& m) {
    Answer answer;
    for (int k = 0; k < m.Size(0); ++k)
        for (const auto& row : Rows(m.Slot(k)))
            answer.insert(answer.end(), row.begin(), row.end());
    return answer;
}
inline Answer Each(const Frequencies& w, const std::function<Complex(double)>& ask) {
    Answer answer(static_cast<std::size_t>(w.Size(0)));
    std::transform(w.Data(), w.Data() + w.Size(0), answer.begin(), ask);
    return answer;
}
inline Answer Density(System& s, W w) {
    return Each(w, [&](double x) { return s.PSD(x, 1)(1, 0); });
}
inline Answer OutputDensities(System& s, W w) {
    return Each(w, [&](double x) { return s.PSD(0, x, 1); });
}

struct Cost {
    int solves, calls;
    bool operator==(const Cost&) const = default;
    Cost WithSolvers(int n) const { return {n * solves, calls}; }
    bool IsWithin(const Cost& other) const {
        return solves <= other.solves && calls <= other.calls;
    }
};
struct Query {
    Cost first, again, known;
    Answer (*ask)(System&, W);
};
inline const Query kQueries[] = {
    {{3, 0}, {0, 0}, {0, 0}, [](System& s, W w) { return Slots(s.TransferFunction(w)); }},
    {{3, 6}, {0, 0}, {0, 6}, [](System& s, W w) { return Slots(s.FrequencyResponse(w)); }},
    {{3, 0}, {0, 0}, {0, 0}, [](System& s, W w) { return Slots(s.MCT(w, false)); }},
    {{3, 6}, {0, 0}, {0, 6}, [](System& s, W w) { return Slots(s.MCT(w, true)); }},
    {{3, 6}, {0, 6}, {0, 6}, [](System& s, W w) { return Elements(s.MPF(0, 0, -1, 1, w, 1)); }},
    {{3, 6}, {3, 6}, {0, 6}, Density},
    {{3, 6}, {3, 6}, {0, 6}, OutputDensities}};

/// The checks take make(), which gives a unique_ptr to a fresh model with its excitation by
/// Amplitude and the number of its solves; it solves as a force model does times solvers.

template <typename Driven>
Cost CostOf(const Query& query, Driven& driven, const Frequencies& w) {
    const Cost before{driven.Solves(), driven.excitation.calls};
    query.ask(driven.system, w);
    return {driven.Solves() - before.solves, driven.excitation.calls - before.calls};
}

template <typename Make>
void ExpectToSpareAllTheyCan(const Make& make, int solvers) {
    for (const Query& query : kQueries) {
        const auto driven = make(), swept = make(), one = make(), other = make();
        const Cost first = query.first.WithSolvers(solvers);
        EXPECT_EQ(CostOf(query, *driven, Vector({1, 2, 4})), first);
        EXPECT_EQ(CostOf(query, *driven, Vector({1, 2, 4})), query.again.WithSolvers(solvers));
        swept->system.TransferFunction(Vector({1, 2, 4}));
        swept->system.MCT(Vector({1, 2, 4}), false);
        EXPECT_EQ(CostOf(query, *swept, Vector({1, 2, 4})), query.known);
        EXPECT_EQ(CostOf(query, *swept, Vector({5, 6, 7})), first);
        EXPECT_THAT(query.ask(*one->system.Copy(), Vector({})), testing::IsEmpty());
        EXPECT_EQ(CostOf(query, *one, Vector({-1})).solves, solvers);
        EXPECT_EQ(CostOf(query, *other, Vector({-99})).solves, solvers);
    }
}

inline void ExpectNoAnswerToAnotherQuestion(const System& fresh) {
    struct Question {
        const Query& query;
        Frequencies w;
        Answer answer;  // of a model that was asked nothing before
    };
    std::vector<Question> questions;
    for (const Query& query : kQueries)
        for (const auto& w : {Vector({1, 2, 4}), Vector({1, 3, 4}), Vector({1, 2}), Vector({})})
            questions.push_back({query, w, query.ask(*fresh.Copy(), w)});

    // Asks every sequence of so many questions; stops at a wrong answer.
    const auto ask = [&](const auto& self, const System& system, int length) -> bool {
        return length == 0 ||
               std::all_of(questions.begin(), questions.end(), [&](const auto& q) {
                   const std::unique_ptr<System> asked = system.Copy();
                   return q.query.ask(*asked, q.w) == q.answer &&
                          self(self, *asked, length - 1);
               });
    };
    EXPECT_TRUE(ask(ask, fresh, 3));
}

inline std::function<void()> hostCode;
inline void RunHostCode(const char*, unsigned char, void*) { hostCode(); }

/// The model prints a message at 2, and answers.
template <typename Make>
void ExpectSafetyFromHostCode(const Make& make, int solvers) {
    Message::PushHandler(RunHostCode, 0, nullptr);
    const Frequencies w = Vector({1, 3}), overPole = Vector({1, 2, 3}),
                      other = Vector({1, 2, 5});
    for (const Query& query : kQueries)
        for (const bool inHandler : {true, false}) {
            if (!inHandler && query.first.calls == 0) continue;
            const auto driven = make(), fresh = make();
            driven->excitation.value = [&](int input, double x) {
                if (x == 2 && !inHandler) hostCode();
                return Amplitude(input, x);
            };
            const auto nothing = [] {};
            const auto fail = [] { throw std::runtime_error("host"); };
            const auto reenter = [&, inside = false]() mutable {
                if (std::exchange(inside, true)) return;
                for (const Query& any : kQueries) any.ask(driven->system, other);
                inside = false;
            };
            hostCode = nothing;
            const Answer former = query.ask(driven->system, w);
            const Answer expected = query.ask(fresh->system, overPole);
            hostCode = fail;
            EXPECT_THROW(query.ask(driven->system, overPole), std::runtime_error);
            hostCode = nothing;
            const Cost cost = CostOf(query, *driven, w);
            EXPECT_TRUE(cost.IsWithin(query.again.WithSolvers(solvers)));
            EXPECT_EQ(query.ask(driven->system, w), former);
            hostCode = reenter;
            EXPECT_EQ(query.ask(driven->system, overPole), expected);
            EXPECT_EQ(query.ask(driven->system, overPole), expected);
        }
    Message::PopHandler();
}

}  // namespace ZEMRA::Vibration::tests
