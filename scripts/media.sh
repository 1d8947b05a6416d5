#!/usr/bin/env bash
# Makes the sample clips that ./play shows and the tests read. A clip that is there is not
# made again while it is newer than this script.
#
#   scripts/media.sh DIRECTORY [all|sample]
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
SELF=$YMD_ROOT/scripts/media.sh
DIR=$1
mkdir -p "$DIR"

made=0
# clip FILE ARGUMENT...: ffmpeg's arguments after the common ones.
clip() {
    local file=$1
    shift
    [ "$DIR/$file" -nt "$SELF" ] && return 0
    ffmpeg -nostdin -v error -y "$@" -map_metadata -1 -fflags +bitexact "$DIR/part-$file"
    mv "$DIR/part-$file" "$DIR/$file"
    made=$((made + 1))
}
# The pictures count their frames and show the time.
picture() { echo -f lavfi -i "testsrc2=duration=$1:size=$2:rate=25${3:-}"; }
tone() { echo -f lavfi -i "sine=duration=$1:frequency=$2:sample_rate=44100"; }
h264='-c:v libx264 -preset veryfast -pix_fmt yuv420p'
aac='-c:a aac -b:a 96k'

# shellcheck disable=SC2046,SC2086
clips() {
    clip sample.mp4 $(picture 10 640x360) $(tone 10 440) $h264 $aac -movflags +faststart
    [ "$1" = sample ] && return
    clip clip.mp4 $(picture 3 320x240) $(tone 3 440) $h264 $aac
    clip clip.mkv $(picture 3 320x240) $(tone 3 440) $(tone 3 880) -map 0 -map 1 -map 2 $h264 $aac
    clip clip.avi $(picture 3 320x240) $(tone 3 440) -c:v mpeg4 -q:v 4 -c:a libmp3lame
    clip clip.mpg $(picture 3 320x240) $(tone 3 440) -c:v mpeg1video -q:v 4 -c:a mp2
    clip clip.mp3 $(tone 3 440) -c:a libmp3lame
    clip clip.wav $(tone 3 440) -c:a pcm_s16le
    clip video-only.mp4 $(picture 3 320x240) $h264
    clip audio-only.m4a $(tone 3 440) $aac
    clip picture.jpg $(picture 1 320x240) -frames:v 1
    clip anamorphic.mp4 $(picture 3 720x576 ,setsar=64/45) $h264
    # Turned by a note in the file, not in the picture.
    rotate=(-i "$DIR/clip.mp4" -c copy -metadata:s:v rotate=90)
    clip rotated.mp4 "${rotate[@]}"
    cp -u "$DIR/clip.mp4" "$DIR/测试.mp4"
    printf 'This is no video.\n' >"$DIR/text.mp4"
    : >"$DIR/empty.mp4"
    "$YMD_ROOT/scripts/mediainfo/media.sh" "$DIR/mediainfo"
}
clips "${2:-all}"
[ $made -eq 0 ] || say "setup: made $made sample clips"
