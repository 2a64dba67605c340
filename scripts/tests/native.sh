# The native builds and their tests.

# run_programs PRESET [ENVIRONMENT...]: every test program of a native build, twice as many at once as
# there are processors, since the longest ones mostly wait. Those are the last in the alphabet, so the
# programs start in reverse order.
run_programs() {
  local preset=$1 program programs=()
  shift
  for program in "$top/build/$preset"/test_*; do
    [ -x "$program" ] && programs=("$program" "${programs[@]}")
  done
  for program in "${programs[@]}"; do
    while [ "$(jobs -pr | wc -l)" -ge $((2 * $(nproc))) ]; do wait -n; done
    run_gtest "$preset $(basename "$program")" env "$@" "$program" &
  done
  wait
  for program in "${programs[@]}"; do report_gtest "$preset $(basename "$program")"; done
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

# Without precompiled headers, so that a file that forgets to include what it uses doesn't compile.
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
