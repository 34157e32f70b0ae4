#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <numeric>

#include "tools/zemra/commands.h"
#include "tools/zemra/failure.h"
#include "tools/zemra/model_input.h"

namespace Tool {
namespace {

constexpr int kPoints = 200;

std::string TypeName(char type) {
    switch (type) {
        case 'D':
            return "D, displacement";
        case 'V':
            return "V, velocity";
        case 'A':
            return "A, acceleration";
        default:
            return "F, force";
    }
}

std::size_t NonZeros(const Example::DumpedMatrix& m) {
    return m.values.size() -
           static_cast<std::size_t>(std::count(m.values.begin(), m.values.end(), 0.0));
}

double Largest(const Example::DumpedMatrix& m) {
    double largest = 0.0;
    for (const double value : m.values) largest = std::max(largest, std::abs(value));
    return largest;
}

std::vector<double> FirstOf(const std::vector<double>& values, std::size_t count) {
    return {values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count)};
}

void AddComplex(Table& table, const std::string& name, const std::string& unit,
                const std::vector<std::complex<double>>& values, bool polar) {
    if (polar) {
        table.Add("magnitude " + name, unit, Magnitudes(values));
        table.Add("phase " + name, "deg", Phases(values));
    } else {
        table.Add("re " + name, unit, RealParts(values));
        table.Add("im " + name, unit, ImaginaryParts(values));
    }
}

bool ToFiles(const Arguments& arguments) {
    return !arguments.csv.empty() || !arguments.json.empty();
}

}  // namespace

Result Info(const Arguments& arguments, Messages& /*messages*/) {
    const ModelFile model = ReadModel(arguments);
    Table matrices{fmt::format("{}: {} states, {} inputs, {} outputs", model.name,
                               model.states.size(), model.inputs.size(), model.outputs.size()),
                   {}};
    std::vector<std::string> name;
    std::vector<double> rows, columns, nonZeros, largest;
    const Example::DumpedModel& m = model.matrices;
    for (const auto& [letter, matrix] :
         {std::pair{"A", &m.A}, {"B", &m.B}, {"C", &m.C}, {"D", &m.D}}) {
        name.emplace_back(letter);
        rows.push_back(matrix->rows);
        columns.push_back(matrix->columns);
        nonZeros.push_back(static_cast<double>(NonZeros(*matrix)));
        largest.push_back(Largest(*matrix));
    }
    matrices.Add("matrix", "", name);
    matrices.Add("rows", "", rows);
    matrices.Add("columns", "", columns);
    matrices.Add("nonzeros", "", nonZeros);
    matrices.Add("largest magnitude", "", largest);

    Table inputs = ChannelTable("Inputs", {"number", "name"}, model.inputs);
    std::vector<std::string> type, excitation;
    for (const Excitation& e : model.excitations) {
        type.push_back(TypeName(e.type));
        excitation.push_back(e.description);
    }
    inputs.Add("type", "", type);
    inputs.Add("excitation", "", excitation);

    Result result;
    if (model.statesNamed)
        result.tables.push_back(ChannelTable("States", {"number", "name"}, model.states));
    result.tables.push_back(std::move(inputs));
    result.tables.push_back(ChannelTable("Outputs", {"number", "name"}, model.outputs));
    result.tables.push_back(std::move(matrices));
    return result;
}

Result Modes(const Arguments& arguments, Messages& /*messages*/) {
    const ModelFile model = ReadModel(arguments);
    const std::vector<Mode> modes = FindModes(model, SolveEigenProblem(model));
    Result result;
    result.tables.push_back(ModeTable(modes));
    Panel panel{"undamped frequency [Hz]", "damping ratio", true};
    Series stable{"stable", {}, {}, {}, true}, unstable{"unstable", {}, {}, {}, true};
    const std::vector<double> hertz =
        std::get<std::vector<double>>(result.tables.front().columns[1].values);
    for (std::size_t k = 0; k < modes.size(); ++k) {
        Series& series = modes[k].remark == "unstable" ? unstable : stable;
        series.x.push_back(hertz[k]);
        series.y.push_back(modes[k].Damping());
    }
    panel.series = {stable, unstable};
    result.plot = {model.name + ": modes", {panel}};
    return result;
}

Result Responses(const Arguments& arguments, Messages& messages) {
    const ModelFile model = ReadModel(arguments);
    const bool transfer = arguments.command == "tf";
    const auto inputs = Select("--input", arguments.inputs, model.inputs);
    const auto outputs = Select("--output", arguments.outputs, model.outputs);
    const Grid grid = ModelGrid(arguments, model, kPoints);
    const Actuators actuators = Actuators::Amplitudes(model.excitations);
    Model system = MakeModel(arguments, model, actuators, "ss");
    const Sweep sweep =
        RunSweep(messages, grid.w, model.outputs.size(), model.inputs.size(),
                 [&](const ZmAPI_Matrix& w) {
                     return transfer ? system.TransferFunction(w) : system.FrequencyResponse(w);
                 });

    Result result;
    result.complete = CheckComplete(sweep.done, grid.w.size(), messages);
    Table table{transfer ? "Transfer functions" : "Frequency responses", {}};
    table.Add(grid.Name(), grid.Unit(), FirstOf(grid.shown, sweep.done));
    ResponsePlot plot(model.name + (transfer ? ": transfer functions" : ": responses"), grid,
                      messages);
    for (const std::size_t i : outputs) {
        for (const std::size_t j : inputs) {
            const std::string name = model.outputs[i].name + " / " + model.inputs[j].name;
            const std::string unit = transfer
                                         ? Quotient(model.outputs[i].unit, model.inputs[j].unit)
                                         : model.outputs[i].unit;
            const auto line = sweep.Line(i, j);
            AddComplex(table, name, unit, line, arguments.polar || !ToFiles(arguments));
            if (!arguments.plot.empty()) plot.Add(name, unit, line);
        }
    }
    result.tables.push_back(std::move(table));
    result.plot = plot.Take();
    return result;
}

Result Densities(const Arguments& arguments, Messages& messages) {
    ModelFile model = ReadModel(arguments);
    CompleteDensities(arguments, model);
    const auto outputs = Select("--output", arguments.outputs, model.outputs);
    const Grid grid = ModelGrid(arguments, model, 2 * kPoints);
    const std::vector<double> hertz = grid.Hertz();
    if (!std::is_sorted(hertz.begin(), hertz.end()))
        throw BadInput("psd: the frequencies must ascend, or there is no RMS");
    CheckDensities(model, hertz, messages);
    const Actuators actuators = Actuators::Densities(model.excitations, model.cross);
    Model system = MakeModel(arguments, model, actuators, "ss");
    // Counts only for actuators that are not densities already.
    const double band = arguments.band.value_or(1.0);
    const std::size_t p = model.outputs.size();
    const Sweep sweep = RunSweep(
        messages, grid.w, p, 1,
        [&](const ZmAPI_Matrix& w) { return system.Densities(w.Value(0), band); }, 1);

    Result result;
    result.summaries = 1;
    result.complete = CheckComplete(sweep.done, grid.w.size(), messages);
    const std::vector<double> swept = FirstOf(hertz, sweep.done);
    Table summary{"", {}}, table{"Power spectral densities", {}};
    if (!swept.empty())
        summary.title = fmt::format("RMS from {:g} to {:g} Hz", swept.front(), swept.back());
    std::vector<std::string> names, units;
    std::vector<double> rms;
    table.Add(grid.Name(), grid.Unit(), FirstOf(grid.shown, sweep.done));
    const double start = grid.shown.empty() ? 0.0 : grid.shown.front();
    Panel panel{grid.Name() + " [" + grid.Unit() + "]", "density", start > 0.0, true};
    for (const std::size_t i : outputs) {
        const Channel& output = model.outputs[i];
        const std::vector<double> density = RealParts(sweep.Line(i, 0));
        const std::vector<double> cumulative = CumulativeRms(swept, density);
        names.push_back(output.name);
        units.push_back(output.unit);
        // One frequency has no band to integrate over.
        rms.push_back(cumulative.size() > 1 ? cumulative.back()
                                            : std::numeric_limits<double>::quiet_NaN());
        table.Add(output.name, PerHertz(output.unit), density);
        if (arguments.cumulative)
            table.Add("cumulative RMS " + output.name, output.unit, cumulative);
        if (panel.series.size() < kMostSeries)
            panel.series.push_back({output.name + " [" + PerHertz(output.unit) + "]",
                                    std::get<std::vector<double>>(table.columns[0].values),
                                    density});
    }
    if (!arguments.plot.empty() && outputs.size() > kMostSeries)
        messages.Note(
            fmt::format("the plot shows the first {} of {} densities (--output "
                        "chooses)",
                        kMostSeries, outputs.size()));
    summary.Add("output", "", names);
    summary.Add("RMS", "", rms);
    summary.Add("unit", "", units);
    result.tables = {std::move(summary), std::move(table)};
    result.plot = {model.name + ": power spectral densities", {std::move(panel)}};
    return result;
}

namespace {

// The coordinates of the kept modes: one of a real mode, two of a pair.
std::vector<std::string> CoordinateNames(const ModelFile& model,
                                         const std::vector<Mode>& modes) {
    std::vector<std::string> names;
    for (const Mode& mode : modes) {
        if (!model.modes.empty() &&
            std::find(model.modes.begin(), model.modes.end(), mode.number) == model.modes.end())
            continue;
        if (mode.eigenvalue.imag() == 0.0) {
            names.push_back(fmt::format("mode {}", mode.number));
            continue;
        }
        names.push_back(fmt::format("mode {} first", mode.number));
        names.push_back(fmt::format("mode {} second", mode.number));
    }
    return names;
}

}  // namespace

Result Coordinates(const Arguments& arguments, Messages& messages) {
    const ModelFile model = ReadModel(arguments);
    const auto inputs = Select("--input", arguments.inputs, model.inputs);
    const Grid grid = ModelGrid(arguments, model, kPoints);
    const Actuators actuators = Actuators::Amplitudes(model.excitations);
    const bool states = arguments.form == "ss";
    std::vector<std::string> names, units;
    if (states) {
        for (const Channel& state : model.states) {
            names.push_back(state.name);
            units.push_back(state.unit);
        }
    } else {
        names = CoordinateNames(model, FindModes(model, SolveEigenProblem(model)));
        units.resize(names.size());
    }
    Model system = MakeModel(arguments, model, actuators, "modal");
    const Sweep sweep =
        RunSweep(messages, grid.w, names.size(), model.inputs.size(),
                 [&](const ZmAPI_Matrix& w) { return system.MCT(w, arguments.amplitudes); });

    Result result;
    result.complete = CheckComplete(sweep.done, grid.w.size(), messages);
    Table table{states ? "States" : "Modal coordinates", {}};
    table.Add(grid.Name(), grid.Unit(), FirstOf(grid.shown, sweep.done));
    ResponsePlot plot(model.name + (states ? ": states" : ": modal coordinates"), grid,
                      messages);
    for (std::size_t q = 0; q < names.size(); ++q) {
        for (const std::size_t j : inputs) {
            const std::string name = names[q] + " / " + model.inputs[j].name;
            const std::string unit = arguments.amplitudes || !states
                                         ? units[q]
                                         : Quotient(units[q], model.inputs[j].unit);
            AddComplex(table, name, unit, sweep.Line(q, j), !ToFiles(arguments));
            if (!arguments.plot.empty()) plot.Add(name, unit, sweep.Line(q, j));
        }
    }
    result.tables.push_back(std::move(table));
    result.plot = plot.Take();
    return result;
}

namespace {

std::size_t SelectOne(const std::string& option, const std::vector<std::string>& wanted,
                      const std::vector<Channel>& channels) {
    const auto selected = Select(option, wanted, channels);
    if (selected.size() != 1)
        throw BadInput(fmt::format("mpf: give one {} (there are {})", option, channels.size()));
    return selected.front();
}

// Shares stacked from 0 upwards where positive, downwards where negative, as parts of the sum
// of their magnitudes: where modes cancel, the shares themselves have no bound.
Panel StackedShares(const Grid& grid, const std::vector<double>& x,
                    const std::vector<std::string>& names,
                    const std::vector<std::vector<double>>& shares) {
    Panel panel{grid.Name() + " [" + grid.Unit() + "]", "part of all shares [%]",
                x.front() > 0.0 && x.size() > 1};
    std::vector<double> sum(x.size());
    for (const std::vector<double>& ofMode : shares)
        for (std::size_t k = 0; k < x.size(); ++k) sum[k] += std::abs(ofMode[k]);
    std::vector<double> above(x.size()), below(x.size());
    for (std::size_t s = 0; s < shares.size(); ++s) {
        Series series{names[s], {}, {}, {}, false};
        for (std::size_t k = 0; k < x.size(); ++k) {
            const double part = 100.0 * shares[s][k] / sum[k];
            const double share = std::isfinite(part) ? part : 0.0;
            double& edge = share >= 0.0 ? above[k] : below[k];
            series.x.push_back(x[k]);
            series.lower.push_back(edge);
            edge += share;
            series.y.push_back(edge);
        }
        // A single frequency becomes a bar of some width.
        if (x.size() == 1) {
            series.x = {x[0] * 0.98, x[0] * 1.02};
            series.lower.push_back(series.lower.front());
            series.y.push_back(series.y.front());
        }
        panel.series.push_back(std::move(series));
    }
    return panel;
}

}  // namespace

Result Participations(const Arguments& arguments, Messages& messages) {
    const ModelFile model = ReadModel(arguments);
    const std::size_t input = SelectOne("--input", arguments.inputs, model.inputs);
    const std::size_t output = SelectOne("--output", arguments.outputs, model.outputs);
    const Grid grid = ModelGrid(arguments, model, kPoints);
    const ZmAPI_EigenProblem eigen = SolveEigenProblem(model);
    std::vector<Mode> modes = FindModes(model, eigen);
    CheckModeNumbers(model, modes);
    const Actuators actuators = Actuators::Amplitudes(model.excitations);
    ZmAPI_System system = ModalModel(model, actuators, model.modes, &eigen);
    if (system.Error()) throw NoResult();
    if (!model.modes.empty())
        std::erase_if(modes, [&](const Mode& mode) {
            return std::find(model.modes.begin(), model.modes.end(), mode.number) ==
                   model.modes.end();
        });

    const int i = static_cast<int>(input), o = static_cast<int>(output);
    // The last row is the whole response.
    const auto participation = [&](bool project) {
        const auto query = [&, project](const ZmAPI_Matrix& w) {
            const ZmAPI_Matrix parts = system.MPF(i, o, 0, -1, w, project);
            std::vector<ZmAPI_Complex> column;
            column.reserve(modes.size() + 1);
            for (int m = 0; m < static_cast<int>(modes.size()); ++m)
                column.push_back(parts.ValueC(m));
            column.push_back(system.FrequencyResponse(w).ValueC(0, o, i));
            return ZmAPI_Matrix(static_cast<int>(column.size()), 1, column.data());
        };
        return RunSweep(messages, grid.w, modes.size() + 1, 1, query, 1);
    };
    const Sweep sweep = participation(false);
    const Sweep projected =
        arguments.project ? participation(true) : Sweep{modes.size() + 1, 1};
    const Sweep& answer = arguments.project ? projected : sweep;
    const std::size_t done = answer.done;

    Result result;
    result.complete = CheckComplete(done, grid.w.size(), messages);
    const std::string unit = model.outputs[output].unit;
    std::vector<double> frequency, number, hertz, re, im, share;
    std::vector<std::vector<double>> shares(modes.size());
    for (std::size_t k = 0; k < done; ++k) {
        const std::complex<double> total = sweep.At(k, modes.size(), 0);
        for (std::size_t m = 0; m < modes.size(); ++m) {
            const std::complex<double> part = answer.At(k, m, 0);
            frequency.push_back(grid.shown[k]);
            number.push_back(modes[m].number);
            hertz.push_back(modes[m].Frequency() / (2.0 * std::numbers::pi));
            re.push_back(part.real());
            im.push_back(part.imag());
            share.push_back(100.0 * (sweep.At(k, m, 0) / total).real());
            shares[m].push_back(share.back());
        }
    }
    Table table{fmt::format("Participation in {} / {}", model.outputs[output].name,
                            model.inputs[input].name),
                {}};
    table.Add(grid.Name(), grid.Unit(), frequency);
    table.Add("mode", "", number);
    table.Add("mode frequency", "Hz", hertz);
    table.Add(arguments.project ? "re projected" : "re", unit, re);
    table.Add(arguments.project ? "im projected" : "im", unit, im);
    table.Add("share", "%", share);
    result.plot.title = table.title;
    result.tables.push_back(std::move(table));

    // The modes with the largest shares, and what the others sum up to.
    if (arguments.plot.empty() || done == 0) return result;
    std::vector<std::size_t> order(modes.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const auto most = [&](std::size_t m) {
        double largest = 0.0;
        for (const double s : shares[m])
            if (std::isfinite(s)) largest = std::max(largest, std::abs(s));
        return largest;
    };
    std::sort(order.begin(), order.end(),
              [&](std::size_t a, std::size_t b) { return most(a) > most(b); });
    std::vector<std::string> names;
    std::vector<std::vector<double>> stacked;
    for (std::size_t k = 0; k < order.size(); ++k) {
        if (k < kMostSeries - 1) {
            names.push_back(ModeName(modes[order[k]]));
            stacked.push_back(shares[order[k]]);
        } else if (k == kMostSeries - 1) {
            names.emplace_back("all others");
            stacked.push_back(shares[order[k]]);
        } else {
            for (std::size_t f = 0; f < done; ++f) stacked.back()[f] += shares[order[k]][f];
        }
    }
    result.plot.panels = {StackedShares(grid, FirstOf(grid.shown, done), names, stacked)};
    return result;
}

Result Compliance(const Arguments& arguments, Messages& messages) {
    const ModelFile model = ReadModel(arguments);
    const Actuators actuators = Actuators::Amplitudes(model.excitations);
    const ZmAPI_SystemSS system = StateSpaceModel(model, actuators);
    if (system.Error()) throw NoResult();
    const ZmAPI_Matrix compliance = system.ComplianceMatrix();
    if (messages.Errors() > 0) throw NoResult();

    Table table{"Static compliance", {}};
    std::vector<std::string> names;
    for (const Channel& output : model.outputs) names.push_back(output.name);
    table.Add("output", "", names);
    for (std::size_t j = 0; j < model.inputs.size(); ++j) {
        std::vector<double> column;
        std::string unit = Quotient(model.outputs.front().unit, model.inputs[j].unit);
        for (std::size_t i = 0; i < model.outputs.size(); ++i) {
            column.push_back(compliance.Value(static_cast<int>(i), static_cast<int>(j)));
            if (model.outputs[i].unit != model.outputs.front().unit)
                unit = Quotient("output unit", model.inputs[j].unit);
        }
        // Per unit force where the input prescribes a motion, too.
        if (model.excitations[j].type != 'F') unit = "output unit/force unit";
        table.Add(model.inputs[j].name, unit, column);
    }
    Result result;
    result.tables.push_back(std::move(table));
    return result;
}

}  // namespace Tool
