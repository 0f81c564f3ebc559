#!/usr/bin/env bash
# End-to-end tests of vxtool preview under Xvfb: keys pressed with xdotool,
# the window's pixels read from Xvfb's framebuffer file and compared with the
# frames vxtool render writes for the same show times.
#   vxtool_preview_e2e.sh PATH/TO/vxtool PATH/TO/vx_showgen
# A failing comparison writes expected.png, actual.png and diff.png into
# pixel-failures/preview/CASE under the folder it runs in (the build folder under
# ctest) and names that folder.
set -u
vxtool=$(realpath "$1")
showgen=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
scripts=$here/../../scripts
shots="python3 $scripts/shotcompare.py"
failures=$PWD/pixel-failures/preview
rm -rf "$failures"
fail=0
work=$(mktemp -d)
mkdir -p "$work/fb"

pass() { echo "PASS $*"; }
failed() { echo "FAIL $*"; fail=1; }

# Each preview runs under timeout, with its own files: $run.pid (timeout's
# pid), $run.rc (its exit code) and $run.log (its output).
runs=0
run=$work/run0
stop_preview() {
  [ -f "$run.pid" ] || return 0
  local tpid child
  tpid=$(cat "$run.pid")
  if [ ! -f "$run.rc" ]; then
    child=$(ps -o pid= --ppid "$tpid" 2>/dev/null | tr -d ' ')
    kill "$tpid" 2>/dev/null
    for _ in $(seq 100); do [ -f "$run.rc" ] && break; sleep 0.1; done
    if [ ! -f "$run.rc" ]; then
      echo "  the preview (pid ${child:-?}) outlived SIGTERM by 10 s: killed"
      [ -n "$child" ] && kill -KILL "$child" 2>/dev/null
      kill -KILL "$tpid" 2>/dev/null
      for _ in $(seq 50); do [ -f "$run.rc" ] && break; sleep 0.1; done
    fi
  fi
  rm -f "$run.pid"
}
xvfb=
cleanup() {
  stop_preview
  [ -n "$xvfb" ] && kill "$xvfb" 2>/dev/null
  wait 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

# Xvfb on a random display far from the usual ones (a display number in
# use makes it exit: another one is tried); it writes the number when ready.
for _ in 1 2 3 4 5; do
  display=$((1000 + RANDOM % 30000))
  rm -f "$work/display"
  Xvfb ":$display" -displayfd 3 -screen 0 1024x768x24 -fbdir "$work/fb" -nolisten tcp 3>"$work/display" \
    >"$work/xvfb.log" 2>&1 &
  xvfb=$!
  for _ in $(seq 300); do [ -s "$work/display" ] && break; kill -0 $xvfb 2>/dev/null || break; sleep 0.1; done
  [ -s "$work/display" ] && break
  kill $xvfb 2>/dev/null
  xvfb=
done
[ -n "$xvfb" ] || { echo "FAIL Xvfb did not start"; cat "$work/xvfb.log"; exit 1; }
export SDL_AUDIODRIVER=dummy DISPLAY=":$display"

if $shots selftest; then pass "shotcompare decodes PNGs of every row filter"; else failed "shotcompare's PNG decoder"; fi

# The show: the example show's generated content and a script of its own: a
# backdrop, a picture drifting and fading, the planet scene (3D) from 1.5 s
# over the backdrop's removal, music. ORB_X moves the picture for edits.
show=$work/show
mkdir -p "$show"
"$showgen" "$show" >/dev/null || { echo "FAIL vx_showgen"; exit 1; }
script() {  # script ORB_X
  printf '%s\n' "loadimage backdrop.jpg back" "loadimage orb.png orb" "loadscene orbit.vxk orbit" \
    "loadmusic tune.mp3 tune" "settime 0" "setlayer back -20" "setlayer orb 12" "setlayerpos 12 $1 100" \
    "setlayerposdelta 12 120 40" "setlayeralphadelta 12 -0.2" "playmusic tune 0" "waituntil 1500" \
    "playscene orbit 1" "setscenetime 0" "removelayer -20" "wait 60000"
}
broken() { script 400; echo "setlayr back -20"; }
script 50 >"$show/demo.vxc"
edited=$work/edited
mkdir -p "$edited"
for f in "$show"/*; do ln -s "$f" "$edited/"; done
rm "$edited/demo.vxc"
script 400 >"$edited/demo.vxc"
# The show with another picture for the orb (the spark).
picture=$work/picture
mkdir -p "$picture"
for f in "$show"/*; do ln -s "$f" "$picture/"; done
rm "$picture/demo.vxc" "$picture/orb.png"
script 50 >"$picture/demo.vxc"
cp "$show/spark.png" "$picture/orb.png"

# reference DIR K [FPS [SIZE]]: frame K of a render of the show in DIR
# (default 30 fps, 320x240).
reference() {
  local fps=${3:-30} size=${4:-320x240} out
  out="$work/ref-$(basename "$1")-$fps-$size-$2"
  if [ ! -d "$out" ]; then
    (cd "$1" && "$vxtool" render --fps "$fps" --size "$size" --quiet --frames-from "$2" --frames-to "$2" \
      --frames "$out") >"$out.log" 2>&1 || { echo "  render of frame $2 failed:" >&2; cat "$out.log" >&2; }
  fi
  printf '%s/frame%06d.png' "$out" "$2"
}

# Every comparison below could not fail if the frames it distinguishes were
# equal: the show must change between them. (Its first two frames are
# equal, at any rate: the first draw moves nothing.) On the 10 fps grid,
# 1 s is not what the 30 fps grid draws at 1 s, so a preview replaying on
# the wrong grid shows.
if $shots distinct "$(reference "$show" 0)" "$(reference "$show" 30)" "$(reference "$show" 31)" \
  "$(reference "$show" 60)" "$(reference "$show" 90)" "$(reference "$show" 300)" "$(reference "$edited" 60)" \
  "$(reference "$picture" 60)"; then
  pass "the reference frames at 30 fps all differ"
else
  failed "the reference frames at 30 fps all differ"
fi
if $shots distinct "$(reference "$show" 10 10)" "$(reference "$show" 11 10)" "$(reference "$show" 12 10)" \
  "$(reference "$show" 30)"; then
  pass "the reference frames at 10 fps all differ"
else
  failed "the reference frames at 10 fps all differ"
fi

# start DIR ARGS...: vxtool preview run in DIR; sets id and x, y, w, h (the
# window's drawing area on the screen, as --size or its default asks).
start() {
  local dir=$1 arg prev= size=800x600
  shift
  for arg in "$@"; do [ "$prev" = --size ] && size=$arg; prev=$arg; done
  stop_preview
  # The last preview's window may outlive its process for a moment.
  for _ in $(seq 100); do xwininfo -root -children 2>/dev/null | grep -qF '"vxtool preview' || break; sleep 0.1; done
  runs=$((runs + 1))
  run=$work/run$runs
  (cd "$dir" && timeout -k 5 240 "$vxtool" preview "$@" >"$run.log" 2>&1 &
    echo $! >"$run.pid"
    wait $!
    echo $? >"$run.rc") &
  for _ in $(seq 100); do [ -s "$run.pid" ] && break; sleep 0.1; done
  id=
  for _ in $(seq 300); do
    id=$(xwininfo -root -children 2>/dev/null | grep -F '"vxtool preview' | awk '{ print $1; exit }')
    [ -n "$id" ] && break
    [ -f "$run.rc" ] && break
    sleep 0.1
  done
  if [ -z "$id" ]; then
    failed "a window titled 'vxtool preview...' ($*; exit code $(cat "$run.rc" 2>/dev/null || echo "none: still running"))"
    sed 's/^/    | /' "$run.log"
    echo "  the screen's windows:"
    xwininfo -root -children 2>&1 | sed 's/^/    | /'
    return 1
  fi
  local info
  info=$(xwininfo -id "$id")
  x=$(sed -n 's/^ *Absolute upper-left X: *//p' <<<"$info")
  y=$(sed -n 's/^ *Absolute upper-left Y: *//p' <<<"$info")
  w=$(sed -n 's/^ *Width: *//p' <<<"$info")
  h=$(sed -n 's/^ *Height: *//p' <<<"$info")
  if [ "${w}x$h" != "$size" ]; then failed "a ${w}x$h window, expected $size ($*)"; return 1; fi
}

title() { xwininfo -id "$id" 2>/dev/null | sed -n 's/^xwininfo: Window id: [^ ]* "\(.*\)"$/\1/p'; }
seconds() { title | grep -Eo '[0-9]+\.[0-9]{3} s' | head -n1 | cut -d' ' -f1; }

# Title patterns: the show time and whole words.
at() { printf '(^|[^0-9.])%s s' "${1//./\\.}"; }
word() { printf '(^|[^[:alpha:]])%s($|[^[:alpha:]])' "$1"; }

# wait_title PATTERN [NOT-PATTERN]: until the title matches PATTERN and not
# NOT-PATTERN (up to 60 s: a jump replays the show from its start); a FAIL
# line when it never does.
wait_title() {
  local t
  for _ in $(seq 600); do
    t=$(title)
    if grep -Eq -- "$1" <<<"$t" && { [ -z "${2:-}" ] || ! grep -Eq -- "$2" <<<"$t"; }; then return 0; fi
    sleep 0.1
  done
  failed "the title '$t' never matched '$1'${2:+ without '$2'}"
  return 1
}

press() {
  xdotool windowfocus "$id" 2>/dev/null
  xdotool key --window "$id" "$@" || { failed "xdotool key $* to the window $id"; return 1; }
}

shot() { cp "$work/fb/Xvfb_screen0" "$work/$1.xwd"; }

faildir() { printf '%s/%s' "$failures" "$(printf '%s' "$1" | tr -cs 'A-Za-z0-9' '-' | sed 's/^-*//; s/-*$//')"; }

# expect_frame CASE PNG: the window shows the frame (polled for up to 20 s).
expect_frame() {
  local out
  for _ in $(seq 40); do
    shot now
    out=$($shots frame "$work/now.xwd" "$x" "$y" "$w" "$h" "$2") && { pass "$1"; return 0; }
    sleep 0.5
  done
  out=$($shots frame "$work/now.xwd" "$x" "$y" "$w" "$h" "$2" "$(faildir "$1")")
  failed "$1: $out (title '$(title)')"
  return 1
}

# expect_exit CASE: the preview ends by itself with exit code 0 (up to 30 s).
expect_exit() {
  local rc
  for _ in $(seq 300); do [ -f "$run.rc" ] && break; sleep 0.1; done
  rc=$(cat "$run.rc" 2>/dev/null || echo "none (still running)")
  if [ "$rc" = 0 ]; then pass "$1"; else failed "$1: exit code $rc"; sed 's/^/    | /' "$run.log"; fi
  stop_preview
}

# expect_quit CASE ACTION...: the preview still runs, and ACTION ends it
# with exit code 0.
expect_quit() {
  if [ -f "$run.rc" ]; then
    failed "$1: the preview had already ended (exit code $(cat "$run.rc"))"
    sed 's/^/    | /' "$run.log"
    stop_preview
    return 1
  fi
  "${@:2}"
  expect_exit "$1"
}

# An error screen: not the frame, a dark area mostly of one colour (the
# background behind the message's panel; the show's darkest frames have no
# colour on more than 2% of their pixels).
expect_error_screen() {  # expect_error_screen CASE FRAME.png
  local dominant mean out
  for _ in $(seq 40); do
    shot error
    dominant=$($shots dominant "$work/error.xwd" "$x" "$y" "$w" "$h")
    mean=$($shots mean "$work/error.xwd" "$x" "$y" "$w" "$h")
    if ! $shots frame "$work/error.xwd" "$x" "$y" "$w" "$h" "$2" >/dev/null &&
      awk -v d="$dominant" -v m="$mean" 'BEGIN { split(d, a, " "); split(m, b, " ");
        exit !(a[1] >= 0.3 && b[1] < 90 && b[2] < 90 && b[3] < 90) }'; then
      pass "$1"
      return 0
    fi
    sleep 0.5
  done
  out=$($shots frame "$work/error.xwd" "$x" "$y" "$w" "$h" "$2" "$(faildir "$1")")
  failed "$1: the window (most common colour: share and RGB $dominant; mean RGB $mean) is no error screen; ${out:-it shows the frame}"
}

# a. Jumps land on the rendered frames: 2 s, one on, one back, ten back
# (to 0), ten on, a typed second, a frame on, a frame back, Home, two typed
# digits. Then the figures overlay, R after an edit,
# a broken edit and its fix, and Escape.
if start "$show" --size 320x240 --paused --from 2000; then
  wait_title "$(at 2.000)" && wait_title "$(word paused)" && expect_frame "--from 2000 --paused: 2000 ms" "$(reference "$show" 60)"
  press Right && wait_title "$(at 3.000)" && expect_frame "Right: 3000 ms" "$(reference "$show" 90)"
  press Left && wait_title "$(at 2.000)" && expect_frame "Left: 2000 ms" "$(reference "$show" 60)"
  press shift+Left && wait_title "$(at 0.000)" && expect_frame "Shift+Left from 2 s: 0 ms" "$(reference "$show" 0)"
  press shift+Right && wait_title "$(at 10.000)" && expect_frame "Shift+Right: 10000 ms" "$(reference "$show" 300)"
  press 1 Return && wait_title "$(at 1.000)" && expect_frame "1 Enter: 1000 ms" "$(reference "$show" 30)"
  press ctrl+Right && wait_title "$(at 1.033)" && expect_frame "Ctrl+Right: frame 31 (1033 ms)" "$(reference "$show" 31)"
  press ctrl+Left && wait_title "$(at 1.000)" && expect_frame "Ctrl+Left: frame 30 (1000 ms)" "$(reference "$show" 30)"
  wait_title "$(word paused)" || failed "the jumps keep the preview paused"
  press Home && wait_title "$(at 0.000)" && expect_frame "Home: 0 ms" "$(reference "$show" 0)"
  press 1 0 Return && wait_title "$(at 10.000)" && expect_frame "1 0 Enter: 10000 ms" "$(reference "$show" 300)"
  press 2 Return && wait_title "$(at 2.000)" && expect_frame "2 Enter: 2000 ms" "$(reference "$show" 60)"

  # F: figures drawn over the frame, and off again.
  press f
  for _ in $(seq 40); do
    shot overlay
    out=$($shots frame "$work/overlay.xwd" "$x" "$y" "$w" "$h" "$(reference "$show" 60)") || break
    sleep 0.5
  done
  differing=$(grep -Eo '^[0-9]+' <<<"$out")
  if [ -n "$differing" ] && [ "$differing" -le $((w * h * 9 / 10)) ]; then
    pass "F draws figures over the frame"
  else
    failed "F draws figures over the frame (${out:-the window still shows the bare frame})"
  fi
  press f && expect_frame "F again: the bare frame" "$(reference "$show" 60)"

  # c. R after an edit shows the edited show at the same time.
  script 400 >"$show/demo.vxc"
  press r && expect_frame "R after an edit: the edited show at 2000 ms" "$(reference "$edited" 60)"
  wait_title "$(at 2.000)" && wait_title "$(word paused)" && pass "R keeps the time and the pause"

  # d. A broken edit shows the error in the window; the fix recovers.
  broken >"$show/demo.vxc"
  press r
  if wait_title "$(word error)"; then
    pass "R after a broken edit: error in the title"
    expect_error_screen "R after a broken edit: the error screen" "$(reference "$edited" 60)"
  else
    failed "R after a broken edit: error in the title"
  fi
  script 400 >"$show/demo.vxc"
  press r && expect_frame "R after the fix: the show at 2000 ms" "$(reference "$edited" 60)"
  wait_title "$(at 2.000)" "$(word error)" && pass "R after the fix: no error in the title"

  # f. Escape quits with 0.
  expect_quit "Escape quits with exit code 0" press Escape
fi

# b. Playing, then Space pauses and the frame holds; Space plays on; a jump
# and frame steps on the 10 fps grid; an A-B loop; closing the window quits
# with 0.
script 50 >"$show/demo.vxc"
if start "$show" --size 320x240 --fps 10; then
  if wait_title "$(at '[0-9]+.[0-9]{3}')" "$(word paused)"; then
    for _ in $(seq 300); do [ "$(seconds | tr -d .)" -ge 500 ] 2>/dev/null && break; sleep 0.1; done
    [ "$(seconds | tr -d .)" -ge 500 ] 2>/dev/null && pass "without --paused the show plays" ||
      failed "without --paused the show plays (title '$(title)')"
  else
    failed "without --paused the title has a time and no 'paused'"
  fi
  press space
  if wait_title "$(word paused)"; then
    sleep 0.5
    before=$(title)
    shot held1
    sleep 1
    shot held2
    after=$(title)
    if out=$($shots same "$work/held1.xwd" "$work/held2.xwd" "$x" "$y" "$w" "$h" "$(faildir "pause holds the frame")"); then
      pass "Space pauses and the frame holds"
    else
      failed "Space pauses and the frame holds: $out"
    fi
    [ "$after" = "$before" ] && pass "paused, the title's time holds" || failed "paused, the title's time holds: '$before' then '$after'"
    held=$(seconds | tr -d .)
    press space
    resumed=0
    for _ in $(seq 300); do
      t=$(title)
      if ! grep -Eq "$(word paused)" <<<"$t" && [ "$(seconds | tr -d .)" -gt "$((10#$held + 300))" ] 2>/dev/null; then resumed=1; break; fi
      sleep 0.1
    done
    [ $resumed = 1 ] && pass "Space again plays on" || failed "Space again plays on (paused at $held ms, title '$(title)')"
  else
    failed "Space pauses (title '$(title)')"
  fi
  press space && wait_title "$(word paused)"
  press 1 Return && wait_title "$(at 1.000)" && expect_frame "--fps 10: 1 Enter: frame 10 (1000 ms)" "$(reference "$show" 10 10)"
  press ctrl+Right && wait_title "$(at 1.100)" && expect_frame "--fps 10: Ctrl+Right: frame 11 (1100 ms)" "$(reference "$show" 11 10)"
  press ctrl+Right && wait_title "$(at 1.200)" && expect_frame "--fps 10: Ctrl+Right: frame 12 (1200 ms)" "$(reference "$show" 12 10)"

  # L at 1.2 s and at 2 s: playing goes round from 2 s back to 1.2 s (twice
  # seen, never past 2.5 s); L again clears the loop.
  press l && press 2 Return && wait_title "$(at 2.000)" && press l && press space
  high=1 rounds=0 latest=0 most=0
  for _ in $(seq 400); do
    t=$(seconds | tr -d .)
    [ -n "$t" ] || continue
    latest=$((10#$t))
    [ $latest -gt $most ] && most=$latest
    if [ $latest -ge 1700 ]; then high=1; elif [ $high = 1 ]; then high=0; rounds=$((rounds + 1)); fi
    [ $rounds -ge 2 ] && break
    sleep 0.05
  done
  if [ $rounds -ge 2 ] && [ $most -le 2500 ]; then
    pass "L, L: playing loops from 2 s back to 1.2 s"
  else
    failed "L, L: playing loops from 2 s back to 1.2 s (went round $rounds times, latest $latest ms, at most $most ms; title '$(title)')"
  fi
  press l
  for _ in $(seq 300); do [ "$(seconds | tr -d .)" -gt 3000 ] 2>/dev/null && break; sleep 0.1; done
  [ "$(seconds | tr -d .)" -gt 3000 ] 2>/dev/null && pass "L a third time clears the loop" ||
    failed "L a third time clears the loop (title '$(title)')"

  expect_quit "closing the window quits with exit code 0" python3 "$scripts/xclose.py" "$id"
fi

# e. --watch reloads without a key: an edit, the original saved back the way
# editors save (a new file renamed over the old), a picture the show loads
# changed and changed back, a broken edit and its fix.
# The show comes from --dir, not the folder the preview runs in.
script 50 >"$show/demo.vxc"
if start "$work" --size 320x240 --dir "$show" --watch --paused --from 2000; then
  wait_title "$(at 2.000)" && expect_frame "--watch --dir: 2000 ms" "$(reference "$show" 60)"
  script 400 >"$show/demo.vxc"
  expect_frame "--watch: an edit shows by itself" "$(reference "$edited" 60)" &&
    { wait_title "$(at 2.000)" && wait_title "$(word paused)" && pass "--watch keeps the time and the pause"; }
  script 50 >"$show/demo.vxc.new" && mv "$show/demo.vxc.new" "$show/demo.vxc"
  expect_frame "--watch: a save by rename shows by itself" "$(reference "$show" 60)"
  cp "$show/orb.png" "$work/orb.png"
  cp "$picture/orb.png" "$show/orb.png"
  expect_frame "--watch: a changed picture shows by itself" "$(reference "$picture" 60)"
  cp "$work/orb.png" "$show/orb.png"
  expect_frame "--watch: the picture changed back shows by itself" "$(reference "$show" 60)"
  broken >"$show/demo.vxc"
  if wait_title "$(word error)"; then
    pass "--watch: a broken edit puts error in the title"
    expect_error_screen "--watch: the error screen" "$(reference "$edited" 60)"
  else
    failed "--watch: a broken edit puts error in the title"
  fi
  script 50 >"$show/demo.vxc"
  expect_frame "--watch: the fix of a broken edit shows by itself" "$(reference "$show" 60)" &&
    { wait_title "$(at 2.000)" "$(word error)" && pass "--watch: the fix clears the error"; }
  expect_quit "Escape quits a watching preview with exit code 0" press Escape
fi

# h. A show that fails from the start: the error screen, no exit; R after
# the fix, or the fix alone under --watch, plays it.
for watching in "" --watch; do
  broken >"$show/demo.vxc"
  if start "$show" --size 320x240 --paused --from 2000 $watching; then
    if wait_title "$(word error)"; then
      pass "${watching:+$watching: }a show broken from the start: error in the title"
      expect_error_screen "${watching:+$watching: }a show broken from the start: the error screen" "$(reference "$edited" 60)"
      [ -f "$run.rc" ] && failed "${watching:+$watching: }a show broken from the start: the preview exited ($(cat "$run.rc"))"
    else
      failed "${watching:+$watching: }a show broken from the start: error in the title"
    fi
    script 400 >"$show/demo.vxc"
    if [ -n "$watching" ]; then
      expect_frame "--watch: the fix of a show broken from the start shows by itself" "$(reference "$edited" 60)"
    else
      press r && expect_frame "R after the fix of a show broken from the start: 2000 ms" "$(reference "$edited" 60)" &&
        { wait_title "$(at 2.000)" "$(word error)" && pass "R after the fix of a show broken from the start: no error in the title"; }
    fi
    expect_quit "${watching:+$watching: }Escape quits a preview of a broken show with exit code 0" press Escape
  fi
done

# g. --archive: the show packed, with a loose script in the folder over the
# archive's; no --size gives 800x600.
script 50 >"$show/demo.vxc"
mkdir -p "$work/loose"
script 400 >"$work/loose/demo.vxc"
if (cd "$show" && "$vxtool" pack --show demo.vxc "$work/show.cfl") >"$work/pack.log" 2>&1; then
  if $shots distinct "$(reference "$show" 60 30 800x600)" "$(reference "$edited" 60 30 800x600)"; then
    if start "$work/loose" --archive "$work/show.cfl" --paused --from 2000; then
      wait_title "$(at 2.000)" &&
        expect_frame "--archive with a loose script over it, 800x600: 2000 ms" "$(reference "$edited" 60 30 800x600)"
      expect_quit "Escape quits a preview of an archive with exit code 0" press Escape
    fi
  else
    failed "the 800x600 reference frames differ"
  fi
else
  failed "vxtool pack --show"; sed 's/^/    | /' "$work/pack.log"
fi

exit $fail
