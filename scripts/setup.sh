# Shared by the scripts beside it, which source it; leaves the shell in the repository root.

cd "$(dirname "${BASH_SOURCE[0]}")/.."
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
export CTEST_PARALLEL_LEVEL=${CTEST_PARALLEL_LEVEL:-$(nproc)}

# need PROBE=PACKAGE...
# Installs the Debian package of every probe, a command or a file, that is not there. Without
# the rights to do so it prints the line to run and stops.
need() {
    local entry probe missing=()
    for entry in "$@"; do
        probe=${entry%%=*}
        [[ -e $probe ]] || command -v "$probe" >/dev/null || missing+=("${entry#*=}")
    done
    ((${#missing[@]})) || return 0

    local update="apt-get update -q" install="apt-get install -q -y --no-install-recommends ${missing[*]}"
    local as_root
    if ! command -v apt-get >/dev/null; then
        echo "Please install what these Debian packages hold: ${missing[*]}" >&2
        exit 1
    elif [[ $(id -u) == 0 ]]; then
        as_root="env"
    elif sudo -n true 2>/dev/null; then
        as_root="sudo env"
    else
        echo "Please run: sudo $update && sudo $install" >&2
        exit 1
    fi
    echo "Installing ${missing[*]}"
    $as_root $update
    $as_root DEBIAN_FRONTEND=noninteractive $install
}

# Prints the option that chooses Ninja for a build directory configured for the first time; an
# existing one keeps its generator.
generator_option() {
    if [[ ! -e $1/CMakeCache.txt ]] && command -v ninja >/dev/null; then
        echo "-GNinja"
    fi
}

# build_preset NAME [TARGET]: configures a preset and builds it, or one target of it.
build_preset() {
    cmake --preset "$1" $(generator_option "build/$1")
    cmake --build --preset "$1" ${2:+--target "$2"}
}
