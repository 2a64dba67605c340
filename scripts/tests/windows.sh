# The Windows builds: the 64-bit one runs under Wine, the 32-bit one is built and inspected.

# The library from outside: exports, imports, protections, size.
check_dll() {
  OBJDUMP="$2-w64-mingw32-objdump" "$top/cmake/checkdll.sh" "$top/build/$1/DlpAddIn.dll"
}

# road PROGRAM... -- MAIL...: sends the mails and leaves of the result what doesn't depend on the
# machine: of the paths that the agent was given only the file's name, and no times.
road() {
  local program=()
  while [ "$1" != -- ]; do program+=("$1"); shift; done
  shift
  "${program[@]}" send --json --rules samples/rules.toml "$@" | tr -d '\r' | jq -S '{
    mail: (.mail | sub(".*[/\\\\]"; "") | sub("[.](eml|json)$"; "")), outcome, cancel, tag,
    requests: [.requests[] | .payload |= if . == null then . else
      sub(".*[/\\\\](?<leaf>[^/\\\\]+)$"; .leaf) | sub("(?<begin>Attachment)[.][0-9]+$"; .begin)
      end]}'
}

# The sample mails the whole way on both systems: natively, and imported and sent by quorvex.exe
# through the real library, which has to come to the same.
check_same_road() {
  local work="$results_logs/road" profile signatures mail
  rm -rf "$work" && mkdir -p "$work" || return 1
  cd "$top" || return 1
  cp -R samples/root "$work/root" || return 1
  QUORVEX_ROOT="$work/root" road build/native/quorvex -- samples/*.eml >"$work/native"
  for mail in samples/*.eml; do
    build/native/quorvex import "$mail" --output "$work/$(basename "$mail" .eml).json" || return 1
  done

  profile="$WINEPREFIX/drive_c/windows/system32/zbagent"
  signatures="$(winepath -u "$(wine cmd /c 'echo %APPDATA%' | tr -d '\r')")/Microsoft/Signatures"
  mkdir -p "$profile" "$signatures"
  cp samples/root/windows/system32/zbagent/vrk.pro "$profile/"
  cp -R samples/root/appdata/Microsoft/Signatures/. "$signatures/"
  road timeout 300 wine build/win64/quorvex.exe -- "$work"/*.json >"$work/wine"
  rm -rf "$profile" "$signatures"

  [ "$(grep -c '"outcome"' "$work/native")" = "$(ls samples/*.eml | wc -l)" ] || {
    echo "not every mail was sent natively"
    return 1
  }
  diff "$work/native" "$work/wine"
}

# One of the library's resources is made by a program that runs under Wine, so Wine comes before
# the builds.
test_windows() {
  if ! use_wine; then
    results_failed=$((results_failed + 1))
    results_failures+=("starting Wine")
    return
  fi
  if build_or_fail win64; then
    echo "Windows, 64-bit, under Wine"
    check "win64 DlpAddIn.dll from outside" check_dll win64 x86_64
    local program
    for program in "$top"/build/win64/test_*.exe; do
      [ -f "$program" ] && gtest "win64 $(basename "$program" .exe)" wine "$program"
    done
    check "win64 quorvex.exe send comes to what the native one does" check_same_road
  fi
  # What it has of its own is the library; its tests could not run here.
  if build_or_fail win32 DlpAddIn quorvex; then
    echo "Windows, 32-bit"
    check "win32 DlpAddIn.dll from outside" check_dll win32 i686
  fi
  wineserver -k 2>/dev/null
}
