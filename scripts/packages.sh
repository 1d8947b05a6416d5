#!/usr/bin/env bash
# Installs the Debian packages that the build machine lacks. Costs nothing when all are there.
#
#   scripts/packages.sh [play|check]
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

# To build and run.
PACKAGES=(cmake ninja-build g++-mingw-w64-x86-64-posix libz-mingw-w64-dev libz-mingw-w64 libcli11-dev
    googletest nasm meson pkgconf make xz-utils wine wine64 libwine xvfb xauth ffmpeg ca-certificates)
# To check: the system's own filters play too, the fuzz tests are native programs, the format
# is clang-format's, what the speakers play is recorded, the scheme scripts are held against
# their schema, the bindings against the C header.
[ "${1:-play}" = check ] && PACKAGES+=(gstreamer1.0-libav gstreamer1.0-plugins-base gstreamer1.0-plugins-good
    gstreamer1.0-plugins-ugly gstreamer1.0-plugins-bad clang libclang-rt-14-dev clang-format git pulseaudio
    pulseaudio-utils python3-jsonschema python3-pycparser doxygen mono-mcs)

lacking() {
    comm -13 <(dpkg-query -W -f '${db:Status-Abbrev}${Package}\n' "${PACKAGES[@]}" 2>/dev/null |
        sed -n 's/^ii //p' | sort -u) <(printf '%s\n' "${PACKAGES[@]}" | sort -u)
}
install_packages() {
    local run=()
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || die "these packages are missing, and installing them takes root: $MISSING"
        run=(sudo)
    fi
    local apt=("${run[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y
        -o Acquire::Retries=3 -o DPkg::Lock::Timeout=120)
    "${apt[@]}" update
    # shellcheck disable=SC2086
    "${apt[@]}" install --no-install-recommends $MISSING
}

command -v dpkg-query >/dev/null || {
    say "note: not a Debian system; these packages' programs are taken to be there: ${PACKAGES[*]}"
    exit 0
}
MISSING=$(lacking | tr '\n' ' ')
[ -n "$MISSING" ] || exit 0
command -v apt-get >/dev/null || die "these packages are missing, and there is no apt-get: $MISSING"
say "setup: installing $(wc -w <<<"$MISSING") packages (about 45 s): $MISSING"
[ "$(id -u)" = 0 ] || ! command -v sudo >/dev/null || sudo -v
export MISSING
step "packages" logged "$YMD_CACHE/log/packages.log" install_packages || die "could not install: $MISSING"
