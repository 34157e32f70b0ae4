#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace Tool {

/// From here on Ctrl-C only asks the running sweep to end; a second one ends the program.
void CatchInterrupts();
bool Interrupted();

/// Shows on a terminal how far a long computation is; nothing elsewhere.
class Progress {
  public:
    Progress(std::string what, std::size_t total);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    /// Says that so many are done, at most ten times a second.
    void Show(std::size_t done);

    /// Takes the line off the terminal, so that another text can stand there.
    static void Clear();

  private:
    std::string what_;
    std::size_t total_;
    std::chrono::steady_clock::time_point last_;
};

}  // namespace Tool
