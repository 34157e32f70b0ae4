// The files that a user hands to the command-line host: model dumps, the JSON files that name
// them, and columns of samples. A file is read, or refused in one line that names it.

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "fuzz/byte_stream.h"
#include "fuzz/quiet_host.h"
#include "fuzz/target.h"
#include "tools/zemra/excitation.h"
#include "tools/zemra/failure.h"
#include "tools/zemra/grid.h"
#include "tools/zemra/model_file.h"
#include "tools/zemra/samples.h"

namespace {

using Fuzz::Broken;
using Fuzz::Digest;

constexpr char kDump[] =
    "AMATRIX:\nTYPE: DENSE\n  ROWSIZE: 1\n  COLUMNSIZE: 1\n  COLUMNORDER:\n    -1.0E+000\n"
    "BMATRIX:\nTYPE: DENSE\n  ROWSIZE: 1\n  COLUMNSIZE: 2\n  COLUMNORDER:\n    1\n    2\n"
    "CMATRIX:\nTYPE: DENSE\n  ROWSIZE: 2\n  COLUMNSIZE: 1\n  COLUMNORDER:\n    1\n    1\n"
    "DMATRIX:\nTYPE: DENSE\n  ROWSIZE: 2\n  COLUMNSIZE: 2\n  COLUMNORDER:\n"
    "    0\n    0\n    0\n    0\n";

// A folder of this process, in memory where there is such a place, and the files in it.
class Folder {
  public:
    Folder() {
        std::string path = std::filesystem::exists("/dev/shm")
                               ? "/dev/shm"
                               : std::filesystem::temp_directory_path().string();
        path += "/zemra_fuzz_XXXXXX";
        if (!mkdtemp(path.data())) Broken("there is a folder for files");
        path_ = path + "/";
        Write("model.txt", kDump);
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const std::string& Path() const { return path_; }
    void Write(const std::string& name, const std::string& content) const {
        std::ofstream(path_ + name, std::ios::binary) << content;
    }

  private:
    std::string path_;
};

// The sizes and values that the reader promises of every model it lets through.
void Check(const Tool::ModelFile& model, Digest& digest) {
    const auto& [A, B, C, D] = model.matrices;
    const auto filled = [](const Example::DumpedMatrix& m) {
        return m.values.size() ==
               static_cast<std::size_t>(m.rows) * static_cast<std::size_t>(m.columns);
    };
    if (!filled(A) || !filled(B) || !filled(C) || !filled(D) || A.rows < 1 ||
        A.rows != A.columns || B.rows != A.rows || C.columns != A.rows || D.rows != C.rows ||
        D.columns != B.columns)
        Broken("the matrices of a model fit");
    for (const auto* m : {&A, &B, &C, &D})
        for (const double x : m->values) {
            if (!std::isfinite(x)) Broken("a model is finite");
            digest.Add(x);
        }
    if (model.inputs.size() != static_cast<std::size_t>(B.columns) ||
        model.excitations.size() != model.inputs.size() || model.outputs.empty() ||
        model.states.size() != static_cast<std::size_t>(A.rows))
        Broken("there is a channel for each row and column");
    for (const auto& excitation : model.excitations)
        for (const double f : {0.0, 0.1, 1.0, 1e9})
            if (excitation.density) digest.Add(excitation.density(f).real());
    for (const auto& cross : model.cross) digest.Add(cross.density(2.0).imag());
    if (model.grid && model.grid->count <= 1000)
        for (const double w : Tool::MakeGrid(*model.grid, {{-0.1, 3.0}, {-0.1, -3.0}}).w)
            digest.Add(w);
}

}  // namespace

std::uint64_t Fuzz::Play(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    const QuietHost host;
    Digest digest;
    ByteStream in(data, size);
    const int kind = in.Choice(4);
    const std::string file = folder.Path() + "file";
    folder.Write("file", in.Rest());
    try {
        if (kind == 0) {
            for (const auto& column : Tool::ReadSamples(file).columns)
                for (const double x : column) digest.Add(x);
        } else {
            Check(Tool::ReadModel(file), digest);
        }
    } catch (const Tool::BadInput& error) {
        // A line that begins with the file: this one, or a dump that it names by an absolute
        // path.
        const std::string what = error.what();
        if (!what.starts_with('/') || what.find('\n') != std::string::npos)
            Broken(error.what());
        digest.Add(what.starts_with(folder.Path()) ? what.substr(folder.Path().size()) : what);
    } catch (const std::bad_alloc&) {
        digest.Add(-1);
    }
    return digest.Value();
}
