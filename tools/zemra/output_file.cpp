#include "tools/zemra/output_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>
#include <system_error>

#include "tools/zemra/failure.h"

namespace Tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const std::string& file, const std::string& reason) {
    throw BadInput(file + ": cannot be written: " + reason);
}

bool WriteAll(std::FILE* out, const std::string& content) {
    const bool written = std::fwrite(content.data(), 1, content.size(), out) == content.size();
    return std::fflush(out) == 0 && written;
}

// Returns errno, or 0.
int WriteTo(const std::string& file, const std::string& content) {
    std::FILE* const out = std::fopen(file.c_str(), "wb");
    if (!out) return errno;
    const bool written = WriteAll(out, content);
    const int error = errno;
    if (std::fclose(out) != 0) return errno;
    return written ? 0 : error;
}

// Where the link leads; the file itself when it is none.
fs::path Target(const std::string& file) {
    std::error_code error;
    const fs::path target = fs::canonical(file, error);
    return error ? fs::path(file) : target;
}

}  // namespace

void CheckOutputs(const std::vector<std::string>& files, const std::string& input) {
    std::error_code error;
    std::set<fs::path> taken{fs::weakly_canonical(input, error)};
    for (const std::string& file : files) {
        if (file.empty() || file == "-") continue;
        const fs::path target = Target(file);
        const fs::path directory = target.has_parent_path() ? target.parent_path() : ".";
        if (fs::is_directory(target, error)) Fail(file, "it is a directory");
        if (!fs::is_directory(directory, error)) Fail(file, "there is no such directory");
        const bool exists = fs::exists(target, error);
        if (exists && access(target.c_str(), W_OK) != 0) Fail(file, std::strerror(errno));
        if (exists && !fs::is_regular_file(target, error)) continue;
        if (access(directory.c_str(), W_OK) != 0) Fail(file, std::strerror(errno));
        if (!taken.insert(fs::weakly_canonical(target, error)).second)
            Fail(file, "it is the input, or another output");
    }
}

void WriteFile(const std::string& file, const std::string& content) {
    if (file == "-") {
        if (!WriteAll(stdout, content)) Fail("standard output", std::strerror(errno));
        return;
    }
    std::error_code error;
    const fs::path target = Target(file);
    if (fs::exists(target, error) && !fs::is_regular_file(target, error)) {
        if (const int reason = WriteTo(target, content)) Fail(file, std::strerror(reason));
        return;
    }
    const std::string beside = target.string() + ".part" + std::to_string(getpid());
    int reason = WriteTo(beside, content);
    if (reason == 0 && std::rename(beside.c_str(), target.c_str()) != 0) reason = errno;
    if (reason == 0) return;
    std::remove(beside.c_str());
    Fail(file, std::strerror(reason));
}

}  // namespace Tool
