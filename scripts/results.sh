# Sourced by ./test: running tests and counting what they say.
#
# check NAME COMMAND...      one check: passed if the command ends with 0
# gtest NAME COMMAND...      a GoogleTest program: each of its tests counts
# finish                     the summary; its last line is the total

results_passed=0
results_failed=0
results_skipped=0
results_failures=()
results_logs="$top/build/logs"
mkdir -p "$results_logs"

check() {
  local name=$1 log="$results_logs/check-${1//[^A-Za-z0-9._-]/-}.log"
  shift
  if "$@" >"$log" 2>&1 </dev/null; then
    results_passed=$((results_passed + 1))
    printf '  ok      %s\n' "$name"
  else
    results_failed=$((results_failed + 1))
    results_failures+=("$name")
    printf '  FAILED  %s\n' "$name"
    tail -n 40 "$log" | sed 's/^/          /'
  fi
}

# skipped NAME WHY: a check that can't be made here.
skipped() {
  results_skipped=$((results_skipped + 1))
  printf '  skipped %s: %s\n' "$1" "$2"
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

# The two halves of gtest, for running several programs at once: only the second one counts.
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
    # It ended before its report, or for a reason that the report doesn't tell.
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
  [ "$skipped" -gt 0 ] && grep -A 2 -E '^\[ RUN' "$log" | grep -B 1 -A 1 -i 'skipped' | head -n 20 |
    sed 's/^/          /'
  [ "$failed" -gt 0 ] && results_failures+=("$name")
  results_passed=$((results_passed + passed))
  results_failed=$((results_failed + failed))
  results_skipped=$((results_skipped + skipped))
}

finish() {
  local name
  echo
  for name in ${results_failures+"${results_failures[@]}"}; do echo "failed: $name"; done
  if [ "$results_skipped" -gt 0 ]; then
    echo "$results_passed passed, $results_failed failed, $results_skipped skipped"
  else
    echo "$results_passed passed, $results_failed failed"
  fi
  [ "$results_failed" -eq 0 ]
}
