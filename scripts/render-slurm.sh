#!/usr/bin/env bash
# Renders a show in N chunks as a Slurm job array, one chunk per task, and
# joins them in a job that starts when every chunk has succeeded (vxtool
# render --chunk, vxtool join).
#
#   render-slurm.sh SHOW.cfl N [--out DIR] [--fps F] [--size WxH]
#                   [--partition P] [--time LIMIT] [--no-video] [--wait]
#                   [--force] [-- RENDER_OPTION...]
#
# OUT (default render-out) must lie on a file system that every node sees,
# as must the archive; the nodes need vxtool (VXTOOL names it, by a path
# every node can run; default: vxtool on the PATH) and, for show.mp4, ffmpeg
# on the node that joins. OUT gets frames/ (frameNNNNNN.png), show.wav,
# show.mp4 and logs/ (chunk-K.log for each task, join.log). An OUT that
# exists and is not empty is refused unless --force.
# Prints the two job ids; --wait returns only when the join has ended, with
# its exit status.
set -euo pipefail

usage() {
  sed -n '6,9p' "$0" | sed 's/^# \{0,1\}//' >&2
  exit 2
}
die() { echo "render-slurm: $*" >&2; exit 1; }

[ $# -ge 2 ] || usage
show=$1 chunks=$2
shift 2
out=render-out fps=30 size=800x600 video=1 wait=0 force=0
sbatch_options=()
extra=()
while [ $# -gt 0 ]; do
  case "$1" in
    --out) out=${2:?--out needs DIR}; shift 2 ;;
    --fps) fps=${2:?--fps needs a rate}; shift 2 ;;
    --size) size=${2:?--size needs WxH}; shift 2 ;;
    --partition) sbatch_options+=(--partition "${2:?--partition needs a name}"); shift 2 ;;
    --time) sbatch_options+=(--time "${2:?--time needs a limit}"); shift 2 ;;
    --no-video) video=0; shift ;;
    --wait) wait=1; shift ;;
    --force) force=1; shift ;;
    --) shift; extra=("$@"); break ;;
    *) die "unknown option $1" ;;
  esac
done
[[ $chunks =~ ^[1-9][0-9]{0,4}$ ]] || die "N must be a whole number of chunks, 1 to 99999, not '$chunks'"
[ -f "$show" ] || die "no archive '$show'"
command -v sbatch >/dev/null || die "sbatch is not installed (no Slurm client here)"
vxtool=${VXTOOL:-vxtool}
if [[ $vxtool != */* ]]; then
  command -v "$vxtool" >/dev/null || die "no vxtool on the PATH; name it in VXTOOL"
  vxtool=$(command -v "$vxtool")
fi
if [ -d "$out" ] && [ -n "$(ls -A "$out")" ] && [ $force = 0 ]; then
  die "'$out' exists and is not empty (use --force to render into it)"
fi
if [ $force = 1 ]; then rm -rf "$out/chunks" "$out/frames" "$out/show.wav" "$out/show.mp4" "$out/logs"; fi
archive=$(realpath -- "$show")
mkdir -p "$out/chunks" "$out/logs"
out=$(realpath -- "$out")

# Each task renders the chunk of its array index into OUT/chunks/K. A task
# that Slurm requeues (its node failed) finds its own partial chunk there:
# --force lets it replace those frames and that WAV.
chunk_job="cd $(printf '%q' "$out") && exec $(printf '%q ' "$vxtool" render --archive "$archive" --fps "$fps" \
  --size "$size" --quiet --force "${extra[@]}")"
chunk_job+='--chunk "$SLURM_ARRAY_TASK_ID/'"$chunks"'" --frames "chunks/$SLURM_ARRAY_TASK_ID"'
chunk_job+=' --wav "chunks/$SLURM_ARRAY_TASK_ID/sound.wav"'
array=$(sbatch --parsable "${sbatch_options[@]}" --job-name vx-render --array "1-$chunks" \
  --output "$out/logs/chunk-%a.log" --chdir "$out" --wrap "$chunk_job")
array=${array%%;*}  # "id;cluster" on federated set-ups

# The join: only once every task has ended well (afterok on the whole array).
join_job="cd $(printf '%q' "$out") && $(printf '%q ' "$vxtool") join chunks/* --frames frames --wav show.wav"
if [ $video = 1 ]; then
  join_job+=" \$(command -v ffmpeg >/dev/null && echo --video show.mp4 --fps $(printf '%q' "$fps"))"
fi
join_job+=" && rm -rf chunks"
wait_option=()
[ $wait = 1 ] && wait_option=(--wait)
echo "render-slurm: chunks in job array $array (1-$chunks), logs in $out/logs" >&2
join=$(sbatch --parsable "${sbatch_options[@]}" "${wait_option[@]}" --job-name vx-join --dependency "afterok:$array" \
  --kill-on-invalid-dep=yes --output "$out/logs/join.log" --chdir "$out" --wrap "$join_job") || {
  echo "render-slurm: the join failed or never ran (see $out/logs)" >&2
  exit 1
}
join=${join%%;*}
echo "$array $join"
# A join cancelled for a failed chunk still lets "sbatch --wait" end well:
# what it leaves tells instead.
if [ $wait = 1 ] && { [ ! -f "$out/show.wav" ] || [ -e "$out/chunks" ]; }; then
  echo "render-slurm: the render did not complete (see $out/logs)" >&2
  exit 1
fi
