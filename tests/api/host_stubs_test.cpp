#include <gmock/gmock.h>

// As a module of the host declares them.
extern "C" {
void gui_set(const char* name, int count, const double* values);
void EditRule();
int GetCount(const char* name, double x);
const char* gui_translate(const char* text);
bool sim_is_multi_running();
bool sim_is_running();
int AddRule(int a, double b, const char* c);
unsigned FPR_GetNearestNodeForFePartMarker(unsigned part, double* location);
void GetUserLibPointers(void** a, void** b, void** c);
}

namespace ZEMRA::Vibration::tests {
namespace {

TEST(HostStubs, DoNothing) {
    double location[3] = {1, 2, 3};
    gui_set("name", 3, location);
    EditRule();
    EXPECT_EQ(GetCount("name", 1.5), 0);
    EXPECT_EQ(gui_translate("text"), nullptr);
    EXPECT_FALSE(sim_is_multi_running() || sim_is_running());
    EXPECT_EQ(AddRule(1, 2.5, "rule"), 0);
    EXPECT_EQ(FPR_GetNearestNodeForFePartMarker(7, location), 0u);
    EXPECT_THAT(location, testing::ElementsAre(1, 2, 3));
}

TEST(HostStubs, ClearThePointersThatTheyAreGiven) {
    int x = 0;
    void *a = &x, *b = &x, *c = &x;
    GetUserLibPointers(&a, nullptr, &c);
    EXPECT_TRUE(a == nullptr && b == &x && c == nullptr);
    GetUserLibPointers(nullptr, &b, nullptr);
    EXPECT_EQ(b, nullptr);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
