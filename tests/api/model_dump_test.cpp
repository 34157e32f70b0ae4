#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "examples/support/dump_reader.h"
#include "zemra/zmapi.h"

namespace {

using Example::DumpedMatrix;
using Example::DumpedModel;
using Example::DumpReader;

constexpr char kVariable[] = "ZEMRA_DUMP_VIBRATION_MODEL";

// A file of its own for each test; the variable is unset again at the end.
class ModelDump : public testing::Test {
  protected:
    ModelDump()
        : file_(testing::TempDir() + "zemra_" +
                testing::UnitTest::GetInstance()->current_test_info()->name() + ".txt") {
        std::filesystem::remove(file_);
    }
    ~ModelDump() override {
        unsetenv(kVariable);
        std::filesystem::remove(file_);
    }

    std::string file_;

    void AskForDump() const { setenv(kVariable, file_.c_str(), 1); }

    std::string Content() const {
        std::ifstream in(file_);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

// Values that lose bits, signs or their size in a careless text form.
DumpedModel AwkwardModel() {
    using Limits = std::numeric_limits<double>;
    return {{2, 2, {1.0 / 3.0, -Limits::denorm_min(), 1e308, -0.0}},
            {2,
             3,
             {0.1, Limits::max(), Limits::lowest(), Limits::min(), 1.0 + Limits::epsilon(),
              0x0.fffffffffffffp-1022}},
            {1, 2, {5e-324, 123456789.123456789}},
            {1, 3, {-1.0, 0.0, 6.02214076e23}}};
}

ZmAPI_SystemSS Construct(const DumpedModel& m) {
    const auto matrix = [](const DumpedMatrix& d) {
        return ZmAPI_Matrix(d.rows, d.columns, d.values.data());
    };
    const ZmAPI_Actuator force('F', 1.0, 0.0);
    const std::vector<const ZmAPI_Actuator*> forces(static_cast<std::size_t>(m.B.columns),
                                                    &force);
    return {0.0, matrix(m.A), matrix(m.B), matrix(m.C), matrix(m.D), forces.data()};
}

void ExpectSameBits(const DumpedMatrix& actual, const DumpedMatrix& expected) {
    EXPECT_EQ(actual.rows, expected.rows);
    EXPECT_EQ(actual.columns, expected.columns);
    ASSERT_EQ(actual.values.size(), expected.values.size());
    for (std::size_t k = 0; k < expected.values.size(); ++k)
        EXPECT_EQ(std::bit_cast<std::uint64_t>(actual.values[k]),
                  std::bit_cast<std::uint64_t>(expected.values[k]))
            << expected.values[k];
}

void ExpectSameBits(const DumpedModel& actual, const DumpedModel& expected) {
    ExpectSameBits(actual.A, expected.A);
    ExpectSameBits(actual.B, expected.B);
    ExpectSameBits(actual.C, expected.C);
    ExpectSameBits(actual.D, expected.D);
}

TEST_F(ModelDump, GivesBackTheBitsItWasWrittenFrom) {
    AskForDump();
    Construct(AwkwardModel());
    ExpectSameBits(DumpReader(file_).Read(), AwkwardModel());
}

TEST_F(ModelDump, ReplacesAnOlderFile) {
    AskForDump();
    Construct(AwkwardModel());
    Construct({{1, 1, {-2.0}}, {1, 1, {1.0}}, {1, 1, {1.0}}, {1, 1, {0.0}}});
    EXPECT_EQ(std::ranges::count(Content(), '\n'), 4 * 6);
}

// The matrices are written before they are looked at.
TEST_F(ModelDump, IsWrittenOfARefusedModelToo) {
    AskForDump();
    const DumpedModel misfit{{1, 1, {-2.0}}, {2, 1, {1.0, 2.0}}, {1, 1, {1.0}}, {1, 1, {0.0}}};
    ZmAPI::PushMessageHandler([](const char*, unsigned char, void*) {}, 0, nullptr);
    const bool refused = Construct(misfit).Error();
    ZmAPI::PopMessageHandler();
    EXPECT_TRUE(refused);
    ExpectSameBits(DumpReader(file_).Read(), misfit);
}

// As given, not in modal coordinates; what a sparse matrix leaves out is written as 0. Only
// matrices are dumped, not another model.
TEST_F(ModelDump, OfAModalModelHoldsTheMatricesItWasGiven) {
    AskForDump();
    const DumpedModel given{
        {2, 2, {-1, 0, 0, -2}}, {2, 1, {1, 2}}, {1, 2, {3, 4}}, {1, 1, {5}}};
    const ZmAPI_Matrix A(2, 2, given.A.values.data()), B(2, 1, given.B.values.data()),
        C(1, 2, given.C.values.data()), D(1, 1, given.D.values.data());
    const ZmAPI_Actuator force('F', 1.0, 0.0);
    const ZmAPI_Actuator* const forces[] = {&force};
    ZmAPI::PushMessageHandler([](const char*, unsigned char, void*) {}, 0, nullptr);
    const ZmAPI_System dense(0, A, B, C, D, forces, 0, nullptr, nullptr);
    ExpectSameBits(DumpReader(file_).Read(), given);
    std::filesystem::remove(file_);
    const ZmAPI_System refused(0, dense.ModalMatrix('A'), B, C, D, forces, 0, nullptr, nullptr);
    ExpectSameBits(DumpReader(file_).Read(), given);
    const ZmAPI_SystemSS stateSpace = Construct(given);
    std::filesystem::remove(file_);
    EXPECT_FALSE(ZmAPI_System(stateSpace).Error() || ZmAPI_System(dense).Error());
    EXPECT_FALSE(std::filesystem::exists(file_));
    EXPECT_TRUE(refused.Error());
    ZmAPI::PopMessageHandler();
}

TEST_F(ModelDump, IsSilentlyLeftOutUnlessAFileIsNamedThatCanBeOpened) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Construct(AwkwardModel());
    EXPECT_FALSE(std::filesystem::exists(file_));
    for (const std::string& name : {std::string(), file_ + "/no/such/folder"}) {
        setenv(kVariable, name.c_str(), 1);
        EXPECT_FALSE(Construct(AwkwardModel()).Error());
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
