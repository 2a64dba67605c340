# The native builds and their tests.

# run_programs PRESET [ENVIRONMENT...]: every test program of a native build, more at once than there are
# processors, since the longest ones mostly wait. Those are the last in the alphabet, so the programs start
# in reverse order; two of them have tests that take half a minute and run in four parts.
run_programs() {
  local preset=$1 program name part parts programs=() names=()
  shift
  for program in "$top/build/$preset"/test_*; do
    [ -x "$program" ] && programs=("$program" "${programs[@]}")
  done
  for program in "${programs[@]}"; do
    case $program in
      */test_inspection | */test_tools) parts=4 ;;
      *) parts=1 ;;
    esac
    for ((part = 0; part < parts; part++)); do
      name="$preset $(basename "$program")"
      [ $parts = 1 ] || name+=", part $((part + 1)) of $parts"
      names+=("$name")
      while [ "$(jobs -pr | wc -l)" -ge $((4 * $(nproc))) ]; do wait -n; done
      run_gtest "$name" env "$@" GTEST_TOTAL_SHARDS=$parts GTEST_SHARD_INDEX=$part "$program" &
    done
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
