#!/usr/bin/env bash
# Brings a checkout to where a command can run: packages, dependencies, build, Wine prefix,
# samples. Says one line for each step that takes time, and nothing when all is in place.
# With YMD_TIMING=1 it says how long each step took.
#
#   scripts/setup.sh play      what ./play and ./ymds need
#   scripts/setup.sh check     everything that is built
#   scripts/setup.sh only NAME the test programs with NAME in their names
#   scripts/setup.sh bench     the benchmarks
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

configure() {
    local launcher=()
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    cmake -S "$YMD_ROOT" -B "$YMD_BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_TOOLCHAIN_FILE="$YMD_ROOT/cmake/mingw-w64.cmake" -DYMD_DEPS="$DEPS" \
        -DYMD_WERROR=ON "${launcher[@]}"
}

# Ninja itself configures again when a CMake file has changed. Other dependencies or another
# compiler need a tree from scratch.
configured() {
    local wanted
    wanted="$DEPS $("$YMD_CXX" -dumpfullversion) $YMD_ROOT"
    [ -f "$YMD_BUILD/build.ninja" ] && [ "$(cat "$YMD_BUILD/.configured" 2>/dev/null)" = "$wanted" ] && return
    rm -rf "$YMD_BUILD/CMakeCache.txt" "$YMD_BUILD/CMakeFiles"
    step "configure" logged "$YMD_BUILD/log/configure.log" configure
    echo "$wanted" >"$YMD_BUILD/.configured"
}

run_ninja() { ninja -C "$YMD_BUILD" "$@" >"$YMD_BUILD/log/build.log" 2>&1 </dev/null; }

build() {
    local log=$YMD_BUILD/log/build.log steps
    configured
    if [ -n "$ONLY" ]; then
        mapfile -t < <(tests_named "$ONLY" | cut -d ' ' -f 1)
        [ ${#MAPFILE[@]} -gt 0 ] ||
            die "no test program has $ONLY in its name; there are: $(cut -d ' ' -f 1 "$YMD_BUILD/tests.txt" | paste -sd ' ')"
        set -- "${MAPFILE[@]}"
    fi
    steps=$(ninja -C "$YMD_BUILD" -n "$@" | sed -n '$s/^\[[0-9]*\/\([0-9]*\)\].*/\1/p')
    [ -n "$steps" ] || return 0
    [ "$steps" -lt 5 ] || say "setup: building ($steps steps; several minutes from scratch)"
    if ! step "build" run_ninja "$@"; then
        # The compiler's words without the command lines and what did build.
        grep -vE '^(: && |-- |\[[0-9]+/[0-9]+\]|FAILED:|ninja: |/usr/bin/(ccache|x86_64-w64))' "$log" | head -n 60 >&2
        die "the build failed (all of it: $log)"
    fi
}

wine_prefix() {
    [ -f "$YMD_BUILD/wineprefix/.ready" ] || "$YMD_ROOT/scripts/wine-session.sh" --headless true
}

setup() {
    # The prefix and the samples are made while the compilers run.
    local jobs=()
    mkdir -p "$YMD_BUILD/log"
    wine_prefix &
    jobs+=($!)
    step "samples" "$YMD_ROOT/scripts/media.sh" "$YMD_BUILD/media" "$SAMPLES" &
    jobs+=($!)
    build "${TARGETS[@]}"
    local job
    for job in "${jobs[@]}"; do
        wait "$job"
    done
}

ONLY=
case ${1:-} in
play) TARGETS=(ymd_play) SAMPLES=sample ;;
check) TARGETS=(all) SAMPLES=all ;;
only) TARGETS=() SAMPLES=all ONLY=$2 ;;
bench) TARGETS=(ymd_benches) SAMPLES=all ;;
*) die "usage: scripts/setup.sh play|check|only NAME|bench" ;;
esac
packages=check
[ "$1" != play ] || packages=play
"$YMD_ROOT/scripts/packages.sh" "$packages"
DEPS=$("$YMD_ROOT/scripts/deps.sh")
with_lock "$YMD_BUILD/.setup.lock" setup
