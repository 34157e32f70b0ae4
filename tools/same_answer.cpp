// same_answer record FILE
// same_answer compare REFERENCE OTHER BOUND
//
// The first asks the shared library it is loaded with for everything a host can ask, over a zoo
// of fixed models and signals, and writes down what it answers: a line for each decision
// (counts, chains, messages) and each array of numbers, in hexadecimal. The second compares two
// such files: decisions must be the same, and no number may differ by more than BOUND roundings
// of the largest number of its array; a BOUND of 0 asks for the same bits.
//
// The program knows the library by its interface alone, so that one build of it, hence one set
// of input bits, serves libraries of several compilers, optimisation levels and kernel sets.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/captured_messages.h"
#include "tests/support/eigen_zoo.h"
#include "tests/support/elements.h"
#include "tests/support/host.h"
#include "tests/support/systems.h"

namespace {

using namespace ZEMRA::Vibration::tests;
using Eigen::MatrixXcd;
using Eigen::MatrixXd;

constexpr std::string_view kDecision = "decision", kNumbers = "numbers";

/// Writes records: what was asked, a tab, what kind of answer, a tab, the answer.
class Recorder {
  public:
    explicit Recorder(const std::string& path) : out_(path) {}

    /// The room and the name of what the next answers belong to.
    void Ask(const std::string& room, const std::string& name) { asked_ = room + '/' + name; }

    void Decision(const std::string& what, const std::string& text) {
        out_ << asked_ << '/' << what << '\t' << kDecision << '\t' << text << '\n';
    }
    void Numbers(const std::string& what, const double* x, std::size_t n) {
        out_ << asked_ << '/' << what << '\t' << kNumbers << '\t';
        for (std::size_t i = 0; i < n; ++i) {
            char digits[40];
            std::snprintf(digits, sizeof digits, "%a ", x[i]);
            out_ << digits;
        }
        out_ << '\n';
        Messages(what);
    }
    void Numbers(const std::string& what, const std::vector<double>& x) {
        Numbers(what, x.data(), x.size());
    }
    /// All elements, slot by slot and row by row, with their shape as a decision.
    void Numbers(const std::string& what, const ZmAPI_Matrix& m) {
        std::vector<double> x;
        const int nslots = m.Size(2) > 0 ? m.Size(0) : 1, first = m.Size(2) > 0 ? 1 : 0;
        for (int s = 0; s < nslots; ++s)
            for (int i = 0; i < m.Size(first); ++i)
                for (int j = 0; j < std::max(1, m.Size(first + 1)); ++j) {
                    const auto z = first           ? m.ValueC(s, i, j)
                                   : m.Size(1) > 0 ? m.ValueC(i, j)
                                                   : m.ValueC(i);
                    x.push_back(z.GetComplex().real());
                    if (m.Complex()) x.push_back(z.GetComplex().imag());
                }
        std::ostringstream shape;
        shape << (m.Complex() ? "complex " : "real ") << m.Size(0) << ' ' << m.Size(1) << ' '
              << m.Size(2);
        Decision(what + ".shape", shape.str());
        Numbers(what, x);
    }

  private:
    std::ofstream out_;
    std::string asked_;
    CapturedMessages messages_;

    void Messages(const std::string& what) {
        std::string all;
        for (const auto& [type, text] : messages_.Take()) all += type + text + " | ";
        std::replace(all.begin(), all.end(), '\n', ' ');
        if (!all.empty()) Decision(what + ".messages", all);
    }
};

void RecordEigenProblem(Recorder& record, const ZmAPI_EigenProblem& solved, int n) {
    std::string structure;
    std::vector<double> values, vectors, residuals;
    std::vector<ZmAPI_Complex> vector(static_cast<std::size_t>(n));
    for (int i = 0; i < solved.Eigenvalues(); ++i) {
        const std::complex<double> value = solved.Eigenvalue(i, false).GetComplex();
        structure += std::to_string(solved.Defective(i)) + (value.imag() != 0 ? "c " : " ");
        values.insert(values.end(), {value.real(), value.imag()});
        if (i >= solved.Eigenvectors()) continue;
        solved.Eigenvector(i, vector.data());
        for (const ZmAPI_Complex& x : vector)
            vectors.insert(vectors.end(), {x.GetComplex().real(), x.GetComplex().imag()});
        residuals.push_back(solved.CheckEigenVector(i, true));
    }
    record.Decision("structure", structure);
    record.Numbers("values", values);
    record.Numbers("vectors", vectors);
    record.Numbers("residuals", residuals);
}

void RecordEigenProblems(Recorder& record) {
    for (const EigenCase& one : EigenZoo()) {
        const MatrixXd A = ToEigen(one.A);
        const int n = static_cast<int>(A.rows());
        record.Ask("eigen", one.name);
        ZmAPI_EigenProblem problem(ToHost(A));
        problem.Solve(false);
        RecordEigenProblem(record, problem, n);
        if (n > 30 || n < 2) continue;
        record.Ask("eigen pairs", one.name);
        const MatrixXd mixing = ToEigen(RandomMatrix<double>(n, n, 99));
        ZmAPI_EigenProblem pencil(ToHost(A), ToHost(mixing));
        pencil.Solve(false);
        RecordEigenProblem(record, pencil, n);
    }
}

/// Rigid-body motion, the whole band of the model's eigenvalues, and a few of them exactly.
ZmAPI_Matrix Frequencies(const Model& model) {
    const auto eigenvalues = model.A.eigenvalues().eval();
    std::vector<double> w{0.0, 1e-3};
    for (int k = 0; k < 40; ++k) w.push_back(std::exp2(k / 2.0 - 8));
    for (Eigen::Index i = 0; i < eigenvalues.size() && i < 6; ++i)
        w.push_back(std::abs(eigenvalues(i).imag()));
    return {static_cast<int>(w.size()), w.data()};
}

template <typename System>
void RecordSystem(Recorder& record, System& system, const ZmAPI_Matrix& w) {
    record.Numbers("transfer", system.TransferFunction(w));
    record.Numbers("response", system.FrequencyResponse(w));
    record.Numbers("density", system.PSD(128.0, 0.1));
    record.Numbers("coordinates", system.MCT(w, true));
    record.Numbers("modal A", system.ModalMatrix('A'));
    for (const bool project : {false, true}) {
        record.Numbers("factors of modes", system.MPF(0, 0, 3, -1, w, project));
        record.Numbers("factors of frequencies", system.MPF(0, 0, -1, 0, w, project));
    }
}

void RecordSystems(Recorder& record) {
    std::vector<Model> models = ModalModels();
    for (Model& model : AllModels()) models.push_back(std::move(model));
    for (const Model& free : {MassOnPlatform(5), MassOnPlatform(50), CarOnPlatforms(30)})
        models.push_back(WithMotions(free));
    models.push_back(RandomDense(80));
    for (const Model& model : models) {
        const ZmAPI_Matrix A = ToHost(model.A), B = ToHost(model.B), C = ToHost(model.C),
                           D = ToHost(model.D), w = Frequencies(model);
        const auto inputs = static_cast<std::size_t>(model.B.cols());
        for (const char first : {'F', 'D', 'V', 'A'}) {
            std::string types(inputs, 'F');
            types[0] = first;
            const HostActuators actuators(types);
            record.Ask("state space", model.name + ' ' + types);
            ZmAPI_SystemSS stateSpace(0, A, B, C, D, actuators);
            RecordSystem(record, stateSpace, w);
            record.Numbers("compliance", stateSpace.ComplianceMatrix());
            record.Ask("modal", model.name + ' ' + types);
            ZmAPI_System modal(0, A, B, C, D, actuators, 0, nullptr, nullptr);
            RecordSystem(record, modal, w);
            record.Ask("converted", model.name + ' ' + types);
            ZmAPI_System converted(stateSpace);
            record.Numbers("transfer", converted.TransferFunction(w));
        }
    }
}

void RecordSignals(Recorder& record) {
    std::vector<int> lengths{64, 100, 127, 128, 360, 509, 1000, 1009, 1024, 4096, 6561, 10007};
    for (int n = 2; n <= 60; ++n) lengths.push_back(n);
    for (const int n : lengths) {
        record.Ask("transform", std::to_string(n));
        const ZEMRA::Vibration::Matrix2D<double> x = RandomMatrix<double>(n, 2, 5);
        const MatrixXcd z = ToEigen(RandomMatrix<ZEMRA::Vibration::Complex>(n, 1, 6));
        std::vector<ZmAPI_Complex> points;
        for (const auto& value : z.reshaped()) points.emplace_back(value.real(), value.imag());
        const ZmAPI_Matrix real = ToHost(ToEigen(x)), complex(n, 1, points.data());
        record.Numbers("real", ZmAPI_ToolBox::FFT(real, n, false, ZmAPI_ToolBox::WINDOW_NONE));
        record.Numbers("complex",
                       ZmAPI_ToolBox::FFT(complex, n, true, ZmAPI_ToolBox::WINDOW_HANNING));
        record.Ask("spectrum", std::to_string(n));
        for (const auto window : {ZmAPI_ToolBox::WINDOW_HAMMING, ZmAPI_ToolBox::WINDOW_WELCH,
                                  ZmAPI_ToolBox::WINDOW_PARZEN})
            record.Numbers("density " + std::to_string(window),
                           ZmAPI_ToolBox::PSD(real, window, 4, n / 8));
    }
}

void RecordElements(Recorder& record) {
    for (const std::string& family : ElementFamilies())
        for (unsigned seed = 1; seed <= 4; ++seed) {
            record.Ask("element", family + ' ' + std::to_string(seed));
            const MeasuredElement element = RandomElement(family, seed, seed % 2 ? 0 : 0.01);
            const std::vector<double>& p = element.p;
            std::vector<double> w;
            for (int j = 0; j < element.Points(); ++j) w.push_back(6.28 * element.Hertz(j));
            for (const bool polar : {false, true})
                record.Numbers(polar ? "polar" : "stiffness",
                               ZmAPI_ToolBox::FDEvaluate(
                                   p[0], p[1], p[2], p[3], p[4], p[5],
                                   ZmAPI_Matrix(static_cast<int>(w.size()), w.data()), polar));
            record.Numbers("identified", ZmAPI_ToolBox::FDElementID(ZmAPI_Matrix(
                                             element.rows.data(), element.Points(), 4)));
        }
}

/// What was asked and what was answered, by line.
std::vector<std::vector<std::string>> Read(const char* path) {
    std::ifstream in(path);
    std::vector<std::vector<std::string>> records;
    for (std::string line, field; std::getline(in, line);) {
        std::istringstream fields(line);
        std::vector<std::string> record;
        while (std::getline(fields, field, '\t')) record.push_back(field);
        record.resize(3);
        records.push_back(std::move(record));
    }
    return records;
}

std::vector<double> Values(const std::string& text) {
    std::vector<double> x;
    const char* at = text.c_str();
    for (char* end;; at = end) {
        const double value = std::strtod(at, &end);
        if (end == at) return x;
        x.push_back(value);
    }
}

bool SameBits(double a, double b) {
    return std::bit_cast<unsigned long long>(a) == std::bit_cast<unsigned long long>(b) ||
           (std::isnan(a) && std::isnan(b));
}

/// The largest difference in roundings of the largest number; infinite between arrays of
/// different sizes and numbers of which one is finite.
double Distance(const std::vector<double>& x, const std::vector<double>& y) {
    const double never = std::numeric_limits<double>::infinity();
    if (x.size() != y.size()) return never;
    double largest = 0, difference = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (SameBits(x[i], y[i])) continue;
        if (!std::isfinite(x[i]) || !std::isfinite(y[i])) return never;
        difference = std::max(difference, std::abs(x[i] - y[i]));
    }
    for (const double value : x)
        if (std::isfinite(value)) largest = std::max(largest, std::abs(value));
    return difference == 0 ? 0 : difference / (largest * 0x1p-53);
}

struct Tally {
    int arrays = 0, differing = 0;
    double worst = 0;
    std::string where;
};

int Compare(const char* reference, const char* other, double bound) {
    const auto expected = Read(reference), actual = Read(other);
    int failures = expected.empty() || expected.size() != actual.size();
    if (failures) std::cout << "The files hold different numbers of answers, or none.\n";
    std::map<std::string, Tally> rooms;
    for (std::size_t i = 0; i < std::min(expected.size(), actual.size()); ++i) {
        const auto &a = expected[i], &b = actual[i];
        if (a[0] != b[0] || a[1] != b[1] || (a[1] == kDecision && a[2] != b[2])) {
            std::cout << a[0] << ": " << a[2].substr(0, 200) << "\n  became " << b[0] << ": "
                      << b[2].substr(0, 200) << '\n';
            ++failures;
        }
        if (a[1] != kNumbers || b[1] != kNumbers) continue;
        Tally& room = rooms[a[0].substr(0, a[0].find('/'))];
        ++room.arrays;
        if (a[2] == b[2]) continue;
        ++room.differing;
        const double distance = Distance(Values(a[2]), Values(b[2]));
        if (distance > bound) {
            std::cout << a[0] << " differs by " << distance << " roundings\n";
            ++failures;
        }
        if (distance >= room.worst) {
            room.worst = distance;
            room.where = a[0];
        }
    }
    for (const auto& [name, room] : rooms)
        std::printf("%-12s %6d arrays, %6d differ, worst %.3g roundings %s\n", name.c_str(),
                    room.arrays, room.differing, room.worst, room.where.c_str());
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view command = argc > 1 ? argv[1] : "";
    if (command == "record" && argc == 3) {
        Recorder record(argv[2]);
        RecordEigenProblems(record);
        RecordSystems(record);
        RecordSignals(record);
        RecordElements(record);
        return EXIT_SUCCESS;
    }
    if (command == "compare" && argc == 5) return Compare(argv[2], argv[3], std::atof(argv[4]));
    std::cerr << "same_answer record FILE | compare REFERENCE OTHER BOUND\n";
    return EXIT_FAILURE;
}
