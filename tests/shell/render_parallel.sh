#!/usr/bin/env bash
# scripts/render-parallel.sh on this machine: a show rendered in two and in
# three chunks through GNU parallel and joined equals one render of the whole
# show, frame for frame and sample for sample; the MP4's frame count and
# duration match (where ffmpeg is installed).
#   render_parallel.sh PATH/TO/vxtool PATH/TO/vx_showgen
set -u
vxtool=$(realpath "$1")
showgen=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
script="$here/../../scripts/render-parallel.sh"
fail=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export SDL_VIDEODRIVER=offscreen SDL_AUDIODRIVER=dummy VXTOOL=$vxtool

check() {  # check NAME CONDITION...
  local name=$1
  shift
  if "$@"; then echo "PASS $name"; else echo "FAIL $name"; fail=1; fi
}

command -v parallel >/dev/null || { echo "FAIL GNU parallel is not installed"; exit 1; }

# A sequence moving, a picture fading out, the planet with a shake and a
# camera switch, a cross-fade into the hall, the music from frame 0: 40 frames
# at 20 fps, so that two and three chunks split the scenes and the fade.
"$showgen" "$work/src" >/dev/null || { echo "FAIL vx_showgen"; exit 1; }
cat >"$work/src/demo.vxc" <<'SHOW'
loadimage spin.seq spin
loadimage orb.png orb
loadscene orbit.vxk orbit
loadscene hall.vxk hall
loadmusic tune.mp3 tune
settime 0
setlayer spin 14
setlayeradditive 14 1
setlayerposdelta 14 -80 30
setlayer orb 12
setlayeralphadelta 12 -0.5
playmusic tune 2000
waituntil 200
playscene orbit 1
waituntil 700
shakecamera 80000 2.5 2 0.5 0.04
setactivecamera Ring
waituntil 1100
xfadescene hall 500 0 1
waituntil 1900
SHOW
"$vxtool" pack --show demo.vxc "$work/show.cfl" -C "$work/src" >/dev/null 2>&1 || { echo "FAIL packing the show"; exit 1; }

have_ffmpeg=0
command -v ffmpeg >/dev/null && command -v ffprobe >/dev/null && have_ffmpeg=1
whole=(render --archive "$work/show.cfl" --fps 20 --size 160x120 --quiet --frames "$work/whole/frames" --wav "$work/whole/show.wav")
[ $have_ffmpeg = 1 ] && whole+=(--video "$work/whole/show.mp4")
"$vxtool" "${whole[@]}" 2>"$work/log-whole" || { echo "FAIL the whole render:"; cat "$work/log-whole"; exit 1; }
frames=$(ls "$work/whole/frames" | wc -l)
check "the whole render has 40 frames (0 ... 1950 ms, the first past 1900 ms ends it)" [ "$frames" = 40 ]

same_frames() {  # same_frames DIR
  [ "$(ls "$1/frames" | wc -l)" = "$frames" ] || return 1
  local f
  for f in "$work/whole/frames"/*.png; do cmp -s "$f" "$1/frames/$(basename "$f")" || return 1; done
}
# The video stream's frame count and the container's duration in ms.
video_facts() {
  ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 "$1"
  ffprobe -v error -show_entries format=duration -of csv=p=0 "$1" | awk '{ printf "%d\n", $1 * 1000 + 0.5 }'
}

for n in 2 3; do
  out="$work/parallel-$n"
  if ! "$script" "$work/show.cfl" $n --out "$out" --fps 20 --size 160x120 2>"$work/log-$n"; then
    echo "FAIL render-parallel.sh with $n chunks:"; cat "$work/log-$n"; fail=1; continue
  fi
  check "$n chunks: every frame equals the whole render's" same_frames "$out"
  check "$n chunks: the WAV equals the whole render's" cmp -s "$work/whole/show.wav" "$out/show.wav"
  check "$n chunks: no chunk folders are left" [ ! -e "$out/chunks" ]
  if [ $have_ffmpeg = 1 ]; then
    check "$n chunks: the MP4 has the whole render's frame count and duration" \
      [ "$(video_facts "$out/show.mp4")" = "$(video_facts "$work/whole/show.mp4")" ]
    check "$n chunks: the MP4 has $frames frames" [ "$(video_facts "$out/show.mp4" | head -1)" = "$frames" ]
  else
    echo "SKIP $n chunks: the MP4 (no ffmpeg)"
  fi
done

check "an output folder that is not empty is refused" \
  bash -c '! "$0" "$1" 2 --out "$2" 2>/dev/null' "$script" "$work/show.cfl" "$work/parallel-2"
check "a chunk count that is not a number is refused" \
  bash -c '"$0" "$1" x --out "$2" 2>&1 | grep -q "N must be a whole number"' "$script" "$work/show.cfl" "$work/bad"
check "a failing chunk fails the run" \
  bash -c '! "$0" "$1" 2 --out "$2" -- --max-textures 9 2>/dev/null' "$script" "$work/show.cfl" "$work/failing"
exit $fail
