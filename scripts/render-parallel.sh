#!/usr/bin/env bash
# Renders a show in N chunks with GNU parallel, on this machine's cores or on
# the hosts parallel reaches over ssh, then joins them (vxtool render --chunk,
# vxtool join).
#
#   render-parallel.sh SHOW.cfl N [--sshlogin HOSTS] [--out DIR] [--fps F]
#                      [--size WxH] [--jobs J] [--no-video] [--force]
#                      [-- RENDER_OPTION...]
#
# OUT (default render-out) gets frames/ (frameNNNNNN.png), show.wav and, where
# ffmpeg is installed, show.mp4; logs/jobs.tsv is parallel's job log. An OUT
# that exists and is not empty is refused unless --force.
# HOSTS is parallel's --sshlogin list ("host1,2/user@host2,:" ; ":" is this
# machine). Every host needs vxtool and rsync; the archive is copied to each
# host with the job (--transferfile), the chunk's folder comes back
# (--return) and the job's scratch folder there is removed (--cleanup).
# VXTOOL names the vxtool to run here (default: vxtool on the PATH),
# VXTOOL_REMOTE the one on the hosts (default: vxtool on their PATH); ssh
# options go in parallel's own PARALLEL_SSH.
set -euo pipefail

usage() {
  sed -n '6,8p' "$0" | sed 's/^# \{0,1\}//' >&2
  exit 2
}
die() { echo "render-parallel: $*" >&2; exit 1; }

[ $# -ge 2 ] || usage
show=$1 chunks=$2
shift 2
sshlogin="" out=render-out fps=30 size=800x600 jobs="" video=1 force=0
extra=()
while [ $# -gt 0 ]; do
  case "$1" in
    --sshlogin) sshlogin=${2:?--sshlogin needs HOSTS}; shift 2 ;;
    --out) out=${2:?--out needs DIR}; shift 2 ;;
    --fps) fps=${2:?--fps needs a rate}; shift 2 ;;
    --size) size=${2:?--size needs WxH}; shift 2 ;;
    --jobs) jobs=${2:?--jobs needs a count}; shift 2 ;;
    --no-video) video=0; shift ;;
    --force) force=1; shift ;;
    --) shift; extra=("$@"); break ;;
    *) die "unknown option $1" ;;
  esac
done
[[ $chunks =~ ^[1-9][0-9]{0,4}$ ]] || die "N must be a whole number of chunks, 1 to 99999, not '$chunks'"
[ -f "$show" ] || die "no archive '$show'"
command -v parallel >/dev/null || die "GNU parallel is not installed (Debian: apt-get install parallel)"
vxtool=${VXTOOL:-vxtool}
command -v "$vxtool" >/dev/null || die "no vxtool ('$vxtool'); put it on the PATH or name it in VXTOOL"
vxtool=$(command -v "$vxtool")
if [ -d "$out" ] && [ -n "$(ls -A "$out")" ] && [ $force = 0 ]; then
  die "'$out' exists and is not empty (use --force to render into it)"
fi
if [ $force = 1 ]; then rm -rf "$out/chunks" "$out/frames" "$out/show.wav" "$out/show.mp4" "$out/logs"; fi
archive_path=$(realpath -- "$show")
mkdir -p "$out/chunks" "$out/logs"
cd "$out"

# The chunk job, run by parallel with the chunk number as {}. Paths are
# relative to OUT here and to the job's working folder on a remote host.
options=(--halt now,fail=1 --tag --joblog logs/jobs.tsv)
[ -n "$jobs" ] && options+=(--jobs "$jobs")
if [ -n "$sshlogin" ]; then
  # The archive travels with the job under a name of its own, relative to
  # the job's folder.
  cp -f -- "$archive_path" show.cfl
  # Each job works in a folder of its own there (--workdir ...), which
  # --cleanup removes with everything in it once the chunk has come back.
  options+=(--sshlogin "$sshlogin" --workdir ... --transferfile show.cfl --return "chunks/{}" --cleanup)
  remote=${VXTOOL_REMOTE:-vxtool} archive=show.cfl
else
  remote=$vxtool archive=$archive_path
fi
job="$(printf '%q ' "$remote" render --archive "$archive" --fps "$fps" --size "$size" --quiet "${extra[@]}")"
job+="--chunk {}/$chunks --frames chunks/{} --wav chunks/{}/sound.wav"
started=$(date +%s%N)
if ! parallel "${options[@]}" "$job" ::: $(seq 1 "$chunks"); then
  echo "render-parallel: a chunk failed (see its lines above and $out/logs/jobs.tsv)" >&2
  exit 1
fi
rendered=$(date +%s%N)

join=(join chunks/* --frames frames --wav show.wav)
if [ $video = 1 ] && command -v ffmpeg >/dev/null; then join+=(--video show.mp4 --fps "$fps"); fi
# Chunk folders sort by their frames inside join, whatever their names.
"$vxtool" "${join[@]}"
rm -rf chunks show.cfl
joined=$(date +%s%N)
awk -v n="$chunks" -v r=$(((rendered - started) / 1000000)) -v j=$(((joined - rendered) / 1000000)) -v o="$out" \
  'BEGIN { printf "render-parallel: %d chunks rendered in %.1f s, joined in %.1f s into %s\n", n, r / 1000, j / 1000, o }' >&2
