# shellcheck shell=bash disable=SC2034
# Shared by the scripts; to be sourced. Talks on stderr only: stdout belongs to the
# program that a command runs in the end.
YMD_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
YMD_BUILD=$YMD_ROOT/build
YMD_CACHE=${YMD_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/ymdshow}
YMD_CXX=x86_64-w64-mingw32-g++-posix

say() { printf '%s\n' "$*" >&2; }
die() {
    say "error: $*"
    exit 1
}

# step WHAT CMD...: runs one step of the set-up; with YMD_TIMING=1 says how long it took.
step() {
    local what=$1 start=$EPOCHREALTIME status=0
    shift
    "$@" || status=$?
    if [ -n "${YMD_TIMING:-}" ]; then
        local us=$((${EPOCHREALTIME/[.,]/} - ${start/[.,]/}))
        printf 'timing: %-28s %d.%02d s\n' "$what" $((us / 1000000)) $((us / 10000 % 100)) >&2
    fi
    return $status
}

# logged LOG CMD...: the command's talk goes to LOG; its end is shown if it fails.
logged() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    if ! "$@" >"$log" 2>&1 </dev/null; then
        tail -n 30 "$log" >&2
        say "error: failed: $* (all of it: $log)"
        return 1
    fi
}

# with_lock FILE CMD...: two commands started at once do not build the same thing twice.
with_lock() {
    local file=$1 fd
    shift
    mkdir -p "$(dirname "$file")"
    exec {fd}>"$file"
    if ! flock -n "$fd"; then
        say "setup: waiting for another run ($file)"
        flock "$fd"
    fi
    local status=0
    # Children that outlive the step must not keep the lock.
    "$@" {fd}>&- || status=$?
    exec {fd}>&-
    return $status
}

# tests_named PART: the test programs with PART in their names, one a line: name, file below
# bin, and what else runs it.
tests_named() { awk -v part="$1" 'index($1, part)' "$YMD_BUILD/tests.txt"; }
