# What is installed beside the native quorvex: the completion in a real bash, and the manual pages.

commandline_pages="$top/build/native/tools/pages"

# Each line that is typed, and after "|" the line with all words that bash offers, without "quorvex".
check_completion() {
  local cases="$results_logs/completion"
  cat >"$cases" <<'CASES'
quorvex se|send
quorvex co|compare config conform
quorvex config |config check keys show
quorvex log li|log listen
quorvex --v|--version
quorvex ring --w|ring --watch
quorvex import --o|import --output
quorvex send m|send mail.eml mine.toml
quorvex send --rules mi|send --rules mine.toml
quorvex send --rules=mi|send --rules=mine.toml
quorvex log listen --level |log listen --level crit err info warn
quorvex log listen --level w|log listen --level warn
quorvex log listen --port m|log listen --port m
quorvex config show m|config show m
quorvex agent --js|agent --json
quorvex do|doctor
quorvex doctor --d|doctor --describe
quorvex bundle --k|bundle --keep-domains
quorvex fly m|fly m
CASES
  "$top/scripts/typeinbash" "$commandline_pages/completions/quorvex" quorvex \
    < <(cut -d '|' -f 1 "$cases") >"$cases.offered" &&
    diff <(cut -d '|' -f 2 "$cases") "$cases.offered"
}

# Every command that the help lists has its page, which man shows without a warning in 80 columns.
check_manual_pages() {
  local page shown count=0
  for page in "$commandline_pages"/man1/*.1; do
    count=$((count + 1))
    shown=$(LC_ALL=C.UTF-8 MANROFFOPT=-ww MANWIDTH=80 man --warnings -l "$page" 2>&1 >"$results_logs/page")
    [ -z "$shown" ] || { echo "$page: $shown"; return 1; }
    grep -q '^SYNOPSIS' "$results_logs/page" || { echo "$page: no synopsis"; return 1; }
    ! LC_ALL=C.UTF-8 grep -nE '^.{81}' "$results_logs/page" || { echo "$page: longer lines"; return 1; }
  done
  [ "$count" -ge 15 ] || { echo "only $count pages"; return 1; }
  "$top/build/native/quorvex" --help | sed -nE '/^Subcommands:/,/^$/s/^  ([a-z]+) .*/\1/p' >"$results_logs/commands"
  [ "$(wc -l <"$results_logs/commands")" -ge 9 ] || return 1
  while read -r page; do
    [ -f "$commandline_pages/man1/quorvex-$page.1" ] || { echo "no page for $page"; return 1; }
  done <"$results_logs/commands"
}

test_commandline() {
  echo "Command line"
  check "bash completes commands, options, values and files" check_completion
  check "the manual pages are shown without a warning" check_manual_pages
}
