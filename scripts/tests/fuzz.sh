# Runs each fuzzer briefly from its seeds. None may find anything. The seed and the number of inputs are
# fixed, and comparisons (-use_cmp), whose table depends on addresses, are off: two thirds of the fuzzers
# then try the same inputs in each run, so that a finding comes from what was changed. Long runs look for
# the rest.

fuzz_inputs=20000

# fuzz_briefly NAME: runs it from its seeds. A failing input is kept below build/.
fuzz_briefly() (
  findings="$top/build/fuzzing/$1/findings"
  rm -rf "$findings"
  mkdir -p "$findings"
  cd "$top/fuzz/corpus/$1" || exit 1
  dictionary=()
  [ -e "../../dict/$1.dict" ] && dictionary=("-dict=../../dict/$1.dict")
  "$top/build/fuzz/fuzz_$1" -seed=1 -runs=$fuzz_inputs -use_cmp=0 -timeout=10 -rss_limit_mb=4096 \
    "${dictionary[@]}" -artifact_prefix="$findings/" -seed_inputs="$(ls | paste -sd,)"
)

test_fuzz() {
  build_or_fail fuzz fuzzers || return
  echo "Fuzzers, $fuzz_inputs inputs each"
  # Two at a time: one in a check, the other in the background.
  local source names=() name other i
  while read -r source; do names+=("$(basename "$source" .cpp)"); done < <(find "$top/fuzz" -name "*.cpp" | sort)
  for ((i = 0; i < ${#names[@]}; i += 2)); do
    name=${names[i]} other=${names[i + 1]-}
    if [ -n "$other" ]; then
      fuzz_briefly "$other" >"$results_logs/fuzz-$other.log" 2>&1 </dev/null &
    fi
    check "fuzz_$name" fuzz_briefly "$name"
    if [ -n "$other" ]; then
      wait $!
      check "fuzz_$other" fuzz_ended_well $? "$results_logs/fuzz-$other.log"
    fi
  done
}

# fuzz_ended_well STATUS LOG: prints the end of the log; fails if the run did.
fuzz_ended_well() {
  tail -n 30 "$2"
  [ "$1" -eq 0 ] && grep -q '^Done [1-9]' "$2"
}
