#!/usr/bin/env bash
# Makes small files of every combination of container and codec that Debian's ffmpeg writes,
# and of what files do that nobody expects. A file that is there is not made again.
#
#   scripts/matrix.sh DIRECTORY
#
# Pictures carry their number (filters/pattern/FramePattern.h). matrix.tsv has a line a file:
# name, video tracks without attached pictures, audio tracks, width, height, duration in
# seconds as ffprobe gives them, and how long its packets last. NAME.times beside a file with pictures lists when each is shown:
# 100 ns units from the file's start, in order. truth-*: 12 s whose sound has the frequency
# 400 Hz + 400 Hz a second. bad/: what is broken. chart-*: colours, and NAME.bgra what ffmpeg makes of the picture.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
DIR=$1
TOOL=$YMD_ROOT/scripts/matrix.py
mkdir -p "$DIR"
cd "$DIR"
exec 9>.lock
flock 9
rm -f part-*
start=$SECONDS
made=0
# Dated by the newest that it stands on.
[ matrix.tsv -nt "$TOOL" ] && [ matrix.tsv -nt "${BASH_SOURCE[0]}" ] && exit 0

# As many at a time as there are processors.
job() {
    while [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; do wait -n || die "matrix: a file could not be made"; done
    made=$((made + 1))
    "$@" &
}
# clip FILE SIZE FRAMES ARGUMENT...: input 0 is the pictures. SIZE "-" is for sound alone.
write() {
    local file=$1 size=$2 frames=$3 part=part-$1
    shift 3
    local bitexact=(-fflags +bitexact -flags:v +bitexact -flags:a +bitexact)
    if [ "$size" = - ]; then
        ffmpeg -nostdin -v error -y "$@" "${bitexact[@]}" "$part"
    else
        "$TOOL" frames "${size%x*}" "${size#*x}" "$frames" "${turn:-}" |
            ffmpeg -v error -y -f rawvideo -pix_fmt rgb24 -s "${shown:-$size}" -r 25 -i - "$@" "${bitexact[@]}" "$part"
    fi
    mv "$part" "$file"
}
clip() { [ -s "$1" ] || job write "$@"; }
# derived FILE FROM COMMAND...: made of another one by a command that writes to stdout.
derived() {
    local file=$1
    shift
    [ -s "$file" ] && return
    "$@" >part-derived
    mv part-derived "$file"
    made=$((made + 1))
}
tone() { echo "-f lavfi -i sine=frequency=${1:-440}:sample_rate=${3:-48000}:duration=${2:-4}"; }
chirp="-f lavfi -i aevalsrc=0.5*sin(2*PI*(400*t+200*t*t)):d=12:s=48000"
x264='-c:v libx264 -preset superfast -crf 18 -pix_fmt yuv420p'
x265='-c:v libx265 -preset ultrafast -crf 20 -pix_fmt yuv420p -x265-params log-level=none'
av1='-c:v libsvtav1 -preset 12 -crf 25 -svtav1-params lookahead=0:keyint=50'
vp9='-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -b:v 1M -row-mt 1'
aac='-c:a aac -b:a 96k'
exec 8>&2
export SVT_LOG=-2

# shellcheck disable=SC2046,SC2086
files() {
    local s=384x256
    # MP4 and its kin
    clip h264-aac.mp4 $s 100 $(tone) $x264 $aac -movflags +faststart
    clip h264-long.mp4 $s 100 $(tone) $x264 -g 1000 -bf 3 $aac
    clip h264-high10.mp4 $s 100 $(tone) $x264 -pix_fmt yuv420p10le $aac
    clip h264-422.mp4 $s 50 $x264 -pix_fmt yuv422p
    clip h264-444.mp4 $s 50 $x264 -pix_fmt yuv444p
    clip h264-interlaced.mp4 720x576 75 $(tone) $x264 -flags +ilme+ildct -x264opts tff=1 -aspect 16:9 $aac
    clip h264-anamorphic.mp4 720x576 50 -vf setsar=64/45 $x264
    turn=90 shown=256x384 clip .turned.mp4 $s 100 $x264
    clip h264-vfr.mp4 $s 100 $(tone) -vf "setpts=(N+0.4*mod(N\,3))/25/TB" -vsync passthrough -enc_time_base 1/1000 -video_track_timescale 1000 $x264 $aac
    clip h264-51.mp4 $s 100 -f lavfi -i "aevalsrc=0.3*sin(2*PI*440*t)|0.3*sin(2*PI*550*t)|0.3*sin(2*PI*660*t)|0.1*sin(2*PI*60*t)|0.3*sin(2*PI*770*t)|0.3*sin(2*PI*880*t):c=5.1:d=4:s=48000" $x264 -c:a aac -b:a 256k
    clip h264-start5.mp4 $s 100 $(tone) $x264 $aac -output_ts_offset 5
    clip audio-early.mp4 $s 100 $(tone 440 1.5) $x264 $aac
    clip audio-late.mp4 $s 100 -itsoffset 2 $(tone 440 2) $x264 $aac
    clip video-only.mp4 $s 100 $x264
    clip fragments.mp4 $s 100 $(tone) $x264 $aac -movflags frag_keyframe+empty_moov
    clip hevc-aac.mp4 $s 100 $(tone) $x265 -tag:v hvc1 $aac
    clip av1-opus.mp4 $s 100 $(tone) $av1 -c:a libopus
    clip mpeg4-mp3.mp4 $s 100 $(tone) -c:v mpeg4 -q:v 3 -bf 2 -c:a libmp3lame
    clip vp9-flac.mp4 $s 100 $(tone) $vp9 -c:a flac -strict -2
    clip mpeg4-aac.3gp 352x288 100 $(tone 440 4 44100) -c:v mpeg4 -q:v 3 $aac
    clip h263-aac.3gp 352x288 100 $(tone 440 4 44100) -c:v h263 -q:v 1 -qmin 1 -mbd rd $aac
    clip aac.m4a - 0 $(tone 440 4 44100) $aac
    clip alac.m4a - 0 $(tone 440 4 44100) -c:a alac
    # MOV
    clip prores-pcm.mov $s 50 $(tone 440 2) -c:v prores -c:a pcm_s16le
    clip prores4444.mov $s 25 -c:v prores_ks -profile:v 4444 -pix_fmt yuva444p10le
    clip mjpeg-pcm24.mov $s 100 $(tone) -c:v mjpeg -q:v 3 -c:a pcm_s24be
    clip qtrle-alac.mov $s 50 $(tone 440 2) -c:v qtrle -c:a alac
    clip png-pcm.mov $s 50 $(tone 440 2) -c:v png -c:a pcm_s32le
    clip dv-pcm.mov 720x576 50 $(tone 440 2) -c:v dvvideo -pix_fmt yuv420p -c:a pcm_s16le
    # Matroska and WebM
    clip h264-ac3.mkv $s 100 $(tone) $x264 -c:a ac3
    clip hevc10-eac3.mkv $s 100 $(tone) $x265 -pix_fmt yuv420p10le -c:a eac3
    clip mpeg2-dts.mkv $s 100 $(tone) -c:v mpeg2video -q:v 3 -bf 2 -c:a dca -strict -2
    clip ffv1-flac.mkv $s 50 $(tone 440 2) -c:v ffv1 -pix_fmt bgr0 -c:a flac
    clip huffyuv-float.mkv $s 50 $(tone 440 2) -c:v huffyuv -pix_fmt yuv422p -c:a pcm_f32le
    clip h264-start3.mkv $s 100 $(tone) $x264 -c:a libmp3lame -output_ts_offset 3
    clip tracks.mkv $s 250 $(tone 440 10) $(tone 880 10) $(tone 1320 10) -map 0 -map 1 -map 2 -map 3 $x264 $aac
    clip tracks-mixed.mkv $s 250 $(tone 440 10) $(tone 880 10 44100) $(tone 1320 10 32000) -map 0 -map 1 -map 2 -map 3 $x264 -c:a:0 aac -c:a:1 libmp3lame -c:a:2 ac3
    [ -s lines.srt ] || printf '1\n00:00:00,500 --> 00:00:01,500\nFirst\n\n2\n00:00:02,000 --> 00:00:03,000\nSecond\n' >lines.srt
    clip subtitles.mkv $s 100 $(tone) -i lines.srt $x264 $aac -c:s srt
    clip vp8-vorbis.webm $s 100 $(tone) -c:v libvpx -deadline realtime -cpu-used 8 -b:v 1M -c:a libvorbis
    clip vp9-opus.webm $s 100 $(tone) $vp9 -c:a libopus
    clip av1-opus.webm $s 100 $(tone) $av1 -c:a libopus
    clip opus.webm - 0 $(tone) -c:a libopus
    # AVI, FLV, ASF
    clip mpeg4-mp3.avi $s 100 $(tone 440 4 44100) -c:v mpeg4 -q:v 3 -c:a libmp3lame
    clip mpeg4-b.avi $s 100 $(tone 440 4 44100) -c:v mpeg4 -q:v 3 -bf 2 -c:a ac3
    clip mjpeg-pcm.avi $s 100 $(tone) -c:v mjpeg -q:v 3 -c:a pcm_s16le
    clip msmpeg4-adpcm.avi $s 100 $(tone 440 4 44100) -c:v msmpeg4 -q:v 2 -c:a adpcm_ms
    clip h264-pcm8.avi $s 100 $(tone 440 4 22050) $x264 -bf 0 -c:a pcm_u8
    clip raw-rgb.avi $s 25 -c:v rawvideo -pix_fmt bgr24
    clip raw-yuy2.avi $s 25 -c:v rawvideo -pix_fmt yuyv422
    clip dv.avi 720x576 50 $(tone 440 2) -c:v dvvideo -pix_fmt yuv420p -c:a pcm_s16le
    clip flv1-mp3.flv $s 100 $(tone 440 4 44100) -c:v flv -q:v 3 -c:a libmp3lame
    clip h264-aac.flv $s 100 $(tone 440 4 44100) $x264 $aac
    clip wmv2-wmav2.wmv $s 100 $(tone 440 4 44100) -c:v wmv2 -q:v 3 -c:a wmav2
    clip wmav2.wma - 0 $(tone 440 4 44100) -c:a wmav2
    clip msmpeg4-mp3.asf $s 100 $(tone 440 4 44100) -c:v msmpeg4 -q:v 2 -c:a libmp3lame
    # MPEG
    clip h264-aac.ts $s 100 $(tone) $x264 $aac
    clip h264-opengop.ts $s 100 $(tone) $x264 -g 20 -bf 3 -x264opts open-gop=1 -c:a mp2
    clip hevc-ac3.ts $s 100 $(tone) $x265 -c:a ac3
    clip mpeg2-mp2.ts $s 100 $(tone) -c:v mpeg2video -q:v 3 -bf 2 -c:a mp2
    clip wrap.ts $s 100 $(tone) $x264 $aac -muxdelay 0 -output_ts_offset 95441.7
    clip mpeg1-mp2.mpg $s 100 $(tone 440 4 44100) -c:v mpeg1video -q:v 3 -bf 2 -c:a mp2
    clip mpeg2-ac3.vob 720x576 75 $(tone 440 3) -c:v mpeg2video -q:v 4 -flags +ilme+ildct -aspect 4:3 -c:a ac3
    clip raw.h264 $s 100 $x264
    clip raw.hevc $s 100 $x265
    clip raw.m2v $s 100 -c:v mpeg2video -q:v 3
    clip mpeg2-pcm.mxf $s 50 $(tone 440 2) -c:v mpeg2video -q:v 3 -c:a pcm_s16le
    # Ogg
    clip theora-vorbis.ogv $s 100 $(tone 440 4 44100) -c:v libtheora -q:v 8 -c:a libvorbis
    clip vorbis.ogg - 0 $(tone 440 4 44100) -c:a libvorbis
    clip opus.opus - 0 $(tone) -c:a libopus
    clip flac.oga - 0 $(tone 440 4 44100) -c:a flac
    clip speex.spx - 0 $(tone 440 4 16000) -c:a libspeex
    # Sound
    clip pcm16.wav - 0 $(tone 440 4 44100) -c:a pcm_s16le
    clip pcm24-96.wav - 0 $(tone 440 4 96000) -c:a pcm_s24le
    clip float.wav - 0 $(tone) -c:a pcm_f32le
    clip alaw.wav - 0 $(tone 440 4 8000) -c:a pcm_alaw
    clip adpcm.wav - 0 $(tone 440 4 22050) -c:a adpcm_ima_wav
    clip flac24.flac - 0 $(tone 440 4 96000) -sample_fmt s32 -c:a flac
    clip cbr.mp3 - 0 $(tone 440 4 44100) -c:a libmp3lame -b:a 128k
    clip vbr.mp3 - 0 $(tone 440 4 44100) -c:a libmp3lame -q:a 4
    clip cover.mp3 - 0 $(tone 440 4 44100) -f lavfi -i color=red:s=64x64:d=1 -map 0 -map 1 -frames:v 1 -c:v mjpeg -disposition:v attached_pic -c:a libmp3lame
    clip aac.aac - 0 $(tone 440 4 44100) $aac
    clip ac3.ac3 - 0 $(tone) -c:a ac3
    clip mp2.mp2 - 0 $(tone) -c:a mp2
    clip pcm.aiff - 0 $(tone 440 4 44100) -c:a pcm_s16be
    clip alac.caf - 0 $(tone 440 4 44100) -c:a alac
    clip wavpack.wv - 0 $(tone 440 4 44100) -c:a wavpack
    # Pictures that move
    clip moving.gif $s 50 -vf "split[a][b];[a]palettegen=stats_mode=single[p];[b][p]paletteuse=new=1:dither=none"
    clip moving.apng $s 50 -plays 1
    # What the truth is told by
    local t=384x256 gop='-g 50 -bf 3'
    clip truth-mp4.mp4 $t 300 $chirp $x264 $gop $aac
    clip truth-long.mp4 $t 300 $chirp $x264 -g 250 -sc_threshold 0 -bf 3 $aac
    clip truth-mkv.mkv $t 300 $chirp $x264 $gop -c:a flac
    clip truth-ts.ts $t 300 $chirp -c:v mpeg2video -q:v 3 -g 25 -bf 2 -c:a mp2 -b:a 256k
    clip truth-avi.avi $t 300 $chirp -c:v mpeg4 -q:v 3 -g 50 -c:a pcm_s16le
    clip truth-webm.webm $t 300 $chirp $vp9 -g 50 -c:a libopus -b:a 128k
    clip truth-hevc.mkv $t 300 $chirp $x265 -g 50 -c:a libvorbis -q:a 6
    # A minute apart: every byte of the pictures before every byte of the sound
    clip together.mp4 $s 1500 $(tone 440 60) $x264 -bf 2 $aac
    # Colours
    local matrix range
    for matrix in bt601 bt709; do
        for range in tv pc; do
            chart chart-$matrix-$range.mp4 $matrix $range -pix_fmt yuv420p -c:v libx264 -qp 0
        done
    done
    chart chart-ten.mkv bt709 tv -pix_fmt yuv420p10le -c:v ffv1
    chart chart-422.mkv bt601 tv -pix_fmt yuv422p -c:v ffv1
    chart chart-444.mkv bt709 pc -pix_fmt yuv444p -c:v ffv1
    chart chart-rgb.mkv gbr pc -pix_fmt bgr0 -c:v ffv1
    wait_all
    [ -s rotated.mp4 ] || ffmpeg -nostdin -v error -i .turned.mp4 -c copy -metadata:s:v rotate=270 -fflags +bitexact rotated.mp4
    derived apart.mp4 "$TOOL" apart together.mp4
    derived cut.mp4 cut h264-aac.mp4 70
    derived cut.mkv cut h264-ac3.mkv 70
    derived cut.ts cut h264-aac.ts 70
    derived noise.amr "$TOOL" amr 200
    # What is broken, or not what its name says
    mkdir -p bad
    : >bad/empty.mp4
    printf 'This is no video.\n' >bad/text.mp4
    derived bad/junk.mkv "$TOOL" junk 100000
    derived bad/headless.mp4 cut h264-long.mp4 70
    derived bad/is-mp4.mp3 cat h264-aac.mp4
    derived bad/is-mkv.avi cat h264-ac3.mkv
    derived bad/holes.mp4 "$TOOL" holes h264-aac.mp4
    derived bad/holes.mkv "$TOOL" holes h264-ac3.mkv
    derived bad/holes.ts "$TOOL" holes h264-aac.ts
}
wait_all() { while [ -n "$(jobs -rp)" ]; do wait -n || die "matrix: a file could not be made"; done; }
cut() { head -c $(($(stat -c %s "$1") * $2 / 100)) "$1"; }
# chart FILE MATRIX RANGE ARGUMENT...: half a second of patches, and ffmpeg's own RGB of them.
chart() { [ -s "$1.bgra" ] || job write_chart "$@"; }
write_chart() {
    local file=$1 matrix=$2 range=$3 tags
    shift 3
    tags=(-color_range "$range" -colorspace "${matrix/bt601/smpte170m}")
    local scale="scale=out_color_matrix=$matrix:out_range=$range:flags=bicubic+accurate_rnd+full_chroma_int"
    [ "$matrix" = gbr ] && scale=null tags=()
    "$TOOL" chart 320 240 5 | ffmpeg -v error -y -f rawvideo -pix_fmt rgb24 -s 320x240 -r 10 -i - \
        -vf "$scale" "$@" "${tags[@]}" -fflags +bitexact "part-$file"
    ffmpeg -nostdin -v error -y -i "part-$file" -frames:v 1 \
        -vf scale=flags=bicubic+accurate_rnd+full_chroma_int -f rawvideo -pix_fmt bgra "part-$file.bgra"
    mv "part-$file" "$file"
    mv "part-$file.bgra" "$file.bgra"
}
files
"$TOOL" describe . >part-matrix.tsv
mv part-matrix.tsv matrix.tsv
[ $made -eq 0 ] || say "setup: made $made sample files in $((SECONDS - start)) s"
