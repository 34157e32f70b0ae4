#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Tool {

/// While it lives, prints the library's messages to standard error, each on one line behind
/// "zemra:" and once however often it comes; informations only when verbose.
class Messages {
  public:
    explicit Messages(bool verbose);
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;
    ~Messages();

    /// How many errors came so far, repeated ones included.
    int Errors() const;
    /// What was printed, without the "zemra:".
    const std::vector<std::string>& Printed() const;
    /// A remark of the program itself, in the same style.
    void Note(const std::string& text);
    /// An error that the program itself finds in what the library answered; it counts.
    void Fail(const std::string& text);

    struct State;

  private:
    std::unique_ptr<State> state_;
};

}  // namespace Tool
