#include "fuzz/main_calls.h"

#include <cmath>
#include <string>
#include <utility>

using ZEMRA::Vibration::Error;
using ZEMRA::Vibration::Message;

namespace Fuzz {

Interruption onActuator = nullptr, onMessage = nullptr;

void Answer::Add(const ZmAPI_Matrix& m) {
    const int a = m.Size(0), b = m.Size(1), c = m.Size(2);
    for (int i = 0; i < a && b == 0; ++i) m.Complex() ? Add(m.ValueC(i)) : Add(m.Value(i));
    for (int i = 0; i < a && c == 0; ++i)
        for (int j = 0; j < b; ++j) m.Complex() ? Add(m.ValueC(i, j)) : Add(m.Value(i, j));
    for (int k = 0; k < a; ++k)
        for (int i = 0; i < b; ++i)
            for (int j = 0; j < c; ++j) Add(m.ValueC(k, i, j));
}

bool Answer::Failed() const {
    for (std::size_t k = 1; k < count_ && k < kMost; ++k)
        if (values_[k] != kUntouched) return false;
    return count_ > 0 && values_[0] == 0.0;
}

void Receive(const char*, unsigned char, void*) {
    if (onMessage) onMessage();
}

namespace {

// The callback of a host: the amplitude that its data hold, falling with the frequency.
void Excite(unsigned long long, void* data, double w, double* re, double* im) {
    if (onActuator) onActuator();
    double amplitude;
    std::memcpy(&amplitude, data, sizeof amplitude);
    *re = amplitude;
    *im = -amplitude / (1 + w * w);
}

template <typename Build, typename Ask>
MainCall Call(const char* name, Build build, Ask ask, bool plain = false) {
    return {name,
            [=] {
                const auto object = std::make_shared<decltype(build())>(build());
                return Held{[=](Answer& answer) { ask(*object, answer); }, nullptr};
            },
            plain};
}

// The same with a state that a failure must not change.
template <typename Build, typename Ask, typename State>
MainCall Change(const char* name, Build build, Ask ask, State state) {
    return {name, [=] {
                const auto object = std::make_shared<decltype(build())>(build());
                return Held{[=](Answer& answer) { ask(*object, answer); },
                            [=](Answer& answer) { state(*object, answer); }};
            }};
}

// A chain of unit masses and springs, damped a little; the last mass free, the first tied to
// the ground or, for a model with a rigid body motion, to nothing. States: displacements,
// velocities.
ZmAPI_Matrix Chain(int masses, bool tied) {
    const int n = 2 * masses;
    std::vector<double> a(static_cast<std::size_t>(n * n));
    const auto at = [&](int i, int j) -> double& {
        const int place = i + j * n;
        return a[static_cast<std::size_t>(place)];
    };
    for (int i = 0; i < masses; ++i) {
        at(i, masses + i) = 1;
        const auto couple = [&](int j) {
            at(masses + i, i) -= 1;
            at(masses + i, masses + i) -= 0.02;
            if (j >= 0) {
                at(masses + i, j) += 1;
                at(masses + i, masses + j) += 0.02;
            }
        };
        if (i > 0 || tied) couple(i - 1);
        if (i + 1 < masses) couple(i + 1);
    }
    return {n, n, a.data()};
}

// Forces on, or motions of, the first and the last mass.
ZmAPI_Matrix AtEnds(int masses, int offset, bool rows) {
    const int n = 2 * masses;
    std::vector<double> b(static_cast<std::size_t>(2 * n));
    const int places[] = {offset, offset + masses - 1};
    for (int k = 0; k < 2; ++k)
        b[static_cast<std::size_t>(rows ? k + 2 * places[k] : places[k] + n * k)] = 1;
    return rows ? ZmAPI_Matrix(2, n, b.data()) : ZmAPI_Matrix(n, 2, b.data());
}

struct Parts {
    ZmAPI_Matrix A, B, C, D;
    std::vector<ZmAPI_Actuator> owned;
    std::vector<const ZmAPI_Actuator*> actuators;
};

// The types of the two inputs; the first is a density with a cross one, the second an
// amplitude.
std::unique_ptr<Parts> MakeParts(const char* types, bool tied) {
    constexpr int kMasses = 3;
    const double none[4] = {}, density = 2.0, amplitude = 3.0;
    auto parts = std::make_unique<Parts>(Parts{Chain(kMasses, tied),
                                               AtEnds(kMasses, kMasses, false),
                                               AtEnds(kMasses, 0, true),
                                               {2, 2, none},
                                               {},
                                               {}});
    const ZmAPI_Actuator coupled('F', &Excite, sizeof density, &density);
    const ZmAPI_Actuator* const cross[] = {nullptr, &coupled};
    parts->owned.emplace_back(types[0], &Excite, sizeof density, &density, 2, cross);
    parts->owned.emplace_back(types[1], &Excite, sizeof amplitude, &amplitude);
    for (const auto& actuator : parts->owned) parts->actuators.push_back(&actuator);
    return parts;
}

ZmAPI_SystemSS StateSpace(const char* types, bool tied = true) {
    const auto p = MakeParts(types, tied);
    return {0.0, p->A, p->B, p->C, p->D, p->actuators.data()};
}

ZmAPI_System Modal(const char* types, bool tied = true) {
    const auto p = MakeParts(types, tied);
    const int modes[] = {0, 2};
    return {0.0, p->A, p->B, p->C, p->D, p->actuators.data(), 2, modes, nullptr};
}

ZmAPI_Matrix Frequencies(int count = 5) {
    std::vector<double> w;
    for (int k = 0; k < count; ++k) w.push_back(0.3 * (k + 1));
    return {count, w.data()};
}

ZmAPI_Matrix Samples(bool complex) {
    std::vector<double> x;
    std::vector<ZmAPI_Complex> z;
    for (int k = 0; k < 2 * 21; ++k) {
        x.push_back(std::sin(0.7 * k) + 0.1 * k);
        z.emplace_back(x.back(), std::cos(0.3 * k));
    }
    return complex ? ZmAPI_Matrix(z.data(), 21, 2) : ZmAPI_Matrix(x.data(), 21, 2);
}

ZmAPI_Matrix Measured() {
    std::vector<double> rows;
    for (int k = 1; k <= 8; ++k) {
        const double f = 2.0 * k, w = f * 6.283185307179586;
        const ZmAPI_Matrix H =
            ZmAPI_ToolBox::FDEvaluate(40, 0.1, 30, 0.5, 10, 0.01, ZmAPI_Matrix(1, &w), true);
        rows.insert(rows.end(), {1.0, f, H.Value(0, 0), H.Value(0, 1)});
    }
    return {rows.data(), 8, 4};
}

void AddSolution(const ZmAPI_EigenProblem& e, Answer& answer) {
    answer.Add(e.Eigenvectors());
    for (int i = 0; i < e.Eigenvalues(); ++i) {
        answer.Add(e.Eigenvalue(i, false));
        answer.Add(e.Defective(i));
        for (int k = 0; k < e.Eigenvectors(); ++k) answer.Add(e.Eigenvector(i, k));
        if (e.Eigenvectors()) answer.Add(e.CheckEigenVector(i, false));
    }
}

// Every query of a model, one call each, first on a fresh model and then on one whose caches
// hold other frequencies and must hold them after a failure.
template <typename Make>
void AddQueries(std::vector<MainCall>& calls, const std::array<const char*, 8>& names,
                Make make) {
    using S = decltype(make());
    const auto warm = [make] {
        S s = make();
        s.FrequencyResponse(Frequencies(3));
        s.MCT(Frequencies(3), true);
        s.PSD(0.7, 0.1);
        return s;
    };
    const auto cached = [](S& s, Answer& a) {
        a.Add(s.TransferFunction(Frequencies(3)));
        a.Add(s.FrequencyResponse(Frequencies(3)));
        a.Add(s.MCT(Frequencies(3), true));
        a.Add(s.PSD(0.7, 0.1));
    };
    const auto add = [&](const char* name, auto query) {
        calls.push_back(Call(name, make, query));
        calls.push_back(Change(name, warm, query, cached));
    };
    add(names[0], [](S& s, Answer& a) { a.Add(s.TransferFunction(Frequencies())); });
    add(names[1], [](S& s, Answer& a) { a.Add(s.FrequencyResponse(Frequencies())); });
    add(names[2], [](S& s, Answer& a) { a.Add(s.MCT(Frequencies(), true)); });
    add(names[3], [](S& s, Answer& a) { a.Add(s.PSD(0.5, 0.25)); });
    add(names[4], [](S& s, Answer& a) { a.Add(s.PSD(0, 0.5, 0.25)); });
    add(names[5], [](S& s, Answer& a) { a.Add(s.MPF(0, 0, 1, -1, Frequencies(), true)); });
    add(names[6], [](S& s, Answer& a) {
        S copy(s);
        S assigned(copy);
        assigned = s;
        copy = assigned;
        for (const char which : {'A', 'B', 'C', 'D'}) a.Add(assigned.ModalMatrix(which));
        a.Add(copy.Actuator(0).Evaluate(1.0));
        a.Add(assigned.FrequencyResponse(Frequencies(2)));
    });
    add(names[7], [](S& s, Answer& a) {  // each with a message, and no model has 9 inputs
        a.Add(s.PSD(9, 1.0, 1.0));
        a.Add(s.MPF(9, 0, 0, 0, Frequencies(), true));
        a.Add(s.MPF(-1, -1, -1, -1, Frequencies(), false));
        a.Add(s.TransferFunction(Samples(false)));
        a.Add(s.ModalMatrix('x'));
        a.Add(s.Actuator(9).Evaluate(1.0));
    });
}

void AddModels(std::vector<MainCall>& calls) {
    for (const char* types : {"FF", "FD"}) {
        const bool forces = types[1] == 'F';
        calls.push_back(Call(
            forces ? "state-space model" : "state-space model with a motion",
            [types] { return MakeParts(types, true); },
            [](const auto& p, Answer& a) {
                const ZmAPI_SystemSS s(0.0, p->A, p->B, p->C, p->D, p->actuators.data());
                a.Add(s.Outputs());
            }));
        calls.push_back(Call(
            forces ? "modal model" : "modal model with a motion",
            [types] { return MakeParts(types, true); },
            [](const auto& p, Answer& a) {
                const ZmAPI_System s(0.0, p->A, p->B, p->C, p->D, p->actuators.data(), 0,
                                     nullptr, nullptr);
                a.Add(s.Outputs());
                for (int i = 0; i < s.Eigenvalues(); ++i) {
                    a.Add(s.Eigenvalue(i, true));
                    a.Add(s.Eigenvector(i, 0));
                    a.Add(s.CheckEigenVector(i, true));
                }
            }));
        calls.push_back(Call(
            forces ? "conversion to modal form" : "conversion of a motion",
            [types] { return StateSpace(types); },
            [](const ZmAPI_SystemSS& s, Answer& a) {
                const ZmAPI_System modal(s);
                a.Add(modal.ModalMatrix('A').Size(0));
                a.Add(modal.ModalMatrix('B'));
            }));
    }
    AddQueries(calls,
               {"SS transfer function", "SS response", "SS MCT", "SS PSD", "SS output PSD",
                "SS MPF", "SS copies", "SS refusals"},
               [] { return StateSpace("FF"); });
    AddQueries(calls,
               {"MS transfer function", "MS response", "MS MCT", "MS PSD", "MS output PSD",
                "MS MPF", "MS copies", "MS refusals"},
               [] { return Modal("FF"); });
    AddQueries(calls,
               {"kinematic SS transfer function", "kinematic SS response", "kinematic SS MCT",
                "kinematic SS PSD", "kinematic SS output PSD", "kinematic SS MPF",
                "kinematic SS copies", "kinematic SS refusals"},
               [] { return StateSpace("FD"); });
    AddQueries(calls,
               {"kinematic MS transfer function", "kinematic MS response", "kinematic MS MCT",
                "kinematic MS PSD", "kinematic MS output PSD", "kinematic MS MPF",
                "kinematic MS copies", "kinematic MS refusals"},
               [] { return Modal("FD"); });
    for (const bool tied : {true, false})
        calls.push_back(Call(
            tied ? "compliance" : "compliance of a free body",
            [tied] { return StateSpace("FF", tied); },
            [](const ZmAPI_SystemSS& s, Answer& a) { a.Add(s.ComplianceMatrix()); }));
}

void AddEigenProblems(std::vector<MainCall>& calls) {
    const auto solve = [](ZmAPI_EigenProblem& e, Answer& a) {
        a.Add(e.Solve(false));
        AddSolution(e, a);
    };
    calls.push_back(Call(
        "eigen problem", [] { return ZmAPI_EigenProblem(Chain(3, true)); }, solve));
    calls.push_back(Call(
        "eigen problem with a chain", [] { return ZmAPI_EigenProblem(Chain(3, false)); },
        solve));
    calls.push_back(Call(
        "generalized eigen problem",
        [] { return ZmAPI_EigenProblem(Chain(3, true), Chain(3, false)); }, solve));
    // A solution is not lost when another solve fails for a reason of the host's.
    calls.push_back(Change(
        "eigen problem solved again",
        [] {
            ZmAPI_EigenProblem e(Chain(3, true));
            e.Solve(false);
            return e;
        },
        [](ZmAPI_EigenProblem& e, Answer& a) { a.Add(e.Solve(true)); },
        [](ZmAPI_EigenProblem& e, Answer& a) { AddSolution(e, a); }));
    calls.push_back(Change(
        "eigen problem assigned",
        [] {
            ZmAPI_EigenProblem e(Chain(2, true));
            e.Solve(false);
            return e;
        },
        [](ZmAPI_EigenProblem& e, Answer& a) {
            ZmAPI_EigenProblem other(Chain(1, true));
            e = other;
            a.Add(e.Eigenvalues());
        },
        [](ZmAPI_EigenProblem& e, Answer& a) { AddSolution(e, a); }));
    calls.push_back(Call(
        "refused eigen problem", [] { return Samples(true); },
        [](const ZmAPI_Matrix& m, Answer& a) {
            const ZmAPI_EigenProblem e(m);
            a.Add(e.Eigenvalues());
        }));
}

void AddEntryPoints(std::vector<MainCall>& calls) {
    struct Arrays {
        std::vector<double> a, b, out[4];
    };
    const auto arrays = [] {
        Arrays result;
        const ZmAPI_Matrix A = Chain(2, true), B = Chain(2, false);
        for (int j = 0; j < 4; ++j)
            for (int i = 0; i < 4; ++i) {
                result.a.push_back(A.Value(i, j));
                result.b.push_back(B.Value(i, j));
            }
        for (auto& values : result.out) values.resize(16);
        return result;
    };
    const auto answer = [](Arrays& r, Answer& a, const auto& solve) {
        for (auto& values : r.out)
            for (double& x : values) x = Answer::kUntouched;
        int found = -1;
        solve(&found);
        a.Add(found);
        for (const auto& values : r.out)
            for (const double x : values) a.Add(x);
    };
    calls.push_back(Call(
        "EigenSolution", arrays,
        [answer](Arrays& r, Answer& a) {
            answer(r, a, [&](int* found) {
                EigenSolution(4, r.a.data(), r.out[0].data(), r.out[1].data(), r.out[2].data(),
                              found);
            });
        },
        true));
    calls.push_back(Call(
        "GeneralEigenSolution", arrays,
        [answer](Arrays& r, Answer& a) {
            answer(r, a, [&](int* found) {
                GeneralEigenSolution(4, r.a.data(), r.b.data(), r.out[0].data(),
                                     r.out[1].data(), r.out[2].data(), r.out[3].data(), found);
            });
        },
        true));
    calls.push_back(Call(
        "VibMatrix_Balance", arrays,
        [answer](Arrays& r, Answer& a) {
            std::vector<double>& balanced = r.b;
            answer(r, a, [&](int* found) {
                std::copy(r.a.begin(), r.a.end(), balanced.begin());
                *found = VibMatrix_Balance(r.out[0].data(), balanced.data(), 4);
            });
        },
        true));
    calls.push_back(Call(
        "message handler", [] { return std::string("the host's data"); },
        [](const std::string& data, Answer& a) {
            // Under a handler, so that null says that the push has failed.
            const bool pushed = ZmAPI_PushMessageHandler(&Receive, data.size(), data.data());
            if (pushed) ZmAPI_PopMessageHandler();
            a.Add(pushed);
        },
        true));
    calls.back().touchesHandlers = true;
}

void AddValues(std::vector<MainCall>& calls) {
    calls.push_back(Change(
        "matrix assigned", [] { return Samples(true); },
        [](ZmAPI_Matrix& m, Answer& a) {
            const ZmAPI_Matrix other = Frequencies();
            m = other;
            a.Add(m);
        },
        [](ZmAPI_Matrix& m, Answer& a) { a.Add(m); }));
    calls.push_back(Call(
        "matrix products and refusals", [] { return Chain(2, true); },
        [](const ZmAPI_Matrix& m, Answer& a) {
            const double x[] = {1, 2, 3, 4};
            double y[4] = {};
            ZmAPI_Complex z[4];
            m.MultMv(y, x);
            m.MultMv(z, z);
            for (const double value : y) a.Add(value);
            a.Add(m.Value(9, 9));
            a.Add(m.Value(1));
        }));
    calls.push_back(Change(
        "actuator assigned", [] { return ZmAPI_Actuator('F', 2.0, 30.0); },
        [](ZmAPI_Actuator& actuator, Answer& a) {
            const double amplitude = 3.0;
            const ZmAPI_Actuator cross('F', &Excite, sizeof amplitude, &amplitude);
            const ZmAPI_Actuator* const list[] = {&cross, nullptr, &actuator};
            actuator = ZmAPI_Actuator('F', &Excite, sizeof amplitude, &amplitude, 3, list);
            a.Add(actuator.HasCrossActuator(2));
        },
        [](ZmAPI_Actuator& actuator, Answer& a) { a.Add(actuator.Evaluate(1.0)); }));
    calls.push_back(Call(
        "actuator over frequencies", [] { return MakeParts("FF", true); },
        [](const auto& p, Answer& a) {
            a.Add(p->owned[0].EvalPSD(Frequencies()));
            a.Add(p->owned[0].CrossActuator(1).Evaluate(Frequencies()));
        }));
    calls.push_back(Change(
        "message assigned", [] { return Message("%d %g %c", Message::INFO); },
        [](Message& message, Answer& a) {
            Message other("an %s of %d and %g", Message::ERROR);
            other << 1 << 2 << 3.0;
            message = other;
            a.Add(message.Type());
        },
        [](Message& message, Answer& a) {
            a.Add(static_cast<double>(message.Text().size()));
        }));
    calls.push_back(Call(
        "error thrown", [] { return 0; },
        [](int, Answer& a) {
            try {
                throw Error(std::string(40, 'x') + "%d %g") << 3 << 2.5;
            } catch (const Error& error) {
                error.Print();
                a.Add(static_cast<double>(error.FormatString().size()));
            }
        }));
}

void AddToolBox(std::vector<MainCall>& calls) {
    for (const bool complex : {false, true}) {
        calls.push_back(Call(
            complex ? "complex spectrum" : "spectrum", [complex] { return Samples(complex); },
            [](const ZmAPI_Matrix& x, Answer& a) {
                a.Add(ZmAPI_ToolBox::FFT(x, 33, true, ZmAPI_ToolBox::WINDOW_HANNING));
            }));
        calls.push_back(Call(
            complex ? "complex density" : "density", [complex] { return Samples(complex); },
            [](const ZmAPI_Matrix& x, Answer& a) {
                a.Add(ZmAPI_ToolBox::PSD(x, ZmAPI_ToolBox::WINDOW_WELCH, 3, 2));
            }));
    }
    calls.push_back(Call(
        "refused spectrum", [] { return Frequencies(); },
        [](const ZmAPI_Matrix& x, Answer& a) {
            a.Add(ZmAPI_ToolBox::FFT(x, 8, true, ZmAPI_ToolBox::WINDOW_NONE));
        }));
    calls.push_back(Call(
        "elements", [] { return Frequencies(); },
        [](ZmAPI_Matrix& w, Answer& a) {
            a.Add(ZmAPI_ToolBox::FDEvaluate(1, 2, 3, 4, 5, 6, w, true));
            a.Add(ZmAPI_ToolBox::FDEvaluate(w, w, w, w, w, w, w, false));
        }));
    calls.push_back(Call(
        "identification", [] { return Measured(); },
        [](const ZmAPI_Matrix& data, Answer& a) { a.Add(ZmAPI_ToolBox::FDElementID(data)); }));
}

}  // namespace

std::vector<MainCall> MainCalls() {
    std::vector<MainCall> calls;
    AddValues(calls);
    AddEigenProblems(calls);
    AddModels(calls);
    AddEntryPoints(calls);
    AddToolBox(calls);
    return calls;
}

}  // namespace Fuzz
