# Sourced by ./test: runs tests and counts their results.
#
# check NAME COMMAND...      one check: passed if the command ends with 0
# gtest NAME COMMAND...      a GoogleTest program: each of its tests counts
# skipped NAME WHY           a check that this machine can't make
# failed NAME                counts a failure that the caller has already described
# at_once FUNCTION...        runs functions in parallel and shows the output of each when it is complete
# finish                     the summary; its last line is the total

results_logs="$top/build/logs"
# One line for each result, "passed 12" or "failed 1 NAME". It is a file because functions that run in
# parallel are separate processes.
results_counted="$results_logs/results"
mkdir -p "$results_logs"
: >"$results_counted"

count() { printf '%s\n' "$*" >>"$results_counted"; }

check() {
  local name=$1 log="$results_logs/check-${1//[^A-Za-z0-9._-]/-}.log"
  shift
  if "$@" >"$log" 2>&1 </dev/null; then
    count passed 1
    printf '  ok      %s\n' "$name"
  else
    failed "$name"
    printf '  FAILED  %s\n' "$name"
    tail -n 40 "$log" | sed 's/^/          /'
  fi
}

failed() { count failed 1 "$1"; }

skipped() {
  count skipped 1
  printf '  skipped %s: %s\n' "$1" "$2"
}

at_once() {
  local run processes=() i
  for run in "$@"; do
    "$run" >"$results_logs/at-once-$run.log" 2>&1 </dev/null &
    processes+=($!)
  done
  i=0
  for run in "$@"; do
    # A function that ends before its own last line hasn't counted everything.
    wait "${processes[i]}" || failed "$run ended early"
    cat "$results_logs/at-once-$run.log"
    i=$((i + 1))
  done
}

# The number in a line of GoogleTest's report, 0 if the line isn't there.
report_count() {
  local number
  number=$(sed -nE "s/^\[$1\] ([0-9]+) tests?.*/\1/p" "$2" | tail -n 1)
  echo "${number:-0}"
}

gtest() {
  run_gtest "$@"
  report_gtest "$1"
}

gtest_log() { echo "$results_logs/test-${1//[^A-Za-z0-9._-]/-}.log"; }

# The two halves of gtest, to run several programs at once: only the second one counts.
run_gtest() {
  local log status=0
  log=$(gtest_log "$1")
  rm -f "$log.status"
  shift
  "$@" >"$log" 2>&1 </dev/null || status=$?
  echo "$status" >"$log.status"
}

report_gtest() {
  local name=$1 log status
  log=$(gtest_log "$name")
  status=$(<"$log.status") || status=1
  # Wine ends its lines with CR LF.
  sed -i 's/\r$//' "$log"
  local ran passed failed skipped
  ran=$(sed -nE 's/^\[==========\] ([0-9]+) tests? from .* ran\..*/\1/p' "$log" | tail -n 1)
  passed=$(report_count '  PASSED  ' "$log")
  failed=$(report_count '  FAILED  ' "$log")
  skipped=$(report_count '  SKIPPED ' "$log")
  if [ -z "$ran" ] || { [ "$status" -ne 0 ] && [ "$failed" -eq 0 ]; }; then
    # It ended before its report, or for a reason that the report doesn't show.
    failed=$((failed + 1))
    printf '  FAILED  %s (ended with %d, no clean report)\n' "$name" "$status"
    tail -n 40 "$log" | sed 's/^/          /'
  elif [ "$failed" -gt 0 ]; then
    printf '  FAILED  %s: %d of %d\n' "$name" "$failed" "$ran"
    grep -B 12 -E '^\[  FAILED  \] .*\([0-9]+ ms\)' "$log" | head -n 80 | sed 's/^/          /'
  elif [ "$ran" -eq 0 ]; then
    failed=1
    printf '  FAILED  %s: no test in it\n' "$name"
  else
    printf '  ok      %s: %d tests\n' "$name" "$passed"
  fi
  # Each with its reason, which is the line before.
  [ "$skipped" -gt 0 ] && grep -h -B 1 -E '^\[  SKIPPED \] .* ms\)$' "$log" | grep -v '^--$' | head -n 20 |
    sed 's/^/          /'
  count passed "$passed"
  if [ "$failed" -gt 0 ]; then count failed "$failed" "$name"; fi
  if [ "$skipped" -gt 0 ]; then count skipped "$skipped"; fi
}

finish() {
  echo
  sed -n 's/^failed [0-9]* /failed: /p' "$results_counted"
  awk '
    { sum[$1] += $2 }
    END {
      printf "%d passed, %d failed", sum["passed"], sum["failed"]
      if (sum["skipped"]) printf ", %d skipped", sum["skipped"]
      print ""
      exit sum["failed"] > 0 || sum["passed"] == 0
    }' "$results_counted"
}
