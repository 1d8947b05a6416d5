#!/usr/bin/env bash
# Runs clang-tidy (package clang-tidy) over sources of the tree, all of them by default.
# Not a part of ./check: its findings are for a reader to weigh.
#
#   scripts/tidy.sh [FILE...]
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
[ -f "$YMD_BUILD/compile_commands.json" ] || die "build first: ./check"
# Clang knows the target, but not where Debian's cross compiler has its C++ headers.
headers=$(dirname "$("$YMD_CXX" -print-libgcc-file-name)")/include/c++
cd "$YMD_ROOT"
files=("$@")
[ $# -gt 0 ] || mapfile -t files < <(git ls-files 'src/*.cpp' 'ymlib/*.cpp' 'filters/*.cpp' 'tools/*.cpp')
printf '%s\0' "${files[@]}" | xargs -0 -n 4 -P "$(nproc)" clang-tidy -p "$YMD_BUILD" --quiet \
    --extra-arg=--target=x86_64-w64-mingw32 --extra-arg="-isystem$headers" \
    --extra-arg="-isystem$headers/x86_64-w64-mingw32"
