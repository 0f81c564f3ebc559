#!/usr/bin/env bash
# fuzz/run.sh SECONDS [TARGET...]
#
# Builds the fuzz targets (fuzz/build.sh) if needed and runs each target (all
# of them by default) for SECONDS, starting from its committed corpus in
# fuzz/corpus/<target>/. New inputs go to build-fuzz/fuzz-work/<target>/ (the
# committed corpus is not touched); a failing input is saved under
# fuzz/artifacts/ (crash-*, leak-*, timeout-*, oom-*). Prints, per target,
# the executions and the outcome; exits non-zero when any target failed.
#
# FUZZ_JOBS=N runs N targets at a time (default 1); FUZZ_BUILD=DIR picks the
# build folder (default build-fuzz).
set -euo pipefail
cd "$(dirname "$0")/.."
root="$PWD"
seconds="${1:?usage: fuzz/run.sh SECONDS [TARGET...]}"
shift
bin="${FUZZ_BUILD:-build-fuzz}"
case "$bin" in /*) ;; *) bin="$root/$bin" ;; esac
# A tree that does not build right now (work in progress elsewhere) still
# gets fuzzed with the targets built last.
if ! ./fuzz/build.sh "$bin" >/dev/null; then
  ls "$bin"/fuzz/fuzz_* >/dev/null 2>&1 || exit 1
  echo "fuzz/run.sh: the build failed; running the targets built before" >&2
fi
if [ $# -gt 0 ]; then
  targets=("$@")
else
  mapfile -t targets < <(cd "$root/fuzz/corpus" && ls -d fuzz_* | while read -r t; do
    [ -x "$bin/fuzz/$t" ] && echo "$t"; done)
fi
jobs="${FUZZ_JOBS:-1}"
mkdir -p "$root/fuzz/artifacts" "$bin/fuzz-work"

# Runs one target; its log is $bin/fuzz-work/<target>.log.
run_one() {
  local t="$1" work="$bin/fuzz-work/$1"
  mkdir -p "$work"
  # The product writes every message box and debug line to standard error:
  # -close_fd_mask=2 drops those; libFuzzer's and the sanitizers' own reports
  # still reach the log.
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ASAN_OPTIONS=detect_leaks=1 \
    "$bin/fuzz/$t" "$work" "$root/fuzz/corpus/$t" \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 -close_fd_mask=2 \
    -artifact_prefix="$root/fuzz/artifacts/$t-" >"$bin/fuzz-work/$t.log" 2>&1
}

pids=()
for t in "${targets[@]}"; do
  while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do sleep 1; done
  run_one "$t" &
  pids+=("$t:$!")
done

status=0
printf '%-16s %12s %8s %10s  %s\n' target executions exec/s corpus outcome
for entry in "${pids[@]}"; do
  t="${entry%%:*}"
  if wait "${entry#*:}"; then rc=0; else rc=$?; fi
  log="$bin/fuzz-work/$t.log"
  runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)"
  rate="$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)"
  corpus="$(ls "$bin/fuzz-work/$t" | wc -l)"
  if [ "$rc" -eq 0 ]; then
    outcome="clean"
  else
    status=1
    kind="$(grep -o -m1 -E 'ERROR: (libFuzzer|AddressSanitizer|LeakSanitizer|UndefinedBehaviorSanitizer)[^ ]*: [a-z-]+|runtime error|ALARM: working on the last Unit for [0-9]+ seconds|out-of-memory' "$log" || true)"
    artifact="$(sed -n 's/.*Test unit written to //p' "$log" | tail -1)"
    outcome="FAILED (${kind:-exit $rc}) ${artifact:-} — see $log"
  fi
  printf '%-16s %12s %8s %10s  %s\n' "$t" "${runs:-?}" "${rate:-?}" "$corpus" "$outcome"
done
exit $status
