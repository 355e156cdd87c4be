# Shared by ./run, ./test and ./bench: finds out what is missing, installs it with apt, configures and builds. Sourced by
# bash scripts that have set `root`. Everything here prints to standard error, because standard output belongs to the
# program.

# What each purpose requires: how to look for it, its name there, and the Debian package that contains it.
requirementsOf() {
    case $1 in
    build) cat <<'TABLE' ;;
tool    g++             g++
tool    cmake           cmake
tool    ninja           ninja-build
tool    pkg-config      pkg-config
module  libavcodec      libavcodec-dev
module  libavformat     libavformat-dev
module  libavutil       libavutil-dev
module  libswscale      libswscale-dev
module  libswresample   libswresample-dev
module  imagequant      libimagequant-dev
module  cairo           libcairo2-dev
module  pangocairo      libpango1.0-dev
module  simdjson        libsimdjson-dev
module  libhwy          libhwy-dev
module  rubberband      librubberband-dev
module  CLI11           libcli11-dev
module  xcb             libxcb1-dev
module  xcb-shm         libxcb-shm0-dev
module  xcb-damage      libxcb-damage0-dev
module  xcb-xfixes      libxcb-xfixes0-dev
module  xcb-composite   libxcb-composite0-dev
module  xcb-randr       libxcb-randr0-dev
module  xcb-xinput      libxcb-xinput-dev
module  xcb-res         libxcb-res0-dev
module  xcb-keysyms     libxcb-keysyms1-dev
module  xcb-screensaver libxcb-screensaver0-dev
module  xcb-xkb         libxcb-xkb-dev
module  xkbcommon       libxkbcommon-dev
module  xkbcommon-x11   libxkbcommon-x11-dev
module  libpulse        libpulse-dev
font    Inter           fonts-inter
font    DejaVu          fonts-dejavu-core
font    Quicksand       fonts-quicksand
TABLE
    test) cat <<'TABLE' ;;
module  gtest           libgtest-dev
tool    ffmpeg          ffmpeg
tool    ffprobe         ffmpeg
module  xcb-xtest       libxcb-xtest0-dev
tool    Xvfb            xvfb
tool    openbox         openbox
tool    pulseaudio      pulseaudio
TABLE
    fuzz) cat <<'TABLE' ;;
tool    clang++         clang
fuzzer  libFuzzer       libclang-rt-dev
TABLE
    bench) cat <<'TABLE' ;;
module  benchmark       libbenchmark-dev
tool    ffmpeg          ffmpeg
tool    time            time
tool    Xvfb            xvfb
TABLE
    esac
}

say() { printf '%s\n' "$*" >&2; }
fail() {
    say "$(basename "$0"): $*"
    exit 1
}

# True if the requirement is installed.
isPresent() {
    local kind=$1 name=$2 package=$3
    case $kind in
    tool) type -P "$name" >/dev/null ;;
    module) command -v pkg-config >/dev/null && pkg-config --exists "$name" 2>/dev/null ;;
    fuzzer)  # a library that only clang finds
        echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' |
            clang++ -fsanitize=fuzzer,address -x c++ - -o /dev/null 2>/dev/null
        ;;
    font)
        if command -v dpkg-query >/dev/null; then
            [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ]
        elif command -v fc-list >/dev/null; then
            fc-list : family | grep -q "$name"
        fi
        ;;
    esac
}

# Prints the requirements of the given purposes that are missing.
missingRequirements() {
    local purpose kind name package
    for purpose in "$@"; do
        requirementsOf "$purpose" | while read -r kind name package; do
            isPresent "$kind" "$name" "$package" || printf '%s %s %s\n' "$kind" "$name" "$package"
        done
    done
}

# Runs a command with its output in a log. A terminal shows the latest line; a failure shows the log.
quietly() {
    local log=$1 line status
    shift
    if [ -t 2 ]; then
        "$@" 2>&1 | tee "$log" | while IFS= read -r line; do printf '\r\033[K%.76s' "$line" >&2; done
        status=${PIPESTATUS[0]}
        printf '\r\033[K' >&2
    else
        "$@" >"$log" 2>&1
        status=$?
    fi
    [ "$status" = 0 ] || cat "$log" >&2
    return "$status"
}

asRoot() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

apt() {
    mkdir -p "$root/build"
    quietly "$root/build/packages.log" asRoot env DEBIAN_FRONTEND=noninteractive \
        apt-get -q -o DPkg::Lock::Timeout=540 -o Dpkg::Use-Pty=0 "$@"
}

# True if apt's package lists exist and are at most a day old.
packageListsAreFresh() {
    [ -n "$(find /var/lib/apt/lists -maxdepth 1 -name '*_Packages*' -mtime -1 -print -quit 2>/dev/null)" ]
}

# Installs what the given purposes require, or ends the script with a list of what is missing.
ensureInstalled() {
    local missing packages
    missing=$(missingRequirements "$@")
    [ -z "$missing" ] && return
    if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
        say "$(basename "$0"): this system has no apt; please install what is missing with its package manager:"
        while read -r kind name package; do
            case $kind in
            tool) say "  $name (a program)" ;;
            module) say "  $name (a library with its headers, found by pkg-config)" ;;
            font) say "  $name (a font family)" ;;
            fuzzer) say "  $name (the fuzzing library of clang)" ;;
            esac
        done <<<"$missing"
        exit 1
    fi
    packages=$(awk '{print $3}' <<<"$missing" | sort -u | tr '\n' ' ')
    if [ "$(id -u)" != 0 ] && ! command -v sudo >/dev/null; then
        fail "packages are missing and there is no sudo; run as root: apt-get install --no-install-recommends $packages"
    fi
    say "Installing $packages"
    packageListsAreFresh || apt update || say "The package lists could not be updated; continuing with the old ones."
    # Even fresh lists can name files that have since been replaced on the server.
    # shellcheck disable=SC2086
    apt install -y --no-install-recommends $packages ||
        { apt update && apt install -y --no-install-recommends $packages; } ||
        fail "apt could not install: $packages"
    missing=$(missingRequirements "$@")
    [ -z "$missing" ] || fail "still missing after installing: $(awk '{print $2}' <<<"$missing" | tr '\n' ' ')"
}

# buildPreset PRESET "TARGET…" [CMAKE OPTION…]: configures if necessary, and builds. A second build in the same folder
# waits for the first.
buildPreset() {
    local preset=$1 targets=$2 folder=$root/build/$1
    shift 2
    mkdir -p "$folder"
    (
        if command -v flock >/dev/null; then flock 9; fi
        if [ ! -f "$folder/build.ninja" ] || [ $# -gt 0 ]; then
            (cd "$root" && quietly "$folder/configure.log" cmake --preset "$preset" "$@") ||
                fail "the build could not be configured, see above"
        fi
        # shellcheck disable=SC2086
        quietly "$folder/build.log" cmake --build "$folder" --target $targets || fail "the build failed, see above"
    ) 9>"$folder/.lock" || exit 1
}
