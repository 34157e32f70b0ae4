/// The command-line host: a model, signal or element in; tables, plots and a report out.

#include <csignal>
#include <cstdio>
#include <exception>
#include <map>
#include <new>
#include <optional>
#include <string>

#include "tools/zemra/arguments.h"
#include "tools/zemra/commands.h"
#include "tools/zemra/failure.h"
#include "tools/zemra/output_file.h"
#include "tools/zemra/progress.h"
#include "zemra/zmapi.h"

namespace Tool {
namespace {

using Command = Result (*)(const Arguments&, Messages&);

const std::map<std::string, Command>& Commands() {
    static const std::map<std::string, Command> commands{{"info", Info},
                                                         {"eig", Modes},
                                                         {"tf", Responses},
                                                         {"frf", Responses},
                                                         {"psd", Densities},
                                                         {"mct", Coordinates},
                                                         {"mpf", Participations},
                                                         {"compliance", Compliance},
                                                         {"report", Report},
                                                         {"fft", Fft},
                                                         {"spectrum", Spectrum},
                                                         {"fd-eval", EvaluateElements},
                                                         {"fd-id", IdentifyElement}};
    return commands;
}

void PrintTables(const Result& result, std::size_t count) {
    for (std::size_t k = 0; k < count; ++k)
        std::printf("%s%s", k ? "\n" : "", Aligned(result.tables[k]).c_str());
}

void Emit(const Arguments& arguments, const Result& result) {
    if (!arguments.csv.empty()) WriteFile(arguments.csv, Csv(result.tables.back()));
    if (!arguments.json.empty())
        WriteFile(arguments.json,
                  Json(arguments.file, arguments.command, result.complete, result.tables));
    if (!arguments.plot.empty()) WritePlot(arguments.plot, result.plot);
    const bool toFiles =
        !(arguments.csv.empty() && arguments.json.empty() && arguments.plot.empty());
    if (result.tables.empty() || arguments.csv == "-" || arguments.json == "-") return;
    PrintTables(result, toFiles || result.summaries ? result.summaries : result.tables.size());
    if (std::fflush(stdout) != 0) throw BadInput("standard output: cannot be written");
}

int Run(int argc, char** argv) {
    const std::optional<Arguments> arguments = ParseArguments(argc, argv);
    if (!arguments) return kDone;
    if (arguments->csv == "-" && arguments->json == "-")
        throw BadInput("--csv and --json: only one can go to standard output");
    if (!arguments->plot.empty()) CheckPlotFile(arguments->plot);
    CheckOutputs({arguments->csv, arguments->json, arguments->plot, arguments->html},
                 arguments->file);
    CatchInterrupts();
    Messages messages(arguments->verbose);
    try {
        const Result result = Commands().at(arguments->command)(*arguments, messages);
        Emit(*arguments, result);
        if (!result.complete) return kInterrupted;
    } catch (const NoResult&) {
        return kLibraryError;
    }
    return messages.Errors() > 0 ? kLibraryError : kDone;
}

}  // namespace
}  // namespace Tool

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is an output that cannot be written
    const auto fail = [](int code, const char* what) {
        std::fprintf(stderr, "zemra: %s\n", what);
        return code;
    };
    try {
        return Tool::Run(argc, argv);
    } catch (const Tool::BadInput& error) {
        return fail(Tool::kBadInput, error.what());
    } catch (const std::bad_alloc&) {
        return fail(Tool::kLibraryError, "there is not enough memory");
    } catch (const ZEMRA::Vibration::Error& error) {
        return fail(Tool::kLibraryError, error.FormatString().c_str());
    } catch (const std::exception& error) {
        return fail(Tool::kLibraryError, error.what());
    }
}
