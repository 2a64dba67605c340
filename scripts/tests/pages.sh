# The HTML pages in a headless browser: filtered, opened by keyboard, printed, with hostile mails.
# Pages and screenshots stay in build/pages.

test_pages() {
  local log="$results_logs/pages.log" status=0 ran failed passed
  build_or_fail native quorvex || return
  echo "Pages in a browser"
  rm -rf "$top/build/pages"
  PYTHONDONTWRITEBYTECODE=1 timeout 600 python3 "$top/tests/inspection/report/pages.py" \
    "$top/build/native/quorvex" "$top/build/pages" >"$log" 2>&1 </dev/null || status=$?
  ran=$(sed -nE 's/^Ran ([0-9]+) tests? in .*/\1/p' "$log")
  failed=$(grep -cE '^(FAIL|ERROR): ' "$log")
  # A run that ends before its report, or with nothing in it, is a failure too.
  if [ "${ran:-0}" -eq 0 ] || { [ "$status" -ne 0 ] && [ "$failed" -eq 0 ]; }; then
    failed=$((failed + 1)) ran=$((${ran:-0} + 1))
  fi
  passed=$((ran - failed))
  if [ "$passed" -gt 0 ]; then count passed "$passed"; fi
  if [ "$failed" -eq 0 ]; then
    printf '  ok      pages: %d tests\n' "$ran"
  else
    count failed "$failed" "pages in a browser"
    printf '  FAILED  pages: %d of %d\n' "$failed" "$ran"
    tail -n 60 "$log" | sed 's/^/          /'
  fi
}
