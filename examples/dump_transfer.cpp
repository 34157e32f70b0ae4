/// The transfer functions of a dumped model as comma-separated values.
///
///     dump_transfer MODEL.txt MIN_HZ MAX_HZ POINTS [OUT.csv]
///
/// Reads a model dump (the library writes one to the file that the environment variable
/// ZEMRA_DUMP_VIBRATION_MODEL names) and writes H(w) = C·(jwI − A)⁻¹·B + D at POINTS
/// frequencies spaced evenly on a logarithmic scale, to standard output without OUT.csv. A row
/// holds the frequency in Hz and, for each output and each input, the real and the imaginary
/// part.
///
/// Exits with 2 on bad arguments or a bad model file, and with 1 when the library reported an
/// error or the results could not be written; one line on standard error says why.

#include <charconv>
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "examples/support/csv_writer.h"
#include "examples/support/dump_reader.h"
#include "examples/support/frequencies.h"
#include "examples/support/message_log.h"
#include "zemra/zmapi.h"

namespace {

constexpr int kFailure = 1;
constexpr int kBadInput = 2;

// What the user gave is wrong.
class BadInput : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// ---- Arguments -----------------------------------------------------------------------------

struct Sweep {
    double lowest, highest;  // Hz
    int points;

    // Equal steps of the logarithm, from end to end exactly.
    double Frequency(int k) const {
        if (k == 0) return lowest;
        if (k == points - 1) return highest;
        const double t = k / (points - 1.0);
        return std::exp((1.0 - t) * std::log(lowest) + t * std::log(highest));
    }
};

template <typename T>
T ParseNumber(const std::string& name, std::string_view text) {
    T value{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end)
        throw BadInput(name + ": \"" + std::string(text) + "\" is not a number it can take");
    return value;
}

Sweep ParseSweep(const char* lowest, const char* highest, const char* points) {
    const Sweep sweep{ParseNumber<double>("MIN_HZ", lowest),
                      ParseNumber<double>("MAX_HZ", highest),
                      ParseNumber<int>("POINTS", points)};
    if (!(sweep.lowest > 0.0)) throw BadInput("MIN_HZ must be positive");
    if (!std::isfinite(Example::Angular(sweep.highest)))
        throw BadInput("MAX_HZ is out of range");
    if (sweep.points < 1) throw BadInput("POINTS must be at least 1");
    if (!(sweep.lowest <= sweep.highest)) throw BadInput("MAX_HZ must not be below MIN_HZ");
    return sweep;
}

// ---- The model -----------------------------------------------------------------------------

ZmAPI_Matrix ForTheLibrary(const Example::DumpedMatrix& m) {
    return {m.rows, m.columns, m.values.data()};
}

// Unit forces at all inputs.
ZmAPI_SystemSS MakeModel(const Example::DumpedModel& dump) {
    const ZmAPI_Actuator force('F', 1.0, 0.0);
    const std::vector<const ZmAPI_Actuator*> forces(static_cast<std::size_t>(dump.B.columns),
                                                    &force);
    return {0.0,
            ForTheLibrary(dump.A),
            ForTheLibrary(dump.B),
            ForTheLibrary(dump.C),
            ForTheLibrary(dump.D),
            forces.data()};
}

Example::DumpedModel ReadDump(const std::string& file) {
    Example::DumpedModel dump = Example::DumpReader(file).Read();
    for (const auto* matrix : {&dump.A, &dump.B, &dump.C, &dump.D})
        if (matrix->values.empty())
            throw BadInput(file + ": every matrix needs at least one element");
    return dump;
}

std::vector<std::string> ColumnNames(const ZmAPI_SystemSS& model) {
    std::vector<std::string> names{"frequency [Hz]"};
    for (int i = 0; i < model.Outputs(); ++i) {
        for (int j = 0; j < model.Inputs(); ++j) {
            const std::string pair = " out" + std::to_string(i) + " in" + std::to_string(j);
            names.push_back("re" + pair);
            names.push_back("im" + pair);
        }
    }
    return names;
}

// One frequency a call: the memory it takes does not grow with the sweep, and the rows before
// a failure are good.
int WriteTransferFunctions(ZmAPI_SystemSS& model, const Sweep& sweep,
                           const Example::MessageLog& log, std::ostream& out) {
    Example::CsvWriter csv(out, ColumnNames(model));
    for (int k = 0; k < sweep.points && out; ++k) {
        const double f = sweep.Frequency(k);
        const ZmAPI_Matrix H = model.TransferFunction(Example::AngularVector({f}));
        if (log.Errors() > 0) return kFailure;
        std::vector<double> row{f};
        for (int i = 0; i < model.Outputs(); ++i) {
            for (int j = 0; j < model.Inputs(); ++j) {
                const ZmAPI_Complex h = H.ValueC(0, i, j);
                row.push_back(h.real());
                row.push_back(h.imag());
            }
        }
        csv.Row(row);
    }
    out.flush();
    if (!out) throw std::runtime_error("the results cannot be written");
    return 0;
}

int Run(const std::vector<const char*>& arguments) {
    if (arguments.size() < 4 || arguments.size() > 5)
        throw BadInput("usage: dump_transfer MODEL.txt MIN_HZ MAX_HZ POINTS [OUT.csv]");
    const Sweep sweep = ParseSweep(arguments[1], arguments[2], arguments[3]);
    const Example::DumpedModel dump = ReadDump(arguments[0]);

    const Example::MessageLog log("dump_transfer");
    ZmAPI_SystemSS model = MakeModel(dump);
    if (model.Error()) return kFailure;

    if (arguments.size() == 4) return WriteTransferFunctions(model, sweep, log, std::cout);
    std::ofstream out(arguments[4]);
    if (!out) throw BadInput(std::string(arguments[4]) + ": cannot be written");
    return WriteTransferFunctions(model, sweep, log, out);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Run({argv + 1, argv + argc});
    } catch (const BadInput& error) {
        std::fprintf(stderr, "dump_transfer: %s\n", error.what());
        return kBadInput;
    } catch (const Example::DumpError& error) {
        std::fprintf(stderr, "dump_transfer: %s\n", error.what());
        return kBadInput;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "dump_transfer: %s\n", error.what());
        return kFailure;
    }
}
