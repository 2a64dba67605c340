# Sourced by ./test and bench/run.sh, with $top set: a Wine with a folder of its own.
#
# use_wine [FOLDER]        exports what Wine needs, and makes its folder (build/wine) if it isn't there
# wine_within SECONDS ...  runs a Windows program, and ends it when it takes longer
#
# wine32.sh has use_wine32, after which the same commands run 32-bit programs.

use_wine() {
  export WINEDEBUG=-all WINEPREFIX="${1:-$top/build/wine}"
  # Suppresses the wizards that would install a browser engine or a runtime, which nothing here needs.
  export WINEDLLOVERRIDES="mscoree,mshtml="
  [ -f "$WINEPREFIX/system.reg" ] && return 0
  mkdir -p "$WINEPREFIX" "$top/build/logs"
  wineboot -i >"$top/build/logs/wineboot-$(basename "$WINEPREFIX").log" 2>&1 && wineserver -w
}

wine_within() {
  local seconds=$1
  shift
  timeout "$seconds" wine "$@"
}
