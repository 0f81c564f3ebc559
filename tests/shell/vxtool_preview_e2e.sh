#!/usr/bin/env bash
# End-to-end tests of vxtool preview under Xvfb: keys pressed with xdotool,
# the window's pixels read from Xvfb's framebuffer file and compared with the
# frames vxtool render writes for the same show times.
#   vxtool_preview_e2e.sh PATH/TO/vxtool PATH/TO/vx_showgen
set -u
vxtool=$(realpath "$1")
showgen=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
shots="python3 $here/../../scripts/shotcompare.py"
fail=0
work=$(mktemp -d)
display=":$((600 + RANDOM % 300))"
mkdir -p "$work/fb"
Xvfb "$display" -screen 0 640x480x24 -fbdir "$work/fb" -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
preview=
cleanup() {
  [ -n "$preview" ] && kill "$preview" 2>/dev/null
  kill $xvfb 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
export SDL_AUDIODRIVER=dummy DISPLAY=$display
for _ in $(seq 300); do xwininfo -root >/dev/null 2>&1 && break; sleep 0.1; done

pass() { echo "PASS $*"; }
failed() { echo "FAIL $*"; fail=1; }

# The show: the example show's generated content and a script of its own: a
# backdrop, a picture drifting and fading, the planet scene from 1.5 s, music.
show=$work/show
mkdir -p "$show"
"$showgen" "$show" >/dev/null || { echo "FAIL vx_showgen"; exit 1; }
script() {  # script ORB_X: the show with the drifting picture starting at x = ORB_X
  printf '%s\n' "loadimage backdrop.jpg back" "loadimage orb.png orb" "loadscene orbit.vxk orbit" \
    "loadmusic tune.mp3 tune" "settime 0" "setlayer back -20" "setlayer orb 12" "setlayerpos 12 $1 100" \
    "setlayerposdelta 12 120 40" "setlayeralphadelta 12 -0.2" "playmusic tune 0" "waituntil 1500" \
    "playscene orbit 1" "setscenetime 0" "removelayer -20" "wait 60000"
}
script 50 >"$show/demo.vxc"
edited=$work/edited
cp -r "$show" "$edited"
script 400 >"$edited/demo.vxc"

# reference DIR K: frame K of a render of the show in DIR at 30 fps, 320x240.
reference() {
  local out="$work/ref-$(basename "$1")-$2"
  if [ ! -d "$out" ]; then
    (cd "$1" && "$vxtool" render --fps 30 --size 320x240 --quiet --frames-from "$2" --frames-to "$2" \
      --frames "$out") >/dev/null 2>&1
  fi
  printf '%s/frame%06d.png' "$out" "$2"
}

# start ARGS...: vxtool preview of the live show folder; sets id, x, y.
start() {
  rm -f "$work/rc"
  (cd "$show" && timeout -k 5 240 "$vxtool" preview --size 320x240 "$@" >"$work/preview.log" 2>&1
    echo $? >"$work/rc") &
  preview=$!
  id=
  for _ in $(seq 300); do
    id=$(xwininfo -root -tree 2>/dev/null | grep -F '"vxtool preview' | awk '{ print $1; exit }')
    [ -n "$id" ] && break
    sleep 0.1
  done
  [ -n "$id" ] || { failed "no preview window ($*)"; cat "$work/preview.log"; return 1; }
  x=$(xwininfo -id "$id" | sed -n 's/^ *Absolute upper-left X: *//p')
  y=$(xwininfo -id "$id" | sed -n 's/^ *Absolute upper-left Y: *//p')
}

title() { xwininfo -id "$id" 2>/dev/null | sed -n 's/^xwininfo: Window id: [^ ]* "\(.*\)"$/\1/p'; }

# wait_title REGEX: until the title matches (up to 60 s: a jump replays the show).
wait_title() {
  for _ in $(seq 600); do title | grep -Eq -- "$1" && return 0; sleep 0.1; done
  echo "  title '$(title)' never matched '$1'"
  return 1
}

press() { xdotool windowfocus "$id" 2>/dev/null; xdotool key --window "$id" "$@"; }

shot() { cp "$work/fb/Xvfb_screen0" "$work/$1.xwd"; }

# expect_frame CASE PNG: the window shows the frame (polled for up to 20 s).
expect_frame() {
  # A failing comparison's images go to pixel-failures/ under the folder
  # the test runs in (the build folder under ctest).
  local out faildir="$PWD/pixel-failures/preview-$(printf '%s' "$1" | tr -c 'A-Za-z0-9' '-')"
  for _ in $(seq 40); do
    shot now
    out=$($shots frame "$work/now.xwd" "$x" "$y" 320 240 "$2") && { pass "$1"; return 0; }
    sleep 0.5
  done
  out=$($shots frame "$work/now.xwd" "$x" "$y" 320 240 "$2" "$faildir")
  failed "$1: $out (title '$(title)')"
  return 1
}

finish() {  # finish CASE: Escape ends the preview with exit code 0
  press Escape
  for _ in $(seq 300); do [ -f "$work/rc" ] && break; sleep 0.1; done
  local rc
  rc=$(cat "$work/rc" 2>/dev/null || echo none)
  if [ "$rc" = 0 ]; then pass "$1"; else failed "$1: exit code $rc"; cat "$work/preview.log"; fi
  preview=
}

# Jumps land on the rendered frames: 2 s, one on, ten back (to 0), a typed
# second, a frame on.
if start --paused --from 2000; then
  wait_title '2\.000 s - paused' && expect_frame "start at 2000 ms" "$(reference "$show" 60)"
  press Right && wait_title '3\.000 s' && expect_frame "Right: 3000 ms" "$(reference "$show" 90)"
  press shift+Left && wait_title ' 0\.000 s' && expect_frame "Shift+Left: 0 ms" "$(reference "$show" 0)"
  press 1 Return && wait_title '1\.000 s' && expect_frame "1 Enter: 1000 ms" "$(reference "$show" 30)"
  press ctrl+Right && wait_title '1\.033 s' && expect_frame "Ctrl+Right: frame 31" "$(reference "$show" 31)"

  # R after an edit shows the edited show at the same time.
  press 2 Return && wait_title '2\.000 s' && expect_frame "back at 2000 ms" "$(reference "$show" 60)"
  cp "$edited/demo.vxc" "$show/demo.vxc"
  press r && expect_frame "R after an edit" "$(reference "$edited" 60)"
  wait_title '2\.000 s - paused' || failed "R kept the time"

  # A broken edit shows the error in the window; the fix recovers.
  { cat "$edited/demo.vxc"; echo "setlayr back -20"; } >"$show/demo.vxc"
  press r
  if wait_title ' - error'; then
    sleep 0.5
    shot broken
    if $shots frame "$work/broken.xwd" "$x" "$y" 320 240 "$(reference "$edited" 60)" >/dev/null; then
      failed "broken edit: the window still shows the show"
    else
      pass "broken edit: the error is shown"
    fi
    grep -q "demo.vxc:17: setlayr back -20" "$work/preview.log" && pass "the error names the line" ||
      failed "the error names the line: $(cat "$work/preview.log")"
  else
    failed "broken edit: no error in the title"
  fi
  cp "$edited/demo.vxc" "$show/demo.vxc"
  press r && expect_frame "fixed edit" "$(reference "$edited" 60)"
  title | grep -q error && failed "the title still says error"
  finish "Escape quits"
fi

# Pause holds the frame; --watch reloads without a key.
script 50 >"$show/demo.vxc"
if start --watch; then
  sleep 1
  press space
  if wait_title 'paused'; then
    sleep 0.5
    before=$(title)
    shot held1
    sleep 1
    shot held2
    $shots same "$work/held1.xwd" "$work/held2.xwd" "$x" "$y" 320 240 >/dev/null &&
      pass "pause holds the frame" || failed "pause holds the frame"
    [ "$(title)" = "$before" ] && pass "pause holds the time" || failed "pause holds the time: '$before' then '$(title)'"
  else
    failed "Space pauses"
  fi
  press 2 Return && wait_title '2\.000 s' && expect_frame "watch: before the edit" "$(reference "$show" 60)"
  cp "$edited/demo.vxc" "$show/demo.vxc"
  expect_frame "--watch reloads by itself" "$(reference "$edited" 60)"
  finish "Escape quits a watching preview"
fi

exit $fail
