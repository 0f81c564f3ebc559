#!/usr/bin/env bash
# Runs ./test.sh and ./play.sh the way a newcomer would, on a fresh Debian 12
# system that holds nothing but the smallest base (debootstrap's "minbase")
# and what scripts/deps.sh installs: a package the build, the tests or the
# player need but deps.sh forgets fails here instead of on a user's machine.
#
#   sudo scripts/fresh-check.sh [--keep] [--new-base] [--only-play] [--ccache] [COMMIT]
#
# COMMIT (default HEAD) is cloned from this repository, so only what is
# committed is checked. The pristine base is made once with mmdebstrap (or
# debootstrap) from Debian's mirror and kept as a tarball in the cache folder
# (VX_FRESH_CACHE, default /var/tmp/vxplay-fresh); every run unpacks a new
# copy of it, so packages installed by one run never hide a gap in the next.
# --new-base remakes the tarball (say after a Debian point release).
# --ccache compiles through this machine's ccache (its cache folder is bound
# into the root; ccache and ninja-build are added to the root, and the build
# uses Ninja as the team's own build folders do, so their objects are hits).
# A missing header still fails (ccache checks every header a cached object
# was made from, and preprocesses afresh when one is gone), linking and the
# tests run for real; what is lost is the proof that a plain `make` build
# works, so leave it off for the final word on a new dependency.
# Needs root (chroot, mounts) and network access to deb.debian.org.
#
# Inside the root, as root with a bare environment and no display:
#   ./test.sh   (deps, build, every test including the end-to-end ones under
#                Xvfb, the fuzz regression run)
#   ./play.sh   (renders the example show off screen: out/frames/*.png,
#                out/show.wav and out/show.mp4 must all be written)
# Logs go to the cache folder's logs-DATE/; the last lines of a failing step
# are printed. Exits 0 when both steps pass. Slow: both steps and the fuzz
# build in one run; with --ccache on a warm cache 16 minutes on 2 cores, and
# without it both builds compile every source from nothing.
set -euo pipefail

keep=0
new_base=0
only_play=0
use_ccache=0
commit=HEAD
while [ $# -gt 0 ]; do
  case "$1" in
    --keep) keep=1 ;;
    --new-base) new_base=1 ;;
    --only-play) only_play=1 ;;
    --ccache) use_ccache=1 ;;
    -h | --help) sed -n '2,/^set -euo/p' "$0" | sed -e '$d' -e 's/^# \{0,1\}//'; exit 0 ;;
    -*) echo "fresh-check: unknown option $1 (see --help)" >&2; exit 2 ;;
    *) commit=$1 ;;
  esac
  shift
done

repo=$(cd "$(dirname "$0")/.." && pwd)
cache=${VX_FRESH_CACHE:-/var/tmp/vxplay-fresh}
mirror=http://deb.debian.org/debian
base="$cache/bookworm-minbase.tar"

if [ "$(id -u)" -ne 0 ]; then
  echo "fresh-check: needs root (it makes a chroot and mounts /proc and /dev in it); run it with sudo" >&2
  exit 2
fi
rev=$(git -C "$repo" rev-parse --verify "$commit^{commit}" 2>/dev/null) || {
  echo "fresh-check: $commit is not a commit of $repo" >&2
  exit 2
}
mkdir -p "$cache"

# The pristine base: the three suites a fresh install's sources list names.
if [ ! -s "$base" ] || [ $new_base = 1 ]; then
  echo "fresh-check: making the Debian 12 base in $base (once; a few minutes)" >&2
  rm -f "$base.part"
  if command -v mmdebstrap >/dev/null 2>&1; then
    mmdebstrap --quiet --format=tar --variant=minbase bookworm "$base.part" \
      "deb $mirror bookworm main" \
      "deb $mirror bookworm-updates main" \
      "deb http://security.debian.org/debian-security bookworm-security main"
  elif command -v debootstrap >/dev/null 2>&1; then
    staging=$(mktemp -d "$cache/debootstrap.XXXXXX")
    debootstrap --variant=minbase bookworm "$staging" "$mirror" >"$cache/debootstrap.log" 2>&1 || {
      tail -20 "$cache/debootstrap.log" >&2
      rm -rf "$staging"
      exit 1
    }
    printf '%s\n' "deb $mirror bookworm main" "deb $mirror bookworm-updates main" \
      "deb http://security.debian.org/debian-security bookworm-security main" >"$staging/etc/apt/sources.list"
    rm -rf "$staging/var/cache/apt/archives/"*.deb
    tar -C "$staging" -cf "$base.part" .
    rm -rf "$staging"
  else
    echo "fresh-check: needs mmdebstrap or debootstrap (apt-get install mmdebstrap)" >&2
    exit 2
  fi
  mv "$base.part" "$base"
fi

stamp=$(date -u +%Y%m%d-%H%M%S)
logs="$cache/logs-$stamp"
root="$cache/root-$stamp"
mkdir -p "$logs" "$root"
root=$(realpath "$root")  # as /proc/PID/root shows it
mounted=()

# Runs on every exit, failures and Ctrl-C included: stops whatever still runs
# inside the root (a stuck Xvfb or player), then unmounts, newest first, and
# removes the root unless --keep. A mount that stays busy is detached lazily
# rather than left behind, and the root is then kept: deleting through a live
# bind mount of /dev would delete the host's device nodes.
cleanup() {
  local pid link i busy=0
  for link in /proc/[0-9]*/root; do
    [ "$(readlink "$link" 2>/dev/null)" = "$root" ] || continue
    pid=${link#/proc/}
    pid=${pid%/root}
    kill -KILL "$pid" 2>/dev/null || true
  done
  for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do
    umount -R "${mounted[i]}" 2>/dev/null || umount -R -l "${mounted[i]}" 2>/dev/null || busy=1
  done
  if findmnt -rno TARGET | grep -qF "$root/"; then busy=1; fi
  if [ $keep = 0 ] && [ $busy = 0 ]; then
    rm -rf --one-file-system "$root"
  else
    echo "fresh-check: the root is kept in $root" >&2
  fi
}
trap cleanup EXIT
trap 'exit 130' INT TERM

tar -C "$root" -xf "$base"
cp /etc/resolv.conf "$root/etc/resolv.conf"
git clone --quiet --no-hardlinks "$repo" "$root/root/vxplay"
git -C "$root/root/vxplay" checkout --quiet --detach "$rev"
rm -rf "$root/root/vxplay/.git/hooks"

mount_in() {  # mount_in TARGET MOUNT-ARGS...
  local target="$root$1"
  shift
  mkdir -p "$target"
  mount "$@" "$target"
  mounted+=("$target")
}
mount_in /proc -t proc proc
mount_in /sys -t sysfs sysfs
mount_in /dev --rbind /dev
mount --make-rslave "$root/dev"
mount_in /tmp -t tmpfs tmpfs

build_env=()
if [ $use_ccache = 1 ]; then
  host_cache=$(ccache -k cache_dir 2>/dev/null) || {
    echo "fresh-check: --ccache needs ccache on this machine" >&2
    exit 2
  }
  mkdir -p "$host_cache"
  mount_in /var/cache/vx-ccache --bind "$host_cache"
  # The same keys as the team's builds: paths below the checkout are
  # hashed relative to it, the build folder's own path is not hashed.
  build_env=(CCACHE_DIR=/var/cache/vx-ccache CCACHE_MAXSIZE="$(ccache -k max_size)" CCACHE_BASEDIR=/root/vxplay
    CCACHE_NOHASHDIR=1
    CMAKE_GENERATOR=Ninja CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

# A bare environment: no DISPLAY (./play.sh renders off screen), none of the
# caller's paths or compilers (with --ccache, only the cache's settings).
inside() {
  chroot "$root" /usr/bin/env -i HOME=/root LANG=C.UTF-8 TERM=dumb \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "${build_env[@]}" \
    /bin/bash -c "cd /root/vxplay && $1"
}

failed=()
step() {  # step NAME COMMAND
  local name=$1 started=$SECONDS rc=0
  echo "fresh-check: $name ..." >&2
  inside "$2" >"$logs/$name.log" 2>&1 || rc=$?
  local took=$((SECONDS - started))
  if [ $rc = 0 ]; then
    echo "fresh-check: $name passed in $((took / 60)) min $((took % 60)) s" >&2
  else
    echo "fresh-check: $name FAILED (exit $rc) after $((took / 60)) min $((took % 60)) s; the end of $logs/$name.log:" >&2
    tail -40 "$logs/$name.log" | sed 's/^/    | /' >&2
    failed+=("$name")
  fi
  return $rc
}

list_packages() { inside "dpkg-query -W -f='\${Package} \${Version}\n'" 2>/dev/null | LC_ALL=C sort; }
if [ $use_ccache = 1 ]; then
  inside "DEBIAN_FRONTEND=noninteractive apt-get update -qq && apt-get install -y -qq --no-install-recommends ccache ninja-build" \
    >"$logs/ccache-setup.log" 2>&1 || {
    tail -20 "$logs/ccache-setup.log" >&2
    exit 1
  }
fi
list_packages >"$logs/base-packages.txt"

echo "fresh-check: $rev ($(git -C "$repo" log -1 --format=%s "$rev" | cut -c1-60)) in $root, logs in $logs" >&2
if [ $only_play = 0 ]; then step test ./test.sh || true; fi
if step play ./play.sh; then
  out="$root/root/vxplay/out"
  frames=0
  [ -d "$out/frames" ] && frames=$(find "$out/frames" -name '*.png' | wc -l)
  missing=()
  [ "$frames" -gt 0 ] || missing+=("out/frames/*.png")
  [ -s "$out/show.wav" ] || missing+=("out/show.wav")
  [ -s "$out/show.mp4" ] || missing+=("out/show.mp4")
  if [ ${#missing[@]} -gt 0 ]; then
    echo "fresh-check: play wrote no ${missing[*]}" >&2
    failed+=("play outputs")
  else
    echo "fresh-check: play wrote $frames frames, show.wav and show.mp4 ($(stat -c %s "$out/show.mp4") bytes)" >&2
  fi
fi

# What the two steps installed on top of the base, for the record.
list_packages | LC_ALL=C comm -13 "$logs/base-packages.txt" - >"$logs/installed-packages.txt" || true

took="$((SECONDS / 60)) min $((SECONDS % 60)) s"
if [ ${#failed[@]} -gt 0 ]; then
  echo "fresh-check: FAILED: ${failed[*]} after $took (logs in $logs)" >&2
  exit 1
fi
echo "fresh-check: a fresh Debian 12 root passes ./test.sh and ./play.sh, in $took (logs in $logs)" >&2
