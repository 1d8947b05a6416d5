#!/usr/bin/env bash
# Makes the files that the benchmarks of the media module play.
#
#   scripts/bench-media.sh DIRECTORY
set -euo pipefail
mkdir -p "$1"
cd "$1"
make() {
    local file=$1
    shift
    ffmpeg -nostdin -v error -y "$@" -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac -fflags +bitexact "part-$file"
    mv "part-$file" "$file"
}
picture() { echo "-f lavfi -i testsrc2=duration=10:size=$1:rate=25"; }
# shellcheck disable=SC2046
{
    # One stream: a key frame a second, and only the first.
    make short.mp4 $(picture 640x360) -g 25
    make long.mp4 $(picture 640x360) -g 1000 -sc_threshold 0
    make 1080p.mp4 $(picture 1920x1080) -f lavfi -i sine=duration=10
}
