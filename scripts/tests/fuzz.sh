# Runs each fuzzer briefly from its seeds. None may find anything. Always with the same seed, so that a
# finding comes from what was changed; long runs, with a seed of their own, look for the rest.

fuzz_seconds=20

# fuzz_briefly NAME: runs it from its seeds, with all output below build/.
fuzz_briefly() {
  local name=$1 work="$top/build/fuzzing/$1" dictionary=()
  rm -rf "$work"
  mkdir -p "$work/corpus" "$work/findings"
  cp "$top/fuzz/corpus/$name"/* "$work/corpus/" || return 1
  [ -e "$top/fuzz/dict/$name.dict" ] && dictionary=("-dict=$top/fuzz/dict/$name.dict")
  "$top/build/fuzz/fuzz_$name" -seed=1 -max_total_time=$fuzz_seconds -timeout=10 -rss_limit_mb=4096 \
    "${dictionary[@]}" -artifact_prefix="$work/findings/" "$work/corpus"
}

test_fuzz() {
  build_or_fail fuzz fuzzers || return
  echo "Fuzzers, $fuzz_seconds seconds each"
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
