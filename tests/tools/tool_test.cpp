/// The command-line host, run as a process the way a user runs it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <Eigen/Dense>
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
#include <vector>

#include "tests/support/data_folder.h"

namespace {

namespace fs = std::filesystem;
using Eigen::MatrixXd;
using nlohmann::json;
using testing::AnyOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

constexpr double kTwoPi = 2.0 * std::numbers::pi;

std::string Read(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
    return parts;
}

// Header cells without commas, as all of these tests have them.
class CsvFile {
  public:
    explicit CsvFile(const fs::path& file) {
        for (const std::string& line : Split(Read(file), '\n'))
            rows_.push_back(Split(line + ",", ','));
    }
    std::size_t Rows() const { return rows_.size() - 1; }
    const std::vector<std::string>& Names() const { return rows_.at(0); }
    std::string Text(std::size_t row, const std::string& name) const {
        const auto at = std::find(Names().begin(), Names().end(), name);
        if (at != Names().end())
            return rows_.at(row + 1).at(static_cast<std::size_t>(at - Names().begin()));
        ADD_FAILURE() << "no column " << name;
        return "";
    }
    double Value(std::size_t row, const std::string& name) const {
        return std::strtod(Text(row, name).c_str(), nullptr);
    }
    std::complex<double> Complex(std::size_t row, const std::string& pair) const {
        return {Value(row, "re " + pair), Value(row, "im " + pair)};
    }

  private:
    std::vector<std::vector<std::string>> rows_;
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

    void Write(const std::string& name, const std::string& content) const {
        std::ofstream(File(name), std::ios::binary) << content;
    }

    // Through a shell, in the test's directory.
    Ended Run(const std::string& line, const std::string& launcher = "") {
        const int status = std::system(("cd '" + here_.string() + "' && " + launcher +
                                        " '" ZEMRA_TOOL "' " + line + " > .out 2> .error")
                                           .c_str());
        return {WEXITSTATUS(status), Read(File(".out")), Read(File(".error"))};
    }

    void RunSilently(const std::string& line) {
        const Ended ended = Run(line);
        EXPECT_EQ(ended.code, 0) << line;
        EXPECT_EQ(ended.error, "") << line;
    }

    CsvFile RunToCsv(const std::string& line) {
        RunSilently(line + " --csv out.csv");
        return CsvFile(File("out.csv"));
    }

    // Values of the first table's column.
    json RunToJson(const std::string& line, std::size_t column) {
        RunSilently(line + " --json out.json");
        return json::parse(Read(File("out.json")))["tables"][0]["columns"][column]["values"];
    }

    void WriteDump(const std::string& name, const MatrixXd& A, const MatrixXd& B,
                   const MatrixXd& C, const MatrixXd& D, const std::string& lineEnd = "\n") {
        std::ostringstream out;
        out.precision(17);
        for (const auto& [letter, m] : {std::pair{'A', &A}, {'B', &B}, {'C', &C}, {'D', &D}}) {
            out << letter << "MATRIX:" << lineEnd << "TYPE: DENSE" << lineEnd
                << "  ROWSIZE: " << m->rows() << lineEnd << "  COLUMNSIZE: " << m->cols()
                << lineEnd << "  COLUMNORDER:" << lineEnd;
            for (const double value : m->reshaped()) out << value << lineEnd;
        }
        Write(name, out.str());
    }

    // x'' + 2ζω x' + ω² x = u, y = x.
    void WriteOscillator(double w, double damping, const std::string& lineEnd = "\n") {
        WriteDump("model.txt", (MatrixXd(2, 2) << 0, 1, -w * w, -2 * damping * w).finished(),
                  Eigen::Vector2d(0, 1), Eigen::RowVector2d(1, 0), MatrixXd::Zero(1, 1),
                  lineEnd);
    }

    // y = D·u, so that the spectra of the inputs are seen; the state does not matter.
    void WriteFeedthrough(const MatrixXd& D) {
        WriteDump("model.txt", MatrixXd::Constant(1, 1, -1.0), MatrixXd::Zero(1, D.cols()),
                  MatrixXd::Zero(D.rows(), 1), D);
    }

    void WriteJson(const std::string& members) {
        Write("model.json", "{\"version\": 1, \"dump\": \"model.txt\"" +
                                (members.empty() ? "" : ", " + members) + "}");
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

// As Windows programs write JSON, with a byte-order mark.
TEST_F(Tool, InfoTellsNamesAndExcitations) {
    WriteFeedthrough(MatrixXd::Identity(2, 2));
    Write("model.json",
          "\xef\xbb\xbf"
          R"({"version": 1, "dump": "model.txt",
        "inputs": [{"name": "left", "unit": "N", "amplitude": 2}, {}]})");
    EXPECT_EQ(RunToCsv("info model.json").Value(3, "nonzeros"), 2.0);
    EXPECT_EQ(RunToJson("info model.json", 1), json({"left", "input 1"}));
    EXPECT_EQ(RunToJson("info model.json", 4)[0], "amplitude 2 at 0 deg");
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
    const Ended ended = Run("eig model.txt --csv out.csv");
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
        EXPECT_NEAR(csv.Value(k, "frequency [rad/s]"), expected[k].w, 1e-12);
        EXPECT_NEAR(csv.Value(k, "frequency [Hz]"), expected[k].w / kTwoPi, 1e-12);
        EXPECT_NEAR(csv.Value(k, "damping"), expected[k].damping, 1e-12);
        EXPECT_EQ(csv.Text(k, "kind") + csv.Text(k, "remark"),
                  expected[k].kind + expected[k].remark);
        EXPECT_LT(csv.Value(k, "residual"), 1e-12);
    }
}

// More frequencies than the tool asks the library for at a time.
TEST_F(Tool, TransferFunctionsAnswerTheirClosedFormInBothFormsAndAllLineEnds) {
    for (const std::string lineEnd : {"\n", "\r\n", "\r"}) {
        WriteOscillator(10.0, 0.1, lineEnd);
        for (const std::string form : {"ss", "modal"}) {
            const CsvFile csv = RunToCsv("tf --hz 0.1:10:70 model.txt --form " + form);
            ASSERT_EQ(csv.Rows(), 70U);
            for (std::size_t k = 0; k < csv.Rows(); ++k) {
                const double f = 0.1 * std::pow(100.0, static_cast<double>(k) / 69.0);
                EXPECT_NEAR(csv.Value(k, "frequency [Hz]"), f, 1e-14 * f);
                ExpectNear(csv.Complex(k, "output 0 / input 0"),
                           Oscillator(10.0, 0.1, kTwoPi * f), 1e-12);
            }
        }
    }
}

TEST_F(Tool, FrequencyResponsesTakeAmplitudesNamesAndUnits) {
    WriteOscillator(10.0, 0.1);
    WriteJson(R"("inputs": [{"name": "shaker", "unit": "N", "amplitude": 3, "phase": 30}],
                 "outputs": [{"name": "tip", "unit": "m/s"}],
                 "frequencies": {"unit": "rad/s", "values": [5, 10]})");
    const CsvFile csv = RunToCsv("frf model.json --output tip --polar");
    EXPECT_EQ(csv.Value(1, "angular frequency [rad/s]"), 10.0);
    EXPECT_NEAR(csv.Value(1, "magnitude tip / shaker [m/s]"), 3.0 / 20.0, 1e-13);
    EXPECT_NEAR(csv.Value(1, "phase tip / shaker [deg]"), 30.0 - 90.0, 1e-10);
    EXPECT_EQ(RunToCsv("tf model.json").Names().at(1), "re tip / shaker [(m/s)/N]");
}

// A grid of ten frequencies steps over a mode with a damping of 1e-4, whose peak is 1/2ζ.
TEST_F(Tool, ClusteredGridsDoNotMissAPeak) {
    WriteOscillator(100.0, 1e-4);
    const auto peak = [&](const std::string& more) {
        const CsvFile csv = RunToCsv("tf model.txt --rad 1:900:10" + more);
        double largest = 0.0, before = 0.0;
        for (std::size_t k = 0; k < csv.Rows(); ++k) {
            EXPECT_GT(csv.Value(k, "angular frequency [rad/s]"), before);
            before = csv.Value(k, "angular frequency [rad/s]");
            largest = std::max(largest, std::abs(csv.Complex(k, "output 0 / input 0")));
        }
        return 1e4 * largest;
    };
    EXPECT_LT(peak(""), 100.0);
    EXPECT_NEAR(peak(" --linear --cluster"), 5e3, 1.0);
}

// The rear wheel on the front one's track, on it at the same time, and on a road of its own.
TEST_F(Tool, HalfCarOnARoadHasItsKnownRms) {
    fs::copy_file(fs::path(ZEMRA_EXAMPLE_MODELS) / "half_car.txt", File("half_car.txt"));
    std::string document = Read(fs::path(ZEMRA_EXAMPLE_MODELS) / "half_car.json");
    const std::vector<std::pair<std::string, std::vector<double>>> removed{
        {"{}{}", {0.5411, 0.7079, 0.7488}},
        {", \"behind\": 2.87", {0.7692, 0.7732, 0.8358}},
        {", \"track\": \"lane\"", {0.5833, 0.7141, 0.7785}}};
    for (const auto& [key, expected] : removed) {
        for (std::size_t at; (at = document.find(key)) != std::string::npos;)
            document.erase(at, key.size());
        Write("half_car.json", document);
        const json rms = RunToJson("psd half_car.json", 1);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(rms[i], expected[i], 6e-5) << key;
    }
}

struct DensityCase {
    std::string inputs;
    int count;
    double (*expected)(double f);
};

// Through a feed-through alone the output's density is that of the inputs: of a sum of two,
// S00 + S11 + 2·Re S01.
TEST_F(Tool, DensitiesAreThoseOfTheModelFile) {
    const std::vector<DensityCase> cases{
        // Straight on logarithmic axes: S = 2·f² from (1, 2) to (4, 32).
        {R"({"density": {"table": [[1, 2], [4, 32]]}})", 1, [](double f) { return 2 * f * f; }},
        {R"({"density": {"table": [[0, 0], [8, 16]], "interpolation": "linear"}})", 1,
         [](double f) { return 2 * f; }},
        // Class C, 4·64e-6 m³: Gd(n0)·n0²·v/f² times the gain squared.
        {R"({"density": {"road": {"class": "C", "speed": 30, "gain": 10}}})", 1,
         [](double f) { return 100 * 256e-6 * 0.01 * 30 / (f * f); }},
        // Input 1 comes 0.1 s after input 0.
        {R"({"density": {"white": 3}, "cross": [{"with": 1, "white": [3, 0], "delay": 0.1}]},
            {"density": {"white": 3}})",
         2, [](double f) { return 6 + 6 * std::cos(kTwoPi * f * 0.1); }},
        // An amplitude a is spread over the band as a²/2.
        {R"({"amplitude": 4})", 1, [](double) { return 8.0 / 0.5; }}};
    for (const DensityCase& c : cases) {
        WriteFeedthrough(MatrixXd::Ones(1, c.count));
        WriteJson("\"inputs\": [" + c.inputs + "]");
        const CsvFile csv = RunToCsv("psd model.json --hz 1,2,3,4 --band 0.5");
        for (std::size_t k = 0; k < 4; ++k) {
            const double expected = c.expected(static_cast<double>(k + 1));
            EXPECT_NEAR(csv.Value(k, "output 0 [1/Hz]"), expected, 1e-12 * expected)
                << c.inputs;
        }
    }
}

// y = u0 + z, z = u1/(s + 1): the conjugate of the cross density would show.
TEST_F(Tool, CrossDensitiesAreOfTheNamedInputWithThisOne) {
    WriteDump("model.txt", MatrixXd::Constant(1, 1, -1.0), Eigen::RowVector2d(0, 1),
              MatrixXd::Ones(1, 1), Eigen::RowVector2d(1, 0));
    WriteJson(R"("inputs": [{"density": {"white": 3}, "cross": [{"with": 1, "white": [1, 2]}]},
                            {"density": {"white": 3}}])");
    const std::complex<double> cross(1.0, 2.0), h = 1.0 / std::complex<double>(1.0, 1.0);
    EXPECT_NEAR(RunToCsv("psd model.json --rad 1").Value(0, "output 0 [1/Hz]"),
                3.0 + 3.0 * std::norm(h) + 2.0 * (cross * h).real(), 1e-12);
}

// A prescribed velocity or acceleration takes the road's derivatives. C and D's last row is the
// prescribed motion itself, the first one an output that shows it.
TEST_F(Tool, RoadsUnderPrescribedMotionsAreDerived) {
    WriteDump("model.txt", MatrixXd::Constant(1, 1, -1.0), MatrixXd::Ones(1, 1),
              Eigen::Vector2d(1, 1), MatrixXd::Zero(2, 1));
    for (const auto& [type, power] :
         std::map<std::string, double>{{"D", 0}, {"V", 2}, {"A", 4}}) {
        WriteJson("\"inputs\": [{\"type\": \"" + type +
                  R"(", "density": {"road": {"class": "A", "speed": 10}}}])");
        const double road = 16e-6 * 0.01 * 10.0 / 4.0 * std::pow(kTwoPi * 2.0, power);
        EXPECT_NEAR(RunToCsv("psd model.json --hz 2").Value(0, "output 0 [1/Hz]"), road,
                    1e-10 * road)
            << type;
    }
}

// Two oscillators side by side: their coordinates and shares add up to the response.
TEST_F(Tool, ParticipationsCoordinatesAndCompliancesAddUp) {
    MatrixXd A = MatrixXd::Zero(4, 4);
    A.block(0, 0, 2, 2) << 0, 1, -100, -2;
    A.block(2, 2, 2, 2) << 0, 1, -400, -1;
    WriteDump("model.txt", A, Eigen::Vector4d(0, 1, 0, 1), Eigen::RowVector4d(1, 0, 1, 0),
              MatrixXd::Zero(1, 1));
    const CsvFile mpf = RunToCsv("mpf model.txt --rad 7,18");
    ASSERT_EQ(mpf.Rows(), 4U);  // two frequencies of two modes
    for (const std::size_t k : {0U, 2U}) {
        const double w = mpf.Value(k, "angular frequency [rad/s]");
        ExpectNear({mpf.Value(k, "re"), mpf.Value(k, "im")}, Oscillator(10, 0.1, w), 1e-12);
        EXPECT_NEAR(mpf.Value(k, "share [%]") + mpf.Value(k + 1, "share [%]"), 100.0, 1e-9);
    }
    const CsvFile only = RunToCsv("mpf model.txt --rad 7 --modes 1");
    ASSERT_EQ(only.Rows(), 1U);
    ExpectNear({only.Value(0, "re"), only.Value(0, "im")}, Oscillator(20, 0.025, 7), 1e-12);

    ExpectNear(RunToCsv("mct model.txt --rad 7 --form ss").Complex(0, "state 1 / input 0"),
               std::complex<double>(0, 7) * Oscillator(10, 0.1, 7), 1e-12);
    EXPECT_EQ(RunToCsv("mct model.txt --rad 7").Names().size(), 9U);
    EXPECT_NEAR(RunToCsv("compliance model.txt").Value(0, "input 0"), 0.0125, 1e-15);
}

// ---- Signals and elements ------------------------------------------------------------------

TEST_F(Tool, SpectraOfACosineShowItsAmplitudeAndMeanSquare) {
    std::ostringstream out;
    out.precision(17);
    out << "\xef\xbb\xbf# a cosine at 5 Hz\n\"time, s\",signal\n";
    for (int k = 0; k < 200; ++k)
        out << k * 0.01 << ',' << 3.0 * std::cos(kTwoPi * 5.0 * k * 0.01) << "\r\n";
    Write("cosine.csv", out.str());

    const CsvFile fft = RunToCsv("fft cosine.csv --amplitude");
    ASSERT_EQ(fft.Rows(), 101U);
    EXPECT_EQ(fft.Value(10, "frequency [Hz]"), 5.0);
    EXPECT_NEAR(fft.Value(10, "re signal"), 3.0, 1e-12);
    EXPECT_NEAR(fft.Value(11, "re signal"), 0.0, 1e-12);
    EXPECT_NEAR(RunToCsv("fft cosine.csv --column 1").Value(10, "re signal"), 300.0, 1e-9);

    EXPECT_NEAR(RunToJson("spectrum cosine.csv", 1)[0], 3.0 / std::numbers::sqrt2, 1e-12);
    const CsvFile windowed = RunToCsv("spectrum cosine.csv --window hanning --segments 4");
    double meanSquare = 0.0;
    for (std::size_t k = 0; k < windowed.Rows(); ++k)
        meanSquare += windowed.Value(k, "signal [signal^2/Hz]") * 2.0;  // Hz a line
    EXPECT_NEAR(meanSquare, 4.5, 0.01);
}

TEST_F(Tool, ElementsAreEvaluatedAndFoundAgain) {
    const CsvFile csv = RunToCsv("fd-eval --element 100,0.5,40,0.1,60,0.2 --hz 0.1:100:30");
    std::ostringstream rows;
    rows.precision(17);
    for (std::size_t k = 0; k < csv.Rows(); ++k) {
        const double f = csv.Value(k, "frequency [Hz]");
        const std::complex<double> s(0.0, kTwoPi * f);
        const auto expected =
            100.0 + 0.5 * s + (40.0 + 0.1 * s) * (60.0 + 0.2 * s) / (100.0 + 0.3 * s);
        ExpectNear({csv.Value(k, "re element 0 [stiffness]"),
                    csv.Value(k, "im element 0 [stiffness]")},
                   expected, 1e-12);
        rows << "2," << f << ',' << 2.0 * std::abs(expected) << ','
             << std::arg(expected) * 360.0 / kTwoPi << '\n';
    }
    Write("rows.csv", rows.str());
    const CsvFile fit = RunToCsv("fd-id rows.csv");
    ASSERT_EQ(fit.Rows(), 30U);
    for (std::size_t k = 0; k < fit.Rows(); ++k)
        EXPECT_NEAR(fit.Value(k, "magnitude fitted [stiffness]") /
                        fit.Value(k, "magnitude measured [stiffness]"),
                    1.0, 1e-6);
}

// ---- What goes wrong -----------------------------------------------------------------------

struct Refusal {
    std::string line, error;
    std::string json = "";  // members of model.json beside version and dump
};

TEST_F(Tool, BadInputGivesOneLineAndNoFile) {
    WriteOscillator(10.0, 0.1);
    const std::string dump = Read(File("model.txt"));
    Write("cut.txt", dump.substr(0, dump.find("\n  COLUMNORDER") + 1));
    Write("word.txt", dump.substr(0, 70) + "x" + dump.substr(70));
    WriteDump("misfit.txt", MatrixXd::Zero(2, 2), MatrixXd::Zero(3, 1), MatrixXd::Zero(1, 2),
              MatrixXd::Zero(1, 1));
    WriteDump("nan.txt", MatrixXd::Constant(1, 1, std::nan("")), MatrixXd::Zero(1, 1),
              MatrixXd::Zero(1, 1), MatrixXd::Zero(1, 1));
    WriteDump("two.txt", MatrixXd::Constant(1, 1, -1.0), MatrixXd::Zero(1, 2),
              MatrixXd::Zero(1, 1), MatrixXd::Ones(1, 2));
    Write("cut.json", "{\"version\": 1,\n\"dump\": ");
    Write("later.json", R"({"version": 2, "dump": "model.txt"})");
    Write("undumped.json", R"({"version": 1})");
    Write("cross.json", R"({"version": 1, "dump": "two.txt", "inputs": [
        {"density": {"white": 1}, "cross": [{"with": 1, "white": [2, 0]}]},
        {"density": {"white": 1}}]})");
    Write("rows.csv", "1,2\n3\n");
    Write("nan.csv", "nan,2\n3,4\n");
    Write("uneven.csv", "0,1\n1,1\n3,1\n");
    const std::string tf = "tf model.json", white = R"("inputs": [{"density": {"white": 1}}])";
    const std::string road = R"("inputs": [{"density": {"road": {"class": "A", "speed": )";
    const std::vector<Refusal> refusals{
        {"", "zemra: A subcommand is required.*"},
        {"tf absent.txt", ".*absent.txt: cannot be opened\n"},
        {"tf .", ".*cannot be read\n"},
        {"tf cut.txt", ".*cut.txt:5: the file ends before.*"},
        {"tf word.txt", ".*word.txt:[0-9]+: expected .*"},
        {"eig misfit.txt", ".*misfit.txt: B is 3 x 1, but must be 2 x 1\n"},
        {"eig nan.txt", ".*A holds no finite number in row 0, column 0\n"},
        {"tf cut.json", ".*cut.json:2: not valid JSON here\n"},
        {"tf later.json", ".*later.json: version: this program reads version 1\n"},
        {"tf undumped.json", ".*undumped.json: \"dump\" is missing\n"},
        {"psd cross.json --hz 1", ".*larger than their densities allow at 1 Hz\n"},
        {tf, ".*model.json: unknown key \"color\"\n", R"("color": 1)"},
        {tf, ".*the key \"dump\" is given twice in one object\n", R"("dump": "two.txt")"},
        {tf, ".*inputs.0.: unknown key \"ampl\"\n", R"("inputs": [{"ampl": 1}])"},
        {tf, ".*inputs: must hold 1 entries, as B has columns, not 2\n",
         R"("inputs": [{}, {}])"},
        {tf, ".*inputs.0..name: must not be empty\n", R"("inputs": [{"name": ""}])"},
        {tf, ".*inputs.0..density.road: a force needs a \"gain\".*\n", road + "1}}}]"},
        {tf, ".*table.1.: the frequencies must ascend\n",
         R"("inputs": [{"density": {"table": [[2, 1], [1, 1]]}}])"},
        {tf, ".*with: must be the number of another input\n",
         R"("inputs": [{"density": {"white": 1}, "cross": [{"with": 0, "white": [1, 0]}]}])"},
        {tf, ".*prescribed motions leave no output.*\n", R"("inputs": [{"type": "D"}])"},
        {tf, ".*frequencies: there must be at least one frequency\n",
         R"("frequencies": {"from": 1, "to": 2, "points": 0})"},
        {tf, ".*modes: mode numbers must ascend from 0\n", R"("modes": [1, 0])"},
        {tf, ".*mode 7 is selected, but the last is 0\n", R"("modes": [7])"},
        {tf + " --hz 1 --rad 1", ".*--hz excludes --rad.*\n"},
        {tf + " --hz 1:2:0", ".*--hz: there must be at least one frequency\n"},
        {tf + " --hz 0:2:3", ".*logarithmic frequencies must be above 0.*\n"},
        {tf + " --hz ''", "zemra: .*\n"},
        {tf + " --modes ''", ".*--modes: must not be empty.*\n"},
        {tf + " --output 3", ".*\"3\" is neither a name nor a number from 0 to 0\n"},
        {tf + " --json no/out.json", ".*no such directory\n"},
        {tf + " --json .", ".*it is a directory\n"},
        {tf + " --json model.json", ".*it is the input, or another output\n"},
        {tf + " --json out.csv", ".*it is the input, or another output\n"},
        {tf + " --plot out.pdf", ".*must end in .svg or .png\n"},
        {"psd model.json --hz 2,1", ".*the frequencies must ascend.*\n", white},
        {"psd model.json --hz 0,1", ".*no finite value at 0 Hz\n", road + "1, \"gain\": 1}}}]"},
        {"fft rows.csv", ".*rows.csv:2: expected 2 values, found 1\n"},
        {"fft nan.csv", ".*nan.csv:1: expected a finite number, found \"nan\"\n"},
        {"fft uneven.csv", ".*not evenly spaced.*\n"},
        {"spectrum uneven.csv --dt 1 --segments 4", ".*4 are too many for 3 samples\n"},
        {"spectrum uneven.csv --dt 1 --overlap 2147483647", ".*only 3 samples\n"},
        {"fd-eval --element 1,2,3 --hz 1", ".*is not K0,C0,K1,C1,K2,C2\n"},
        {"fd-id uneven.csv", ".*expected 4 columns.*\n"}};
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.line + " " + refusal.json);
        WriteJson(refusal.json);
        const Ended ended = Run(refusal.line + (refusal.line.empty() ? "" : " --csv out.csv"));
        EXPECT_EQ(ended.code, 2);
        EXPECT_EQ(ended.out, "");
        EXPECT_THAT(ended.error, MatchesRegex("zemra: [^\n]*\n"));
        EXPECT_THAT(ended.error, MatchesRegex(refusal.error));
        for (const auto& entry : fs::directory_iterator(here_))
            EXPECT_THAT(entry.path().filename().string(), Not(HasSubstr("out.")));
    }
}

// The undamped oscillator has no response at its own frequency: j·w·I − A is exactly singular.
TEST_F(Tool, ErrorsOfTheLibraryLeaveNoNumberAndGiveExitCode1) {
    WriteOscillator(10.0, 0.0);
    for (const std::string form : {"", " --form modal"}) {
        const Ended ended = Run("tf model.txt --rad 5,10,15 --csv out.csv" + form);
        EXPECT_EQ(ended.code, 1);
        EXPECT_THAT(ended.error, MatchesRegex("zemra: error: [^\n]*\n"));
        const CsvFile csv(File("out.csv"));
        ASSERT_EQ(csv.Rows(), 3U);
        EXPECT_THAT(csv.Text(1, "re output 0 / input 0"), AnyOf("nan", "inf", "-inf"));
        EXPECT_NEAR(csv.Value(2, "re output 0 / input 0"), 1.0 / (100 - 225), 1e-15);
    }
}

TEST_F(Tool, CtrlCLeavesWhatIsDone) {
    // Large enough to take many seconds, and light to write.
    const int n = 60;
    WriteDump("model.txt", MatrixXd(-MatrixXd::Identity(n, n)), MatrixXd::Ones(n, 1),
              MatrixXd::Ones(1, n), MatrixXd::Zero(1, 1));
    const Ended ended = Run("tf model.txt --hz 1:2:3000000 --csv out.csv",
                            "timeout --preserve-status --signal INT 0.7");
    EXPECT_EQ(ended.code, 130);
    EXPECT_THAT(ended.error,
                MatchesRegex("zemra: note: stopped after [0-9]+ of 3000000 frequencies\n"));
    EXPECT_GT(CsvFile(File("out.csv")).Rows(), 0U);
    EXPECT_LT(CsvFile(File("out.csv")).Rows(), 3000000U);
}

TEST_F(Tool, FilesArriveWholeAndDevicesAreLeftInPlace) {
    WriteOscillator(10.0, 0.1);
    Write("old.csv", "old");
    fs::create_symlink("old.csv", File("link.csv"));
    RunSilently("tf model.txt --hz 1 --csv link.csv");
    EXPECT_TRUE(fs::is_symlink(File("link.csv")));
    EXPECT_EQ(CsvFile(File("old.csv")).Rows(), 1U);
    const Ended full = Run("tf model.txt --hz 1 --csv /dev/full");
    EXPECT_EQ(full.code, 2);
    EXPECT_THAT(full.error, HasSubstr("/dev/full: cannot be written"));
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(Tool, PlotsAreDrawn) {
    if (std::system("gnuplot --version > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "gnuplot is not there";
    WriteOscillator(10.0, 0.1);
    for (const std::string command :
         {"eig", "tf --hz 0.1:10:50", "psd --white 1 --hz 0.1:10:50", "mpf --hz 0.1:10:50",
          "mpf --hz 1"}) {
        RunSilently(command + " model.txt --plot plot.svg");
        EXPECT_THAT(Read(File("plot.svg")), HasSubstr("</svg>")) << command;
        fs::remove(File("plot.svg"));
    }
    RunSilently("eig model.txt --plot plot.png");
    EXPECT_EQ(Read(File("plot.png")).substr(1, 3), "PNG");
}

// The page in a browser: it draws its plots, complains about nothing and, under its own policy,
// loads nothing (a refusal would be a complaint).
TEST_F(Tool, ReportsDrawThemselvesInABrowser) {
    if (std::system("chromium --version > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "Chromium is not there";
    RunSilently("report '" ZEMRA_EXAMPLE_MODELS "/half_car.json' page.html");
    const std::string command =
        "cd '" + here_.string() +
        "' && HOME=$PWD timeout 60 chromium --headless --no-sandbox --disable-gpu "
        "--user-data-dir=browser --enable-logging=stderr --virtual-time-budget=5000 --dump-dom "
        "file://$PWD/page.html > dom 2> log";
    ASSERT_EQ(std::system(command.c_str()), 0) << Read(File("log"));
    EXPECT_THAT(Read(File("log")), Not(HasSubstr("CONSOLE")));
    const std::string dom = Read(File("dom"));
    const auto count = [&](const std::string& text) {
        int found = 0;
        for (std::size_t at = 0; (at = dom.find(text, at)) != std::string::npos; ++at) ++found;
        return found;
    };
    if (dom.find("<script") != std::string::npos)
        EXPECT_EQ(count("data-drawn=\"3\""), 3);  // magnitude, phase, density; 3 outputs
    else
        EXPECT_EQ(count("<svg"), 5);       // magnitude and phase of both inputs, density
    EXPECT_EQ(count("<td>pair</td>"), 4);  // a row a mode
    EXPECT_THAT(dom, HasSubstr("0.54108"));
}

// A grid in any order is drawn upwards, and what is opened is closed.
TEST_F(Tool, ReportsSayWhatIsNotThereAndEscapeNames) {
    WriteOscillator(10.0, 0.1);
    WriteJson(R"("name": "<b>&", "outputs": [{"name": "</script><i>"}],
                 "frequencies": {"values": [10, 1, 1.6, 0.1]})");
    RunSilently("report model.json page.html");
    const std::string page = Read(File("page.html"));
    EXPECT_THAT(page, HasSubstr("<h1>&lt;b>&amp;</h1>"));
    EXPECT_THAT(page, Not(HasSubstr("</script><i>")));
    EXPECT_THAT(page, HasSubstr("The inputs have no spectral densities"));
    EXPECT_THAT(page, HasSubstr("100 % mode 0, 1.592 Hz</span>"));
    if (page.find("<script") != std::string::npos) {
        EXPECT_THAT(page, HasSubstr("\"x\":[0.1,1,1.6,10]"));
    }
}

// ---- Models from elsewhere -----------------------------------------------------------------

class ModelData : public Tool {
  protected:
    void SetUp() override {
        Tool::SetUp();
        if (folder_.empty()) GTEST_SKIP() << "ZEMRA_MODEL_DATA names no folder of model dumps";
    }
    const std::string folder_ = ZEMRA::Vibration::tests::ModelFolder();
};

TEST_F(ModelData, PublishedMagnitudesAreReproduced) {
    for (const std::string name : {"building", "cdplayer", "beam"}) {
        SCOPED_TRACE(name);
        const std::string table = folder_ + "/" + name + "_mag.csv";
        const CsvFile found =
            RunToCsv("tf " + folder_ + "/" + name + ".txt --polar --rad @" + table);
        const CsvFile published(table);
        ASSERT_EQ(found.Rows(), published.Rows());
        for (std::size_t c = 1; c < published.Names().size(); ++c) {
            const std::string channel = published.Names()[c];  // mag_out0_in0
            const std::string column = "magnitude output " + channel.substr(7, 1) +
                                       " / input " + channel.substr(11, 1);
            for (std::size_t k = 0; k < found.Rows(); ++k) {
                const double expected = published.Value(k, channel);
                EXPECT_NEAR(found.Value(k, column), expected, 1e-8 * expected)
                    << channel << " row " << k;
            }
        }
    }
}

// A report says what the library says of these models, and no more.
TEST_F(ModelData, ReportsRunWithoutErrors) {
    for (const auto& [name, warning] : std::map<std::string, std::string>{
             {"building", ""},
             {"half_car", ""},
             {"bicycle", ""},
             {"astovl_aircraft", ""},
             {"coupled_springs", ""},
             {"piezo_actuator", "zemra: warning: [^\n]*nearly dependent[^\n]*\n"}}) {
        SCOPED_TRACE(name);
        const Ended ended = Run("report " + folder_ + "/" + name + ".txt page.html --white 1");
        EXPECT_EQ(ended.code, 0);
        EXPECT_THAT(ended.error, MatchesRegex(warning));
        EXPECT_THAT(Read(File("page.html")), HasSubstr("</html>"));
    }
}

}  // namespace
