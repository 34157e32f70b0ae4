#pragma once

#include <complex>
#include <cstddef>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "tools/zemra/excitation.h"
#include "tools/zemra/messages.h"
#include "tools/zemra/model_file.h"
#include "zemra/zmapi.h"

namespace Tool {

ZmAPI_Matrix ForTheLibrary(const Example::DumpedMatrix& m);
ZmAPI_Matrix ForTheLibrary(const std::vector<double>& values);

ZmAPI_SystemSS StateSpaceModel(const ModelFile& model, const Actuators& actuators);
ZmAPI_System ModalModel(const ModelFile& model, const Actuators& actuators,
                        const std::vector<int>& modes, const ZmAPI_EigenProblem* eigen);

/// A model in either form. Throws NoResult when the library refuses it.
class Model {
  public:
    explicit Model(ZmAPI_SystemSS model);
    explicit Model(ZmAPI_System model);

    ZmAPI_Matrix TransferFunction(const ZmAPI_Matrix& w);
    ZmAPI_Matrix FrequencyResponse(const ZmAPI_Matrix& w);
    ZmAPI_Matrix MCT(const ZmAPI_Matrix& w, bool withActuators);
    /// The densities of the outputs, the diagonal of the output spectral matrix: p × 1.
    ZmAPI_Matrix Densities(double w, double dw);

  private:
    std::variant<ZmAPI_SystemSS, ZmAPI_System> model_;
};

/// What a sweep answered: a matrix at each of the first frequencies. Where the library reported
/// an error the elements are NaN. What it answered without being finite is an error as well.
struct Sweep {
    std::size_t rows, columns;
    std::size_t done = 0;  // less than all after Ctrl-C
    std::vector<std::complex<double>> values{};

    std::complex<double> At(std::size_t k, std::size_t i, std::size_t j) const {
        return values[(k * rows + i) * columns + j];
    }
    std::vector<std::complex<double>> Line(std::size_t i, std::size_t j) const;
};

/// How many frequencies to ask a model for in one call: it reduces its state matrix once where
/// that pays for a call, and Ctrl-C ends a sweep between two calls.
constexpr std::size_t kBlock = 32;

/// Asks query(w) for blocks of the frequencies, at most so many at a time. It answers with a
/// stack, [frequency][row][column]; asked for one at a time, a matrix will do. A failure costs
/// its own frequency only, and Ctrl-C leaves what was found.
Sweep RunSweep(Messages& messages, const std::vector<double>& w, std::size_t rows,
               std::size_t columns,
               const std::function<ZmAPI_Matrix(const ZmAPI_Matrix&)>& query,
               std::size_t block = kBlock);

std::vector<double> Magnitudes(const std::vector<std::complex<double>>& values);
/// In degrees, from −180 to 180.
std::vector<double> Phases(const std::vector<std::complex<double>>& values);
std::vector<double> RealParts(const std::vector<std::complex<double>>& values);
std::vector<double> ImaginaryParts(const std::vector<std::complex<double>>& values);

/// The square root of the integral of the density over the frequency, by the trapezoidal rule:
/// from the first frequency up to each; 0 at the first.
std::vector<double> CumulativeRms(const std::vector<double>& hertz,
                                  const std::vector<double>& density);

}  // namespace Tool
