#pragma once

/// Marks what a host may link against; everything else stays hidden in the shared library.
#if defined(__GNUC__)
#define ZM_API __attribute__((visibility("default")))
#else
#define ZM_API
#endif
