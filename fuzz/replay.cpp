// replay [--random COUNT] [--seed SEED] [--flat] [--list] FILE-OR-FOLDER...
// Plays the inputs of a corpus and COUNT random ones, each twice over differently filled
// memory, and requires that a quiet host sees nothing on its standard streams, that the answers
// are the same both times and that no memory stays behind. With --flat the inputs are played
// once, and what the process holds after the first tenth must be what it holds at the end.

#include <malloc.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "fuzz/target.h"

namespace {

using Input = std::vector<std::uint8_t>;

// The standard streams of the process that plays are held back in a file, which its parent
// shows when that process ends badly, whatever ended it.
class HeldStreams {
  public:
    HeldStreams() : file_(std::tmpfile()), playing_(Shared()) {
        if (!file_ || playing_ == MAP_FAILED) std::exit(2);
        const pid_t child = fork();
        if (child != 0) Watch(child);
        out_ = dup(STDOUT_FILENO);
        dup2(fileno(file_), STDOUT_FILENO);
        dup2(fileno(file_), STDERR_FILENO);
    }
    void Begin(int input) { *playing_ = input; }
    long long Written() const {
        std::fflush(stdout);
        struct stat status {};
        fstat(fileno(file_), &status);
        return status.st_size;
    }
    void Discard() {
        std::fflush(stdout);
        if (ftruncate(fileno(file_), 0) != 0 || lseek(fileno(file_), 0, SEEK_SET) != 0)
            std::exit(2);
    }
    [[noreturn]] void Fail(const char* what) {
        std::printf("%s\n", what);
        std::exit(1);
    }
    void Release() {
        std::fflush(stdout);
        dup2(out_, STDOUT_FILENO);
    }

  private:
    std::FILE* file_;
    int* playing_;
    int out_ = -1;

    static int* Shared() {
        return static_cast<int*>(mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE,
                                      MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    }

    [[noreturn]] void Watch(pid_t child) {
        int status = -1;
        if (child < 0 || waitpid(child, &status, 0) != child) std::exit(2);
        if (status == 0) std::exit(0);
        std::fprintf(stderr, "input %d:\n", *playing_);
        std::rewind(file_);
        for (int c; (c = std::fgetc(file_)) != EOF;) std::fputc(c, stderr);
        std::exit(1);
    }
};

Input ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Input(std::istreambuf_iterator<char>(in), {});
}

Input Random(unsigned seed, int number) {
    std::mt19937 bits(seed * 1000003u + static_cast<unsigned>(number));
    Input input(bits() % 400);
    for (auto& byte : input) byte = static_cast<std::uint8_t>(bits());
    return input;
}

std::uint64_t PlayOver(int fill, const Input& input) {
    mallopt(M_PERTURB, fill);
    return Fuzz::Play(input.data(), input.size());
}

// Without what the heap keeps at hand from the largest input so far.
long long Resident() {
    malloc_trim(0);
    std::ifstream statm("/proc/self/statm");
    long long pages = 0;
    statm >> pages >> pages;
    return pages * sysconf(_SC_PAGESIZE);
}

}  // namespace

int main(int argc, char** argv) {
    int random = 0;
    unsigned seed = 1;
    bool flat = false, listed = false;
    std::vector<std::filesystem::path> files;
    for (int k = 1; k < argc; ++k) {
        const std::string argument = argv[k];
        if (argument == "--flat")
            flat = true;
        else if (argument == "--list")
            listed = true;
        else if (argument == "--random" && k + 1 < argc)
            random = std::atoi(argv[++k]);
        else if (argument == "--seed" && k + 1 < argc)
            seed = static_cast<unsigned>(std::atoi(argv[++k]));
        else if (std::filesystem::is_directory(argument))
            for (const auto& entry : std::filesystem::directory_iterator(argument))
                files.push_back(entry.path());
        else
            files.emplace_back(argument);
    }
    std::sort(files.begin(), files.end());
    const int count = static_cast<int>(files.size()) + random;
    const auto input = [&](int k) {
        const int n = static_cast<int>(files.size());
        return k < n ? ReadFile(files[static_cast<std::size_t>(k)]) : Random(seed, k - n);
    };
    for (int k = 0; k < static_cast<int>(files.size()) && listed; ++k)
        std::printf("input %d: %s\n", k, files[static_cast<std::size_t>(k)].c_str());
    std::fflush(stdout);

    HeldStreams streams;
    long long settled = 0;
    Fuzz::HeapUse held{};
    for (int k = 0; k < count; ++k) {
        streams.Begin(k);
        const Input bytes = input(k);
        if (flat) {
            Fuzz::Play(bytes.data(), bytes.size());
            streams.Discard();
            if (k == count / 10) {
                settled = Resident();
                held = Fuzz::InUse();
            }
            continue;
        }
        const std::uint64_t first = PlayOver(0xa5, bytes);
        const Fuzz::HeapUse before = Fuzz::InUse();  // what is set up once is there by now
        const std::uint64_t second = PlayOver(0x3c, bytes);
        if (Fuzz::InUse().blocks != before.blocks) streams.Fail("memory stays behind");
        if (first != second) streams.Fail("played again, it is answered otherwise");
        if (Fuzz::MayHaveWritten())
            streams.Discard();
        else if (streams.Written() != 0)
            streams.Fail("with a handler installed, this was written");
    }
    const long long grown = Resident() - settled, blocks = Fuzz::InUse().blocks - held.blocks;
    streams.Release();
    std::printf("%d inputs\n", count);
    if (!flat) return 0;
    std::printf("after the first tenth: %lld blocks more, %lld KiB resident more\n", blocks,
                grown / 1024);
    return blocks > 16 || grown > (1 << 20) ? 1 : 0;
}
