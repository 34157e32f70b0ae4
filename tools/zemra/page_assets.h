#pragma once

#include <string_view>

namespace Tool {

/// What the report's page inlines. The plotting bundle is empty where it could not be fetched
/// when the program was built.
extern const std::string_view kPageStyle, kPageScript;
extern const std::string_view kPlotScript, kPlotStyle, kPlotLicence;

}  // namespace Tool
