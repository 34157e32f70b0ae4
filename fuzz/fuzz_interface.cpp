// Sequences of calls on the whole public interface, as a host with no manners makes them: any
// constructor and query, any index and size, copies and assignments in any order, callbacks
// that throw or call back, the environment changed between calls.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/byte_stream.h"
#include "fuzz/quiet_host.h"
#include "fuzz/target.h"
#include "zemra/zmapi.h"

namespace {

using Fuzz::Broken;
using Fuzz::ByteStream;
using Fuzz::Digest;
using ZEMRA::Vibration::Error;

constexpr int kMostCalls = 48;
constexpr int kSlots = 4;

/// What a callback of the host throws.
struct HostFailure {};

struct Unset : ZmAPI_Actuator {};

/// What the host holds, and what it does to it.
class Host {
  public:
    Host(const std::uint8_t* data, std::size_t size) : in_(data, size) {
        const double zero[] = {0, 1, 2, 3};
        for (auto& m : matrices_) m = std::make_unique<ZmAPI_Matrix>(2, 2, zero);
        for (auto& a : actuators_) a = std::make_unique<ZmAPI_Actuator>('F', 1.0, 0.0);
        for (auto& e : eigen_) e = std::make_unique<ZmAPI_EigenProblem>(*matrices_[0]);
        const ZmAPI_Actuator* const list[] = {actuators_[0].get(), actuators_[1].get()};
        const ZmAPI_Matrix& m = *matrices_[0];
        for (auto& s : stateSpace_) s = std::make_unique<ZmAPI_SystemSS>(0, m, m, m, m, list);
        const ZmAPI_System modal(*stateSpace_[0]);
        for (auto& s : modal_) s = std::make_unique<ZmAPI_System>(modal);
        self_ = this;
    }
    ~Host() { self_ = nullptr; }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    std::uint64_t Run() {
        for (int calls = 0; calls < kMostCalls && !in_.Empty(); ++calls) Guard();
        return digest_.Value();
    }

  private:
    ByteStream in_;
    Digest digest_;
    std::array<std::unique_ptr<ZmAPI_Matrix>, kSlots> matrices_;
    std::array<std::unique_ptr<ZmAPI_Actuator>, kSlots> actuators_;
    std::array<std::unique_ptr<ZmAPI_EigenProblem>, kSlots> eigen_;
    std::array<std::unique_ptr<ZmAPI_SystemSS>, kSlots> stateSpace_;
    std::array<std::unique_ptr<ZmAPI_System>, kSlots> modal_;
    std::array<ZmAPI_Complex, kSlots> numbers_;
    int pushed_ = 0;
    int nested_ = 0;
    bool errorPasses_ = false;     // the call may throw an Error of the library
    bool callbacksThrow_ = false;  // a callback of the host has been told to throw
    bool busy_ = false;            // within a callback
    bool identified_ = false;
    bool environmentChanged_ = false;
    inline static Host* self_ = nullptr;

    // ---- Callbacks --------------------------------------------------------------------------

    enum Trick : unsigned char {
        kPlain,
        kWritesNothing,
        kWritesHuge,
        kThrows,
        kThrowsError,
        kCallsBack,
        kChangesMatrix,
        kTricks
    };

    static void Excite(unsigned long long size, void* data, double w, double* re, double* im) {
        const auto* const bytes = static_cast<const unsigned char*>(data);
        double sum = 0;
        for (unsigned long long k = 0; k < size; ++k) sum += bytes[k];
        switch (size ? bytes[0] % kTricks : 0) {
            case kWritesNothing:
                return;
            case kWritesHuge:
                sum *= 1e306;
                break;
            case kThrows:
                self_->callbacksThrow_ = true;
                throw HostFailure();
            case kThrowsError:
                self_->errorPasses_ = true;
                throw Error("an actuator of the host fails at %g") << w;
            case kCallsBack:
                self_->CallBack();
                break;
            case kChangesMatrix:
                *self_->matrices_[size % kSlots] = ZmAPI_Matrix(1, &sum);
                break;
            default:
                break;
        }
        *re = sum;
        *im = w;
    }

    static void Receive(const char* text, unsigned char, void* data) {
        const auto* const bytes = static_cast<const unsigned char*>(data);
        self_->digest_.Add(static_cast<int>(std::strlen(text)));
        if (*bytes == '0') return;  // pushed with null
        switch (bytes[1] % 6) {
            case 1:
                self_->callbacksThrow_ = true;
                throw HostFailure();
            case 2:
                self_->CallBack();
                break;
            case 3:
                if (self_->pushed_ > 0) {
                    --self_->pushed_;
                    ZmAPI::PopMessageHandler();
                }
                break;
            case 4:
                if (self_->pushed_ < Fuzz::kMostHandlers - 1) {
                    ++self_->pushed_;
                    ZmAPI_PushMessageHandler(&Receive, 2, data);
                }
                break;
            case 5:
                self_->errorPasses_ = true;
                throw Error("a handler of the host fails");
            default:
                break;
        }
        self_->digest_.Add(static_cast<int>(bytes[1]));  // its block is still there
    }

    // A query from within a query; of another object or of the same one.
    void CallBack() {
        if (busy_) return;
        busy_ = true;
        const struct Leave {
            bool& busy;
            ~Leave() { busy = false; }
        } leave{busy_};
        const double w[] = {1.0, 2.0};
        const ZmAPI_Matrix freq(2, w);
        Add(stateSpace_[0]->FrequencyResponse(freq));
        Add(modal_[0]->PSD(1.0, 0.5));
        Add(stateSpace_[1]->MCT(freq, true));
        Add(modal_[0]->MPF(0, 0, 0, -1, freq, true));
    }

    // ---- Answers ----------------------------------------------------------------------------

    void Add(const ZmAPI_Complex& z) {
        digest_.Add(z.real());
        digest_.Add(z.imag());
    }

    // Reads every element, so that none is missing.
    void Add(const ZmAPI_Matrix& m) {
        const int a = m.Size(0), b = m.Size(1), c = m.Size(2);
        for (const int size : {a, b, c}) digest_.Add(size);
        if (m.Size(3) != 0 || m.Size(-1) != 0) Broken("there are three dimensions");
        const auto add = [&](auto... index) {
            m.Complex() ? Add(m.ValueC(index...)) : digest_.Add(m.Value(index...));
        };
        for (int i = 0; i < a && b == 0; ++i) add(i);
        for (int i = 0; i < a && c == 0; ++i)
            for (int j = 0; j < b; ++j) add(i, j);
        for (int k = 0; k < a; ++k)
            for (int i = 0; i < b; ++i)
                for (int j = 0; j < c; ++j) add(k, i, j);
    }

    static bool Neutral(const ZmAPI_Matrix& m) {
        return m.Real() && m.Size(0) == 1 && m.Size(1) == 1 && m.Size(2) == 0 &&
               m.Value(0, 0) == 0;
    }

    // A sweep has one slot for each frequency, of so many rows and columns, or failed.
    void AddSweep(const ZmAPI_Matrix& m, const ZmAPI_Matrix& freq, int rows, int columns) {
        if (!Neutral(m) && (m.Size(0) != freq.Size(0) || m.Size(2) != columns ||
                            (rows >= 0 && m.Size(1) != rows)))
            Broken("a sweep is a slot a frequency");
        Add(m);
    }

    static bool Same(const ZmAPI_Matrix& x, const ZmAPI_Matrix& y) {
        Digest a, b;
        const auto fold = [](const ZmAPI_Matrix& m, Digest& digest) {
            for (int k = 0; k < m.Size(0); ++k)
                for (int i = 0; i < m.Size(1); ++i)
                    for (int j = 0; j < m.Size(2); ++j) {
                        digest.Add(m.ValueC(k, i, j).real());
                        digest.Add(m.ValueC(k, i, j).imag());
                    }
        };
        fold(x, a);
        fold(y, b);
        return a.Value() == b.Value() && x.Size(0) == y.Size(0);
    }

    // ---- Choices ----------------------------------------------------------------------------

    template <typename T>
    T& Pick(std::array<std::unique_ptr<T>, kSlots>& slots) {
        return *slots[static_cast<std::size_t>(in_.Choice(kSlots))];
    }

    // One time in 16 the handle is one that a move has emptied.
    ZmAPI_Matrix& AnyMatrix() { return Pick(matrices_); }

    std::vector<ZmAPI_Complex> ComplexNumbers(std::size_t count) {
        std::vector<ZmAPI_Complex> result;
        for (std::size_t k = 0; k < count; ++k) {
            const double re = in_.Number();
            result.emplace_back(re, in_.Number());
        }
        return result;
    }

    ZmAPI_Matrix Dense(int rows, int columns, bool finite) {
        const auto count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
        const std::vector<double> values = in_.Numbers(count, finite);
        return {rows, columns, values.data()};
    }

    // Of order n: full, of few distinct elements, a chain of springs, or a companion matrix.
    ZmAPI_Matrix Square(int n, bool finite) {
        const int kind = in_.Choice(4);
        if (kind == 0) return Dense(n, n, finite);
        const auto order = static_cast<std::size_t>(n);
        std::vector<double> a(order * order);
        const auto at = [&](int i, int j) -> double& {
            return a[static_cast<std::size_t>(i) + static_cast<std::size_t>(j) * order];
        };
        if (kind == 1)
            for (double& x : a) x = in_.Choice(3) - 1;
        for (int i = 0; i < n && kind == 2; ++i) {
            if (i < n / 2) {
                at(i, n / 2 + i) = 1;
                at(n / 2 + i, i) = -in_.Choice(5);
                at(n / 2 + i, n / 2 + i) = -0.125 * in_.Choice(3);
            }
        }
        for (int i = 0; i < n && kind == 3; ++i) {
            at(n - 1, i) = finite ? in_.Finite() : in_.Number();
            if (i + 1 < n) at(i, i + 1) = 1;
        }
        return {n, n, a.data()};
    }

    ZmAPI_Matrix Frequencies() {
        std::vector<double> w(static_cast<std::size_t>(in_.Choice(5)));
        const bool ascend = in_.Flag();
        for (std::size_t k = 0; k < w.size(); ++k)
            w[k] = ascend ? 0.5 * static_cast<double>(k + 1) : in_.Number();
        return {static_cast<int>(w.size()), w.data()};
    }

    // Mostly a vector; now and then whatever the host has at hand.
    ZmAPI_Matrix FrequencyArgument() { return in_.Rarely() ? AnyMatrix() : Frequencies(); }

    // A few times one that has cross actuators of its own: all of them are copied, so that each
    // level multiplies what the one below it takes.
    const ZmAPI_Actuator* Crossed(const ZmAPI_Actuator& actuator) {
        if (actuator.HasCrossActuator(-1) && ++nested_ > 6) return nullptr;
        return &actuator;
    }

    ZmAPI_Actuator MakeActuator() {
        const char type =
            in_.Rarely() ? static_cast<char>(in_.Byte()) : "FFFDVA"[in_.Choice(6)];
        std::vector<unsigned char> data(static_cast<std::size_t>(in_.Choice(9)));
        switch (in_.Choice(6)) {
            case 0: {
                const double magnitude = in_.Number();
                return ZmAPI_Actuator(type, magnitude, in_.Number());
            }
            case 1: {
                const bool unit = in_.Flag(), real = in_.Flag();
                const double a = in_.Number(), b = in_.Number();
                return ZmAPI_Actuator(unit, real, a, b, in_.Number());
            }
            case 2:
                for (auto& byte : data) byte = in_.Byte();
                return ZmAPI_Actuator(type, &Excite, data.size(), data.data());
            case 3: {
                for (auto& byte : data) byte = in_.Byte();
                const ZmAPI_Actuator* cross[3];
                for (auto& slot : cross)
                    slot = in_.Flag() ? Crossed(Pick(actuators_)) : nullptr;
                const int count = in_.Rarely() ? -in_.Choice(9) : in_.Choice(4);
                return ZmAPI_Actuator(type, &Excite, data.size(), data.data(), count,
                                      in_.Rarely() ? nullptr : cross);
            }
            case 4:
                return ZmAPI_Actuator(type, nullptr, in_.Byte(), nullptr);
            default:
                return Unset();
        }
    }

    struct Model {
        double time;
        ZmAPI_Matrix A, B, C, D;
        std::array<const ZmAPI_Actuator*, 4> actuators;
    };

    // Sizes that fit, but for one model in 16, and the same actuators as the host has.
    Model MakeModel() {
        const int n = in_.Choice(7), inputs = in_.Choice(4);
        const int shape = in_.Choice(5);
        const bool finite = !in_.Rarely();
        const double time = in_.Number();
        ZmAPI_Matrix A = Square(n, finite);
        ZmAPI_Matrix B = Dense(n, inputs, finite), C = Dense(shape, n, finite);
        Model model{time, A, B, C, Dense(shape, inputs, finite), {}};
        if (in_.Rarely()) model.A = AnyMatrix();
        if (in_.Rarely()) model.B = AnyMatrix();
        if (in_.Rarely()) model.C = AnyMatrix();
        if (in_.Rarely()) model.D = AnyMatrix();
        for (auto& slot : model.actuators) slot = in_.Rarely() ? nullptr : &Pick(actuators_);
        return model;
    }
    // B of whatever the host has at hand may have more columns than there are actuators.
    static bool HasActuators(const Model& model) {
        return model.B.Size(1) <= static_cast<int>(model.actuators.size());
    }

    // ---- Calls ------------------------------------------------------------------------------

    // What may leave a call: what the host itself threw, lack of memory, and where it is said
    // so an Error.
    void Guard() {
        errorPasses_ = callbacksThrow_ = false;
        try {
            Call();
        } catch (const HostFailure&) {
            if (!callbacksThrow_) Broken("what a callback throws comes out of its own call");
        } catch (const std::bad_alloc&) {
            digest_.Add(-1);
        } catch (const Error& error) {
            if (!errorPasses_) Broken(error.Text().c_str());
            digest_.Add(error.FormatString());
        }
    }

    void Call() {
        switch (in_.Choice(16)) {
            case 0:
                return NewMatrix();
            case 1:
                return UseMatrix();
            case 2:
                return Assign();
            case 3:
                Pick(actuators_) = MakeActuator();
                return;
            case 4:
                return UseActuator();
            case 5:
                return NewEigenProblem();
            case 6:
                return UseEigenProblem();
            case 7:
                return NewSystem();
            case 8:
            case 9:
                return UseSystem(Pick(stateSpace_));
            case 10:
            case 11:
                return UseSystem(Pick(modal_));
            case 12:
                return UseEigenvaluesOf(Pick(modal_));
            case 13:
                return PlainEntryPoint();
            case 14:
                return in_.Flag() ? Environment() : Handlers();
            default:
                return in_.Flag() ? ToolBox() : UseComplex();
        }
    }

    void NewMatrix() {
        ZmAPI_Matrix& target = AnyMatrix();
        const int kind = in_.Choice(10);
        const int sizes[] = {in_.Choice(5), in_.Choice(5), in_.Choice(4)};
        const int count = kind < 3   ? sizes[0]
                          : kind < 7 ? sizes[0] * sizes[1]
                                     : sizes[0] * sizes[1] * sizes[2];
        const auto elements = static_cast<std::size_t>(count);
        // A size that no array has: negative, or of an array that is not there.
        const bool wrong = in_.Rarely();
        const int first = wrong && in_.Flag() ? -1 - in_.Byte() : sizes[0];
        const bool missing = wrong && first >= 0;
        const std::vector<double> reals = in_.Numbers(elements, false);
        const std::vector<ZmAPI_Complex> complex = ComplexNumbers(kind % 2 ? elements : 0);
        const std::vector<float> floats(elements, 0.5f);
        const double* const x = missing ? nullptr : reals.data();
        const ZmAPI_Complex* const z = missing ? nullptr : complex.data();
        switch (kind) {
            case 0:
                target = ZmAPI_Matrix(first, x);
                break;
            case 1:
                target = ZmAPI_Matrix(first, z);
                break;
            case 2:
                target = ZmAPI_Matrix(first, missing ? nullptr : floats.data());
                break;
            case 3:
                target = ZmAPI_Matrix(first, sizes[1], z);
                break;
            case 4:
                target = ZmAPI_Matrix(first, sizes[1], x);
                break;
            case 5:
                target = ZmAPI_Matrix(z, first, sizes[1]);
                break;
            case 6:
                target = ZmAPI_Matrix(x, first, sizes[1]);
                break;
            case 7:
                target = ZmAPI_Matrix(first, sizes[1], sizes[2], z);
                break;
            case 8:
                target = ZmAPI_Matrix(first, sizes[1], sizes[2], x);
                break;
            default: {
                const ZmAPI_Matrix taken = std::move(target);
                Add(taken);
                break;
            }
        }
    }

    void UseMatrix() {
        const ZmAPI_Matrix& m = AnyMatrix();
        digest_.Add(m.Real());
        digest_.Add(m.Complex());
        Add(m);
        const int i = in_.Index(), j = in_.Index(), k = in_.Index();
        digest_.Add(m.Size(i));
        digest_.Add(m.Value(i));
        digest_.Add(m.Value(i, j));
        digest_.Add(m.Value(i, j, k));
        Add(m.ValueC(i));
        Add(m.ValueC(i, j));
        Add(m.ValueC(i, j, k));
        std::vector<double> x(static_cast<std::size_t>(m.Size(1)), 1.0);
        std::vector<double> y(static_cast<std::size_t>(m.Size(0)), 2.0);
        std::vector<ZmAPI_Complex> z(std::max(x.size(), y.size()));
        m.MultMv(y.data(), x.data());
        for (const double value : y) digest_.Add(value);
        m.MultMv(z.data(), z.data());
        m.MultMv(nullptr, x.data());
        m.MultMv(z.data(), nullptr);
        for (const auto& value : z) Add(value);
    }

    template <typename T>
    void AssignOne(std::array<std::unique_ptr<T>, kSlots>& slots) {
        T &to = Pick(slots), &from = Pick(slots);
        if (in_.Flag()) {
            to = from;
        } else {
            T copy(from);
            to = copy;
        }
    }

    void Assign() {
        switch (in_.Choice(6)) {
            case 0:
                return AssignOne(matrices_);
            case 1:
                return AssignOne(actuators_);
            case 2:
                return AssignOne(eigen_);
            case 3:
                return AssignOne(stateSpace_);
            case 4:
                return AssignOne(modal_);
            default:
                Pick(modal_) = ZmAPI_System(Pick(stateSpace_));
        }
    }

    void UseActuator() {
        ZmAPI_Actuator& a = Pick(actuators_);
        const double w = in_.Number(), dw = in_.Number();
        const int i = in_.Index();
        digest_.Add(a.DVAType());
        digest_.Add(a.PSD());
        digest_.Add(a.HasCrossActuator(i));
        const ZmAPI_Actuator cross = a.CrossActuator(i);
        digest_.Add(cross.DVAType());
        if (in_.Flag()) {
            Add(a.Evaluate(w));
            Add(cross.EvalPSD(w, dw));
            Add(a.EvalPSD(w, dw));
        } else {
            const ZmAPI_Matrix freq = FrequencyArgument();
            Add(a.Evaluate(freq));
            Add(a.EvalPSD(freq));
        }
        if (in_.Rarely()) a = cross;
    }

    void NewEigenProblem() {
        const int n = in_.Choice(8);
        const bool finite = !in_.Rarely();
        const ZmAPI_Matrix A = in_.Rarely() ? AnyMatrix() : Square(n, finite);
        ZmAPI_EigenProblem& target = Pick(eigen_);
        if (in_.Choice(3) == 0)
            target = ZmAPI_EigenProblem(A, in_.Rarely() ? AnyMatrix() : Square(n, finite));
        else
            target = ZmAPI_EigenProblem(A);
        digest_.Add(target.Solve(in_.Choice(4) == 0));
        for (int i = 0; i < target.Eigenvalues(); ++i) Add(target.Eigenvalue(i, in_.Flag()));
    }

    void UseEigenProblem() {
        ZmAPI_EigenProblem& e = Pick(eigen_);
        const int n = e.Eigenvalues();
        const int i = in_.Index(), j = in_.Index();
        errorPasses_ = true;  // of an index out of range
        switch (in_.Choice(8)) {
            case 0:
                if (in_.Rarely()) return digest_.Add(e.Solve(in_.Flag()));
                Add(e.Eigenvalue(i, in_.Flag()));
                break;
            case 1:
                Add(e.Eigenvector(i, j));
                break;
            case 2: {
                std::vector<ZmAPI_Complex> out(static_cast<std::size_t>(n));
                e.Eigenvector(i, in_.Rarely() ? nullptr : out.data());
                for (const auto& z : out) Add(z);
                break;
            }
            case 3:
                digest_.Add(e.Defective(i));
                break;
            case 4:
                digest_.Add(e.CheckEigenVector(i, in_.Flag()));
                break;
            case 5:
                if (e.Eigenvectors() != 0 && e.Eigenvectors() != n)
                    Broken("there are as many vectors as values, or none");
                break;
            default:
                errorPasses_ = false;
                for (int k = 0; k < n; ++k) {
                    Add(e.Eigenvalue(k, false));
                    const int previous = e.Defective(k);
                    if (previous < 0 || previous >= n)
                        Broken("a chain stays within the values");
                    for (int c = 0; c < e.Eigenvectors(); ++c) Add(e.Eigenvector(k, c));
                    if (e.Eigenvectors()) digest_.Add(e.CheckEigenVector(k, false));
                }
        }
    }

    void NewSystem() {
        Model model = MakeModel();
        if (!HasActuators(model)) return;
        const ZmAPI_Actuator* const* list = in_.Rarely() ? nullptr : model.actuators.data();
        if (in_.Flag()) {
            Pick(stateSpace_) =
                ZmAPI_SystemSS(model.time, model.A, model.B, model.C, model.D, list);
            return;
        }
        std::vector<int> modes(static_cast<std::size_t>(in_.Choice(4)));
        for (std::size_t k = 0; k < modes.size(); ++k)
            modes[k] = in_.Rarely() ? in_.Index() : static_cast<int>(k) + in_.Choice(2);
        const ZmAPI_EigenProblem* given = in_.Choice(4) == 0 ? &Pick(eigen_) : nullptr;
        std::optional<ZmAPI_EigenProblem> own;
        if (!given && in_.Flag()) {
            own.emplace(model.A);
            own->Solve(in_.Rarely());
            given = &*own;
        }
        if (in_.Rarely()) model.A = Pick(modal_).ModalMatrix('A');
        Pick(modal_) = ZmAPI_System(model.time, model.A, model.B, model.C, model.D, list,
                                    in_.Rarely() ? -in_.Byte() : static_cast<int>(modes.size()),
                                    modes.data(), given);
    }

    static void AddCompliance(Host& host, ZmAPI_SystemSS& s) {
        host.Add(s.ComplianceMatrix());
        host.errorPasses_ = s.Error();
        (void)s.GetSystem();
    }
    static void AddCompliance(Host&, ZmAPI_System&) {}

    // A model under forces, made anew from what the object tells of itself, answers alike,
    // whatever the object has been through.
    void Rebuild(ZmAPI_SystemSS& s, const ZmAPI_Matrix& freq) {
        std::vector<ZmAPI_Actuator> owned;
        for (int k = 0; k < s.Inputs(); ++k) owned.push_back(s.Actuator(k));
        std::vector<const ZmAPI_Actuator*> list;
        for (const auto& actuator : owned) list.push_back(&actuator);
        const auto isForce = [](const auto& a) { return a.DVAType() == 'F'; };
        if (s.Error() || environmentChanged_ ||
            !std::all_of(owned.begin(), owned.end(), isForce))
            return;
        ZmAPI_SystemSS fresh(s.Time(), s.ModalMatrix('A'), s.ModalMatrix('B'),
                             s.ModalMatrix('C'), s.ModalMatrix('D'), list.data());
        if (!Same(s.TransferFunction(freq), fresh.TransferFunction(freq)))
            Broken("an old object answers as a fresh one");
        if (!Same(s.MCT(freq, false), fresh.MCT(freq, false)))
            Broken("an old object has the states of a fresh one");
    }
    void Rebuild(ZmAPI_System&, const ZmAPI_Matrix&) {}

    template <typename S>
    void UseSystem(S& s) {
        digest_.Add(s.Time());
        const int inputs = s.Inputs(), outputs = s.Outputs();
        digest_.Add(s.Error());
        switch (in_.Choice(10)) {
            case 0: {
                const ZmAPI_Matrix freq = FrequencyArgument();
                AddSweep(s.TransferFunction(freq), freq, outputs, inputs);
                break;
            }
            case 1: {
                const ZmAPI_Matrix freq = FrequencyArgument();
                AddSweep(s.FrequencyResponse(freq), freq, outputs, inputs);
                break;
            }
            case 2: {
                const ZmAPI_Matrix freq = FrequencyArgument();
                AddSweep(s.MCT(freq, in_.Flag()), freq, -1, inputs);
                break;
            }
            case 3: {
                const double w = in_.Number();
                Add(s.PSD(w, in_.Number()));
                break;
            }
            case 4: {
                const double w = in_.Number();
                Add(s.PSD(in_.Index(), w, in_.Number()));
                break;
            }
            case 5: {
                const int i = in_.Index(), o = in_.Index(), f = in_.Index(), m = in_.Index();
                const ZmAPI_Matrix freq = FrequencyArgument();
                Add(s.MPF(i, o, f, m, freq, in_.Flag()));
                break;
            }
            case 6: {
                const ZmAPI_Matrix freq = Frequencies();
                Add(s.MPF(0, 0, 0, -1, freq, in_.Flag()));
                break;
            }
            case 7: {
                for (const char which : {'A', 'B', 'C', 'D'}) Add(s.ModalMatrix(which));
                Add(s.ModalMatrix(static_cast<char>(in_.Byte())));
                break;
            }
            case 8: {
                const ZmAPI_Actuator actuator = s.Actuator(in_.Index());
                digest_.Add(actuator.DVAType());
                AddCompliance(*this, s);
                break;
            }
            default: {  // a copy, its caches with it, answers as the whole does
                const ZmAPI_Matrix freq = Frequencies();
                S copy(s);
                const ZmAPI_Matrix H = s.TransferFunction(freq);
                if (!Same(H, copy.TransferFunction(freq))) Broken("a copy answers alike");
                if (!Same(H, s.TransferFunction(freq))) Broken("an answer is kept");
                Rebuild(s, freq);
            }
        }
    }

    void UseEigenvaluesOf(ZmAPI_System& s) {
        const int n = s.Eigenvalues();
        for (int i = 0; i < n; ++i) {
            Add(s.Eigenvalue(i, in_.Flag()));
            for (int j = 0; j < n; ++j) Add(s.Eigenvector(i, j));
            digest_.Add(s.Defective(i));
            digest_.Add(s.CheckEigenVector(i, true));
        }
        const int i = in_.Index();
        Add(s.Eigenvalue(i, true));
        Add(s.Eigenvector(i, in_.Index()));
        digest_.Add(s.CheckEigenVector(i, false));
        std::vector<ZmAPI_Complex> out(static_cast<std::size_t>(n));
        s.Eigenvector(i, out.data());
        s.Eigenvector(i, nullptr);
        for (const auto& z : out) Add(z);
        errorPasses_ = true;
        digest_.Add(s.Defective(i));
    }

    // Nothing leaves these, whatever the callbacks do.
    void PlainEntryPoint() {
        const int n = in_.Rarely() ? in_.Index() : in_.Choice(7);
        const bool absent = n < 0 || n > 7;
        const auto elements = static_cast<std::size_t>(absent ? 0 : n * n);
        const bool finite = in_.Flag();
        std::vector<double> a = in_.Numbers(elements, finite),
                            b = in_.Numbers(elements, finite);
        std::array<std::vector<double>, 4> out;
        double* array[4];
        for (std::size_t k = 0; k < 4; ++k) {
            out[k].resize(elements);
            array[k] = in_.Rarely() ? nullptr : out[k].data();
        }
        double* const pa = absent || in_.Rarely() ? nullptr : a.data();
        const double* const pb = absent || in_.Rarely() ? nullptr : b.data();
        int found = -7;
        int* const pFound = in_.Rarely() ? nullptr : &found;
        try {
            switch (in_.Choice(5)) {
                case 0:
                    EigenSolution(n, pa, array[0], array[1], array[2], pFound);
                    break;
                case 1:
                    F77Eigen::Solution(n, pa, array[0], array[1], array[2], pFound);
                    break;
                case 2:
                    GeneralEigenSolution(n, pa, pb, array[0], array[1], array[2], array[3],
                                         pFound);
                    break;
                case 3:
                    digest_.Add(VibMatrix_Balance(array[0], pa, n));
                    break;
                default:
                    digest_.Add(std::string(vibration_build_version()));
                    digest_.Add(std::string(ZmAPI::GetVersionString()));
                    digest_.Add(std::string(ZmAPI::GetPatchString()));
                    digest_.Add(std::string(ZmAPI::GetCopyrightString()));
            }
        } catch (...) {
            Broken("nothing leaves a plain entry point");
        }
        if (found != -7 && found != 0 && found != n)
            Broken("all eigenvalues are found or none");
        digest_.Add(found);
        for (const auto& values : out)
            for (const double x : values) digest_.Add(x);
    }

    void Environment() {
        environmentChanged_ = true;  // and with it the inverse that a model uses
        static const std::string longName(5000, 'x');
        static constexpr const char* kNames[] = {"ZEMRA_VIBRATION_OLD_INVERSE",
                                                 "ZEMRA_VIBRATION_EIGEN_ERROR",
                                                 "ZEMRA_DUMP_VIBRATION_MODEL"};
        static const char* const kValues[][6] = {
            {nullptr, "", "1", "0", "no", longName.c_str()},
            {nullptr, "", "0", "nan", "-1e300", "1e-3"},
            {nullptr, "", "/dev/null", "/dev/full", "/", longName.c_str()}};
        const int which = in_.Choice(3);
        const char* const value = kValues[which][in_.Choice(6)];
        value ? setenv(kNames[which], value, 1) : unsetenv(kNames[which]);
    }

    void Handlers() {
        const unsigned char data[] = {in_.Byte(), in_.Byte()};
        const int what = in_.Choice(8);
        if (what < 3 && pushed_ > 0) {
            --pushed_;
            what == 0 ? ZmAPI_PopMessageHandler() : ZmAPI::PopMessageHandler();
        } else if (what == 3) {  // more than a host can have
            if (ZmAPI_PushMessageHandler(&Receive, 1ull << 60, data))
                Broken("a push that fails answers null");
        } else if (what == 4 && pushed_ < Fuzz::kMostHandlers - 1) {
            ++pushed_;
            ZmAPI::PushMessageHandler(&Receive, 0, nullptr);
        } else if (what == 5 && pushed_ < Fuzz::kMostHandlers - 1) {
            Fuzz::AllowWriting(true);
            ++pushed_;
            ZmAPI::PushMessageHandler(nullptr, sizeof data, data);
        } else if (pushed_ < Fuzz::kMostHandlers - 1) {
            ++pushed_;
            ZmAPI_PushMessageHandler(&Receive, sizeof data, data);
        }
    }

    void UseComplex() {
        ZmAPI_Complex& z = numbers_[static_cast<std::size_t>(in_.Choice(kSlots))];
        const double x = in_.Number(), y = in_.Number();
        switch (in_.Choice(6)) {
            case 0:
                z = ZmAPI_Complex(x, y);
                break;
            case 1:
                z = x;
                break;
            case 2:
                z += ZmAPI_Complex(x, y);
                break;
            case 3:
                z.byMP(x, y);
                break;
            case 4:
                z = z * x;
                break;
            default:
                z = *&z;
                digest_.Add(toDEG(x));
                digest_.Add(toRAD(y));
        }
        Add(z);
        digest_.Add(z.Mag());
        digest_.Add(z.Phase());
    }

    void ToolBox() {
        ZmAPI_Matrix& m = AnyMatrix();
        const auto window = static_cast<ZmAPI_ToolBox::eWindow>(in_.Index());
        const ZmAPI_ToolBox box, copy(box);
        switch (in_.Choice(6)) {
            case 0: {
                const int nfft = in_.Index();
                Add(copy.FFT(m, nfft, in_.Flag(), window));
                break;
            }
            case 1: {
                const int segments = in_.Index();
                Add(ZmAPI_ToolBox::PSD(m, window, segments, in_.Index()));
                break;
            }
            case 2: {
                const int index = in_.Index(), points = in_.Index();
                const double dt = in_.Number();
                digest_.Add(ZmAPI_ToolBox::Frequency(index, points, dt, in_.Flag()));
                break;
            }
            case 3: {
                const std::vector<double> p = in_.Numbers(6, false);
                Add(ZmAPI_ToolBox::FDEvaluate(p[0], p[1], p[2], p[3], p[4], p[5], m,
                                              in_.Flag()));
                break;
            }
            case 4: {
                ZmAPI_Matrix& K0 = AnyMatrix();
                ZmAPI_Matrix& C0 = AnyMatrix();
                Add(ZmAPI_ToolBox::FDEvaluate(K0, C0, m, K0, C0, K0, m, in_.Flag()));
                break;
            }
            default:
                if (identified_) break;  // once is enough for the time it takes
                identified_ = true;
                Add(ZmAPI_ToolBox::FDElementID(m));
        }
    }
};

}  // namespace

std::uint64_t Fuzz::Play(const std::uint8_t* data, std::size_t size) {
    const QuietHost quiet;
    return Host(data, size).Run();
}
