#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "examples/support/svg_plot.h"
#include "tools/zemra/commands.h"
#include "tools/zemra/failure.h"
#include "tools/zemra/model_input.h"
#include "tools/zemra/output_file.h"
#include "tools/zemra/page_assets.h"
#include "tools/zemra/progress.h"

namespace Tool {
namespace {

using Example::Escaped;

constexpr int kPoints = 400;
constexpr std::size_t kLargeModel = 60;  // states, from which the modal form is tried
constexpr double kModalAgrees = 1e-6;    // of the largest response at a frequency
constexpr std::size_t kPairsWithPeaks = 12;
constexpr std::size_t kPeaksOfAPair = 3;
constexpr std::size_t kModesOfAPeak = 5;
constexpr std::size_t kCurvesOfAPicture = 6;

// ---- HTML and JSON -------------------------------------------------------------------------

// "<" would let a name end the script element that holds the data.
std::string JsonText(const std::string& text) {
    using nlohmann::json;
    std::string quoted = json(text).dump(-1, ' ', true, json::error_handler_t::replace);
    for (std::size_t at = 0; (at = quoted.find('<', at)) != std::string::npos;)
        quoted.replace(at, 1, "\\u003c");
    return quoted;
}

template <typename Items, typename Write>
std::string JsonArray(const Items& items, Write write) {
    std::string text = "[";
    for (const auto& item : items) {
        if (text.size() > 1) text += ',';
        text += write(item);
    }
    return text + "]";
}

// Six digits: more than a picture shows.
std::string JsonNumbers(const std::vector<double>& values) {
    return JsonArray(values, [](double value) -> std::string {
        return std::isfinite(value) ? fmt::format("{:.6g}", value) : "null";
    });
}

std::string JsonTexts(const std::vector<std::string>& texts) {
    return JsonArray(texts, JsonText);
}

std::string Html(const Table& table, const std::string& id,
                 const std::vector<std::string>& rowClasses = {}) {
    std::string text = "<div class=\"scroll\"><table id=\"" + id + "\"><thead><tr>";
    const auto cell = [](const Column& column, std::size_t k) -> std::string {
        if (const auto* texts = std::get_if<std::vector<std::string>>(&column.values))
            return "<td>" + Escaped((*texts)[k]) + "</td>";
        const double value = std::get<std::vector<double>>(column.values)[k];
        return fmt::format("<td class=\"number\">{:.5g}</td>", value + 0.0);
    };
    for (const Column& column : table.columns) {
        const bool number = std::holds_alternative<std::vector<double>>(column.values);
        text += fmt::format("<th{}>{}</th>", number ? " class=\"number\"" : "",
                            Escaped(column.Header()));
    }
    text += "</tr></thead><tbody>\n";
    for (std::size_t k = 0; k < table.Rows(); ++k) {
        text += k < rowClasses.size() ? "<tr class=\"" + rowClasses[k] + "\">" : "<tr>";
        for (const Column& column : table.columns) text += cell(column, k);
        text += "</tr>\n";
    }
    return text + "</tbody></table></div>\n";
}

// ---- What the page tells -------------------------------------------------------------------

struct Peak {
    std::size_t k;  // of the grid
    double magnitude;
    std::vector<std::pair<int, double>> shares;  // index of a mode, share of the response
};

struct PairPeaks {
    std::string name, unit;
    std::vector<Peak> peaks;
};

struct Findings {
    ModelFile model;
    std::vector<Mode> modes;
    std::vector<std::size_t> inputs, outputs;
    Grid grid;
    std::string form;  // how it was solved, and what vouches for it
    Sweep responses;
    bool hasDensities = false;
    Sweep densities{};
    double modalDisagreement = 0.0;
    std::vector<PairPeaks> peaks;
    std::size_t pairs = 0;  // of which peaks may hold fewer
};

Sweep SweepResponses(const Findings& found, Messages& messages, Model& model,
                     const std::vector<double>& w) {
    return RunSweep(messages, w, found.model.outputs.size(), found.model.inputs.size(),
                    [&](const ZmAPI_Matrix& v) { return model.FrequencyResponse(v); });
}

// The largest difference of two forms at some frequencies, relative to the largest response
// there; infinite where the library reports an error.
double Disagreement(const Findings& found, Messages& messages, Model& a, Model& b) {
    constexpr std::size_t kCompared = 5;
    const std::size_t count = std::min(kCompared, found.grid.w.size());
    const std::size_t p = found.model.outputs.size(), m = found.model.inputs.size();
    std::vector<double> w;
    for (std::size_t c = 0; c < count; ++c)
        w.push_back(
            found.grid.w[c * (found.grid.w.size() - 1) / std::max<std::size_t>(count - 1, 1)]);
    const Sweep x = SweepResponses(found, messages, a, w),
                y = SweepResponses(found, messages, b, w);
    if (x.done < w.size() || y.done < w.size())  // the user wants to end
        return std::numeric_limits<double>::infinity();
    double worst = 0.0;
    for (std::size_t k = 0; k < w.size(); ++k) {
        double difference = 0.0, largest = 0.0;
        for (std::size_t i = k * p * m; i < (k + 1) * p * m; ++i) {
            const double d = std::abs(x.values[i] - y.values[i]);
            if (!std::isfinite(d)) return std::numeric_limits<double>::infinity();
            difference = std::max(difference, d);
            largest = std::max(largest, std::abs(y.values[i]));
        }
        if (difference > 0.0) worst = std::max(worst, difference / largest);
    }
    return worst;
}

// Which form answers the sweeps; tells so in found.form. The modal form is much the faster for
// large models, but its digits depend on the eigenvectors, so it has to prove itself. So it has
// for the participation of modes, whatever form answers the rest.
bool UseModalForm(const Arguments& arguments, Findings& found, Messages& messages,
                  const Actuators& actuators, const ZmAPI_System& modal) {
    if (!found.model.modes.empty()) {
        found.form = "modal coordinates, selected modes";
        return true;
    }
    if (modal.Error()) {
        found.form = "state space";
        return false;
    }
    Model fast(modal);
    Model reference(StateSpaceModel(found.model, actuators));
    found.modalDisagreement = Disagreement(found, messages, fast, reference);
    const bool use = arguments.form == "modal" ||
                     (arguments.form.empty() && found.model.states.size() >= kLargeModel &&
                      found.modalDisagreement <= kModalAgrees);
    found.form = use ? fmt::format(
                           "modal coordinates, within {:.1e} of the state space at "
                           "five frequencies",
                           found.modalDisagreement)
                     : "state space";
    return use;
}

// Local maxima of the magnitude, the highest first; of a plateau its first point. Ripples of a
// few per cent are no peaks.
std::vector<std::size_t> FindPeaks(const std::vector<double>& magnitude) {
    constexpr double kRipple = 1.05;
    std::vector<std::size_t> peaks;
    std::size_t top = 0;
    bool rising = false;
    double lowest = std::numeric_limits<double>::infinity();
    for (std::size_t k = 0; k < magnitude.size(); ++k) {
        const double y = magnitude[k];
        if (!std::isfinite(y)) continue;
        if (rising && y > magnitude[top]) top = k;
        if (rising && y * kRipple < magnitude[top]) {
            peaks.push_back(top);
            rising = false;
            lowest = y;
        }
        if (!rising) {
            lowest = std::min(lowest, y);
            if (y > kRipple * lowest) {
                rising = true;
                top = k;
            }
        }
    }
    std::sort(peaks.begin(), peaks.end(),
              [&](std::size_t a, std::size_t b) { return magnitude[a] > magnitude[b]; });
    return peaks;
}

Peak DescribePeak(const Findings& found, ZmAPI_System& modal, std::size_t i, std::size_t j,
                  std::size_t k) {
    const ZmAPI_Matrix parts = modal.MPF(static_cast<int>(j), static_cast<int>(i), 0, -1,
                                         {1, &found.grid.w[k]}, false);
    const std::complex<double> total = found.responses.At(k, i, j);
    Peak peak{k, std::abs(total), {}};
    for (int m = 0; m < parts.Size(0); ++m)
        peak.shares.emplace_back(m, (parts.ValueC(m).GetComplex() / total).real());
    std::stable_sort(peak.shares.begin(), peak.shares.end(), [](const auto& a, const auto& b) {
        return std::abs(a.second) > std::abs(b.second);
    });
    peak.shares.resize(std::min(peak.shares.size(), kModesOfAPeak));
    return peak;
}

// The numbers of the modes that the modal model keeps.
std::vector<Mode> KeptModes(const Findings& found) {
    std::vector<Mode> kept;
    for (const Mode& mode : found.modes)
        if (found.model.modes.empty() ||
            std::binary_search(found.model.modes.begin(), found.model.modes.end(), mode.number))
            kept.push_back(mode);
    return kept;
}

void FindAllPeaks(Findings& found, ZmAPI_System& modal) {
    for (const std::size_t i : found.outputs) {
        for (const std::size_t j : found.inputs) {
            if (++found.pairs > kPairsWithPeaks) continue;
            PairPeaks pair{found.model.outputs[i].name + " / " + found.model.inputs[j].name,
                           found.model.outputs[i].unit,
                           {}};
            std::vector<std::size_t> tops = FindPeaks(Magnitudes(found.responses.Line(i, j)));
            tops.resize(std::min(tops.size(), kPeaksOfAPair));
            for (const std::size_t k : tops)
                pair.peaks.push_back(DescribePeak(found, modal, i, j, k));
            if (!pair.peaks.empty()) found.peaks.push_back(std::move(pair));
        }
    }
}

Findings Find(const Arguments& arguments, Messages& messages) {
    Findings found{};
    found.model = ReadModel(arguments);
    ModelFile& model = found.model;
    found.inputs = Select("--input", arguments.inputs, model.inputs);
    found.outputs = Select("--output", arguments.outputs, model.outputs);
    const ZmAPI_EigenProblem eigen = SolveEigenProblem(model);
    found.modes = FindModes(model, eigen);
    CheckModeNumbers(model, found.modes);
    found.grid = ModelGrid(arguments, model, kPoints);
    // A listed grid in any order; the plots and the search for peaks go upwards.
    std::sort(found.grid.shown.begin(), found.grid.shown.end());
    std::sort(found.grid.w.begin(), found.grid.w.end());
    try {
        CompleteDensities(arguments, model);
        CheckDensities(model, found.grid.Hertz(), messages);
        found.hasDensities = true;
    } catch (const BadInput& reason) {
        if (arguments.white || arguments.band) throw;
        const bool any = std::any_of(model.excitations.begin(), model.excitations.end(),
                                     [](const Excitation& e) { return bool(e.density); });
        if (any) throw;
    }

    const Actuators amplitudes = Actuators::Amplitudes(model.excitations);
    ZmAPI_System modal = ModalModel(model, amplitudes, model.modes, &eigen);
    const bool useModal = UseModalForm(arguments, found, messages, amplitudes, modal);
    Model system = useModal ? Model(modal) : Model(StateSpaceModel(model, amplitudes));
    const std::size_t p = model.outputs.size();
    found.responses = SweepResponses(found, messages, system, found.grid.w);
    if (found.hasDensities) {
        const Actuators densities = Actuators::Densities(model.excitations, model.cross);
        Model excited = useModal ? Model(ModalModel(model, densities, model.modes, &eigen))
                                 : Model(StateSpaceModel(model, densities));
        const double band = arguments.band.value_or(1.0);
        found.densities = RunSweep(
            messages, found.grid.w, p, 1,
            [&](const ZmAPI_Matrix& w) { return excited.Densities(w.Value(0), band); }, 1);
    }
    if (!modal.Error() && found.modalDisagreement <= kModalAgrees) FindAllPeaks(found, modal);
    return found;
}

// ---- The page ------------------------------------------------------------------------------

// In brackets where all have the same unit; else the curves' names tell theirs.
std::string CommonUnit(const Findings& found) {
    const std::string& unit = found.model.outputs[found.outputs.front()].unit;
    for (const std::size_t i : found.outputs)
        if (found.model.outputs[i].unit != unit) return "";
    return unit;
}

std::vector<std::string> CurveNames(const Findings& found, bool densities) {
    const bool common = !CommonUnit(found).empty();
    std::vector<std::string> names;
    for (const std::size_t i : found.outputs) {
        const Channel& output = found.model.outputs[i];
        const std::string unit = densities ? PerHertz(output.unit) : output.unit;
        names.push_back(common || unit.empty() ? output.name : output.name + " [" + unit + "]");
    }
    return names;
}

std::vector<double> Shown(const Findings& found, std::size_t done) {
    return {found.grid.shown.begin(),
            found.grid.shown.begin() + static_cast<std::ptrdiff_t>(done)};
}

std::string Data(const Findings& found) {
    const std::string unit = CommonUnit(found);
    const auto bracketed = [](const std::string& text) {
        return text.empty() ? "" : " [" + text + "]";
    };
    std::string text =
        "{\"axis\":" + JsonText(found.grid.Name() + " [" + found.grid.Unit() + "]") +
        ",\"x\":" + JsonNumbers(Shown(found, found.responses.done)) +
        ",\"outputs\":" + JsonTexts(CurveNames(found, false)) +
        ",\"responseUnit\":" + JsonText(bracketed(unit)) + ",\n\"responses\":";
    text += JsonArray(found.inputs, [&](std::size_t j) {
        const auto curves = [&](auto part) {
            return JsonArray(found.outputs, [&](std::size_t i) {
                return JsonNumbers(part(found.responses.Line(i, j)));
            });
        };
        return "{\"name\":" + JsonText(found.model.inputs[j].name) +
               ",\"magnitude\":" + curves(Magnitudes) + ",\"phase\":" + curves(Phases) + "}\n";
    });
    if (found.hasDensities) {
        std::vector<std::vector<double>> curves;
        for (const std::size_t i : found.outputs) {
            curves.push_back(RealParts(found.densities.Line(i, 0)));
            curves.back().resize(found.responses.done,
                                 std::numeric_limits<double>::quiet_NaN());
        }
        text += ",\"densities\":" + JsonArray(curves, JsonNumbers) +
                ",\"densityNames\":" + JsonTexts(CurveNames(found, true)) +
                ",\"densityUnit\":" + JsonText(bracketed(unit.empty() ? "" : PerHertz(unit)));
    }
    return text + "}";
}

// The page may hold several pictures; their clip paths need names of their own.
std::string Picture(const Example::SvgPlot& plot, int number) {
    std::ostringstream out;
    plot.Write(out);
    std::string svg = out.str();
    const std::string name = "frame" + std::to_string(number);
    for (const auto& [from, to] :
         {std::pair<std::string, std::string>{"id='frame'", "id='" + name + "'"},
          {"url(#frame)", "url(#" + name + ")"}})
        for (std::size_t at = 0; (at = svg.find(from, at)) != std::string::npos;
             at += to.size())
            svg.replace(at, from.size(), to);
    return svg;
}

// Without the plotting bundle.
std::string Pictures(const Findings& found, bool densities) {
    std::string text;
    int number = densities ? 1000 : 0;
    const std::string unit = CommonUnit(found);
    const std::vector<std::string> names = CurveNames(found, densities);
    const std::string axis = found.grid.Name() + " [" + found.grid.Unit() + "]";
    const std::vector<double> x = Shown(found, found.responses.done);
    const bool logarithmic = !x.empty() && x.front() > 0.0;
    const auto add = [&](const std::string& title, const std::string& y, bool log, auto curve) {
        Example::SvgPlot plot(title, {axis, logarithmic}, {y, log});
        for (std::size_t c = 0; c < std::min(found.outputs.size(), kCurvesOfAPicture); ++c)
            plot.Add({names[c], x, curve(found.outputs[c])});
        text += Picture(plot, number++);
    };
    const auto bracketed = [](const std::string& u) { return u.empty() ? "" : " [" + u + "]"; };
    if (densities) {
        add("Power spectral density", "density" + bracketed(unit.empty() ? "" : PerHertz(unit)),
            true, [&](std::size_t i) { return RealParts(found.densities.Line(i, 0)); });
    } else {
        for (const std::size_t j : found.inputs) {
            const std::string& input = found.model.inputs[j].name;
            add("Magnitude, " + input, "magnitude" + bracketed(unit), true,
                [&](std::size_t i) { return Magnitudes(found.responses.Line(i, j)); });
            add("Phase, " + input, "phase [deg]", false,
                [&](std::size_t i) { return Phases(found.responses.Line(i, j)); });
        }
    }
    if (found.outputs.size() > kCurvesOfAPicture)
        text += fmt::format("<p class=\"note\">Shown are the first {} of {} outputs.</p>\n",
                            kCurvesOfAPicture, found.outputs.size());
    return text;
}

std::string Chart(const Findings& found, bool densities) {
    if (kPlotScript.empty()) return Pictures(found, densities);
    return std::string(densities ? "" : "<p><label>Input: <select></select></label></p>\n") +
           "<div class=\"chart\"></div>\n<p class=\"note\">Drag to zoom, double-click for the "
           "whole; the pointer's values stand below the plot, where a click on a name shows or "
           "hides its curve.</p>\n";
}

std::string Summary(const Findings& found) {
    Table inputs = ChannelTable("", {"", "input"}, found.model.inputs);
    std::vector<std::string> type, excitation;
    for (const Excitation& e : found.model.excitations) {
        type.emplace_back(1, e.type);
        excitation.push_back(e.description);
    }
    inputs.Add("type", "", type);
    inputs.Add("excitation", "", excitation);
    const auto count = [&](const char* remark) {
        return std::count_if(found.modes.begin(), found.modes.end(),
                             [&](const Mode& mode) { return mode.remark == remark; });
    };
    return fmt::format(
               "<p>{} states, {} inputs, {} outputs; {} modes, of which {} unstable and "
               "{} undamped.<br>\n{} frequencies, solved in {}.</p>\n",
               found.model.states.size(), found.model.inputs.size(), found.model.outputs.size(),
               found.modes.size(), count("unstable"), count("undamped"), found.responses.done,
               Escaped(found.form)) +
           Html(inputs, "inputs") +
           Html(ChannelTable("", {"", "output"}, found.model.outputs), "outputs");
}

std::string ModeSection(const Findings& found) {
    std::vector<std::string> classes;
    for (const Mode& mode : found.modes) classes.push_back(mode.remark);
    Table table = ModeTable(found.modes);
    // Frequency and damping tell the same.
    std::erase_if(table.columns,
                  [](const Column& c) { return c.name == "re" || c.name == "im"; });
    return Html(table, "modes", classes);
}

std::string DensitySection(const Findings& found) {
    if (!found.hasDensities)
        return "<p class=\"note\">The inputs have no spectral densities.</p>\n";
    std::vector<double> hertz = found.grid.Hertz();
    hertz.resize(found.densities.done);
    std::string text = Chart(found, true);
    if (hertz.size() < 2) return text;
    Table rms;
    std::vector<std::string> names, units;
    std::vector<double> values;
    for (const std::size_t i : found.outputs) {
        names.push_back(found.model.outputs[i].name);
        units.push_back(found.model.outputs[i].unit);
        values.push_back(CumulativeRms(hertz, RealParts(found.densities.Line(i, 0))).back());
    }
    rms.Add("output", "", names);
    rms.Add(fmt::format("RMS from {:.4g} to {:.4g} Hz", hertz.front(), hertz.back()), "",
            values);
    rms.Add("unit", "", units);
    return text + Html(rms, "rms");
}

// A bar of the shares, hatched where a mode works against the response.
std::string ShareBar(const Peak& peak) {
    double sum = 0.0;
    for (const auto& [mode, share] : peak.shares) sum += std::abs(share);
    std::string text = "<div class=\"bar\">";
    for (std::size_t s = 0; s < peak.shares.size() && sum > 0.0; ++s)
        text += fmt::format("<span{} style=\"width:{:.1f}%;background-color:{}\"></span>",
                            peak.shares[s].second < 0.0 ? " class=\"against\"" : "",
                            100.0 * std::abs(peak.shares[s].second) / sum,
                            kColours[s % kColours.size()]);
    return text + "</div>";
}

std::string PeakSection(const Findings& found) {
    if (!(found.modalDisagreement <= kModalAgrees))
        return fmt::format(
            "<p class=\"note\">The modal form of this model differs from the "
            "state space by {:.1e}: shares of its modes would mean "
            "nothing.</p>\n",
            found.modalDisagreement);
    if (found.peaks.empty())
        return "<p class=\"note\">No response has a peak inside the frequency range.</p>\n";
    const std::vector<Mode> modes = KeptModes(found);
    std::string text =
        "<p class=\"note\">Shares of the modes in the response, in phase with it; what is "
        "hatched works against it.</p>\n<table id=\"peaks\"><thead><tr><th>peak at</th>"
        "<th class=\"number\">magnitude</th><th>shares</th><th></th></tr></thead><tbody>\n";
    for (const PairPeaks& pair : found.peaks) {
        text += "<tr class=\"pair\"><td colspan=\"4\">" + Escaped(pair.name) + "</td></tr>\n";
        for (const Peak& peak : pair.peaks) {
            std::string shares;
            for (std::size_t s = 0; s < peak.shares.size(); ++s) {
                const auto& [m, share] = peak.shares[s];
                if (s > 0 && std::abs(share) < 0.01) break;
                shares += fmt::format(
                    "<span class=\"share\"><span class=\"swatch\" "
                    "style=\"background:{}\"></span>"
                    "{:.0f} % {}</span> ",
                    kColours[s % kColours.size()], 100.0 * share,
                    ModeName(modes[static_cast<std::size_t>(m)]));
            }
            text += fmt::format(
                "<tr><td class=\"frequency\">{:.4g} {}</td><td class=\"number\">{:.4g} {}</td>"
                "<td>{}</td><td>{}</td></tr>\n",
                found.grid.shown[peak.k], found.grid.Unit(), peak.magnitude, Escaped(pair.unit),
                ShareBar(peak), shares);
        }
    }
    text += "</tbody></table>\n";
    if (found.pairs > kPairsWithPeaks)
        text += fmt::format(
            "<p class=\"note\">Of the first {} of {} pairs of output and "
            "input.</p>\n",
            kPairsWithPeaks, found.pairs);
    return text;
}

std::string MessageSection(const Messages& messages) {
    if (messages.Printed().empty()) return "";
    std::string text = "<section><h2>Messages</h2>\n<ul>\n";
    for (const std::string& line : messages.Printed())
        text += "<li>" + Escaped(line) + "</li>\n";
    return text + "</ul></section>\n";
}

std::string Section(const char* id, const char* title, const std::string& content) {
    return fmt::format("<section id=\"{}\"><h2>{}</h2>\n{}</section>\n", id, title, content);
}

// The policy lets the page load nothing at all.
std::string Page(const Findings& found, const Messages& messages) {
    const std::string name = Escaped(found.model.name);
    std::string text =
        "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
        "style-src 'unsafe-inline'; script-src 'unsafe-inline'; img-src data:\">\n<title>" +
        name + "</title>\n<style>\n" + std::string(kPageStyle) + std::string(kPlotStyle) +
        "</style></head>\n<body>\n<h1>" + name + "</h1>\n<p class=\"note\">" +
        Escaped(found.model.file) + "</p>\n";
    text += Section("model", "Model", Summary(found));
    text += Section("modeTable", "Modes", ModeSection(found));
    text += Section("responses", "Frequency responses", Chart(found, false));
    text += Section("densities", "Power spectral densities", DensitySection(found));
    text += Section("participation", "Participation of modes at the peaks", PeakSection(found));
    text += MessageSection(messages);
    if (!kPlotScript.empty())
        text += "<script type=\"application/json\" id=\"data\">" + Data(found) +
                "</script>\n<script>\n/*\n" + std::string(kPlotLicence) + "*/\n" +
                std::string(kPlotScript) + "</script>\n<script>\n" + std::string(kPageScript) +
                "</script>\n";
    return text + "</body></html>\n";
}

}  // namespace

Result Report(const Arguments& arguments, Messages& messages) {
    const Findings found = Find(arguments, messages);
    Result result;
    const std::size_t done = found.hasDensities
                                 ? std::min(found.responses.done, found.densities.done)
                                 : found.responses.done;
    result.complete = CheckComplete(done, found.grid.w.size(), messages);
    WriteFile(arguments.html, Page(found, messages));
    return result;
}

}  // namespace Tool
