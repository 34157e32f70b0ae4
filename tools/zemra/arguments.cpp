#include "tools/zemra/arguments.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>

#include "tools/zemra/failure.h"
#include "zemra/zmapi.h"

namespace Tool {
namespace {

// An empty value is most likely a shell variable that was never set.
std::string RefuseEmpty(const std::string& value) {
    return value.empty() ? "must not be empty" : "";
}

// The commands with their options: each is written into one set of arguments.
class CommandLine {
  public:
    explicit CommandLine(Arguments& arguments) : a_(arguments) {
        app_.require_subcommand(1);
        app_.set_version_flag("--version", std::string("zemra ") + vibration_build_version());
        app_.set_help_all_flag("--help-all", "Print the help of every command");
        AddModelCommands();
        AddSignalCommands();
        AddElementCommands();
        app_.footer(
            "MODEL is a model dump, or a JSON file that names one and adds actuators, names\n"
            "and units. Without --csv, --json or --plot the results are printed as a table.\n"
            "FILE may be - for standard output. Exit codes: 0 done, 1 the library reported an\n"
            "error, 2 bad input, 130 stopped by Ctrl-C with the results so far.");
    }

    void Parse(int argc, char** argv) {
        app_.parse(argc, argv);
        a_.command = app_.get_subcommands().front()->get_name();
    }

    int PrintHelp(const CLI::Success& request) { return app_.exit(request); }

  private:
    Arguments& a_;
    CLI::App app_{"Linear vibration analysis of a model, signal or element", "zemra"};

    CLI::App* Add(const char* name, const char* description, const char* file,
                  const char* fileHelp) {
        CLI::App* command = app_.add_subcommand(name, description);
        if (file) command->add_option(file, a_.file, fileHelp)->required();
        command->add_flag("--verbose", a_.verbose, "Print the library's informations as well");
        return command;
    }

    CLI::App* AddModel(const char* name, const char* description) {
        return Add(name, description, "MODEL", "Model dump or JSON file");
    }

    // May be repeated, with one value each, so that MODEL may follow.
    static void AddList(CLI::App* command, const char* option, std::vector<std::string>& list,
                        const char* typeName, const char* help, bool required = false) {
        command->add_option(option, list, help)
            ->allow_extra_args(false)
            ->type_name(typeName)
            ->required(required);
    }

    static void AddOutputs(CLI::App* command, Arguments& a) {
        AddList(command, "--output", a.outputs, "OUTPUT",
                "Only this output: a name or a number from 0; may be repeated");
    }

    static void AddInputs(CLI::App* command, Arguments& a) {
        AddList(command, "--input", a.inputs, "INPUT",
                "Only this input: a name or a number from 0; may be repeated");
    }

    void AddResults(CLI::App* command, bool plot = true) {
        command->add_option("--csv", a_.csv, "Write the results as comma-separated values")
            ->check(RefuseEmpty)
            ->type_name("FILE");
        command->add_option("--json", a_.json, "Write the results as JSON")
            ->check(RefuseEmpty)
            ->type_name("FILE");
        if (plot)
            command->add_option("--plot", a_.plot, "Plot the results (FILE.svg or FILE.png)")
                ->check(RefuseEmpty)
                ->type_name("FILE");
    }

    void AddFrequencies(CLI::App* command, bool ofModel) {
        CLI::Option* hertz =
            command->add_option("--hz", a_.hertz,
                                "Frequencies in Hz: LOW:HIGH:COUNT, a list F,F,... or @FILE, "
                                "the first column of a CSV file");
        CLI::Option* radians =
            command->add_option("--rad", a_.radians, "The same in rad/s; results too");
        hertz->check(RefuseEmpty)->type_name("GRID")->excludes(radians);
        radians->check(RefuseEmpty)->type_name("GRID");
        command->add_flag("--linear", a_.linear, "Evenly spaced (else logarithmically)");
        if (ofModel)
            command->add_flag("--cluster", a_.cluster,
                              "Add frequencies around the lightly damped modes");
    }

    void AddModes(CLI::App* command) {
        command
            ->add_option("--modes", a_.modes,
                         "Keep only these modes: numbers of the mode table, ascending")
            ->delimiter(',')
            ->allow_extra_args(false)
            ->check(RefuseEmpty)
            ->type_name("N,N,...");
    }

    void AddForm(CLI::App* command, const char* preset) {
        command
            ->add_option("--form", a_.form,
                         std::string("Solve in state space (ss) or in modal coordinates "
                                     "(modal); else ") +
                             preset)
            ->check(CLI::IsMember({"ss", "modal"}))
            ->type_name("FORM");
        AddModes(command);
    }

    void AddChannels(CLI::App* command) {
        AddInputs(command, a_);
        AddOutputs(command, a_);
    }

    void AddModelCommands() {
        CLI::App* info = AddModel("info", "What a model holds: sizes, inputs, outputs");
        AddResults(info, false);

        CLI::App* eig = AddModel("eig", "The modes: frequency, damping, kind, largest states");
        AddResults(eig);

        for (CLI::App* command :
             {AddModel("tf", "Transfer functions: outputs per unit of each input"),
              AddModel("frf", "Frequency responses: outputs at the inputs' amplitudes")}) {
            AddResults(command);
            AddFrequencies(command, true);
            AddForm(command, "state space");
            AddChannels(command);
            command->add_flag("--polar", a_.polar,
                              "Magnitude and phase in the files, not real and imaginary part");
        }

        CLI::App* psd = AddModel("psd", "Power spectral densities and RMS of the outputs");
        AddResults(psd);
        AddFrequencies(psd, true);
        AddForm(psd, "state space");
        AddDensities(psd);
        AddOutputs(psd, a_);
        psd->add_flag("--cumulative", a_.cumulative,
                      "Add the RMS from the lowest frequency up to each");

        CLI::App* mct = AddModel("mct", "Modal coordinates, or states with --form ss");
        AddResults(mct);
        AddFrequencies(mct, true);
        AddForm(mct, "modal coordinates");
        AddInputs(mct, a_);
        mct->add_flag("--amplitudes", a_.amplitudes,
                      "At the inputs' amplitudes (else per unit of each input)");

        CLI::App* mpf =
            AddModel("mpf", "Participation of the modes in one output's response to one input");
        AddResults(mpf);
        AddFrequencies(mpf, true);
        AddModes(mpf);
        AddChannels(mpf);
        mpf->add_flag("--project", a_.project, "The part in phase with the total response");

        CLI::App* compliance =
            AddModel("compliance", "Static compliance: outputs per unit of a constant force");
        AddResults(compliance, false);

        CLI::App* report = AddModel("report", "One HTML page about the model");
        report->add_option("HTML", a_.html, "Page to write")->required()->check(RefuseEmpty);
        AddFrequencies(report, true);
        AddForm(report, "modal coordinates where they agree with the state space");
        AddDensities(report);
        AddChannels(report);
    }

    void AddDensities(CLI::App* command) {
        command
            ->add_option("--white", a_.white,
                         "Density per Hz, the same at all frequencies, of inputs without one")
            ->type_name("S");
        command
            ->add_option("--band", a_.band,
                         "Width in Hz of the band that amplitudes are spread over")
            ->type_name("HZ");
    }

    void AddSamples(CLI::App* command) {
        command->add_option("--dt", a_.interval, "Time between two samples, in seconds")
            ->type_name("S");
        command
            ->add_option("--time", a_.timeColumn,
                         "Column of evenly spaced times, by name or number from 0 (else "
                         "without --dt the first column)")
            ->type_name("COLUMN");
        AddList(command, "--column", a_.columns, "COLUMN",
                "Only this column: a name or a number from 0; may be repeated");
        command->add_option("--window", a_.window, "Window over the samples")
            ->check(CLI::IsMember({"none", "hamming", "hanning", "parzen", "welch"}))
            ->type_name("WINDOW")
            ->capture_default_str();
    }

    void AddSignalCommands() {
        CLI::App* fft = Add("fft", "Spectrum of samples", "CSV", "Samples, a signal a column");
        AddResults(fft);
        AddSamples(fft);
        fft->add_option("--points", a_.points,
                        "Transform this many samples, zeros after the last (else all)")
            ->type_name("N");
        fft->add_flag("--detrend", a_.detrend, "Take the straight line of best fit off first");
        fft->add_flag("--amplitude", a_.scaled,
                      "Scale so that a sine on a line shows its amplitude");
        fft->add_flag("--polar", a_.polar,
                      "Magnitude and phase in the files, not real and imaginary part");

        CLI::App* spectrum = Add("spectrum", "Averaged one-sided power spectral density per Hz",
                                 "CSV", "Samples, a signal a column");
        AddResults(spectrum);
        AddSamples(spectrum);
        spectrum->add_option("--segments", a_.segments, "Segments to average over")
            ->type_name("N")
            ->capture_default_str();
        spectrum->add_option("--overlap", a_.overlap, "Samples that segments share")
            ->type_name("N")
            ->capture_default_str();
    }

    void AddElementCommands() {
        CLI::App* evaluate =
            Add("fd-eval", "Dynamic stiffness of frequency-dependent elements", nullptr, "");
        AddList(evaluate, "--element", a_.elements, "LIST",
                "Parameters K0,C0,K1,C1,K2,C2 of an element; may be repeated", true);
        AddResults(evaluate);
        AddFrequencies(evaluate, false);

        CLI::App* identify =
            Add("fd-id", "Element parameters from measured stiffness", "CSV",
                "Rows of displacement, frequency in Hz, force, phase in degrees");
        AddResults(identify);
    }
};

void CheckFinite(const char* option, const std::optional<double>& value, bool zeroToo) {
    if (value && !(std::isfinite(*value) && (*value > 0.0 || (zeroToo && *value == 0.0))))
        throw BadInput(std::string(option) + ": must be a positive number" +
                       (zeroToo ? ", or 0" : ""));
}

}  // namespace

std::optional<Arguments> ParseArguments(int argc, char** argv) {
    Arguments arguments;
    CommandLine line(arguments);
    try {
        line.Parse(argc, argv);
    } catch (const CLI::Success& request) {
        line.PrintHelp(request);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw BadInput(OneLine(error.what()) + " (zemra --help tells more)");
    }
    CheckFinite("--white", arguments.white, true);
    CheckFinite("--band", arguments.band, false);
    CheckFinite("--dt", arguments.interval, false);
    return arguments;
}

}  // namespace Tool
