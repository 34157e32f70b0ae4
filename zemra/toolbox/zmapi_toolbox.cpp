#include "zemra/toolbox/zmapi_toolbox.h"

namespace {

constexpr double kTwoPi = 6.283185307179586;

}  // namespace

ZmAPI_ToolBox::ZmAPI_ToolBox() = default;
ZmAPI_ToolBox::ZmAPI_ToolBox(const ZmAPI_ToolBox&) = default;
ZmAPI_ToolBox& ZmAPI_ToolBox::operator=(const ZmAPI_ToolBox&) = default;
ZmAPI_ToolBox::~ZmAPI_ToolBox() = default;

double ZmAPI_ToolBox::Frequency(int index, int nPoints, double dt, bool hertz) {
    const double frequency = index / (nPoints * dt);
    return hertz ? frequency : frequency * kTwoPi;
}
