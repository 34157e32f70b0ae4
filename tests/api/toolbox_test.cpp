#include <gtest/gtest.h>

#include "zemra/zmapi.h"

namespace ZEMRA::Vibration::tests {
namespace {

TEST(InterfaceToolBox, GivesTheFrequencyOfALine) {
    EXPECT_EQ(ZmAPI_ToolBox::Frequency(3, 100, 0.01, true), 3.0);
    EXPECT_DOUBLE_EQ(ZmAPI_ToolBox::Frequency(3, 100, 0.01, false), 18.84955592153876);
    EXPECT_EQ(ZmAPI_ToolBox::Frequency(-1, 2, 0.5, true), -1.0);
    EXPECT_EQ(ZmAPI_ToolBox::Frequency(0, 8, 0.1, false), 0.0);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
