#!/usr/bin/env bash
# End-to-end tests of the real player under Xvfb: the start-up question is
# answered with xdotool, the exit code and standard error are checked.
#   vxplay_e2e.sh PATH/TO/vxplay [SCREENSHOT.png]
# When an archive stands beside the player (the example show), it is played
# to its end too, and a screenshot taken mid-show is written where asked.
set -u
player=$(realpath "$1")
screenshot="${2:-}"
here=$(cd "$(dirname "$0")" && pwd)
fail=0
work=$(mktemp -d)
display=":$((90 + RANDOM % 500))"
mkdir -p "$work/fb"
Xvfb "$display" -screen 0 800x600x24 -fbdir "$work/fb" -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
trap 'kill $xvfb 2>/dev/null; rm -rf "$work"' EXIT
export SDL_AUDIODRIVER=dummy
ready=0
for _ in $(seq 300); do DISPLAY=$display xwininfo -root >/dev/null 2>&1 && { ready=1; break; }; sleep 0.1; done
[ $ready = 1 ] || { echo "FAIL Xvfb did not start on $display"; exit 1; }

# Window id of the first top-level window whose name is exactly NAME and whose
# width is at least MINW, waiting up to 15 s.
find_window() {
  local name=$1 minw=${2:-1} id
  for _ in $(seq 300); do
    id=$(DISPLAY=$display xwininfo -root -tree 2>/dev/null | grep -F "\"$name\":" |
      sed -E 's/^ *(0x[0-9a-f]+) .* ([0-9]+)x([0-9]+)\+-?[0-9]+\+-?[0-9]+ +\+-?[0-9]+\+-?[0-9]+$/\1 \2/' |
      awk -v w="$minw" '$2 + 0 >= w { print $1; exit }')
    [ -n "$id" ] && { echo "$id"; return 0; }
    sleep 0.1
  done
  return 1
}

press() {  # press NAME KEY [MINW]
  local id
  id=$(find_window "$1" "${3:-1}") || { echo "  no window named '$1'"; return 1; }
  DISPLAY=$display xdotool windowfocus "$id" 2>/dev/null
  DISPLAY=$display xdotool key --window "$id" "$2"
}

# start CASE SCRIPT-OR-EMPTY [ARCHIVE]: a fresh folder holding a copy of the
# player, beside it the archive if given, and, if given, a loose demo.vxc.
start() {
  dir="$work/$1"
  mkdir -p "$dir"
  cp "$player" "$dir/vxplay"
  [ -n "${3:-}" ] && cp "$3" "$dir/vxplay.cfl"
  [ -n "$2" ] && printf '%s' "$2" >"$dir/demo.vxc"
  (cd "$dir" && DISPLAY=$display timeout -k 10 120 ./vxplay >"$dir/out" 2>&1; echo $? >"$dir/rc") &
}

finish() {  # finish EXPECTED-RC TEXT...
  local expected=$1 rc
  shift
  for _ in $(seq 900); do [ -f "$dir/rc" ] && break; sleep 0.1; done
  rc=$(cat "$dir/rc" 2>/dev/null || echo none)
  local ok=1
  [ "$rc" = "$expected" ] || { echo "  exit code $rc, expected $expected"; ok=0; }
  for text in "$@"; do grep -qF -- "$text" "$dir/out" || { echo "  missing on stderr: $text"; ok=0; }; done
  if [ $ok = 1 ]; then echo "PASS $case"; else echo "FAIL $case"; sed 's/^/    | /' "$dir/out"; fail=1; fi
}

case="no display exits 10"
dir="$work/nodisplay"; mkdir -p "$dir"
(cd "$dir" && env -u DISPLAY -u WAYLAND_DISPLAY timeout -k 5 20 "$player" >"$dir/out" 2>&1; echo $? >"$dir/rc")
finish 10 "MessageBox: no box could be shown: there is no display" "Couldn't open MessageBox, dying"

# An X server with only its built-in fonts (a machine without the X core
# fonts): SDL cannot draw the box, and the player must say why before dying.
case="a display without the X core fonts exits 10 and says why"
bare=":$((600 + RANDOM % 300))"
Xvfb "$bare" -screen 0 800x600x24 -fp built-ins -nolisten tcp >/dev/null 2>&1 &
bare_xvfb=$!
for _ in $(seq 300); do DISPLAY=$bare xwininfo -root >/dev/null 2>&1 && break; sleep 0.1; done
dir="$work/nofonts"; mkdir -p "$dir"
(cd "$dir" && DISPLAY=$bare timeout -k 5 30 "$player" >"$dir/out" 2>&1; echo $? >"$dir/rc")
kill $bare_xvfb 2>/dev/null
why=$(grep -n "has no core font matching" "$dir/out" | head -1 | cut -d: -f1)
dying=$(grep -n "Couldn't open MessageBox, dying" "$dir/out" | head -1 | cut -d: -f1)
if [ -n "$why" ] && [ -n "$dying" ] && [ "$why" -gt "$dying" ]; then echo "  the reason comes after the last words"; echo 99 >"$dir/rc"; fi
finish 10 "the X server \"$bare\" has no core font matching" "install the X core fonts" "Couldn't open MessageBox, dying"

case="cancel at the question exits 5"
start cancel ""
press Demo Escape
press Demo Return  # the "User Abort" box
finish 5 "Demo: User Abort"

case="yes without archive or script shows one frame and exits 0"
start empty ""
press Demo Return
finish 0

case="unknown command exits 0 with the script error"
start badcommand $'settime 0\nfrobnicate now\n'
press Demo Return
press "Error loading script" Return
finish 0 "Error loading script: Invalid command 'frobnicate now' in script demo.vxc, line 2!"

case="escape during a long wait ends the show with 0"
start escape $'wait 100000\n'
press Demo Return
sleep 1
press Demo Escape 600
finish 0

if [ -f "$player.cfl" ]; then
  case="the example show plays to its end"
  start example "" "$player.cfl"
  press Demo Return
  # 14 s in: the titles over the planet scene (3D from 8 s on).
  sleep 14
  cp "$work/fb/Xvfb_screen0" "$work/shot.xwd"
  # Mid-show the screen holds many colours (the scene, its glow, the titles), not a blank.
  colours=$(python3 "$here/../../scripts/xwd2png.py" --colours "$work/shot.xwd")
  if [ "${colours:-0}" -lt 50 ]; then echo "  screenshot has only ${colours:-0} colours"; fi
  [ -n "$screenshot" ] && python3 "$here/../../scripts/xwd2png.py" "$work/shot.xwd" "$screenshot" 2
  # The show lasts 64 s; the player's own limit is 120 s.
  for _ in $(seq 1000); do [ -f "$dir/rc" ] && break; sleep 0.1; done
  if [ "${colours:-0}" -ge 50 ]; then finish 0; else fail=1; echo "FAIL $case"; fi
fi

exit $fail
