# Sourced by ./run, ./test and bench/run.sh, with $top set: configures and builds one preset.
#
# build PRESET [TARGET...]: prints one line, and the compiler's errors if the build fails.

build() {
  local preset=$1 log="$top/build/logs/build-$1.log"
  shift
  local targets=() target
  for target in "$@"; do targets+=(--target "$target"); done
  mkdir -p "$top/build/logs"
  echo "Building $preset${*:+ ($*)}"
  if ! (cd "$top" && cmake --preset "$preset" && cmake --build --preset "$preset" "${targets[@]}") \
    >"$log" 2>&1; then
    echo "The build of $preset failed:"
    grep -nE 'error|FAILED|CMake Error' -A 4 "$log" | head -n 60
    echo "(full log: ${log#"$top"/})"
    return 1
  fi
}
