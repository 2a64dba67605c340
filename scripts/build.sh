# Sourced by ./run, ./test and bench/run.sh, with $top set: configures and builds presets.
#
# build PRESET [TARGET...]   prints one line, and the compiler's errors if the build fails
# build_ahead PRESET...      builds them while the caller goes on, one after another and after those of earlier
#                            calls; `build PRESET` then waits for its one. At a lower priority than the tests,
#                            which mostly wait.
# end_builds                 ends what is still being built
# warn_of_full_disk GB       says so if less is free. A full disk shows in many ways, most of them misleading.

build_logs="$top/build/logs"
mkdir -p "$build_logs"
declare -A builds_ahead=() # the process of each
builds_last=""             # the process of the last one

build() {
  echo "Building $1${2:+ (${*:2})}"
  if [ $# = 1 ] && [ -n "${builds_ahead[$1]:-}" ]; then
    # Not `wait`, which only the shell that started it can use.
    tail --pid="${builds_ahead[$1]}" -f /dev/null
    cat "$build_logs/ahead-$1"
    [ -f "$build_logs/ahead-$1.built" ]
  else
    build_now "$@"
  fi
}

build_now() {
  local preset=$1 log="$build_logs/build-$1.log"
  shift
  if ! (cd "$top" && cmake --preset "$preset" && cmake --build --preset "$preset" "${@/#/--target=}") \
    >"$log" 2>&1; then
    echo "The build of $preset failed:"
    grep -nE 'error|FAILED|CMake Error' -A 4 "$log" | head -n 60
    echo "(full log: ${log#"$top"/})"
    return 1
  fi
}

build_ahead() {
  local preset before
  # A process group for each, so that end_builds reaches the compilers too.
  set -m
  for preset in "$@"; do
    before=$builds_last
    rm -f "$build_logs/ahead-$preset.built"
    (
      [ -z "$before" ] || tail --pid="$before" -f /dev/null
      renice -n 10 "$BASHPID" >/dev/null
      build_now "$preset" && touch "$build_logs/ahead-$preset.built"
    ) >"$build_logs/ahead-$preset" 2>&1 </dev/null &
    builds_last=$!
    builds_ahead[$preset]=$!
    disown
  done
  set +m
}

end_builds() {
  local process
  for process in "${builds_ahead[@]}"; do kill -- "-$process" 2>/dev/null; done
  return 0
}

warn_of_full_disk() {
  local free
  free=$(df --output=avail --block-size=1G "$top" | tail -n 1) || return 0
  [ "$free" -ge "$1" ] || echo "The disk has only $((free)) GB free. A first run writes up to $1 GB."
}
