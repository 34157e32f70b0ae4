#include "tools/zemra/model_input.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "tools/zemra/commands.h"
#include "tools/zemra/failure.h"

namespace Tool {

ModelFile ReadModel(const Arguments& arguments) {
    ModelFile model = ReadModel(arguments.file);
    if (arguments.modes) {
        CheckModes("--modes", *arguments.modes);
        model.modes = *arguments.modes;
    }
    if (arguments.form == "ss" && !model.modes.empty())
        throw BadInput("--form ss: selected modes need the modal form");
    return model;
}

std::vector<std::size_t> Select(const std::string& option,
                                const std::vector<std::string>& wanted,
                                const std::vector<Channel>& channels) {
    std::vector<std::size_t> selected;
    if (wanted.empty()) {
        selected.resize(channels.size());
        for (std::size_t k = 0; k < selected.size(); ++k) selected[k] = k;
    }
    for (const std::string& text : wanted) {
        const auto named = std::find_if(channels.begin(), channels.end(),
                                        [&](const Channel& c) { return c.name == text; });
        auto number = static_cast<std::size_t>(named - channels.begin());
        if (named == channels.end()) {
            const char* const end = text.data() + text.size();
            const auto [rest, error] = std::from_chars(text.data(), end, number);
            if (error != std::errc() || rest != end || number >= channels.size())
                throw BadInput(
                    fmt::format("{}: \"{}\" is neither a name nor a number from 0 "
                                "to {}",
                                option, text, channels.size() - 1));
        }
        selected.push_back(number);
    }
    return selected;
}

Grid ModelGrid(const Arguments& arguments, const ModelFile& model, int points) {
    std::optional<GridRequest> request = AskedGrid(arguments);
    if (!request) request = model.grid;
    if (request && arguments.cluster) request->cluster = true;
    if (request && !request->cluster) return MakeGrid(*request, {});
    const std::vector<std::complex<double>> eigenvalues = Eigenvalues(SolveEigenProblem(model));
    if (!request) {
        request = RangeOfModes(eigenvalues, points);
        request->cluster = true;
    }
    return MakeGrid(*request, eigenvalues);
}

void CheckModeNumbers(const ModelFile& model, const std::vector<Mode>& modes) {
    if (!model.modes.empty() && model.modes.back() >= static_cast<int>(modes.size()))
        throw BadInput(fmt::format("{}: mode {} is selected, but the last is {}", model.file,
                                   model.modes.back(), modes.size() - 1));
}

Model MakeModel(const Arguments& arguments, const ModelFile& model, const Actuators& actuators,
                const char* form) {
    const std::string asked = !arguments.form.empty() ? arguments.form
                              : !model.modes.empty()  ? "modal"
                                                      : form;
    if (asked == "ss") return Model(StateSpaceModel(model, actuators));
    const ZmAPI_EigenProblem eigen = SolveEigenProblem(model);
    CheckModeNumbers(model, FindModes(model, eigen));
    return Model(ModalModel(model, actuators, model.modes, &eigen));
}

void CompleteDensities(const Arguments& arguments, ModelFile& model) {
    for (std::size_t k = 0; k < model.excitations.size(); ++k) {
        Excitation& excitation = model.excitations[k];
        if (excitation.density || (excitation.hasAmplitude && arguments.band)) continue;
        if (!arguments.white)
            throw BadInput(model.file + ": " + model.inputs[k].name +
                           " has no density: give it one in the model file, or --white S" +
                           (excitation.hasAmplitude ? ", or --band HZ for its amplitude" : ""));
        const double white = *arguments.white;
        excitation.density = [white](double) { return std::complex<double>(white); };
        excitation.description = fmt::format("white density {:g}/Hz", white);
    }
}

void CheckDensities(const ModelFile& model, const std::vector<double>& hertz,
                    Messages& messages) {
    for (std::size_t k = 0; k < model.excitations.size(); ++k) {
        const Excitation& excitation = model.excitations[k];
        const auto [lowest, highest] = std::minmax_element(hertz.begin(), hertz.end());
        if (excitation.covered &&
            (*lowest < excitation.covered->first || *highest > excitation.covered->second))
            messages.Note(fmt::format(
                "the density of {} is 0 outside its table, {:g} to {:g} Hz",
                model.inputs[k].name, excitation.covered->first, excitation.covered->second));
        if (excitation.density && !std::isfinite(excitation.density(*lowest).real()))
            throw BadInput(fmt::format("{}: the density of {} has no finite value at {:g} Hz",
                                       model.file, model.inputs[k].name, *lowest));
        // The library spreads an amplitude z as z·z/2 over the band, without a modulus.
        if (!excitation.density && std::fmod(excitation.phase, 180.0) != 0.0)
            throw BadInput(
                fmt::format("{}: {} has an amplitude at {:g} degrees, which is no "
                            "density: give it one",
                            model.file, model.inputs[k].name, excitation.phase));
    }
    for (const CrossDensity& entry : model.cross) {
        const auto row = static_cast<std::size_t>(entry.row);
        const auto column = static_cast<std::size_t>(entry.column);
        for (const double f : hertz) {
            const double limit = model.excitations[row].density(f).real() *
                                 model.excitations[column].density(f).real();
            if (std::norm(entry.density(f)) <= limit * (1.0 + 1e-9)) continue;
            throw BadInput(
                fmt::format("{}: the cross density of {} and {} is larger than "
                            "their densities allow at {:g} Hz",
                            model.file, model.inputs[column].name, model.inputs[row].name, f));
        }
    }
}

}  // namespace Tool
