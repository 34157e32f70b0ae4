#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zemra/message/message.h"

namespace ZEMRA::Vibration {

/// Fills the placeholders of a text with the parameters and appends a newline. The rules and
/// the Error stand with Message::FormatString.
std::string Format(const std::string& text,
                   const std::vector<std::unique_ptr<DataParam>>& params);

}  // namespace ZEMRA::Vibration
