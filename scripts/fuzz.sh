#!/usr/bin/env bash
# Fuzzes the text and script code natively, under address and undefined-behaviour
# sanitizers. Quiet when nothing is found.
#
#   scripts/fuzz.sh [SECONDS]      15 s in all by default, shared by the targets
#
# A find is kept in build/fuzz/artifacts; its target takes the file's path to run it
# again. What new inputs reach more code stay in build/fuzz/corpus for the next run.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

TARGETS=(text_fuzz scheme_fuzz)
FUZZ=$YMD_BUILD/fuzz
SOURCE=$YMD_ROOT/tests/fuzz

jsoncpp_source() {
    local tarball dir=$FUZZ/jsoncpp
    [ -e "$dir/.unpacked" ] && return
    tarball=$(ls "$YMD_CACHE"/sources/libjsoncpp_*.orig.tar.* 2>/dev/null | head -n 1)
    if [ -z "$tarball" ]; then # built long ago: the recipe fetches it
        mkdir -p "$FUZZ/recipe"
        PREFIX=$FUZZ/recipe WORK=$FUZZ/recipe/work bash "$YMD_ROOT/scripts/deps.sh" recipe jsoncpp
        tarball=$(ls "$YMD_CACHE"/sources/libjsoncpp_*.orig.tar.* | head -n 1)
    fi
    rm -rf "$dir"
    mkdir -p "$dir"
    tar -xf "$tarball" -C "$dir" --strip-components=1
    touch "$dir/.unpacked"
}

build() {
    jsoncpp_source
    local launcher=()
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    [ -e "$FUZZ/build.ninja" ] ||
        cmake -S "$SOURCE" -B "$FUZZ" -G Ninja -DCMAKE_CXX_COMPILER=clang++ \
            -DJSONCPP_SOURCE="$FUZZ/jsoncpp" "${launcher[@]}"
    ninja -C "$FUZZ"
}

# run TARGET SECONDS
run() {
    local target=$1 corpus=$FUZZ/corpus/$1 log=$FUZZ/$1.log
    mkdir -p "$corpus" "$FUZZ/artifacts"
    ASAN_OPTIONS=${ASAN_OPTIONS:-allocator_may_return_null=0} \
        "$FUZZ/$target" -max_total_time="$2" -timeout=10 -rss_limit_mb=2048 -max_len=8192 \
        -dict="$SOURCE/scheme.dict" -artifact_prefix="$FUZZ/artifacts/$target-" \
        -print_final_stats=1 "$corpus" "$SOURCE/corpus/$target" >"$log" 2>&1 </dev/null || return 1
}

main() {
    local seconds=${1:-15} target failed=0 pids=()
    [[ $seconds =~ ^[0-9]+$ ]] || die "usage: scripts/fuzz.sh [SECONDS]"
    command -v clang++ >/dev/null || die "no clang: run scripts/setup.sh first"
    logged "$FUZZ.log" build || die "the fuzz targets do not build"
    # Each gets its part of the time; they run side by side.
    for target in "${TARGETS[@]}"; do
        run "$target" "$seconds" &
        pids+=($!)
    done
    for i in "${!TARGETS[@]}"; do
        target=${TARGETS[$i]}
        wait "${pids[$i]}" && continue
        failed=1
        grep -E 'Assertion |ERROR: |runtime error:|Test unit written' "$FUZZ/$target.log" >&2 ||
            tail -n 20 "$FUZZ/$target.log" >&2
        say "error: $target failed; all of it: $FUZZ/$target.log"
    done
    return $failed
}
main "$@"
