#include "tools/zemra/plot.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>
#include <sstream>
#include <system_error>

#include "tools/zemra/failure.h"
#include "tools/zemra/output_file.h"

extern char** environ;

namespace Tool {

const std::array<const char*, kMostSeries> kColours{"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                                    "#000000", "#e69f00", "#56b4e9", "#7f7f7f"};

namespace {

namespace fs = std::filesystem;

// Pixels; a letter is judged generously.
constexpr std::size_t kPanelHeight = 290, kWidth = 900, kLegendRow = 20, kLetter = 9;

std::string FindProgram(const std::string& name) {
    const char* const path = std::getenv("PATH");
    std::istringstream directories(path ? path : "");
    for (std::string directory; std::getline(directories, directory, ':');) {
        std::string program = (fs::path(directory.empty() ? "." : directory) / name);
        if (access(program.c_str(), X_OK) == 0) return program;
    }
    return "";
}

// In single quotes gnuplot takes everything as it is but a quote, which is doubled.
std::string Quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text) {
        if (c == '\'') result += '\'';
        result += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
    return result + "'";
}

bool CanShow(double value, bool logarithmic) {
    return std::isfinite(value) && (!logarithmic || value > 0.0);
}

// A value that the axis cannot show interrupts the line.
std::string Rows(const Panel& panel, const Series& series) {
    std::string rows;
    for (std::size_t k = 0; k < std::min(series.x.size(), series.y.size()); ++k) {
        if (CanShow(series.x[k], panel.xLog) && CanShow(series.y[k], panel.yLog))
            rows += series.lower.empty()
                        ? fmt::format("{} {}\n", series.x[k], series.y[k])
                        : fmt::format("{} {} {}\n", series.x[k], series.lower[k], series.y[k]);
        else if (series.lower.empty())
            rows += '\n';
    }
    return rows;
}

bool HasRows(const std::string& rows) {
    return rows.find_first_not_of('\n') != std::string::npos;
}

std::string Style(const Series& series, std::size_t number) {
    // Dashes as well, so that lines can be told apart without seeing colours.
    constexpr std::array<const char*, 5> kDashes{"solid", "(8,4)", "(2,3)", "(12,4,2,4)",
                                                 "(5,5)"};
    const std::string colour = fmt::format("lc rgb '{}'", kColours[number % kColours.size()]);
    if (!series.lower.empty()) return "with filledcurves fs solid 0.8 noborder " + colour;
    if (series.points) return fmt::format("with points pt {} ps 0.8 {}", number + 5, colour);
    return fmt::format("with lines lw 2 dt {} {}", kDashes[number % kDashes.size()], colour);
}

// From end to end of the lines; dots keep some room around them.
std::string Range(const Panel& panel) {
    double lowest = std::numeric_limits<double>::infinity(), highest = -lowest;
    for (const Series& series : panel.series) {
        if (series.points) return "set autoscale x\n";
        for (const double x : series.x) {
            if (!CanShow(x, panel.xLog)) continue;
            lowest = std::min(lowest, x);
            highest = std::max(highest, x);
        }
    }
    if (!(lowest < highest)) return "set autoscale x\n";
    return fmt::format("set xrange [{}:{}]\n", lowest, highest);
}

// As many as the longest name leaves room for: gnuplot's own choice can run out of the picture.
std::size_t LegendColumns(const Panel& panel) {
    std::size_t longest = 0;
    for (const Series& series : panel.series) longest = std::max(longest, series.name.size());
    return std::max<std::size_t>(1, (kWidth - 60) / (kLetter * longest + 60));
}

std::size_t LegendRows(const Panel& panel) {
    const std::size_t columns = LegendColumns(panel);
    return (panel.series.size() + columns - 1) / columns;
}

std::string Script(const Panel& panel, const std::string& title) {
    std::string blocks, lines;
    for (std::size_t s = 0; s < panel.series.size(); ++s) {
        const Series& series = panel.series[s];
        const std::string rows = Rows(panel, series);
        if (!HasRows(rows)) continue;
        blocks += fmt::format("$data{} << ENDOFDATA\n{}ENDOFDATA\n", s, rows);
        lines += fmt::format("{}$data{} title {} {}", lines.empty() ? "plot " : ", ", s,
                             Quoted(series.name), Style(series, s));
    }
    // Axes of their own where there is nothing to draw: gnuplot refuses an empty plot.
    if (lines.empty()) lines = "plot [1:10] [1:10] 1/0 notitle";
    return blocks + Range(panel) + fmt::format("set key maxcols {}\n", LegendColumns(panel)) +
           "set title " + Quoted(title) + "\nset xlabel " + Quoted(panel.xTitle) +
           "\nset ylabel " + Quoted(panel.yTitle) + "\n" +
           (panel.xLog ? "set logscale x\n" : "unset logscale x\n") +
           (panel.yLog ? "set logscale y\n" : "unset logscale y\n") +
           (panel.yLog ? "set format y '%.0e'\n" : "set format y '%g'\n") +
           (panel.phase ? "set yrange [-190:190]\nset ytics 90\n"
                        : "set autoscale y\nset ytics auto\n") +
           lines + "\n";
}

std::string Script(const Plot& plot, bool svg) {
    std::size_t rows = 1;
    for (const Panel& panel : plot.panels) rows = std::max(rows, LegendRows(panel));
    const std::size_t height = (kPanelHeight + kLegendRow * rows) * plot.panels.size() + 40;
    std::string script = fmt::format(
        "set terminal {} noenhanced size {},{} font 'sans-serif,11' background rgb 'white'\n"
        "set encoding utf8\nset grid lc rgb '#dddddd' lt 1\nset key outside bottom center "
        "horizontal spacing 1.2\nset offsets graph 0.05, graph 0.05, 0, 0\n",
        svg ? "svg" : "pngcairo", kWidth, height);
    if (plot.panels.size() > 1)
        script += fmt::format("set multiplot layout {},1\n", plot.panels.size());
    for (std::size_t k = 0; k < plot.panels.size(); ++k)
        script += Script(plot.panels[k], k == 0 ? plot.title : "");
    return script + (plot.panels.size() > 1 ? "unset multiplot\n" : "");
}

// A directory of our own that goes with all that is in it.
class Scratch {
  public:
    Scratch() {
        std::string name = (fs::temp_directory_path() / "zemra-XXXXXX").string();
        if (!mkdtemp(name.data())) throw BadInput(name + ": cannot be made");
        path_ = name;
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() {
        std::error_code error;
        fs::remove_all(path_, error);
    }
    std::string File(const char* name) const { return (path_ / name).string(); }

  private:
    fs::path path_;
};

// Standard output and standard error go to the files. Returns whether it ended well.
bool RunProgram(const std::string& program, std::string argument, const std::string& output,
                const std::string& errors) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const int flags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), flags, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), flags, 0600);
    std::string name = program;
    std::array<char*, 3> arguments{name.data(), argument.data(), nullptr};
    pid_t child = 0;
    const int failed =
        posix_spawn(&child, program.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed) return false;
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string Content(const std::string& file) {
    std::string content;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> in(std::fopen(file.c_str(), "rb"),
                                                             std::fclose);
    std::array<char, 65536> block{};
    for (std::size_t n = 1; in && n > 0;) {
        n = std::fread(block.data(), 1, block.size(), in.get());
        content.append(block.data(), n);
    }
    return content;
}

}  // namespace

void CheckPlotFile(const std::string& file) {
    if (!file.ends_with(".svg") && !file.ends_with(".png"))
        throw BadInput("--plot: \"" + file + "\" must end in .svg or .png");
    if (FindProgram("gnuplot").empty())
        throw BadInput("--plot: gnuplot, which draws plots, is not there");
}

void WritePlot(const std::string& file, const Plot& plot) {
    const Scratch scratch;
    WriteFile(scratch.File("script"), Script(plot, file.ends_with(".svg")));
    const bool drawn = RunProgram(FindProgram("gnuplot"), scratch.File("script"),
                                  scratch.File("picture"), scratch.File("errors"));
    const std::string picture = Content(scratch.File("picture"));
    if (!drawn || picture.empty()) {
        std::istringstream words(Content(scratch.File("errors")));
        std::string reason;
        for (std::string word; words >> word;) reason += " " + word;
        throw BadInput(file + ": gnuplot could not draw it:" + reason);
    }
    WriteFile(file, picture);
}

}  // namespace Tool
