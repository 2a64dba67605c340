# The Windows builds: the 64-bit one runs under Wine, the 32-bit one is built and inspected.

use_wine() {
  export WINEDEBUG=-all WINEPREFIX="$top/build/wine"
  # No wizard for a browser engine or a runtime that nothing here needs.
  export WINEDLLOVERRIDES="mscoree,mshtml="
  [ -f "$WINEPREFIX/system.reg" ] && return 0
  mkdir -p "$WINEPREFIX"
  wineboot -i >"$results_logs/wineboot.log" 2>&1 && wineserver -w
}

test_windows() {
  if build_or_fail win64; then
    echo "Windows, 64-bit, under Wine"
    if use_wine; then
      local program
      for program in "$top"/build/win64/test_*.exe; do
        [ -f "$program" ] && gtest "win64 $(basename "$program" .exe)" wine "$program"
      done
      wineserver -k 2>/dev/null
    else
      results_failed=$((results_failed + 1))
      results_failures+=("starting Wine")
    fi
  fi
  build_or_fail win32
}
