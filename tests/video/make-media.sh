#!/usr/bin/env bash
# Makes the test media of the video tests into $1 with Debian's ffmpeg: small clips in several
# containers and codecs, lossless ones with raw BGR24 references for pixel checks, and damaged or
# odd files. Deterministic: every source is one of ffmpeg's synthetic generators.
set -euo pipefail
out=${1:?usage: make-media.sh OUTDIR}
mkdir -p "$out"
# Made once per build tree; again when this script changes.
if [ -f "$out/media-complete" ] && cmp -s "$0" "$out/media-complete"; then exit 0; fi
script=$(realpath "$0")
cd "$out"
rm -f -- *.mkv *.avi *.mp4 *.mpg *.vob *.ts *.wmv *.wav *.png *.bgr *.rgb media-complete
ff() { ffmpeg -nostdin -hide_banner -loglevel error -y "$@"; }

# A moving, textured scene (a generator picture with a frame counter in it).
scene() { echo "testsrc2=size=$1:rate=${3:-25}:duration=$2"; }

# --- Lossless clips and their references (raw BGR24, top-down, no padding) ----------------------
ff -f lavfi -i "$(scene 160x120 0.48)" -c:v ffv1 -pix_fmt bgr0 ffv1.mkv
ff -f lavfi -i "$(scene 162x98 0.48),format=rgb24,crop=161:97:0:0" -c:v rawvideo -pix_fmt bgr24 odd_raw.avi
ff -f lavfi -i "$(scene 96x64 0.48)" -c:v utvideo -pix_fmt gbrp utvideo.avi
# Lossless H.264 with B-frames in MP4: decode order differs from presentation order.
ff -f lavfi -i "$(scene 128x96 1.2)" -c:v libx264rgb -qp 0 -bf 3 -g 10 -pix_fmt bgr0 bframes.mp4
# The same kind of clip with a first timestamp of 10 s.
ff -f lavfi -i "$(scene 128x96 0.6)" -c:v ffv1 -pix_fmt bgr0 -output_ts_offset 10 offset.mkv
for clip in ffv1.mkv odd_raw.avi utvideo.avi bframes.mp4 offset.mkv; do
  ff -i "$clip" -map 0:v -f rawvideo -pix_fmt bgr24 "${clip%.*}.bgr"
done

# --- Lossy clips in other containers (checked by which reference frame they match) -------------
ff -f lavfi -i "$(scene 128x96 1.2)" -c:v mpeg2video -q:v 2 -bf 2 -g 12 -f vob mpeg2.mpg
ff -f lavfi -i "$(scene 128x96 1.2)" -c:v mpeg2video -q:v 2 -bf 2 -g 12 mpeg2.ts
ff -f lavfi -i "$(scene 128x96 1.2)" -c:v wmv2 -q:v 2 -g 12 wmv2.wmv
ff -f lavfi -i "$(scene 128x96 1.2)" -f lavfi -i "sine=frequency=440:duration=1.2" \
   -c:v libx264 -preset veryfast -bf 3 -g 12 -pix_fmt yuv420p -c:a aac -shortest \
   -movflags +faststart sound.mp4
ff -f lavfi -i "$(scene 128x96 1.2)" -c:v ffv1 -pix_fmt bgr0 lossless_ref.avi
ff -i lossless_ref.avi -f rawvideo -pix_fmt bgr24 lossy_ref.bgr
rm lossless_ref.avi

# MPEG streams, which only estimate their lengths: a program stream of 50 frames, and a transport
# stream of two parts joined end to end (frames 0-29 and 30-59 of one scene, each part's clock
# starting at the same time), with the 60 frames' reference.
ff -f lavfi -i "$(scene 128x96 2)" -c:v mpeg2video -bf 3 -g 15 -f vob fifty.vob
ff -f lavfi -i "$(scene 128x96 2.4)" -c:v ffv1 -pix_fmt bgr0 joined_ref.avi
ff -i joined_ref.avi -f rawvideo -pix_fmt bgr24 joined_ref.bgr
ff -i joined_ref.avi -frames:v 30 -c:v mpeg2video -q:v 2 -bf 2 -g 12 part1.ts
ff -ss 1.2 -i joined_ref.avi -c:v mpeg2video -q:v 2 -bf 2 -g 12 part2.ts
cat part1.ts part2.ts > joined.ts
rm joined_ref.avi part1.ts part2.ts

# --- Short, damaged and odd files ------------------------------------------------------------------
ff -f lavfi -i "$(scene 64x48 0.12)" -c:v ffv1 -pix_fmt bgr0 three.mkv   # 3 frames
ff -f lavfi -i "sine=frequency=440:duration=0.5" audio_only.wav
ff -f lavfi -i "anoisesrc=duration=0.3:seed=7:sample_rate=48000" -f u8 -ac 1 random.avi
: > empty.avi
ff -f lavfi -i "color=c=red:size=16x16,format=rgb24,scale=1:1" -frames:v 1 one_pixel.png
ff -f lavfi -i "color=c=blue:size=8192x8,format=rgb24" -frames:v 1 wide.png
# Halves as different as can be: a difference sum past the 32-bit range.
ff -f lavfi -i "color=c=white:size=2048x2160,format=rgb24" -f lavfi -i "color=c=black:size=2048x2160,format=rgb24" \
   -filter_complex "[0][1]hstack" -frames:v 1 halves.png
# A video stream no decoder knows (the codec tag of an FFV1 AVI renamed).
ff -f lavfi -i "$(scene 64x48 0.2)" -c:v ffv1 unknown_codec.avi
sed -i 's/FFV1/QVX1/g' unknown_codec.avi
# MP4 with its index at the end, cut in half: the index is gone.
ff -f lavfi -i "$(scene 128x96 1.2)" -c:v libx264 -preset veryfast -pix_fmt yuv420p cut.mp4
head -c $(( $(stat -c %s cut.mp4) / 2 )) cut.mp4 > truncated.mp4
# MP4 with its index in front, cut in half: it opens, and the later frames are missing.
ff -i cut.mp4 -c copy -movflags +faststart faststart.mp4
head -c $(( $(stat -c %s faststart.mp4) / 2 )) faststart.mp4 > truncated_faststart.mp4
rm cut.mp4 faststart.mp4
# A transport stream with 1500 bytes of noise over its packets about a quarter of the way in.
cp mpeg2.ts damaged.ts
dd if=random.avi of=damaged.ts bs=1 seek=30000 count=1500 conv=notrunc status=none

# --- Stereo material for the layout detection -----------------------------------------------------
# Two eye views of the same scene, the right one seen 4 pixels further left (a small disparity),
# stacked side by side (hstack) or one above the other (vstack).
stereo() { # $1 = name, $2 = generator, $3 = stack filter
  ff -f lavfi -i "$2" -filter_complex \
     "[0]format=rgb24,split[a][b];[a]crop=iw-8:ih:0:0[l];[b]crop=iw-8:ih:4:0[r];[l][r]$3" \
     -c:v ffv1 -pix_fmt bgr0 "$1"
}
# A camera panning over the Mandelbrot set's seahorse valley: fine texture everywhere, as in
# natural scenes (one still rendered, then cropped at a moving place for every frame).
ff -f lavfi -i "mandelbrot=size=480x360:rate=25:maxiter=1000:start_x=-0.743643887037151:start_y=0.13182590420533:start_scale=0.004" \
   -frames:v 1 valley.png
pan() { # $1 = frame width, $2 = frame height: ffmpeg input options for 10 frames
  echo "-loop 1 -framerate 25 -t 0.4 -i valley.png -vf crop=$1:$2:x=20+t*150:y=10+t*100"
}
stereo_pan() { # $1 = name, $2 = stack filter
  ff $(pan 168 126) -frames:v 10 -f rawvideo -pix_fmt rgb24 pan.rgb
  ff -f rawvideo -pix_fmt rgb24 -s 168x126 -framerate 25 -i pan.rgb -filter_complex \
     "[0]split[a][b];[a]crop=iw-8:ih:0:0[l];[b]crop=iw-8:ih:2:0[r];[l][r]$2" -c:v ffv1 -pix_fmt bgr0 "$1"
}
stereo sbs_scene.mkv "$(scene 168x120 0.4)" hstack
stereo ab_scene.mkv "$(scene 168x120 0.4)" vstack
for clip in ab_scene sbs_scene; do ff -i $clip.mkv -f rawvideo -pix_fmt bgr24 $clip.bgr; done
stereo_pan sbs_valley.mkv hstack
stereo_pan ab_valley.mkv vstack
# Above/below with the lower view's content 6 rows (5 % of 120) higher, or lower, than the
# upper's, on a texture of noise, which looks alike nowhere but exactly 6 rows apart: only the
# layout guess's shifted comparisons can find these pairs.
ff -f lavfi -i "nullsrc=s=160x126:r=25:d=0.4,format=gray,geq=lum='random(1)*255'" \
   -f rawvideo -pix_fmt rgb24 noise.rgb
for pair in "raised 0 6" "lowered 6 0"; do
  set -- $pair
  ff -f rawvideo -pix_fmt rgb24 -s 160x126 -framerate 25 -i noise.rgb -filter_complex \
     "[0]split[a][b];[a]crop=iw:120:0:$2[t];[b]crop=iw:120:0:$3[u];[t][u]vstack" \
     -c:v ffv1 -pix_fmt bgr0 "ab_noise_$1.mkv"
done
rm noise.rgb
# Side by side for 8 frames, then above/below for 4, at one frame size.
ff -f lavfi -i "$(scene 168x240 0.32)" -f lavfi -i "$(scene 328x120 0.16)" -filter_complex \
   "[0]format=rgb24,split[a][b];[a]crop=160:240:0:0[l];[b]crop=160:240:4:0[r];[l][r]hstack[s];
    [1]format=rgb24,split[c][d];[c]crop=320:120:0:0[t];[d]crop=320:120:4:0[u];[t][u]vstack[v];
    [s][v]concat=n=2:v=1" -c:v ffv1 -pix_fmt bgr0 sbs_then_ab.mkv
# Plain 2D pictures.
ff $(pan 320 240) -frames:v 10 -c:v ffv1 -pix_fmt bgr0 flat_valley.mkv
ff -f lavfi -i "cellauto=size=320x240:rate=25:rule=110:seed=1,trim=duration=0.4" \
   -c:v ffv1 -pix_fmt bgr0 flat_cells.mkv
# Side by side as a lossy MPEG-2 program stream, for the script bridge (.mpg gets a script).
ff -i sbs_scene.mkv -c:v mpeg2video -q:v 2 -f vob sbs_scene.mpg
cp "$script" media-complete
