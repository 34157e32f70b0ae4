#pragma once

#include <string>

namespace Tool {

/// Throws BadInput when a file of this name plainly cannot be written, so that a long
/// computation need not be made to find out.
void CheckWritable(const std::string& file);

/// Writes the content to the file, or to standard output for "-": beside the file first, then
/// moved into its place, so that there is the old file or the whole new one. What is no regular
/// file (a pipe, a device) is written directly. Throws BadInput.
void WriteFile(const std::string& file, const std::string& content);

}  // namespace Tool
