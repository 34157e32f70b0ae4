#include <cstdio>

#include "zemra/api/zmapi_base.h"
#include "zemra/api/zmapi_c.h"

// The release identifier, a literal so that the lines below can take it in.
#define ZEMRA_RELEASE "2014.0.0-CL289716"

namespace {

// One string each, since what(1) looks for the mark in the binary.
constexpr const char* kBuild[] = {
    "@(#)zemra Compile   os: " ZEMRA_BUILD_SYSTEM,
    "@(#)zemra Compile date: " __DATE__ " " __TIME__,
    "@(#)zemra Release  ver: " ZEMRA_RELEASE,
    "@(#)zemra C++  options: " ZEMRA_CXX_OPTIONS,
};

}  // namespace

const char* ZmAPI::GetVersionString() { return "    Version:    2006.0.0"; }

const char* ZmAPI::GetPatchString() { return "Patch Version:      None"; }

const char* ZmAPI::GetCopyrightString() {
    return "************************************************************\n"
           "*  ZEMRA Vibration                                         *\n"
           "*  Linear vibration analysis of mechanical models          *\n"
           "*  Copyright (C) 2026 the ZEMRA authors                    *\n"
           "************************************************************\n";
}

const char* vibration_build_version() { return ZEMRA_RELEASE; }

const char* vibration_version() {
    std::printf("\n");
    for (const char* const line : kBuild) std::printf("\n%s", line);
    std::printf("\n");
    return vibration_build_version();
}
