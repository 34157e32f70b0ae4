#pragma once

#include <string>
#include <vector>

namespace Tool {

/// Throws BadInput when one of the files plainly cannot be written, is the input or stands
/// there twice, so that a long computation need not be made to find out. Empty names are none.
void CheckOutputs(const std::vector<std::string>& files, const std::string& input);

/// Writes the content to the file, or to standard output for "-": beside the file first, then
/// moved into its place, so that there is the old file or the whole new one. What is no regular
/// file (a pipe, a device) is written directly. Throws BadInput.
void WriteFile(const std::string& file, const std::string& content);

}  // namespace Tool
