# The native builds and their tests.

# run_programs PRESET [ENVIRONMENT...]: every test program of a native build, twice as many at once as there are
# processors. The longest start first; the two that mostly wait, in four parts: single tests take half a minute.
run_programs() {
  local preset=$1 program part parts run name slow=() quick=() names=()
  shift
  for program in "$top/build/$preset"/test_*; do
    [ -x "$program" ] || continue
    case $program in
      */test_agent_outlookaddin) slow+=("1 1 $program") ;;
      */test_inspection | */test_tools) slow+=("1 4 $program" "2 4 $program" "3 4 $program" "4 4 $program") ;;
      *) quick+=("1 1 $program") ;;
    esac
  done
  for run in ${slow[@]+"${slow[@]}"} "${quick[@]}"; do
    read -r part parts program <<<"$run"
    name="$preset $(basename "$program")"
    [ "$parts" = 1 ] || name+=", part $part of $parts"
    names+=("$name")
    while [ "$(jobs -pr | wc -l)" -ge $((2 * $(nproc))) ]; do wait -n; done
    run_gtest "$name" env "$@" GTEST_TOTAL_SHARDS="$parts" GTEST_SHARD_INDEX=$((part - 1)) "$program" &
  done
  wait
  for name in "${names[@]}"; do report_gtest "$name"; done
}

# build_or_fail PRESET [TARGET...]: a failed build is a failed check, not the end of the run.
build_or_fail() {
  build "$@" && return 0
  failed "the build of $1"
  return 1
}

test_native() {
  build_or_fail native || return
  echo "Native tests"
  run_programs native
}

# Each file by itself and without precompiled headers, so that a file that forgets to include what it uses
# doesn't compile.
test_includes() {
  check "each file of the product and the tools includes what it uses" build clang quorvex
}

test_sanitizers() {
  build_or_fail asan || return
  echo "Address and undefined-behaviour sanitizers"
  run_programs asan ASAN_OPTIONS=detect_stack_use_after_return=1 UBSAN_OPTIONS=print_stacktrace=1 \
    LSAN_OPTIONS="suppressions=$top/scripts/leftonpurpose.supp:print_suppressions=0"
}

test_threads() {
  build_or_fail tsan test_channel test_logging || return
  echo "Thread sanitizer"
  gtest "tsan test_channel" "$top/build/tsan/test_channel"
  gtest "tsan test_logging" "$top/build/tsan/test_logging"
}

test_bits32() {
  build_or_fail native32 || return
  echo "32 bits, native"
  run_programs native32
}
