#pragma once

#include <string>

#include "zemra/message/message.h"

namespace ZEMRA::Vibration::tests {

/// The formatted text of the Error that work() throws; empty when it throws none.
template <typename Work>
std::string ErrorText(const Work& work) {
    try {
        work();
    } catch (const Error& error) {
        return error.FormatString();
    }
    return "";
}

}  // namespace ZEMRA::Vibration::tests
