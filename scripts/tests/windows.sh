# Both Windows builds under Wine: the tests, the library from outside, and the installers.

windows_test_seconds=1200 # for one test program

# The library from outside: exports, imports, protections, size.
check_dll() {
  OBJDUMP="$2-w64-mingw32-objdump" "$top/cmake/checkdll.sh" "$top/build/$1/DlpAddIn.dll"
}

# normalized: the JSON of quorvex send without what depends on the machine: times, and the folders
# of the paths that the agent received.
normalized() {
  tr -d '\r' | jq -S '{
    mail: (.mail | sub(".*[/\\\\]"; "") | sub("[.](eml|json)$"; "")), outcome, cancel, tag,
    requests: [.requests[] | del(.wait_ms) | .payload |= if . == null then . else
      sub(".*[/\\\\](?<leaf>[^/\\\\]+)$"; .leaf) | sub("(?<begin>Attachment)[.][0-9]+$"; .begin)
      end]}'
}

# check_same_as_native PRESET: the sample mails natively, and imported and sent by quorvex.exe through
# the real library. Both must have the same results.
check_same_as_native() {
  local work="$results_logs/mails-$1" profile signatures mail
  rm -rf "$work" && mkdir -p "$work" || return 1
  cd "$top" || return 1
  cp -R samples/root "$work/root" || return 1
  QUORVEX_ROOT="$work/root" build/native/quorvex send --json --rules samples/rules.toml samples/*.eml |
    normalized >"$work/native"
  for mail in samples/*.eml; do
    build/native/quorvex import "$mail" --output "$work/$(basename "$mail" .eml).json" || return 1
  done

  profile="$WINEPREFIX/drive_c/windows/system32/zbagent"
  signatures="$(winepath -u "$(wine cmd /c 'echo %APPDATA%' | tr -d '\r')")/Microsoft/Signatures"
  mkdir -p "$profile" "$signatures"
  cp samples/root/windows/system32/zbagent/vrk.pro "$profile/"
  cp -R samples/root/appdata/Microsoft/Signatures/. "$signatures/"
  wine_within 300 "build/$1/quorvex.exe" send --json --rules samples/rules.toml "$work"/*.json |
    normalized >"$work/wine"
  rm -rf "$profile" "$signatures"

  [ "$(grep -c '"outcome"' "$work/native")" = "$(ls samples/*.eml | wc -l)" ] || {
    echo "not every mail was sent natively"
    return 1
  }
  diff "$work/native" "$work/wine"
}

# Exceptions end where they should although another add-in has loaded its own unwinder.
other_unwinder_tests() {
  local -x QUORVEX_OTHER_UNWINDER="Z:$top/build/win32/otherunwinder/libgcc_s_dw2-1.dll"
  wine_within "$windows_test_seconds" "$top/build/win32/test_endtoend.exe" \
    --gtest_filter='Mails.*Exception*:Mails.Survives*'
}

# run_windows_tests PRESET: under the Wine in use.
run_windows_tests() {
  local program
  for program in "$top/build/$1"/test_*.exe; do
    [ -f "$program" ] &&
      gtest "$1 $(basename "$program" .exe)" wine_within "$windows_test_seconds" "$program"
  done
  if [ "$1" = win32 ]; then gtest "win32 test_endtoend, another unwinder" other_unwinder_tests; fi
  check "$1 quorvex.exe sends the samples with the native one's results" check_same_as_native "$1"
  wineserver -k 2>/dev/null
  return 0
}

windows_64() {
  echo "Windows, 64-bit, under Wine"
  check "win64 DlpAddIn.dll from outside" check_dll win64 x86_64
  use_wine || { failed "starting Wine"; return 0; }
  run_windows_tests win64
}

windows_32() {
  local program
  echo "Windows, 32-bit, under Wine"
  check "win32 DlpAddIn.dll from outside" check_dll win32 i686
  if have_wine32; then
    use_wine32 || { failed "starting 32-bit Wine"; return 0; }
    run_windows_tests win32
  else
    for program in "$top"/build/win32/test_*.exe; do
      skipped "win32 $(basename "$program" .exe)" "$wine32_unavailable"
    done
    skipped "win32 quorvex.exe sends the samples" "$wine32_unavailable"
  fi
}

# Each of the four has its own Wine folder, and so its own Wine server. Their programs mostly wait.
test_windows() {
  build_or_fail win64 && build_or_fail win32 || return
  have_wine32 || echo "No 32-bit Wine: $wine32_unavailable"
  at_once windows_64 windows_32 test_packaging test_documents
}
