#!/usr/bin/env bash
# Makes the clip whose pictures say which frame they are: the pattern of
# filters/pattern/FramePattern.h, 3 s at 25 frames a second, in H.264.
#
#   tests/integration/playback_media.sh FILE
set -euo pipefail
file=$1
cell='floor(X*24/W)'
bar='floor(X*8/W)'
ones=0
for bit in 0 1 2 3 4 5 6; do
    ones="$ones+mod(floor(N/$((1 << bit))),2)"
done
code="255*(eq($cell,0)+eq($cell,23)+between($cell,2,21)*mod(floor(N/pow(2,21-$cell)),2)"
code="$code+eq($cell,22)*not(mod($ones,2)))"
channel() { echo "if(lt(Y,H/8),$code,if(gte(Y,H*3/4),64,255*$1))"; }
r=$(channel "not(mod(floor($bar/2),2))")
g=$(channel "lt($bar,4)")
b=$(channel "not(mod($bar,2))")
mkdir -p "$(dirname "$file")"
ffmpeg -nostdin -v error -y -f lavfi \
    -i "color=black:duration=3:size=384x192:rate=25,format=gbrp,geq=r='$r':g='$g':b='$b'" \
    -c:v libx264 -preset veryfast -crf 16 -g 12 -pix_fmt yuv420p -map_metadata -1 \
    -fflags +bitexact "$(dirname "$file")/part-$(basename "$file")"
mv "$(dirname "$file")/part-$(basename "$file")" "$file"
