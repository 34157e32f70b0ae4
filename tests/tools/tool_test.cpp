/// The command-line host, run as a process the way a user runs it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <Eigen/Dense>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <numbers>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Eigen::MatrixXd;
using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr double kTwoPi = 2.0 * std::numbers::pi;

std::string Read(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void Write(const fs::path& file, const std::string& content) {
    std::ofstream(file, std::ios::binary) << content;
}

// Header cells without commas, as all of these tests have them.
class CsvFile {
  public:
    explicit CsvFile(const fs::path& file) {
        std::istringstream in(Read(file));
        std::string line;
        std::getline(in, line);
        names_ = Cells(line);
        while (std::getline(in, line)) rows_.push_back(Cells(line));
    }
    std::size_t Rows() const { return rows_.size(); }
    const std::vector<std::string>& Names() const { return names_; }
    std::string Text(std::size_t row, const std::string& name) const {
        const auto at = std::find(names_.begin(), names_.end(), name);
        EXPECT_NE(at, names_.end()) << "no column " << name;
        return at == names_.end()
                   ? ""
                   : rows_.at(row).at(static_cast<std::size_t>(at - names_.begin()));
    }
    double Value(std::size_t row, const std::string& name) const {
        return std::strtod(Text(row, name).c_str(), nullptr);
    }
    std::complex<double> Complex(std::size_t row, const std::string& pair,
                                 const std::string& unit = "") const {
        return {Value(row, "re " + pair + unit), Value(row, "im " + pair + unit)};
    }

  private:
    std::vector<std::string> names_;
    std::vector<std::vector<std::string>> rows_;

    static std::vector<std::string> Cells(const std::string& line) {
        std::vector<std::string> cells;
        std::istringstream in(line + ",");
        for (std::string cell; std::getline(in, cell, ',');) cells.push_back(cell);
        return cells;
    }
};

struct Ended {
    int code;
    std::string out, error;
};

// Runs every test in an empty directory of its own.
class Tool : public testing::Test {
  protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "zemra-test-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        here_ = name;
    }
    void TearDown() override { fs::remove_all(here_); }

    fs::path File(const std::string& name) const { return here_ / name; }

    // In an argument, @@ stands for the test's directory.
    pid_t Start(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), ZEMRA_TOOL);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            for (std::size_t at; (at = argument.find("@@")) != std::string::npos;)
                argument.replace(at, 2, here_.string());
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        const int flags = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_addopen(&actions, 1, File(".out").c_str(), flags, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, File(".error").c_str(), flags, 0600);
        pid_t child = 0;
        EXPECT_EQ(posix_spawn(&child, ZEMRA_TOOL, &actions, nullptr, pointers.data(), environ),
                  0);
        posix_spawn_file_actions_destroy(&actions);
        return child;
    }

    Ended Wait(pid_t child) {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
        return {WEXITSTATUS(status), Read(File(".out")), Read(File(".error"))};
    }

    Ended Run(const std::vector<std::string>& arguments) { return Wait(Start(arguments)); }

    // Runs to a CSV file, silently.
    CsvFile RunToCsv(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--csv", "@@/out.csv"});
        const Ended ended = Run(arguments);
        EXPECT_EQ(ended.code, 0);
        EXPECT_EQ(ended.error, "");
        return CsvFile(File("out.csv"));
    }

    std::string WriteDump(const std::string& name, const MatrixXd& A, const MatrixXd& B,
                          const MatrixXd& C, const MatrixXd& D,
                          const std::string& lineEnd = "\n") {
        std::ostringstream out;
        out.precision(17);
        for (const auto& [letter, m] : {std::pair{'A', &A}, {'B', &B}, {'C', &C}, {'D', &D}}) {
            out << letter << "MATRIX:" << lineEnd << "TYPE: DENSE" << lineEnd
                << "  ROWSIZE: " << m->rows() << lineEnd << "  COLUMNSIZE: " << m->cols()
                << lineEnd << "  COLUMNORDER:" << lineEnd;
            for (const double value : m->reshaped()) out << value << lineEnd;
        }
        Write(File(name), out.str());
        return File(name).string();
    }

    // x'' + 2ζω x' + ω² x = u, y = x.
    std::string WriteOscillator(double w, double damping, const std::string& lineEnd = "\n") {
        return WriteDump(
            "model.txt", (MatrixXd(2, 2) << 0, 1, -w * w, -2 * damping * w).finished(),
            Eigen::Vector2d(0, 1), Eigen::RowVector2d(1, 0), MatrixXd::Zero(1, 1), lineEnd);
    }

    // y = D·u, so that the spectra of the inputs are seen; the state does not matter.
    std::string WriteFeedthrough(const MatrixXd& D) {
        return WriteDump("model.txt", MatrixXd::Constant(1, 1, -1.0),
                         MatrixXd::Zero(1, D.cols()), MatrixXd::Zero(D.rows(), 1), D);
    }

    std::string WriteJson(const std::string& members) {
        Write(File("model.json"), "{\"version\": 1, \"dump\": \"model.txt\"" +
                                      (members.empty() ? "" : ", " + members) + "}");
        return File("model.json").string();
    }

    fs::path here_;
};

std::complex<double> Oscillator(double w0, double damping, double w) {
    return 1.0 / std::complex<double>(w0 * w0 - w * w, 2.0 * damping * w0 * w);
}

void ExpectNear(std::complex<double> found, std::complex<double> expected, double bound) {
    EXPECT_LT(std::abs(found - expected), bound * std::abs(expected))
        << found << " for " << expected;
}

// ---- Models --------------------------------------------------------------------------------

TEST_F(Tool, InfoTellsSizesNamesAndExcitations) {
    WriteFeedthrough(MatrixXd::Identity(2, 2));
    const std::string model = WriteJson(
        R"("name": "plate", "inputs": [{"name": "left", "unit": "N", "amplitude": 2}, {}])");
    const CsvFile csv = RunToCsv({"info", model});
    EXPECT_EQ(csv.Text(3, "matrix"), "D");
    EXPECT_EQ(csv.Value(3, "nonzeros"), 2.0);
    const Ended ended = Run({"info", model, "--json", "-"});
    const json tables = json::parse(ended.out).at("tables");
    EXPECT_EQ(tables[0]["columns"][1]["values"], json({"left", "input 1"}));
    EXPECT_EQ(tables[0]["columns"][4]["values"][0], "amplitude 2 at 0 deg");
    EXPECT_THAT(Run({"info", model}).out, HasSubstr("plate: 1 states, 2 inputs, 2 outputs"));
}

// The eigenvalues are those of the blocks: a damped and an undamped pair, a pair that grows, a
// real pole and a free mass, which is a chain.
TEST_F(Tool, EigTellsKindsAndMarksUnstableAndUndampedModes) {
    MatrixXd A = MatrixXd::Zero(9, 9);
    A.block(0, 0, 2, 2) << 0, 1, -100, -2;  // 10 rad/s, 0.1
    A.block(2, 2, 2, 2) << 0, 1, -400, 0;   // 20 rad/s
    A.block(4, 4, 2, 2) << 0, 1, -900, 6;   // 30 rad/s, −0.1
    A(6, 6) = -3.0;
    A(7, 8) = 1.0;
    WriteDump("model.txt", A, MatrixXd::Ones(9, 1), MatrixXd::Ones(1, 9), MatrixXd::Zero(1, 1));
    // The chain is warned of.
    const Ended ended = Run({"eig", "@@/model.txt", "--csv", "@@/out.csv"});
    EXPECT_EQ(ended.code, 0);
    EXPECT_THAT(ended.error, MatchesRegex("zemra: warning: [^\n]*defective[^\n]*\n"));
    const CsvFile csv(File("out.csv"));
    struct Row {
        double w, damping;
        std::string kind, remark;
    };
    const std::vector<Row> expected{
        {0, 0, "chain", ""},   {0, 0, "chain", ""},         {3, 1, "real", ""},
        {10, 0.1, "pair", ""}, {20, 0, "pair", "undamped"}, {30, -0.1, "pair", "unstable"}};
    ASSERT_EQ(csv.Rows(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(csv.Value(k, "mode"), static_cast<double>(k));
        EXPECT_NEAR(csv.Value(k, "frequency [rad/s]"), expected[k].w, 1e-12);
        EXPECT_NEAR(csv.Value(k, "frequency [Hz]"), expected[k].w / kTwoPi, 1e-12);
        EXPECT_NEAR(csv.Value(k, "damping"), expected[k].damping, 1e-12);
        EXPECT_EQ(csv.Text(k, "kind"), expected[k].kind);
        EXPECT_EQ(csv.Text(k, "remark"), expected[k].remark);
        EXPECT_LT(csv.Value(k, "residual"), 1e-12);
    }
}

TEST_F(Tool, TransferFunctionsAnswerTheirClosedFormInBothFormsAndAllLineEnds) {
    const std::string hz = "0.1:10:7";
    for (const std::string lineEnd : {"\n", "\r\n", "\r"}) {
        WriteOscillator(10.0, 0.1, lineEnd);
        for (const std::string form : {"ss", "modal"}) {
            const CsvFile csv = RunToCsv({"tf", "--hz", hz, "--form", form, "@@/model.txt"});
            ASSERT_EQ(csv.Rows(), 7U);
            for (std::size_t k = 0; k < csv.Rows(); ++k) {
                const double f = 0.1 * std::pow(100.0, static_cast<double>(k) / 6.0);
                EXPECT_NEAR(csv.Value(k, "frequency [Hz]"), f, 1e-14 * f);
                ExpectNear(csv.Complex(k, "output 0 / input 0"),
                           Oscillator(10.0, 0.1, kTwoPi * f), 1e-12);
            }
        }
    }
}

TEST_F(Tool, FrequencyResponsesTakeAmplitudesNamesAndUnits) {
    WriteOscillator(10.0, 0.1);
    const std::string model = WriteJson(
        R"("inputs": [{"name": "shaker", "unit": "N", "amplitude": 3, "phase": 30}],
           "outputs": [{"name": "tip", "unit": "m/s"}],
           "frequencies": {"unit": "rad/s", "values": [5, 10]})");
    const CsvFile csv = RunToCsv({"frf", model, "--output", "tip"});
    ASSERT_EQ(csv.Rows(), 2U);
    EXPECT_EQ(csv.Value(1, "angular frequency [rad/s]"), 10.0);
    ExpectNear(csv.Complex(0, "tip / shaker", " [m/s]"),
               std::polar(3.0, std::numbers::pi / 6.0) * Oscillator(10.0, 0.1, 5.0), 1e-12);
    const CsvFile transfer = RunToCsv({"tf", model, "--polar"});
    EXPECT_NEAR(transfer.Value(1, "phase tip / shaker [deg]"), -90.0, 1e-10);
    EXPECT_NEAR(transfer.Value(1, "magnitude tip / shaker [(m/s)/N]"), 1.0 / 20.0, 1e-14);
}

// A grid of ten frequencies steps over a mode with a damping of 1e-4, whose peak is 1/2ζ.
TEST_F(Tool, ClusteredGridsDoNotMissAPeak) {
    WriteOscillator(100.0, 1e-4);
    const auto peak = [&](const std::vector<std::string>& arguments) {
        const CsvFile csv = RunToCsv(arguments);
        double largest = 0.0, before = 0.0;
        for (std::size_t k = 0; k < csv.Rows(); ++k) {
            EXPECT_GT(csv.Value(k, "angular frequency [rad/s]"), before);
            before = csv.Value(k, "angular frequency [rad/s]");
            largest = std::max(largest, std::abs(csv.Complex(k, "output 0 / input 0")));
        }
        return 1e4 * largest;
    };
    EXPECT_LT(peak({"tf", "@@/model.txt", "--rad", "1:900:10"}), 100.0);
    EXPECT_NEAR(peak({"tf", "@@/model.txt", "--rad", "1:900:10", "--linear", "--cluster"}), 5e3,
                1.0);
}

struct HalfCarCase {
    std::string name, removed;
    std::vector<double> rms;
};

// The rear wheel on the front one's track, on it at the same time, and on a road of its own.
TEST_F(Tool, HalfCarOnARoadHasItsKnownRms) {
    const std::vector<HalfCarCase> cases{
        {"delayed", "", {0.5411, 0.7079, 0.7488}},
        {"in phase", ", \"behind\": 2.87", {0.7692, 0.7732, 0.8358}},
        {"uncorrelated", ", \"track\": \"lane\"", {0.5833, 0.7141, 0.7785}}};
    fs::copy_file(fs::path(ZEMRA_EXAMPLE_MODELS) / "half_car.txt", File("half_car.txt"));
    std::string document = Read(fs::path(ZEMRA_EXAMPLE_MODELS) / "half_car.json");
    for (const HalfCarCase& road : cases) {
        SCOPED_TRACE(road.name);
        for (std::size_t at;
             !road.removed.empty() && (at = document.find(road.removed)) != std::string::npos;)
            document.erase(at, road.removed.size());
        Write(File("half_car.json"), document);
        const Ended ended = Run({"psd", "@@/half_car.json", "--json", "-"});
        EXPECT_EQ(ended.code, 0);
        EXPECT_EQ(ended.error, "");
        const json rms = json::parse(ended.out)["tables"][0]["columns"][1]["values"];
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(rms[i], road.rms[i], 6e-5);
    }
}

struct DensityCase {
    std::string name, inputs;
    MatrixXd D;
    double (*expected)(double f);
};

// Through a feed-through alone the output's density is that of the inputs: of a sum of two,
// S00 + S11 + 2·Re S01.
TEST_F(Tool, DensitiesAreThoseOfTheModelFile) {
    const MatrixXd one = MatrixXd::Ones(1, 1), sum = MatrixXd::Ones(1, 2);
    const std::vector<DensityCase> cases{
        {"white", R"({"density": {"white": 3}})", one, [](double) { return 3.0; }},
        // Straight on logarithmic axes: S = 2·f² from (1, 2) to (4, 32).
        {"table", R"({"density": {"table": [[1, 2], [4, 32]]}})", one,
         [](double f) { return 2.0 * f * f; }},
        {"linear table",
         R"({"density": {"table": [[0, 0], [8, 16]], "interpolation": "linear"}})", one,
         [](double f) { return 2.0 * f; }},
        // Class C, 4·64e-6 m³: Gd(n0)·n0²·v/f² times the gain squared.
        {"road", R"({"density": {"road": {"class": "C", "speed": 30, "gain": 10}}})", one,
         [](double f) { return 100.0 * 256e-6 * 0.01 * 30.0 / (f * f); }},
        {"cross density",
         R"({"density": {"white": 3}, "cross": [{"with": 1, "white": [1, 2]}]},
            {"density": {"white": 3}})",
         sum, [](double) { return 3.0 + 3.0 + 2.0; }},
        // Input 1 comes 0.1 s after input 0.
        {"delayed cross density",
         R"({"density": {"white": 3}, "cross": [{"with": 1, "white": [3, 0], "delay": 0.1}]},
            {"density": {"white": 3}})",
         sum, [](double f) { return 6.0 + 6.0 * std::cos(kTwoPi * f * 0.1); }},
        // An amplitude a is spread over the band as a²/2.
        {"amplitude", R"({"amplitude": 4})", one, [](double) { return 8.0 / 0.5; }}};
    for (const DensityCase& c : cases) {
        SCOPED_TRACE(c.name);
        WriteFeedthrough(c.D);
        const std::string model = WriteJson("\"inputs\": [" + c.inputs + "]");
        const CsvFile csv = RunToCsv({"psd", model, "--hz", "1,2,3,4", "--band", "0.5"});
        for (std::size_t k = 0; k < 4; ++k) {
            const double expected = c.expected(static_cast<double>(k + 1));
            EXPECT_NEAR(csv.Value(k, "output 0 [1/Hz]"), expected, 1e-12 * expected);
        }
    }
}

// Only a complex part tells the delay's sign: with input 1 the derivative-like j·u of input 0,
// S10 = j·S00, y = u0 + (integrating state of u1) would not; so the state turns u1 by −90°.
TEST_F(Tool, CrossDensitiesAreOfTheNamedInputWithThisOne) {
    // y = u0 + z, z = u1/(s + 1): Re of 2·S10·conj(1)·1/(1 + jw) at w = 1 is 2·Re(S10/(1 + j)).
    WriteDump("model.txt", MatrixXd::Constant(1, 1, -1.0), Eigen::RowVector2d(0, 1),
              MatrixXd::Ones(1, 1), Eigen::RowVector2d(1, 0));
    const std::string model = WriteJson(
        R"("inputs": [{"density": {"white": 3}, "cross": [{"with": 1, "white": [1, 2]}]},
                      {"density": {"white": 3}}])");
    const CsvFile csv = RunToCsv({"psd", model, "--rad", "1"});
    const std::complex<double> cross(1.0, 2.0), h = 1.0 / std::complex<double>(1.0, 1.0);
    EXPECT_NEAR(csv.Value(0, "output 0 [1/Hz]"),
                3.0 + 3.0 * std::norm(h) + 2.0 * (cross * h).real(), 1e-12);
}

// A prescribed velocity or acceleration takes the road's derivatives. C and D's last row is the
// prescribed motion itself, the first one an output that shows it.
TEST_F(Tool, RoadsUnderPrescribedMotionsAreDerived) {
    for (const auto& [type, power] :
         std::map<std::string, double>{{"D", 0}, {"V", 2}, {"A", 4}}) {
        WriteDump("model.txt", MatrixXd::Constant(1, 1, -1.0), MatrixXd::Ones(1, 1),
                  Eigen::Vector2d(1, 1), MatrixXd::Zero(2, 1));
        const std::string model =
            WriteJson("\"inputs\": [{\"type\": \"" + type +
                      R"(", "density": {"road": {"class": "A", "speed": 10}}}])");
        const CsvFile csv = RunToCsv({"psd", model, "--hz", "2"});
        const double road = 16e-6 * 0.01 * 10.0 / 4.0 * std::pow(kTwoPi * 2.0, power);
        EXPECT_NEAR(csv.Value(0, "output 0 [1/Hz]"), road, 1e-10 * road) << type;
    }
}

// Two oscillators side by side: their coordinates and shares add up to the response.
TEST_F(Tool, ParticipationsAndCoordinatesAddUp) {
    MatrixXd A = MatrixXd::Zero(4, 4);
    A.block(0, 0, 2, 2) << 0, 1, -100, -2;
    A.block(2, 2, 2, 2) << 0, 1, -400, -1;
    WriteDump("model.txt", A, Eigen::Vector4d(0, 1, 0, 1), Eigen::RowVector4d(1, 0, 1, 0),
              MatrixXd::Zero(1, 1));
    const CsvFile mpf = RunToCsv({"mpf", "@@/model.txt", "--rad", "7,18"});
    ASSERT_EQ(mpf.Rows(), 4U);  // two frequencies of two modes
    for (std::size_t k = 0; k < 2; ++k) {
        const double w = mpf.Value(2 * k, "angular frequency [rad/s]");
        ExpectNear({mpf.Value(2 * k, "re"), mpf.Value(2 * k, "im")}, Oscillator(10, 0.1, w),
                   1e-12);
        EXPECT_NEAR(mpf.Value(2 * k, "share [%]") + mpf.Value(2 * k + 1, "share [%]"), 100.0,
                    1e-9);
    }
    const CsvFile only = RunToCsv({"mpf", "@@/model.txt", "--rad", "7", "--modes", "1"});
    ASSERT_EQ(only.Rows(), 1U);
    ExpectNear({only.Value(0, "re"), only.Value(0, "im")}, Oscillator(20, 0.025, 7), 1e-12);

    const CsvFile states = RunToCsv({"mct", "@@/model.txt", "--rad", "7", "--form", "ss"});
    ExpectNear(states.Complex(0, "state 1 / input 0"),
               std::complex<double>(0, 7) * Oscillator(10, 0.1, 7), 1e-12);
    EXPECT_EQ(RunToCsv({"mct", "@@/model.txt", "--rad", "7"}).Names().size(), 9U);

    const CsvFile compliance = RunToCsv({"compliance", "@@/model.txt"});
    EXPECT_NEAR(compliance.Value(0, "input 0"), 0.01 + 0.0025, 1e-15);
}

// ---- Signals and elements ------------------------------------------------------------------

TEST_F(Tool, SpectraOfACosineShowItsAmplitudeAndMeanSquare) {
    const int n = 200;
    const double dt = 0.01, amplitude = 3.0;  // a line at 5 Hz
    std::ostringstream out;
    out.precision(17);
    out << "# a cosine\n\"time, s\",signal\n";
    for (int k = 0; k < n; ++k)
        out << k * dt << ',' << amplitude * std::cos(kTwoPi * 5.0 * k * dt) << "\r\n";
    Write(File("cosine.csv"), out.str());

    const CsvFile fft = RunToCsv({"fft", "@@/cosine.csv", "--amplitude"});
    ASSERT_EQ(fft.Rows(), 101U);
    EXPECT_EQ(fft.Value(10, "frequency [Hz]"), 5.0);
    EXPECT_NEAR(fft.Value(10, "re signal"), amplitude, 1e-12);
    EXPECT_NEAR(fft.Value(11, "re signal"), 0.0, 1e-12);
    const CsvFile raw = RunToCsv({"fft", "@@/cosine.csv", "--column", "signal"});
    EXPECT_NEAR(raw.Value(10, "re signal"), amplitude * n / 2, 1e-9);

    Run({"spectrum", "@@/cosine.csv", "--json", "@@/out.json"});
    const json tables = json::parse(Read(File("out.json")))["tables"];
    EXPECT_NEAR(tables[0]["columns"][1]["values"][0], amplitude / std::numbers::sqrt2, 1e-12);
    const CsvFile windowed =
        RunToCsv({"spectrum", "@@/cosine.csv", "--window", "hanning", "--segments", "4"});
    double meanSquare = 0.0;
    for (std::size_t k = 0; k < windowed.Rows(); ++k)
        meanSquare += windowed.Value(k, "signal [signal^2/Hz]") * 2.0;  // Hz a line
    EXPECT_NEAR(meanSquare, 0.5 * amplitude * amplitude, 0.01);
}

TEST_F(Tool, ElementsAreEvaluatedAndFoundAgain) {
    const CsvFile csv =
        RunToCsv({"fd-eval", "--element", "100,0.5,40,0.1,60,0.2", "--hz", "0.1:100:30"});
    ASSERT_EQ(csv.Rows(), 30U);
    std::ostringstream rows;
    rows.precision(17);
    for (std::size_t k = 0; k < csv.Rows(); ++k) {
        const double f = csv.Value(k, "frequency [Hz]"), w = kTwoPi * f;
        const std::complex<double> j(0, 1);
        const auto expected =
            100.0 + j * w * 0.5 +
            (40.0 + j * w * 0.1) * (60.0 + j * w * 0.2) / (100.0 + j * w * 0.3);
        ExpectNear(csv.Complex(k, "element 0", " [stiffness]"), expected, 1e-12);
        rows << "2," << f << ',' << 2.0 * std::abs(expected) << ','
             << std::arg(expected) * 360.0 / kTwoPi << '\n';
    }
    Write(File("rows.csv"), rows.str());
    const CsvFile fit = RunToCsv({"fd-id", "@@/rows.csv"});
    for (std::size_t k = 0; k < fit.Rows(); ++k)
        EXPECT_NEAR(fit.Value(k, "magnitude fitted [stiffness]") /
                        fit.Value(k, "magnitude measured [stiffness]"),
                    1.0, 1e-6);
}

// ---- What goes wrong -----------------------------------------------------------------------

struct Refusal {
    std::vector<std::string> arguments;
    std::string error;
    std::string json = "";  // members of model.json beside version and dump
};

TEST_F(Tool, BadInputGivesOneLineAndNoFile) {
    WriteOscillator(10.0, 0.1);
    const std::string dump = Read(File("model.txt"));
    Write(File("cut.txt"), dump.substr(0, dump.size() / 2));
    Write(File("word.txt"), dump.substr(0, 70) + "x" + dump.substr(70));
    WriteDump("misfit.txt", MatrixXd::Zero(2, 2), MatrixXd::Zero(3, 1), MatrixXd::Zero(1, 2),
              MatrixXd::Zero(1, 1));
    WriteDump("nan.txt", MatrixXd::Constant(1, 1, std::nan("")), MatrixXd::Zero(1, 1),
              MatrixXd::Zero(1, 1), MatrixXd::Zero(1, 1));
    Write(File("cut.json"), "{\"version\": 1,\n\"dump\": ");
    Write(File("twice.json"), R"({"version": 1, "version": 1, "dump": "model.txt"})");
    Write(File("two.json"), R"({"version": 2, "dump": "model.txt"})");
    Write(File("lost.json"), R"({"version": 1, "dump": "lost.txt"})");
    Write(File("rows.csv"), "1,2\n3\n");
    Write(File("word.csv"), "1,2\n3,x\n");
    Write(File("uneven.csv"), "0,1\n1,1\n3,1\n");
    const std::vector<std::string> tf{"tf", "@@/model.json"};
    const auto with = [](std::vector<std::string> first, std::vector<std::string> more) {
        first.insert(first.end(), more.begin(), more.end());
        return first;
    };
    const std::string density = R"({"density": {"white": 1}})";
    const std::vector<Refusal> refusals{
        {{}, "zemra: A subcommand is required.*"},
        {{"tf"}, "zemra: MODEL is required.*"},
        {{"tf", "@@/absent.txt"}, ".*absent.txt: cannot be opened\n"},
        {{"tf", "@@"}, ".*cannot be read\n"},
        {{"tf", "@@/cut.txt"}, ".*cut.txt:[0-9]+: the file ends before.*"},
        {{"tf", "@@/word.txt"}, ".*word.txt:[0-9]+: expected .*"},
        {{"eig", "@@/misfit.txt"}, ".*misfit.txt: B is 3 x 1, but must be 2 x 1\n"},
        {{"eig", "@@/nan.txt"}, ".*A holds no finite number in row 0, column 0\n"},
        {{"tf", "@@/cut.json"}, ".*cut.json:2: not valid JSON here\n"},
        {{"tf", "@@/twice.json"}, ".*the key \"version\" is given twice in one object\n"},
        {{"tf", "@@/two.json"}, ".*version: this program reads version 1\n"},
        {{"tf", "@@/lost.json"}, ".*lost.txt: cannot be opened\n"},
        {tf, ".*model.json: unknown key \"color\"\n", R"("color": 1)"},
        {tf, ".*inputs.0.: unknown key \"ampl\"\n", R"("inputs": [{"ampl": 1}])"},
        {tf, ".*inputs: must hold 1 entries, as B has columns, not 2\n",
         R"("inputs": [{}, {}])"},
        {tf, ".*inputs.0..type: \"Q\" is none of .*\n", R"("inputs": [{"type": "Q"}])"},
        {tf, ".*inputs.0..density.road: a force needs a \"gain\".*\n",
         R"("inputs": [{"density": {"road": {"class": "A", "speed": 1}}}])"},
        {tf, ".*road.speed: must be above 0\n",
         R"("inputs": [{"density": {"road": {"class": "A", "speed": 0, "gain": 1}}}])"},
        {tf, ".*table.1.: the frequencies must ascend\n",
         R"("inputs": [{"density": {"table": [[2, 1], [1, 1]]}}])"},
        {tf, ".*with: must be the number of another input\n",
         R"("inputs": [{"density": {"white": 1}, "cross": [{"with": 0, "white": [1, 0]}]}])"},
        {tf, ".*prescribed motions leave no output.*\n", R"("inputs": [{"type": "D"}])"},
        {tf, ".*frequencies: there must be at least one frequency\n",
         R"("frequencies": {"from": 1, "to": 2, "points": 0})"},
        {tf, ".*modes: mode numbers must ascend from 0\n", R"("modes": [1, 0])"},
        {tf, ".*mode 7 is selected, but the last is 0\n", R"("modes": [7])"},
        {tf, ".*name: must be a text\n", R"("name": 3)"},
        {with(tf, {"--hz", "1:2:0"}), ".*--hz: there must be at least one frequency\n"},
        {with(tf, {"--hz", "0:2:3"}), ".*logarithmic frequencies must be above 0.*\n"},
        {with(tf, {"--hz", "2:1:3"}), ".*the highest frequency is below the lowest\n"},
        {with(tf, {"--hz", "1:2"}), ".*is not LOW:HIGH:COUNT\n"},
        {with(tf, {"--hz", ""}), "zemra: .*\n"},
        {with(tf, {"--hz", "1,x"}), ".*\"x\" is not a frequency\n"},
        {with(tf, {"--hz", "nan"}), ".*finite and not negative\n"},
        {with(tf, {"--hz", "1", "--rad", "1"}), ".*excludes.*\n"},
        {with(tf, {"--output", "3"}), ".*\"3\" is neither a name nor a number from 0 to 0\n"},
        {with(tf, {"--hz", "1", "--json", "@@/no/out.json"}), ".*no such directory\n"},
        {with(tf, {"--hz", "1", "--json", "@@"}), ".*it is a directory\n"},
        {with(tf, {"--plot", "@@/out.pdf"}), ".*must end in .svg or .png\n"},
        {{"psd", "@@/model.json", "--hz", "1"}, ".*input 0 has no density.*\n"},
        {{"psd", "@@/model.json", "--hz", "2,1"},
         ".*the frequencies must ascend.*\n",
         "\"inputs\": [" + density + "]"},
        {{"psd", "@@/model.json", "--hz", "0,1"},
         ".*no finite value at 0 Hz\n",
         R"("inputs": [{"density": {"road": {"class": "A", "speed": 1, "gain": 1}}}])"},
        {{"spectrum", "@@/uneven.csv", "--dt", "1", "--segments", "4"},
         ".*--segments: 4 are too many for 3 samples\n"},
        {{"fft", "@@/rows.csv"}, ".*rows.csv:2: expected 2 values, found 1\n"},
        {{"fft", "@@/word.csv"}, ".*word.csv:2: expected a finite number, found \"x\"\n"},
        {{"fft", "@@/uneven.csv"}, ".*not evenly spaced.*\n"},
        {{"fft", "@@/uneven.csv", "--dt", "1", "--points", "1"}, ".*--points: must be .*\n"},
        {{"spectrum", "@@/uneven.csv", "--dt", "1", "--segments", "0"},
         ".*--segments: must be at least 1\n"},
        {{"spectrum", "@@/uneven.csv", "--dt", "1", "--overlap", "3"},
         ".*--overlap: 3 samples are too many.*\n"},
        {{"fft", "@@/uneven.csv", "--dt", "0"}, ".*--dt: must be a positive number\n"},
        {{"fd-eval", "--element", "1,2,3", "--hz", "1"}, ".*is not K0,C0,K1,C1,K2,C2\n"},
        {{"fd-id", "@@/uneven.csv"}, ".*expected 4 columns.*\n"}};
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(testing::PrintToString(refusal.arguments) + refusal.json);
        WriteJson(refusal.json);
        std::vector<std::string> arguments = refusal.arguments;
        if (!arguments.empty()) arguments.insert(arguments.end(), {"--csv", "@@/out.csv"});
        const Ended ended = Run(arguments);
        EXPECT_EQ(ended.code, 2);
        EXPECT_EQ(ended.out, "");
        EXPECT_THAT(ended.error, MatchesRegex("zemra: [^\n]*\n"));
        EXPECT_THAT(ended.error, MatchesRegex(refusal.error));
        for (const auto& entry : fs::directory_iterator(here_))
            EXPECT_THAT(entry.path().filename().string(), testing::Not(HasSubstr("out.")));
    }
}

TEST_F(Tool, CrossDensitiesThatCannotBeAreRefused) {
    WriteFeedthrough(MatrixXd::Ones(1, 2));
    WriteJson(R"("inputs": [{"density": {"white": 1}, "cross": [{"with": 1, "white": [2, 0]}]},
                            {"density": {"white": 1}}])");
    const Ended ended = Run({"psd", "@@/model.json", "--hz", "1"});
    EXPECT_EQ(ended.code, 2);
    EXPECT_THAT(ended.error, HasSubstr("larger than their densities allow at 1 Hz"));
}

// The undamped oscillator has no response at its own frequency: j·w·I − A is exactly singular.
TEST_F(Tool, ErrorsOfTheLibraryLeaveNoNumberAndGiveExitCode1) {
    WriteOscillator(10.0, 0.0);
    const Ended ended = Run({"tf", "@@/model.txt", "--rad", "5,10,15", "--csv", "@@/out.csv"});
    EXPECT_EQ(ended.code, 1);
    EXPECT_THAT(ended.error, MatchesRegex("zemra: error: [^\n]*\n"));
    const CsvFile csv(File("out.csv"));
    ASSERT_EQ(csv.Rows(), 3U);
    EXPECT_EQ(csv.Text(1, "re output 0 / input 0"), "nan");
    EXPECT_NEAR(csv.Value(2, "re output 0 / input 0"), 1.0 / (100 - 225), 1e-15);
}

TEST_F(Tool, CtrlCLeavesWhatIsDone) {
    // Large enough to take many seconds, and light to write.
    const int n = 60;
    WriteDump("model.txt", MatrixXd(-MatrixXd::Identity(n, n)), MatrixXd::Ones(n, 1),
              MatrixXd::Ones(1, n), MatrixXd::Zero(1, 1));
    const pid_t child =
        Start({"tf", "@@/model.txt", "--hz", "1:2:1000000", "--csv", "@@/out.csv"});
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(kill(child, SIGINT), 0);
    const Ended ended = Wait(child);
    EXPECT_EQ(ended.code, 130);
    EXPECT_THAT(ended.error,
                MatchesRegex("zemra: note: stopped after [0-9]+ of 1000000 frequencies\n"));
    const CsvFile csv(File("out.csv"));
    EXPECT_GT(csv.Rows(), 0U);
    EXPECT_LT(csv.Rows(), 1000000U);
}

TEST_F(Tool, FilesArriveWholeAndDevicesAreLeftInPlace) {
    WriteOscillator(10.0, 0.1);
    Write(File("old.csv"), "old");
    fs::create_symlink("old.csv", File("link.csv"));
    EXPECT_EQ(Run({"tf", "@@/model.txt", "--hz", "1", "--csv", "@@/link.csv"}).code, 0);
    EXPECT_TRUE(fs::is_symlink(File("link.csv")));
    EXPECT_EQ(CsvFile(File("old.csv")).Rows(), 1U);
    EXPECT_EQ(Run({"tf", "@@/model.txt", "--hz", "1", "--csv", "/dev/null"}).code, 0);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    const Ended full = Run({"tf", "@@/model.txt", "--hz", "1", "--csv", "/dev/full"});
    EXPECT_EQ(full.code, 2);
    EXPECT_THAT(full.error, HasSubstr("/dev/full: cannot be written"));
}

TEST_F(Tool, PlotsAreDrawn) {
    if (std::system("gnuplot --version > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "gnuplot is not there";
    WriteOscillator(10.0, 0.1);
    const std::vector<std::vector<std::string>> commands{
        {"eig"},
        {"tf", "--hz", "0.1:10:50"},
        {"psd", "--white", "1", "--hz", "0.1:10:50"},
        {"mpf", "--hz", "0.1:10:50"},
        {"mpf", "--hz", "1"}};
    for (std::vector<std::string> command : commands) {
        SCOPED_TRACE(testing::PrintToString(command));
        command.insert(command.end(), {"@@/model.txt", "--plot", "@@/plot.svg"});
        const Ended ended = Run(command);
        EXPECT_EQ(ended.code, 0);
        EXPECT_EQ(ended.error, "");
        EXPECT_THAT(Read(File("plot.svg")), HasSubstr("</svg>"));
        command.back() = "@@/plot.png";
        EXPECT_EQ(Run(command).code, 0);
        EXPECT_EQ(Read(File("plot.png")).substr(1, 3), "PNG");
    }
}

// The page in a browser: it draws its plots, complains about nothing and, under its own policy,
// loads nothing (a refusal would be a complaint).
TEST_F(Tool, ReportsDrawThemselvesInABrowser) {
    if (std::system("chromium --version > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "Chromium is not there";
    const std::string model = std::string(ZEMRA_EXAMPLE_MODELS) + "/half_car.json";
    const Ended ended = Run({"report", model, "@@/page.html"});
    EXPECT_EQ(ended.code, 0);
    EXPECT_EQ(ended.error, "");
    const std::string command =
        "HOME=" + here_.string() +
        " timeout 60 chromium --headless --no-sandbox --disable-gpu --user-data-dir=" +
        File("browser").string() +
        " --enable-logging=stderr --virtual-time-budget=5000 --dump-dom file://" +
        File("page.html").string() + " > " + File("dom").string() + " 2> " +
        File("log").string();
    ASSERT_EQ(std::system(command.c_str()), 0) << Read(File("log"));
    EXPECT_THAT(Read(File("log")), testing::Not(HasSubstr("CONSOLE")));
    const std::string dom = Read(File("dom"));
    const auto count = [&](const std::string& text) {
        int found = 0;
        for (std::size_t at = 0; (at = dom.find(text, at)) != std::string::npos; ++at) ++found;
        return found;
    };
    if (dom.find("<script") != std::string::npos)
        EXPECT_EQ(count("data-drawn=\"3\""), 3);  // magnitude, phase, density; 3 outputs
    else
        EXPECT_EQ(count("<svg"), 5);  // magnitude and phase of both inputs, density
    const std::size_t table = dom.find("id=\"modes\"");
    ASSERT_NE(table, std::string::npos);
    const std::string modes = dom.substr(table, dom.find("</table>", table) - table);
    EXPECT_EQ(std::count(modes.begin(), modes.end(), '\n'), 4 + 1);  // a line a row
    EXPECT_THAT(dom, HasSubstr("0.54108"));
}

TEST_F(Tool, ReportsSayWhatIsNotThereAndEscapeNames) {
    WriteOscillator(10.0, 0.1);
    const std::string model = WriteJson(
        R"("name": "<b>&", "outputs": [{"name": "</script><i>"}],
           "frequencies": {"from": 0.1, "to": 10, "points": 50})");
    EXPECT_EQ(Run({"report", model, "@@/page.html"}).error, "");
    const std::string page = Read(File("page.html"));
    EXPECT_THAT(page, HasSubstr("<h1>&lt;b>&amp;</h1>"));
    EXPECT_THAT(page, testing::Not(HasSubstr("</script><i>")));
    EXPECT_THAT(page, HasSubstr("The inputs have no spectral densities"));
    EXPECT_THAT(page, HasSubstr("100 % mode 0, 1.592 Hz"));
}

// ---- Models from elsewhere -----------------------------------------------------------------

class ModelData : public Tool {
  protected:
    void SetUp() override {
        Tool::SetUp();
        const char* const folder = std::getenv("ZEMRA_MODEL_DATA");
        if (!folder || !*folder)
            GTEST_SKIP() << "ZEMRA_MODEL_DATA names no folder of model dumps";
        folder_ = folder;
    }
    fs::path folder_;
};

TEST_F(ModelData, PublishedMagnitudesAreReproduced) {
    int compared = 0;
    for (const auto& file : fs::directory_iterator(folder_)) {
        const std::string name = file.path().filename();
        // The beam's 348 states take too long without optimisation.
        if (!name.ends_with("_mag.csv") || name.starts_with("beam_")) continue;
        SCOPED_TRACE(name);
        const std::string model =
            (folder_ / (name.substr(0, name.size() - 8) + ".txt")).string();
        const CsvFile found =
            RunToCsv({"tf", model, "--rad", "@" + file.path().string(), "--polar"});
        const CsvFile published(file.path());
        ASSERT_EQ(found.Rows(), published.Rows());
        for (std::size_t c = 1; c < published.Names().size(); ++c) {
            std::string channel = published.Names()[c];  // mag_out0_in0
            const std::string column = "magnitude output " + channel.substr(7, 1) +
                                       " / input " + channel.substr(11, 1);
            for (std::size_t k = 0; k < found.Rows(); ++k) {
                const double expected = published.Value(k, channel);
                EXPECT_NEAR(found.Value(k, column), expected, 1e-8 * expected)
                    << channel << " row " << k;
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 0) << "no table of magnitudes in " << folder_;
}

// A report says what the library says of these models, and no more.
TEST_F(ModelData, ReportsRunWithoutErrors) {
    const std::map<std::string, std::string> warnings{
        {"piezo_actuator", "zemra: warning: [^\n]*nearly dependent[^\n]*\n"}};
    for (const std::string name : {"building", "half_car", "bicycle", "astovl_aircraft",
                                   "coupled_springs", "piezo_actuator"}) {
        SCOPED_TRACE(name);
        const Ended ended = Run(
            {"report", (folder_ / (name + ".txt")).string(), "@@/page.html", "--white", "1"});
        EXPECT_EQ(ended.code, 0);
        const auto warning = warnings.find(name);
        EXPECT_THAT(ended.error,
                    MatchesRegex(warning == warnings.end() ? "" : warning->second));
        EXPECT_THAT(Read(File("page.html")), HasSubstr("</html>"));
    }
}

}  // namespace
