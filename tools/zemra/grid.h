#pragma once

#include <complex>
#include <string>
#include <vector>

namespace Tool {

/// Which frequencies to answer at.
struct GridRequest {
    bool hertz = true;           // else rad/s
    std::vector<double> values;  // when empty, the range:
    double lowest = 0.0, highest = 0.0;
    int count = 0;
    bool logarithmic = true;
    bool cluster = false;
};

/// Frequencies as the user reads them and as the library takes them.
struct Grid {
    bool hertz = true;
    std::vector<double> shown;  // Hz, or rad/s
    std::vector<double> w;      // rad/s

    std::string Name() const { return hertz ? "frequency" : "angular frequency"; }
    std::string Unit() const { return hertz ? "Hz" : "rad/s"; }
    /// In Hz whatever is shown.
    std::vector<double> Hertz() const;
};

/// Reads LOW:HIGH:COUNT, a list F,F,… or @FILE, whose first column holds the frequencies.
/// Throws BadInput, as does CheckGrid, which takes the name of what it checks.
GridRequest ParseGrid(const std::string& option, const std::string& text, bool hertz,
                      bool logarithmic);
void CheckGrid(const std::string& name, const GridRequest& request);

/// The frequencies of a checked grid. With request.cluster, further ones inside its range
/// around each eigenvalue σ + jω (rad/s) whose half-power band, 2|σ| wide, the grid would step
/// over.
Grid MakeGrid(const GridRequest& request, const std::vector<std::complex<double>>& eigenvalues);

/// A range that shows all modes, from a third of the lowest to three times the highest
/// frequency of the eigenvalues (rad/s).
GridRequest RangeOfModes(const std::vector<std::complex<double>>& eigenvalues, int count);

}  // namespace Tool
