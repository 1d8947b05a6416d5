#!/usr/bin/env bash
# Makes the files that the media information's tests read, and probe.txt beside them: what
# ffprobe says of each. Nothing is made again while probe.txt is newer than this script.
#
#   scripts/mediainfo/media.sh DIRECTORY
set -euo pipefail
dir=$1
[ "$dir/probe.txt" -nt "${BASH_SOURCE[0]}" ] && exit 0
mkdir -p "$dir/sequence" "$dir/电影"
cd "$dir"
rm -f probe.txt

make() { ffmpeg -nostdin -v error -y "$@"; }
picture() { echo "testsrc2=duration=3:rate=${2:-25}:size=$1"; }
tone() { echo "sine=duration=3:frequency=$1:sample_rate=${2:-44100}"; }
h264=(-c:v libx264 -preset ultrafast -pix_fmt yuv420p)

make -f lavfi -i "$(picture 640x360)" -f lavfi -i "$(tone 440 48000)" "${h264[@]}" -c:a aac -ac 2 plain.mp4
make -f lavfi -i "$(picture 640x360 30000/1001)" -f lavfi -i "$(tone 440)" -f lavfi -i "$(tone 880 48000)" \
    -map 0 -map 1 -map 2 "${h264[@]}" -c:a:0 aac -ac:a:0 1 -c:a:1 ac3 -ac:a:1 2 two_audio.mkv
make -f lavfi -i "$(picture 320x240)" -f lavfi -i "$(tone 440)" -c:v mpeg4 -c:a libmp3lame -ac 2 divx.avi
make -f lavfi -i "$(picture 352x288)" -f lavfi -i "$(tone 440)" -c:v mpeg1video -c:a mp2 -ac 2 program.mpg
make -f lavfi -i "$(tone 440)" -c:a libmp3lame -ac 2 song.mp3
make -f lavfi -i "$(tone 440 48000)" -c:a pcm_s24le -ac 2 sound.wav
make -f lavfi -i "$(picture 642x362)" -frames:v 1 still.jpg
make -f lavfi -i "$(picture 720x576),setsar=64/45" "${h264[@]}" anamorphic.mp4
make -f lavfi -i "$(picture 1920x1080)" -frames:v 5 "${h264[@]}" tall.mkv
make -i plain.mp4 -c copy -metadata:s:v rotate=90 rotated.mp4
make -f lavfi -i "$(picture 64x48)" -frames:v 40 sequence/frame_%04d.dpx
cp plain.mp4 电影/片子.mp4

{
    for file in plain.mp4 two_audio.mkv divx.avi program.mpg song.mp3 sound.wav still.jpg \
        anamorphic.mp4 tall.mkv rotated.mp4 sequence/frame_0001.dpx 电影/片子.mp4; do
        echo "file|name=$file"
        ffprobe -v error -of compact=print_section=1 -show_entries \
            format=duration:stream=codec_type,codec_name,width,height,display_aspect_ratio,avg_frame_rate,duration,sample_rate,channels,bits_per_sample,bits_per_raw_sample:stream_side_data=rotation \
            "$file"
    done
} >probe.part
mv probe.part probe.txt
