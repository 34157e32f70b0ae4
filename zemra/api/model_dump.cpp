#include "zemra/api/model_dump.h"

#include <cstdlib>
#include <fstream>
#include <locale>
#include <optional>

namespace {

void WriteMatrix(std::ostream& out, char name, const ZmAPI_Matrix& m) {
    out << name << "MATRIX:" << std::endl;
    out << "TYPE: DENSE" << std::endl;
    out << "  ROWSIZE: " << m.Size(0) << std::endl;
    out << "  COLUMNSIZE: " << m.Size(1) << std::endl;
    out << "  COLUMNORDER:" << std::endl;
    for (int j = 0; j < m.Size(1); ++j)
        for (int i = 0; i < m.Size(0); ++i) out << "    " << m.Value(i, j) << std::endl;
}

// The file that the environment names, ready to be written to; none when it names none or the
// file cannot be opened.
std::optional<std::ofstream> OpenDump() {
    const char* const file = std::getenv("ZEMRA_DUMP_VIBRATION_MODEL");
    if (!file || !*file) return std::nullopt;
    std::ofstream out(file);
    if (!out) return std::nullopt;
    out.imbue(std::locale::classic());  // a host's locale must not change points or digits
    out.setf(std::ios::scientific, std::ios::floatfield);
    out.setf(std::ios::uppercase | std::ios::showpoint);
    out.precision(17);
    return out;
}

}  // namespace

void DumpModel(const ZmAPI_Matrix& A, const ZmAPI_Matrix& B, const ZmAPI_Matrix& C,
               const ZmAPI_Matrix& D) {
    auto out = OpenDump();
    if (!out) return;
    WriteMatrix(*out, 'A', A);
    WriteMatrix(*out, 'B', B);
    WriteMatrix(*out, 'C', C);
    WriteMatrix(*out, 'D', D);
}

void DumpSystemMatrix(const ZmAPI_Matrix& A) {
    if (auto out = OpenDump()) WriteMatrix(*out, 'A', A);
}
