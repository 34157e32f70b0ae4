// The identification of elements from any data: those of an element, or any numbers. It is
// slow, and so a target of its own beside the toolbox.

#include <cmath>
#include <vector>

#include "fuzz/byte_stream.h"
#include "fuzz/quiet_host.h"
#include "fuzz/target.h"
#include "zemra/zmapi.h"

std::uint64_t Fuzz::Play(const std::uint8_t* data, std::size_t size) {
    const QuietHost host;
    ByteStream in(data, size);
    Digest digest;
    const int rows = in.Choice(8), columns = in.Rarely() ? in.Choice(6) : 4;
    const int elements = rows * columns;
    const auto count = static_cast<std::size_t>(elements);
    std::vector<double> measured;
    if (in.Flag()) {  // measured on an element
        const std::vector<double> p = in.Numbers(6, !in.Rarely());
        for (int k = 0; k < rows; ++k) {
            const double f = 1 + k * (1 + in.Choice(3)), w = f * 6.283185307179586;
            const ZmAPI_Matrix H = ZmAPI_ToolBox::FDEvaluate(p[0], p[1], p[2], p[3], p[4], p[5],
                                                             ZmAPI_Matrix(1, &w), true);
            measured.insert(measured.end(), {1.0, f, H.Value(0, 0), H.Value(0, 1)});
        }
        measured.resize(count);
    } else {
        measured = in.Numbers(count, !in.Rarely());
    }
    const ZmAPI_Matrix p =
        ZmAPI_ToolBox::FDElementID(ZmAPI_Matrix(measured.data(), rows, columns));
    if (p.Size(0) != 6) Broken("an element has six parameters");
    for (int i = 0; i < 6; ++i)
        if (!std::isfinite(p.Value(i))) Broken("the parameters found are finite");
    for (int i = 0; i < 6; ++i) digest.Add(p.Value(i));
    digest.Add(host.Messages());
    return digest.Value();
}
