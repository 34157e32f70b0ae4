#pragma once

#include "zemra/api/zmapi_matrix.h"

/// Signal tools beside the models: spectra of sampled time histories and frequency-dependent
/// elements. Every operation is static; an object holds nothing.
class ZM_API ZmAPI_ToolBox : public ZmAPI {
  public:
    ZmAPI_ToolBox();
    ZmAPI_ToolBox(const ZmAPI_ToolBox&);
    ZmAPI_ToolBox& operator=(const ZmAPI_ToolBox&);
    ~ZmAPI_ToolBox() override;

    /// The frequency of line index of a transform of nPoints samples dt apart:
    /// index/(nPoints·dt), in Hz for dt in seconds; times 2π, in rad/s, without hertz. Not
    /// finite when nPoints·dt is 0.
    static double Frequency(int index, int nPoints, double dt, bool hertz);
};
