# Lines and branches of the product's layers that the native tests reach, counted by gcov.

coverage_goal=95 # percent of the lines
coverage_allowed="$top/scripts/tests/coverage.allowed"

test_coverage() {
  local build="$top/build/coverage" report="$top/build/coverage/report.json"
  build_or_fail coverage || return
  find "$build" -name '*.gcda' -delete
  echo "Native tests, counted"
  run_programs coverage
  count_coverage "$build" >"$report"
  show_coverage "$report"
  check "at least $coverage_goal % of the lines are reached" lines_reached "$report"
  check "every line that isn't reached is listed with a reason" lines_explained "$report"
}

# count_coverage BUILD: for each file of the layers its lines and branches, and how often each was taken.
# A line of a template or a header is in many objects and is reached if it is reached in one. A branch
# that only an exception takes isn't a decision of the code and doesn't count.
count_coverage() {
  local counted
  find "$1" -name '*.gcda' | while read -r counted; do gcov -j -t -b "$counted" 2>/dev/null; done |
    jq -c --arg top "$top/" '.files[] | .file |= (ltrimstr($top) | sub("^([.][.]/)+"; "")) |
      select(.file | test("^(platform/com|platform/posix|text|logging|config|channel|agent)/")) |
      {file, lines: [.lines[] | {line: .line_number, count,
        branches: [.branches[] | select(.throw | not) | .count]}]}' |
    jq -s 'group_by(.file) | map({file: .[0].file, lines: ([.[].lines[]] | group_by(.line) | map({
      line: .[0].line, count: (map(.count) | max),
      branches: ([.[].branches | select(length > 0)] | if length == 0 then [] else
        (map(length) | max) as $most | map(select(length == $most)) | transpose | map(max) end)}))})'
}

show_coverage() {
  echo "lines and branches reached:"
  {
    jq -r '.[] | "\(.file) \([.lines[].count] | [map(select(. > 0)), .] | map(length) | join(" ")) \(
      [.lines[].branches[]] | [map(select(. > 0)), .] | map(length) | join(" "))"' "$1"
  } | awk '
    function part(reached, all) { return all ? sprintf("%5.1f %% %5d", 100 * reached / all, all) : "" }
    function row(name, a, b, c, d) { printf "  %-52s %13s   %13s\n", name, part(a, b), part(c, d) }
    $3 { row($1, $2, $3, $4, $5); lines += $2; allLines += $3; branches += $4; allBranches += $5 }
    END { row("all", lines, allLines, branches, allBranches) }'
}

lines_reached() {
  jq -e --argjson goal "$coverage_goal" '[.[].lines[].count] |
    (map(select(. > 0)) | length) * 100 >= $goal * length and length > 0' "$1"
}

# Each line that no test reaches must be in the list, as "file: line". A closing brace alone is what an
# exception executes on its way out; it explains itself. A listed line that no longer exists is an error.
lines_explained() {
  local file number text wrong=0
  while IFS=: read -r file number; do
    text=$(sed -n "${number}p" "$top/$file" | sed 's/^[[:space:]]*//; s/[[:space:]]*$//')
    [ "$text" = "}" ] && continue
    grep -qxF -- "$file: $text" "$coverage_allowed" && continue
    echo "$file:$number: $text"
    wrong=1
  done < <(jq -r '.[] | .file as $file | .lines[] | select(.count == 0) | "\($file):\(.line)"' "$1")
  while IFS= read -r text; do
    file=${text%%: *}
    sed 's/^[[:space:]]*//; s/[[:space:]]*$//' "$top/$file" | grep -xF -- "${text#*: }" >/dev/null && continue
    echo "no longer there: $text"
    wrong=1
  done < <(grep -vE '^(#|$)' "$coverage_allowed")
  return $wrong
}
