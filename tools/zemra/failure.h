#pragma once

#include <stdexcept>
#include <string>

namespace Tool {

/// How the program ends.
enum ExitCode : int {
    kDone = 0,
    kLibraryError = 1,  ///< the library reported an error, or the program itself failed
    kBadInput = 2,      ///< arguments, a file, or what a file says
    kInterrupted = 130  ///< by Ctrl-C, with the results so far: 128 + SIGINT, as shells have it
};

/// The text on one line: ends of lines at its end go, other control characters become spaces.
inline std::string OneLine(std::string text) {
    text.erase(text.find_last_not_of('\n') + 1);
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ') c = ' ';
    return text;
}

/// What the user gave is wrong. The text says what and where, on one line whatever it quotes of
/// a file.
class BadInput : public std::runtime_error {
  public:
    explicit BadInput(const std::string& text) : std::runtime_error(OneLine(text)) {}
};

/// The library reported an error that leaves nothing to show; its message is printed already.
class NoResult : public std::exception {};

}  // namespace Tool
