# Sourced by ./test and bench/run.sh, with $top set: a Wine of the repository's own.
#
# use_wine [FOLDER]: exports what Wine needs, and makes its folder (build/wine) when it isn't there.

use_wine() {
  export WINEDEBUG=-all WINEPREFIX="${1:-$top/build/wine}"
  # No wizard for a browser engine or a runtime that nothing here needs.
  export WINEDLLOVERRIDES="mscoree,mshtml="
  [ -f "$WINEPREFIX/system.reg" ] && return 0
  mkdir -p "$WINEPREFIX" "$top/build/logs"
  wineboot -i >"$top/build/logs/wineboot-$(basename "$WINEPREFIX").log" 2>&1 && wineserver -w
}
