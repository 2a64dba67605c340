# Checks of the sources themselves.

test_sources() {
  echo "Sources"
  check "formatted by clang-format" check_format
  check "each folder includes only what its row allows" "$top/scripts/checkincludes"
  check "the operating system shows only in platform/" check_platform
  check "the administrative template and the upgrade code are right" "$top/scripts/checkdeployment"
  check "files have at most 500 lines and functions 60" "$top/scripts/checksizes"
  check "the first lines of the commits" "$top/scripts/checkcommits"
  check "shell scripts parse" check_shell
}

source_files() { git -C "$top" ls-files --cached --others --exclude-standard -- "$@"; }

# bash -n looks at one file only.
check_shell() {
  local file status=0
  cd "$top" || return 1
  while IFS= read -r file; do
    [ -f "$file" ] || continue
    [[ $file == *.sh ]] || head -n 1 "$file" | grep -q '^#!.*bash$' || continue
    bash -n "$file" || status=1
  done < <(source_files '*.sh' scripts run test .ci)
  return $status
}

check_format() {
  (cd "$top" && source_files '*.h' '*.cpp' | xargs clang-format-14 --dry-run -Werror)
}

# No system header and no test for a system above platform/, except in the files of one system
# (win32/, posix/) that simulation/ needs for its libraries. Tests, benchmarks and fuzzers may have
# them.
check_platform() {
  local found
  found=$(cd "$top" && source_files '*.h' '*.cpp' |
    grep -vE '^((platform|tools/system|tests|bench|fuzz)|simulation/[a-z]+/(win32|posix))/' |
    xargs grep -nE '#[[:space:]]*if.*(_WIN32|_WIN64|__MINGW|__linux__|__unix__)|#[[:space:]]*include[[:space:]]*<(windows\.h|unistd\.h|sys/|fcntl\.h|winsock|ws2tcpip|objbase|ole|shlobj|poll\.h|pthread\.h)')
  [ -z "$found" ] || { echo "$found"; return 1; }
}

test_tidy() {
  build_or_fail clang quorvex || return
  check "clang-tidy" check_tidy
}

check_tidy() {
  (cd "$top" && source_files '*.cpp' | grep -E '^(platform/com|platform/posix|text|logging|config|channel|agent|agentkit|simulation|inspection|tools|examples)/' |
    jq -R . | jq -s '.' >"$results_logs/tidy-wanted.json" &&
    jq -r --arg top "$top/" --slurpfile wanted "$results_logs/tidy-wanted.json" \
      '.[].file | ltrimstr($top) | select(. as $f | $wanted[0] | index($f))' \
      build/clang/compile_commands.json | sort -u |
    xargs -P "$(nproc)" -n 4 clang-tidy-14 --quiet -p build/clang)
}
