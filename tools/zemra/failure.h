#pragma once

#include <stdexcept>

namespace Tool {

/// How the program ends.
enum ExitCode : int {
    kDone = 0,
    kLibraryError = 1,  ///< the library reported an error, or the program itself failed
    kBadInput = 2,      ///< arguments, a file, or what a file says
    kInterrupted = 130  ///< by Ctrl-C, with the results so far: 128 + SIGINT, as shells have it
};

/// What the user gave is wrong. The text is one line that says what and where.
class BadInput : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The library reported an error that leaves nothing to show; its message is printed already.
class NoResult : public std::exception {};

}  // namespace Tool
