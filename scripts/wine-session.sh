#!/usr/bin/env bash
# Runs a command with Wine ready under it: the build tree's own prefix, a display, sound or
# a silent stand-in for it, a wineserver that lives as long as the command.
#
#   scripts/wine-session.sh [--build DIR] [--headless] [--limit SECONDS] COMMAND...
#
# --headless keeps off the user's display and speakers. The command is a Linux one; what
# it starts through scripts/run-wine joins the session. Sessions of one build tree at the
# same time share the prefix and the display; the last one to end puts both away.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

BUILD=$YMD_BUILD
HEADLESS=
LIMIT=()
while [ $# -gt 0 ]; do
    case $1 in
    --build) BUILD=$2 && shift 2 ;;
    --headless) HEADLESS=1 && shift ;;
    --limit) LIMIT=(timeout --foreground -k 10 "$2") && shift 2 ;;
    *) break ;;
    esac
done
[ $# -gt 0 ] || die "usage: scripts/wine-session.sh [--build DIR] [--headless] [--limit SECONDS] COMMAND..."
BUILD=$(cd "$BUILD" && pwd)
STATE=$BUILD/wine-session
mkdir -p "$STATE"

first_of() {
    local candidate
    for candidate in "$@"; do
        command -v "$candidate" && return 0
    done
    die "none of these is installed: $*"
}
# The plain loader: Debian's wrapper asks for a 32-bit Wine at each start.
YMD_WINE=$(first_of /usr/lib/wine/wine64 wine64 wine)
WINESERVER=$(first_of /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver wineserver)

export YMD_WINE
export WINEPREFIX=$BUILD/wineprefix WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=mscoree,mshtml=
export LANG=C.UTF-8
unset LC_ALL LC_CTYPE
windows_path() {
    local path=Z:$1
    printf '%s' "${path//\//\\}"
}
WINEPATH=$(windows_path "$BUILD/bin")
YMD_MEDIA_DIR=$(windows_path "$BUILD/media")
export WINEPATH YMD_MEDIA_DIR

silence() {
    printf 'pcm.!default { type null }\nctl.!default { type null }\n' >"$STATE/alsa.conf"
    export ALSA_CONFIG_PATH=$STATE/alsa.conf PULSE_SERVER=unix:/nonexistent
}
has_sound() {
    [ -n "${PULSE_SERVER:-}" ] || [ -S "${XDG_RUNTIME_DIR:-/run/user/$UID}/pulse/native" ] ||
        grep -q '^ *[0-9]' /proc/asound/cards 2>/dev/null
}
has_display() {
    [ -n "${DISPLAY:-}" ] || return 1
    if command -v xdpyinfo >/dev/null; then
        timeout 5 xdpyinfo >/dev/null 2>&1
    else
        [[ $DISPLAY != :* ]] || [ -S "/tmp/.X11-unix/X$(expr "$DISPLAY" : ':\([0-9]*\)')" ]
    fi
}

stop_display() {
    local number pid
    [ -f "$STATE/display" ] || return 0
    read -r number pid <"$STATE/display"
    [ "$(cat "/proc/$pid/comm" 2>/dev/null)" != Xvfb ] || kill "$pid" 2>/dev/null || true
    rm -f "$STATE/display"
}
start_display() {
    local number=''
    stop_display # of a session that was killed
    : >"$STATE/displayfd"
    Xvfb -displayfd 5 -screen 0 1280x800x24 -nolisten tcp -noreset 5>"$STATE/displayfd" \
        >/dev/null 2>&1 </dev/null {GATE}>&- {USE}>&- &
    local pid=$!
    disown
    for _ in {1..1500}; do
        read -r number <"$STATE/displayfd" && [ -n "$number" ] && break
        kill -0 "$pid" 2>/dev/null || die "Xvfb did not start"
        sleep 0.02
    done
    echo "$number $pid" >"$STATE/display"
}

make_prefix() {
    # A crash is an exit status, not a dialog that waits; no window manager is waited for.
    local user='HKCU\Software\Wine'
    timeout 600 "$YMD_WINE" wineboot -i &&
        timeout 120 "$YMD_WINE" reg add "$user\WineDbg" /v ShowCrashDialog /t REG_DWORD /d 0 /f &&
        timeout 120 "$YMD_WINE" reg add "$user\X11 Driver" /v Managed /t REG_SZ /d N /f &&
        timeout 120 "$WINESERVER" -w && touch "$WINEPREFIX/.ready"
}

# GATE is held while a session begins or ends; USE is shared by those that run.
enter() {
    exec {GATE}>"$STATE/gate" {USE}>"$STATE/use"
    flock "$GATE"
    local fresh=
    flock -n -x "$USE" && fresh=1
    flock -s "$USE"
    if [ -n "$HEADLESS" ] || ! has_display; then
        [ -z "$fresh" ] && [ -f "$STATE/display" ] || start_display
        read -r DISPLAY _ <"$STATE/display"
        export DISPLAY=:$DISPLAY
        unset WAYLAND_DISPLAY XAUTHORITY
    fi
    [ -z "$HEADLESS" ] && has_sound || silence
    if [ ! -f "$WINEPREFIX/.ready" ]; then
        say "setup: making the Wine prefix, once (about 12 s)"
        step "Wine prefix" logged "$STATE/prefix.log" make_prefix {GATE}>&- {USE}>&-
    fi
    # Not one server per program: it stays until the session ends. Wine's services come with
    # the first program and would keep its output open, which a reader waits for.
    "$WINESERVER" -p {GATE}>&- {USE}>&- >/dev/null 2>&1 || true
    [ -z "$fresh" ] || timeout 60 "$YMD_WINE" cmd /c exit {GATE}>&- {USE}>&- >/dev/null 2>&1 </dev/null || true
    flock -u "$GATE"
}

leave() {
    local status=$?
    trap - EXIT
    flock "$GATE"
    flock -u "$USE"
    if flock -n -x "$USE"; then
        timeout 20 "$WINESERVER" -k {GATE}>&- {USE}>&- >/dev/null 2>&1 || true
        stop_display
    fi
    exit $status
}

if [ "${YMD_WINE_SESSION:-}" = "$WINEPREFIX" ]; then
    exec "${LIMIT[@]}" "$@"
fi
enter
trap leave EXIT
trap : INT TERM
export YMD_WINE_SESSION=$WINEPREFIX
"${LIMIT[@]}" "$@" {GATE}>&- {USE}>&-
