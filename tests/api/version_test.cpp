#include <gmock/gmock.h>

#include <cstdio>

#include "zemra/zmapi.h"

namespace ZEMRA::Vibration::tests {
namespace {

using testing::MatchesRegex;

TEST(Version, IsToldToTheCharacter) {
    EXPECT_STREQ(ZmAPI::GetVersionString(), "    Version:    2006.0.0");
    EXPECT_STREQ(ZmAPI::GetPatchString(), "Patch Version:      None");
    EXPECT_EQ(ZmAPI::GetVersionString(), ZmAPI::GetVersionString());
    EXPECT_THAT(ZmAPI::GetCopyrightString(), MatchesRegex("[*]+\n([*][^\n]*[*]\n){3}[*]+\n"));
}

TEST(Version, DescribesItsBuildOnStandardOutput) {
    testing::internal::CaptureStdout();
    const char* const release = vibration_version();
    std::fflush(stdout);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                MatchesRegex("\n\n@[(]#[)][a-z]+ Compile   os: [^\n]+"
                             "\n@[(]#[)][a-z]+ Compile date: [^\n]+"
                             "\n@[(]#[)][a-z]+ Release  ver: 2014[.]0[.]0-CL289716"
                             "\n@[(]#[)][a-z]+ C[+][+]  options: [^\n]*\n"));
    EXPECT_STREQ(release, "2014.0.0-CL289716");
    EXPECT_STREQ(vibration_build_version(), release);
}

}  // namespace
}  // namespace ZEMRA::Vibration::tests
