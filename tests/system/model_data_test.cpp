#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "examples/support/dump_reader.h"
#include "tests/support/reference.h"
#include "zemra/system/force_system_ss.h"

namespace ZEMRA::Vibration::tests {
namespace {

Eigen::MatrixXd FromDump(const Example::DumpedMatrix& m) {
    return Eigen::Map<const Eigen::MatrixXd>(m.values.data(), m.rows, m.columns);
}

TEST(ModelData, AnswersTheDefinitionOfTheTransferFunction) {
    const char* const folder = std::getenv("ZEMRA_MODEL_DATA");
    if (!folder || !*folder) GTEST_SKIP() << "ZEMRA_MODEL_DATA names no folder of model dumps";
    int models = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        const std::string name = file.path().filename();
        if (!name.ends_with(".txt") || name.ends_with("_channels.txt")) continue;
        SCOPED_TRACE(name);
        const auto [A, B, C, D] = Example::DumpReader(file.path()).Read();
        const Model model{name, FromDump(A), FromDump(B), FromDump(C), FromDump(D)};
        const Actuator force('F', nullptr, 0, nullptr, false, 0, nullptr);
        ForceSystemSS system(0, ToCore(model.A), ToCore(model.B), ToCore(model.C),
                             ToCore(model.D), Matrix1D<const Actuator*>(B.columns, &force));
        for (const double w : {5.0, 700.0}) {
            const Reference reference(model, w);
            const auto& H = system.TransferFunction(Matrix1D<double>(1, w));
            EXPECT_TRUE(Within(reference.boundH, reference.H, ToEigen(H.Slot(0)))) << w;
        }
        ++models;
    }
    EXPECT_GT(models, 0) << "no model dump in " << folder;
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
