#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace Tool {

/// What the command line says. A field that the command does not take keeps its default.
struct Arguments {
    std::string command;
    std::string file;
    bool verbose = false;

    // Where the results go, beside the terminal; empty for nowhere.
    std::string csv, json, plot, html;

    // Frequencies, as written: LOW:HIGH:COUNT, a list, or @FILE.
    std::string hertz, radians;
    bool linear = false;
    bool cluster = false;

    // Which part of a model, and how it is solved.
    std::vector<std::string> inputs, outputs;
    std::optional<std::vector<int>> modes;
    std::string form;  // "ss", "modal" or empty for the command's own choice

    // Single commands.
    bool polar = false;
    bool cumulative = false;
    bool amplitudes = false;
    bool project = false;
    std::optional<double> white, band;
    std::optional<double> interval;
    std::string timeColumn;
    std::vector<std::string> columns;
    std::string window = "none";
    int points = 0;
    bool detrend = false;
    bool scaled = false;
    int segments = 1;
    int overlap = 0;
    std::vector<std::string> elements;
};

/// What the command line asks for. Empty when that was help or the version, which are printed.
/// Throws BadInput.
std::optional<Arguments> ParseArguments(int argc, char** argv);

}  // namespace Tool
