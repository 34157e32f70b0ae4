#include "tools/zemra/model_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <numbers>
#include <set>
#include <sstream>
#include <string_view>

#include "tools/zemra/failure.h"

namespace Tool {
namespace {

using nlohmann::json;

constexpr int kVersion = 1;

// ---- A value of the JSON file that knows its place -----------------------------------------

class Node {
  public:
    Node(const std::string& file, const json& value, std::string path)
        : file_(file), value_(value), path_(std::move(path)) {}

    [[noreturn]] void Fail(const std::string& what) const {
        throw BadInput(file_ + ": " + (path_.empty() ? "" : path_ + ": ") + what);
    }

    // An object of these keys alone, of which "comment" is always one.
    void ExpectKeys(std::initializer_list<std::string_view> keys) const {
        if (!value_.is_object()) Fail("must be an object");
        for (const auto& [key, member] : value_.items())
            if (key != "comment" && std::find(keys.begin(), keys.end(), key) == keys.end())
                Fail("unknown key \"" + key + "\"");
    }

    bool Has(const char* key) const { return value_.contains(key); }

    Node At(const char* key) const {
        if (!Has(key)) Fail(fmt::format("\"{}\" is missing", key));
        return {file_, value_.at(key), path_.empty() ? key : path_ + "." + key};
    }

    std::vector<Node> Items() const {
        if (!value_.is_array()) Fail("must be an array");
        std::vector<Node> items;
        items.reserve(value_.size());
        for (std::size_t k = 0; k < value_.size(); ++k)
            items.emplace_back(file_, value_[k], fmt::format("{}[{}]", path_, k));
        return items;
    }

    bool IsArray() const { return value_.is_array(); }

    double Number() const {
        if (!value_.is_number()) Fail("must be a number");
        const double number = value_.get<double>();
        if (!std::isfinite(number)) Fail("must be finite");
        return number;
    }

    double PositiveNumber() const {
        const double number = Number();
        if (!(number > 0.0)) Fail("must be above 0");
        return number;
    }

    double NumberNotNegative() const {
        const double number = Number();
        if (number < 0.0) Fail("must not be negative");
        return number;
    }

    int Integer() const {
        constexpr int kLargest = std::numeric_limits<int>::max();
        if (!value_.is_number_integer() || value_.get<double>() > kLargest ||
            value_.get<double>() < -kLargest)
            Fail("must be a whole number");
        return value_.get<int>();
    }

    bool Flag() const {
        if (!value_.is_boolean()) Fail("must be true or false");
        return value_.get<bool>();
    }

    std::string Text() const {
        if (!value_.is_string()) Fail("must be a text");
        std::string text = value_.get<std::string>();
        for (const char c : text)
            if (static_cast<unsigned char>(c) < ' ') Fail("must be one line of text");
        return text;
    }

    std::string Name() const {
        std::string name = Text();
        if (name.empty()) Fail("must not be empty");
        return name;
    }

    // One of the texts.
    std::string Choice(std::initializer_list<std::string_view> choices) const {
        std::string text = Text();
        if (std::find(choices.begin(), choices.end(), text) != choices.end()) return text;
        std::string list;
        for (const std::string_view choice : choices)
            list += fmt::format("{}\"{}\"", list.empty() ? "" : ", ", choice);
        Fail(fmt::format("\"{}\" is none of {}", text, list));
    }

    std::vector<double> Numbers(std::size_t count) const {
        std::vector<double> numbers;
        for (const Node& item : Items()) numbers.push_back(item.Number());
        if (numbers.size() != count) Fail(fmt::format("must hold {} numbers", count));
        return numbers;
    }

  private:
    const std::string& file_;
    const json& value_;
    std::string path_;
};

std::string FileContent(const std::string& file) {
    std::ifstream in(file, std::ios::in | std::ios::binary);
    if (!in) throw BadInput(file + ": cannot be opened");
    std::ostringstream content;
    content << in.rdbuf();
    if (in.bad() || content.bad()) throw BadInput(file + ": cannot be read");
    return content.str();
}

// A key given twice would silently lose its first value, so it is refused.
json ParseJson(const std::string& file, const std::string& content) {
    std::vector<std::set<std::string>> keys;
    const auto watch = [&](int, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::object_start) keys.emplace_back();
        if (event == json::parse_event_t::object_end) keys.pop_back();
        if (event == json::parse_event_t::key &&
            !keys.back().insert(parsed.get<std::string>()).second)
            throw BadInput(file + ": the key \"" + parsed.get<std::string>() +
                           "\" is given twice in one object");
        return true;
    };
    try {
        return json::parse(content, watch);
    } catch (const json::parse_error& error) {
        const std::size_t at = std::min(error.byte, content.size());
        const auto line = std::count(content.begin(),
                                     content.begin() + static_cast<std::ptrdiff_t>(at), '\n');
        throw BadInput(fmt::format("{}:{}: not valid JSON here", file, line + 1));
    } catch (const json::exception&) {
        throw BadInput(file + ": not valid JSON, or a number too large for a double");
    }
}

// ---- Densities -----------------------------------------------------------------------------

struct ReadTable {
    Density density;
    std::pair<double, double> covered;
};

// Rows of a frequency in Hz and a density; of a cross density, its real and imaginary part.
ReadTable ReadDensityTable(const Node& owner, bool cross) {
    Interpolation interpolation = cross ? Interpolation::kLinear : Interpolation::kLog;
    if (owner.Has("interpolation") &&
        owner.At("interpolation").Choice({"log", "linear"}) == "linear")
        interpolation = Interpolation::kLinear;
    const Node table = owner.At("table");
    std::vector<double> frequencies;
    std::vector<std::complex<double>> values;
    for (const Node& row : table.Items()) {
        const std::vector<double> numbers = row.Numbers(cross ? 3 : 2);
        if (numbers[0] < 0.0) row.Fail("the frequency must not be negative");
        if (!frequencies.empty() && !(numbers[0] > frequencies.back()))
            row.Fail("the frequencies must ascend");
        if (!cross && numbers[1] < 0.0) row.Fail("the density must not be negative");
        if (interpolation == Interpolation::kLog && !(numbers[0] > 0.0 && numbers[1] > 0.0))
            row.Fail(
                "logarithmic interpolation takes positive values only "
                "(\"interpolation\": \"linear\" takes all)");
        frequencies.push_back(numbers[0]);
        values.emplace_back(numbers[1], cross ? numbers[2] : 0.0);
    }
    if (frequencies.empty()) table.Fail("must hold at least one row");
    const std::pair<double, double> covered{frequencies.front(), frequencies.back()};
    return {Tabulated(std::move(frequencies), std::move(values), interpolation), covered};
}

Density Constant(std::complex<double> value) {
    return [value](double) { return value; };
}

Density Scaled(double factor, Density density) {
    if (factor == 1.0) return density;
    return [factor, density = std::move(density)](double f) { return factor * density(f); };
}

// Delays the first of two signals by so many seconds.
Density Delayed(double delay, Density density) {
    if (delay == 0.0) return density;
    return [delay, density = std::move(density)](double f) {
        return std::polar(1.0, -2.0 * std::numbers::pi * f * delay) * density(f);
    };
}

// The road under one input.
struct RoadContact {
    int input;
    std::string track;  // contacts of one track roll over the same profile
    double speed, behind, gain;
    double roughness;
    Density profile;  // of the motion that the type letter stands for, before the gain
};

RoadContact ReadRoad(const Node& road, int input, char type) {
    road.ExpectKeys({"class", "roughness", "speed", "gain", "track", "behind"});
    RoadContact contact{};
    contact.input = input;
    if (road.Has("class") == road.Has("roughness"))
        road.Fail("give either \"class\" or \"roughness\"");
    contact.roughness = road.Has("class") ? RoadRoughness(road.At("class").Choice(
                                                {"A", "B", "C", "D", "E", "F", "G", "H"})[0])
                                          : road.At("roughness").PositiveNumber();
    contact.speed = road.At("speed").PositiveNumber();
    if (type == 'F' && !road.Has("gain"))
        road.Fail("a force needs a \"gain\": force per displacement of the road");
    contact.gain = road.Has("gain") ? road.At("gain").Number() : 1.0;
    if (road.Has("track")) contact.track = road.At("track").Text();
    if (road.Has("behind")) {
        if (contact.track.empty()) road.Fail("\"behind\" needs a \"track\"");
        contact.behind = road.At("behind").NumberNotNegative();
    }
    // A road gives a displacement; a prescribed velocity or acceleration is its derivative.
    const int derivatives = type == 'V' ? 1 : type == 'A' ? 2 : 0;
    contact.profile = [displacement = Road(contact.roughness, contact.speed),
                       derivatives](double f) {
        return displacement(f) * std::pow(2.0 * std::numbers::pi * f, 2.0 * derivatives);
    };
    return contact;
}

// Inputs over one track: E[u_m·conj(u_j)], m the later of the two.
void CoupleTracks(const Node& root, const std::vector<RoadContact>& contacts,
                  const std::vector<Excitation>& excitations, ModelFile& model) {
    for (std::size_t a = 0; a < contacts.size(); ++a) {
        for (std::size_t b = a + 1; b < contacts.size(); ++b) {
            const RoadContact &j = contacts[a], &m = contacts[b];
            if (j.track.empty() || j.track != m.track) continue;
            if (j.speed != m.speed || j.roughness != m.roughness)
                root.Fail(
                    fmt::format("inputs {} and {} have one track, \"{}\", but another "
                                "speed or roughness",
                                j.input, m.input, j.track));
            if (excitations[static_cast<std::size_t>(j.input)].type !=
                excitations[static_cast<std::size_t>(m.input)].type)
                root.Fail(
                    fmt::format("inputs {} and {} have one track, \"{}\", but another "
                                "type",
                                j.input, m.input, j.track));
            const double delay = (m.behind - j.behind) / j.speed;
            model.cross.push_back(
                {m.input, j.input, Delayed(delay, Scaled(j.gain * m.gain, j.profile))});
        }
    }
}

void ReadDensity(const Node& node, int input, Excitation& excitation,
                 std::vector<RoadContact>& contacts) {
    node.ExpectKeys({"table", "interpolation", "white", "road"});
    if (node.Has("table") + node.Has("white") + node.Has("road") != 1)
        node.Fail("give one of \"table\", \"white\" and \"road\"");
    if (node.Has("interpolation") && !node.Has("table"))
        node.Fail("\"interpolation\" goes with a \"table\" only");
    if (node.Has("table")) {
        const ReadTable table = ReadDensityTable(node, false);
        excitation.density = table.density;
        excitation.covered = table.covered;
        excitation.description = fmt::format("density table, {:g} to {:g} Hz",
                                             table.covered.first, table.covered.second);
    } else if (node.Has("white")) {
        const double value = node.At("white").NumberNotNegative();
        excitation.density = Constant(value);
        excitation.description = fmt::format("white density {:g}/Hz", value);
    } else {
        const RoadContact contact = ReadRoad(node.At("road"), input, excitation.type);
        excitation.density = Scaled(contact.gain * contact.gain, contact.profile);
        excitation.description =
            fmt::format("road, Gd(n0) {:g} m^3, {:g} m/s", contact.roughness, contact.speed);
        if (!contact.track.empty())
            excitation.description +=
                fmt::format(", track \"{}\", {:g} m behind", contact.track, contact.behind);
        contacts.push_back(contact);
    }
}

void ReadAmplitude(const Node& node, Excitation& excitation) {
    if (node.Has("imbalance")) {
        const Node imbalance = node.At("imbalance");
        imbalance.ExpectKeys({"mass", "offset", "phase"});
        if (node.Has("amplitude") || node.Has("phase"))
            node.Fail("give either \"amplitude\" or \"imbalance\"");
        if (excitation.type != 'F') imbalance.Fail("goes with a force, type \"F\", only");
        excitation.rotating = excitation.hasAmplitude = true;
        excitation.magnitude =
            imbalance.At("mass").PositiveNumber() * imbalance.At("offset").PositiveNumber();
        if (imbalance.Has("phase")) excitation.phase = imbalance.At("phase").Number();
        if (excitation.phase != 0.0 && excitation.phase != -90.0)
            imbalance.At("phase").Fail("must be 0 or -90");
        excitation.description = fmt::format("imbalance {:g} w^2 at {:g} deg",
                                             excitation.magnitude, excitation.phase);
        return;
    }
    if (node.Has("phase") && !node.Has("amplitude")) node.Fail("\"phase\" needs \"amplitude\"");
    if (!node.Has("amplitude")) return;
    excitation.hasAmplitude = true;
    excitation.magnitude = node.At("amplitude").NumberNotNegative();
    if (node.Has("phase")) excitation.phase = node.At("phase").Number();
    excitation.description =
        fmt::format("amplitude {:g} at {:g} deg", excitation.magnitude, excitation.phase);
}

// The cross densities of input j: with input m, E[u_m·conj(u_j)].
void ReadCross(const Node& node, int j, std::size_t inputs, ModelFile& model) {
    for (const Node& entry : node.Items()) {
        entry.ExpectKeys({"with", "table", "interpolation", "white", "delay"});
        const int m = entry.At("with").Integer();
        if (m < 0 || m >= static_cast<int>(inputs) || m == j)
            entry.At("with").Fail("must be the number of another input");
        if (entry.Has("table") == entry.Has("white"))
            entry.Fail("give either \"table\" or \"white\"");
        Density density;
        if (entry.Has("table")) {
            if (entry.Has("interpolation") &&
                entry.At("interpolation").Choice({"log", "linear"}) == "log")
                entry.At("interpolation").Fail("cross densities are interpolated linearly");
            density = ReadDensityTable(entry, true).density;
        } else {
            const std::vector<double> value = entry.At("white").Numbers(2);
            density = Constant({value[0], value[1]});
        }
        const double delay = entry.Has("delay") ? entry.At("delay").Number() : 0.0;
        model.cross.push_back({m, j, Delayed(delay, std::move(density))});
    }
}

// ---- The parts of the file -----------------------------------------------------------------

std::vector<Channel> Numbered(const char* what, std::size_t count) {
    std::vector<Channel> channels;
    channels.reserve(count);
    for (std::size_t k = 0; k < count; ++k)
        channels.push_back({fmt::format("{} {}", what, k), ""});
    return channels;
}

void ReadChannel(const Node& node, Channel& channel) {
    if (node.Has("name")) channel.name = node.At("name").Name();
    if (node.Has("unit")) channel.unit = node.At("unit").Text();
}

void CheckDistinct(const Node& node, const std::vector<Channel>& channels) {
    std::set<std::string> names;
    for (const Channel& channel : channels)
        if (!names.insert(channel.name).second)
            node.Fail("the name \"" + channel.name + "\" is given twice");
}

void ReadChannels(const Node& node, std::vector<Channel>& channels) {
    const std::vector<Node> items = node.Items();
    if (items.size() != channels.size())
        node.Fail(fmt::format("must hold {} entries, as the matrices say, not {}",
                              channels.size(), items.size()));
    for (std::size_t k = 0; k < items.size(); ++k) {
        items[k].ExpectKeys({"name", "unit"});
        ReadChannel(items[k], channels[k]);
    }
    CheckDistinct(node, channels);
}

void ReadInputs(const Node& root, const Node& node, ModelFile& model) {
    const std::vector<Node> items = node.Items();
    if (items.size() != model.inputs.size())
        node.Fail(fmt::format("must hold {} entries, as B has columns, not {}",
                              model.inputs.size(), items.size()));
    std::vector<RoadContact> contacts;
    for (std::size_t k = 0; k < items.size(); ++k) {
        const Node& item = items[k];
        Excitation& excitation = model.excitations[k];
        item.ExpectKeys(
            {"name", "unit", "type", "amplitude", "phase", "imbalance", "density", "cross"});
        ReadChannel(item, model.inputs[k]);
        if (item.Has("type")) excitation.type = item.At("type").Choice({"F", "D", "V", "A"})[0];
        ReadAmplitude(item, excitation);
        if (item.Has("density"))
            ReadDensity(item.At("density"), static_cast<int>(k), excitation, contacts);
        if (item.Has("cross"))
            ReadCross(item.At("cross"), static_cast<int>(k), items.size(), model);
    }
    CheckDistinct(node, model.inputs);
    CoupleTracks(root, contacts, model.excitations, model);
    std::set<std::pair<int, int>> seen;
    for (const CrossDensity& entry : model.cross) {
        const auto [first, last] = std::minmax(entry.row, entry.column);
        if (!seen.insert({first, last}).second)
            node.Fail(
                fmt::format("the cross density of inputs {} and {} is given twice "
                            "(its conjugate is understood)",
                            first, last));
        for (const int input : {first, last})
            if (!model.excitations[static_cast<std::size_t>(input)].density)
                items[static_cast<std::size_t>(input)].Fail(
                    "a cross density needs a \"density\" here");
    }
}

GridRequest ReadGrid(const Node& node) {
    node.ExpectKeys({"unit", "from", "to", "points", "spacing", "values", "cluster"});
    GridRequest request;
    if (node.Has("unit")) request.hertz = node.At("unit").Choice({"Hz", "rad/s"}) == "Hz";
    if (node.Has("cluster")) request.cluster = node.At("cluster").Flag();
    if (node.Has("values")) {
        for (const char* key : {"from", "to", "points", "spacing"})
            if (node.Has(key))
                node.Fail(fmt::format("\"{}\" does not go with \"values\"", key));
        const Node values = node.At("values");
        for (const Node& value : values.Items()) request.values.push_back(value.Number());
        if (request.values.empty()) values.Fail("must hold at least one frequency");
    } else {
        request.lowest = node.At("from").Number();
        request.highest = node.At("to").Number();
        request.count = node.At("points").Integer();
        if (node.Has("spacing"))
            request.logarithmic = node.At("spacing").Choice({"log", "linear"}) == "log";
    }
    try {
        CheckGrid("frequencies", request);
    } catch (const BadInput& error) {
        node.Fail(std::string(error.what()).substr(std::string("frequencies: ").size()));
    }
    return request;
}

// ---- The dump ------------------------------------------------------------------------------

void CheckMatrix(const std::string& file, char name, const Example::DumpedMatrix& m, int rows,
                 int columns) {
    if (m.rows != rows || m.columns != columns)
        throw BadInput(fmt::format("{}: {} is {} x {}, but must be {} x {}", file, name, m.rows,
                                   m.columns, rows, columns));
    for (std::size_t k = 0; k < m.values.size(); ++k)
        if (!std::isfinite(m.values[k]))
            throw BadInput(fmt::format("{}: {} holds no finite number in row {}, column {}",
                                       file, name, k % static_cast<std::size_t>(rows),
                                       k / static_cast<std::size_t>(rows)));
}

Example::DumpedModel ReadDump(const std::string& file) {
    Example::DumpedModel model;
    try {
        model = Example::DumpReader(file).Read();
    } catch (const Example::DumpError& error) {
        throw BadInput(error.what());
    }
    const int n = model.A.rows, inputs = model.B.columns, outputs = model.C.rows;
    if (n < 1 || inputs < 1 || outputs < 1)
        throw BadInput(file + ": there must be at least one state, input and output");
    CheckMatrix(file, 'A', model.A, n, n);
    CheckMatrix(file, 'B', model.B, n, inputs);
    CheckMatrix(file, 'C', model.C, outputs, n);
    CheckMatrix(file, 'D', model.D, outputs, inputs);
    return model;
}

// Whether the file begins as JSON does, after a byte-order mark or blanks; a dump begins with a
// word.
bool LooksLikeJson(const std::string& file) {
    std::ifstream in(file, std::ios::in | std::ios::binary);
    for (char c = 0; in >> c;)
        if (std::string_view("\xef\xbb\xbf").find(c) == std::string_view::npos) return c == '{';
    return false;
}

void NumberChannels(ModelFile& model) {
    model.inputs = Numbered("input", static_cast<std::size_t>(model.matrices.B.columns));
    model.outputs = Numbered("output", static_cast<std::size_t>(model.matrices.C.rows));
    model.states = Numbered("state", static_cast<std::size_t>(model.matrices.A.rows));
    model.excitations.resize(model.inputs.size());
}

void DropPrescribedMotions(const Node& root, ModelFile& model) {
    const auto motions = static_cast<std::size_t>(
        std::count_if(model.excitations.begin(), model.excitations.end(),
                      [](const Excitation& e) { return e.type != 'F'; }));
    if (motions >= model.outputs.size())
        root.Fail(fmt::format("{} prescribed motions leave no output: C has {} rows", motions,
                              model.outputs.size()));
    model.outputs.resize(model.outputs.size() - motions);
}

ModelFile ReadJsonModel(const std::string& file) {
    const json document = ParseJson(file, FileContent(file));
    const Node root(file, document, "");
    root.ExpectKeys({"version", "name", "dump", "time", "inputs", "outputs", "states", "modes",
                     "frequencies"});
    if (root.At("version").Integer() != kVersion)
        root.At("version").Fail(fmt::format("this program reads version {}", kVersion));

    ModelFile model;
    model.file = file;
    const std::filesystem::path dump = root.At("dump").Name();
    model.matrices = ReadDump((std::filesystem::path(file).parent_path() / dump).string());
    model.name = root.Has("name") ? root.At("name").Name() : dump.stem().string();
    NumberChannels(model);
    if (root.Has("time")) model.time = root.At("time").Number();
    if (root.Has("inputs")) ReadInputs(root, root.At("inputs"), model);
    DropPrescribedMotions(root, model);
    if (root.Has("outputs")) ReadChannels(root.At("outputs"), model.outputs);
    if (root.Has("states")) {
        ReadChannels(root.At("states"), model.states);
        model.statesNamed = true;
    }
    if (root.Has("modes")) {
        for (const Node& mode : root.At("modes").Items()) model.modes.push_back(mode.Integer());
        CheckModes(file + ": modes", model.modes);
    }
    if (root.Has("frequencies")) model.grid = ReadGrid(root.At("frequencies"));
    return model;
}

}  // namespace

void CheckModes(const std::string& name, const std::vector<int>& modes) {
    if (modes.empty()) throw BadInput(name + ": must name at least one mode");
    for (std::size_t k = 0; k < modes.size(); ++k)
        if (modes[k] < 0 || (k > 0 && modes[k] <= modes[k - 1]))
            throw BadInput(name + ": mode numbers must ascend from 0");
}

ModelFile ReadModel(const std::string& file) {
    if (LooksLikeJson(file)) return ReadJsonModel(file);
    ModelFile model;
    model.file = file;
    model.name = std::filesystem::path(file).stem().string();
    model.matrices = ReadDump(file);
    NumberChannels(model);
    return model;
}

}  // namespace Tool
