# Runs every block of the language "sh" in the documents, from the top of the repository, with `quorvex`
# on the PATH and a fresh copy of samples/root as the machine's folders.
#
#   ```sh           must exit with 0
#   ```sh exit=1    must exit with that status
#   ```output       directly after it: what the block must print, except for times in ms; a line "..."
#                   matches any lines
#   ```console      can't run here: needs Windows or a certificate
#
# Lines of sh blocks that aren't run, with the reason. A line that no document shows is a failure.
documents_left_out=(
  "./test|runs this check"
  "./test --native|is part of ./test"
  "./test --coverage|builds everything again and takes minutes"
)
documents_languages=" sh output console text cpp mermaid hexdump "

# without_left_out FILE: prints the block without the lines above and records which ones it had.
without_left_out() {
  local line entry left
  while IFS= read -r line; do
    left=""
    for entry in "${documents_left_out[@]}"; do
      [ "$line" = "${entry%%|*}" ] && left=$line
    done
    if [ -n "$left" ]; then
      echo "$left" >>"$documents_work/left-out"
    else
      printf '%s\n' "$line"
    fi
  done <"$1"
}

# same_output EXPECTED ACTUAL: prints the first difference.
same_output() {
  sed -E 's/ +[0-9]+ ms/ N ms/g' "$2" >"$2.compared"
  sed -E 's/ +[0-9]+ ms/ N ms/g' "$1" | awk -v actual="$2.compared" '
    function fits(first, count, at,   i) {
      for (i = 0; i < count; ++i) if (expected[first + i] != line[at + i]) return 0
      return 1
    }
    { expected[NR] = $0 }
    END {
      while ((getline text <actual) > 0) line[++lines] = text
      at = 1; first = 1; open = 0
      while (first <= NR + 1) {
        for (count = 0; first + count <= NR && expected[first + count] != "..."; ++count);
        last = first + count > NR
        # After "...", the lines may be anywhere further down; the last ones must be at the end.
        if (open && last) at = at > lines - count + 1 ? at : lines - count + 1
        while (open && !last && at <= lines && !fits(first, count, at)) ++at
        if (!fits(first, count, at)) { print "not printed: " expected[first]; exit 1 }
        at += count; first += count + 1; open = 1
        if (last && at <= lines) { print "printed beside it: " line[at]; exit 1 }
      }
    }'
}

# run_block SCRIPT STATUS [EXPECTED]
run_block() {
  local status=0 root="$documents_work/root"
  rm -rf "$root" && cp -R "$top/samples/root" "$root" || return 1
  (cd "$top" && PATH="$top/build/native:$PATH" QUORVEX_ROOT="$root" \
    timeout 120 bash -eu "$1.sh") >"$1.out" 2>&1 </dev/null || status=$?
  cat "$1.out"
  [ "$status" = "$2" ] || { echo "exit status $status instead of $2"; return 1; }
  [ -z "${3:-}" ] || same_output "$3" "$1.out"
}

# run_document FILE: one check for each block of commands.
run_document() {
  local number line language option blocks="$documents_work/${1//\//-}" script="" at=0 status=0
  "$top/scripts/docblocks" "$top/$1" "$blocks" >"$blocks.list" || return 1
  while read -r number line language option; do
    if [ "$language" = output ] && [ -n "$script" ]; then
      check "$1:$at prints what it shows" run_block "$blocks/$script" "$status" "$blocks/$number"
      script=""
      continue
    fi
    [ -z "$script" ] || check "$1:$at runs" run_block "$blocks/$script" "$status"
    script=""
    if [ "$language" = sh ]; then
      without_left_out "$blocks/$number" >"$blocks/$number.sh"
      # A block with no lines left checks nothing.
      [ -s "$blocks/$number.sh" ] && script=$number
      at=$line status=${option#exit=}
      status=${status:-0}
    fi
  done <"$blocks.list"
  [ -z "$script" ] || check "$1:$at runs" run_block "$blocks/$script" "$status"
}

# A block of an unknown language could look like a command without being run.
check_languages() {
  local status=0 list number line language option
  for list in "$documents_work"/*.list; do
    while read -r number line language option; do
      [[ $documents_languages == *" $language "* ]] && continue
      echo "$(basename "$list" .list):$line: a block of the language \"$language\""
      status=1
    done <"$list"
  done
  return $status
}

check_left_out() {
  local entry status=0
  for entry in "${documents_left_out[@]}"; do
    grep -qxF "${entry%%|*}" "$documents_work/left-out" ||
      { echo "no document shows ${entry%%|*}"; status=1; }
  done
  return $status
}

# Links between documents and into the repository: the file exists, and so does the heading.
check_links() {
  local document link file anchor status=0
  for document in "${documents[@]}"; do
    while IFS= read -r link; do
      file=${link%%#*} anchor=""
      [[ $link == *#* ]] && anchor=${link#*#}
      file=$([ -n "$file" ] && echo "$(dirname "$top/$document")/$file" || echo "$top/$document")
      if [ ! -e "$file" ]; then
        echo "$document: $link: no such file"
        status=1
      elif [ -n "$anchor" ] && ! sed -nE 's/^#+ +//p' "$file" | tr 'A-Z ' 'a-z-' |
        tr -cd 'a-z0-9_\n-' | grep -xF -- "$anchor" >/dev/null; then
        echo "$document: $link: no such heading"
        status=1
      fi
    done < <(sed '/^```/,/^```$/d' "$top/$document" | grep -oE '\]\([^)]+\)' | sed -E 's/^\]\((.*)\)$/\1/' |
      grep -vE '^[a-z]+:' || true)
  done
  return $status
}

# docs/reliability.md names tests as evidence, and tests get renamed.
check_test_names() {
  local name status=0 names
  mapfile -t names < <(grep -oE '`[A-Z][A-Za-z0-9]+\.[A-Z][A-Za-z0-9]+`' "$top/docs/reliability.md" |
    tr -d '`' | sort -u)
  [ ${#names[@]} -gt 0 ] || return 1
  for name in "${names[@]}"; do
    git -C "$top" grep -qE "TEST(_F|_P)?\\(${name%.*}, *${name#*.}\\)" -- tests && continue
    echo "docs/reliability.md: there is no test $name"
    status=1
  done
  return $status
}

# Code hosts show pictures without running scripts or fetching files.
check_pictures() {
  local pictures
  mapfile -t pictures < <(git -C "$top" ls-files 'docs/*.svg')
  [ ${#pictures[@]} -gt 0 ] || return 1
  ! (cd "$top" && grep -nE '<script|<foreignObject|@import|@font-face|href=.[^#]|url\((http|//|data)' \
    "${pictures[@]}")
}

# The documents say so about the files in docs/examples.
check_same_on_windows() {
  local arguments
  use_wine "$top/build/wine-documents" || return 1
  cd "$top" || return 1
  # On Windows the check of Logger.cfg also looks for the log's folder.
  mkdir -p "$WINEPREFIX/drive_c/Logs"
  for arguments in "log check docs/examples/Logger.cfg" "ring docs/examples/stalled.ring" \
    "log explain docs/examples/mail.PC17_0.log" "config show x_name" "config keys"; do
    diff <(build/native/quorvex $arguments; echo "status $?") \
      <(wine build/win64/quorvex.exe $arguments | tr -d '\r'; echo "status ${PIPESTATUS[0]}") ||
      return 1
  done
}

test_documents() {
  local documents document before documents_work="$top/build/documents"
  echo "Documents"
  rm -rf "$documents_work" && mkdir -p "$documents_work" && : >"$documents_work/left-out" || return
  mapfile -t documents < <(git -C "$top" ls-files --cached --others --exclude-standard \
    README.md CONTRIBUTING.md 'docs/*.md')
  before=$(git -C "$top" status --porcelain)
  for document in "${documents[@]}"; do
    run_document "$document" || check "$document can be parsed" false
  done
  check "quorvex.exe prints the same for the documents' examples" check_same_on_windows
  check "blocks of the documents are of known kinds" check_languages
  check "every line that isn't run is in a document" check_left_out
  check "the documents' commands don't change the repository" \
    test "$before" = "$(git -C "$top" status --porcelain)"
  check "pictures need nothing from outside" check_pictures
  check "links in the documents are valid" check_links
  check "the tests that docs/reliability.md names exist" check_test_names
}
