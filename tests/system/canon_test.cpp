#include "zemra/system/canon.h"

#include <gmock/gmock.h>

#include "tests/support/captured_messages.h"
#include "tests/support/error_text.h"
#include "tests/support/modal_reference.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

using Block = Table<double>;

// The eigenvalues −1, −4 and −2 ± 3j: modes 0, 1 and 2.
Model ThreeModes() {
    Eigen::MatrixXd A = Eigen::MatrixXd::Zero(4, 4);
    A.diagonal() << -4, -2, -2, -1;
    A(1, 2) = 3;
    A(2, 1) = -3;
    Eigen::MatrixXd mix = Eigen::MatrixXd::Identity(4, 4);
    mix(0, 1) = mix(1, 2) = mix(3, 0) = 0.5;
    return {"ThreeModes", mix * A * mix.inverse(), Eigen::MatrixXd::Random(4, 2),
            Eigen::MatrixXd::Random(3, 4), Eigen::MatrixXd::Random(3, 2)};
}

Canon Reduce(const Model& m, const std::vector<int>& modes) {
    return Canon(ToCore(m.A), ToCore(m.B), ToCore(m.C), ToCore(m.D),
                 static_cast<int>(modes.size()), modes.data(), Modal::Solved(m));
}

void ExpectNear(const Block& expected, const MatrixSparse2D<double>& actual, double tolerance) {
    ASSERT_EQ(actual.Size(0), static_cast<int>(expected.size()));
    for (int i = 0; i < actual.Size(0); ++i)
        for (int j = 0; j < actual.Size(1); ++j)
            EXPECT_NEAR(actual(i, j),
                        expected[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)],
                        tolerance)
                << i << ", " << j;
}

TEST(Canon, KeepsTheListedModes) {
    CapturedMessages messages;
    const Model model = ThreeModes();
    const Block all{{-1, 0, 0, 0}, {0, -4, 0, 0}, {0, 0, -2, -3}, {0, 0, 3, -2}};
    const std::pair<std::vector<int>, Block> cases[] = {
        {{}, all},
        {{0, 1, 2}, all},
        {{2}, {{-2, -3}, {3, -2}}},
        {{0, 2}, {{-1, 0, 0}, {0, -2, -3}, {0, 3, -2}}},
        {{1, 0}, {{-4}}},     // what is out of order is never reached,
        {{1, 1, 2}, {{-4}}},  // nor what follows it
        {{0, 1, 3}, {{-1, 0}, {0, -4}}},
        {{-1, 0}, {}},
        {{3}, {}}};
    for (const auto& [modes, A] : cases) {
        SCOPED_TRACE(testing::PrintToString(modes));
        const Canon canon = Reduce(model, modes);
        ExpectNear(A, canon.A(), 1e-14);
        EXPECT_EQ(canon.B().Size(0), canon.A().Size(0));
        EXPECT_EQ(canon.C().Size(1), canon.A().Size(0));
        EXPECT_EQ(ToEigen(canon.D()), model.D);
        // The basis of the kept modes satisfies A·T = T·A′, whatever its length and sign.
    }
    const int first = 0;
    for (const auto& [count, list] : {std::pair{-1, &first}, std::pair{5, (const int*)nullptr}})
        ExpectNear(all,
                   Canon(ToCore(model.A), ToCore(model.B), ToCore(model.C), ToCore(model.D),
                         count, list, Modal::Solved(model))
                       .A(),
                   1e-14);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
