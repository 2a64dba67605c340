# The agent kit as its users get it: installed by itself, and the examples built and run with nothing but
# that installation.

kit_folder="$top/build/agentkit"

# Nothing but the kit is installed, and it can be moved afterwards.
check_kit_installs() {
  rm -rf "$kit_folder" && mkdir -p "$kit_folder/project" || return 1
  cmake --install "$top/build/native" --component agentkit --prefix "$kit_folder/first" || return 1
  mv "$kit_folder/first" "$kit_folder/kit" || return 1
  diff <(cd "$kit_folder/kit" && find . ! -type d | LC_ALL=C sort) - <<'FILES'
./include/quorvex/agentkit/agentkit.h
./include/quorvex/agentkit/cinterface.h
./include/quorvex/channel/protocol.h
./include/quorvex/platform/clock.h
./include/quorvex/platform/files.h
./include/quorvex/platform/handles.h
./include/quorvex/platform/mappedview.h
./include/quorvex/platform/mappings.h
./include/quorvex/platform/scopedhandle.h
./include/quorvex/platform/security.h
./include/quorvex/platform/widetext.h
./lib/cmake/quorvex-agentkit/quorvex-agentkit-config-relwithdebinfo.cmake
./lib/cmake/quorvex-agentkit/quorvex-agentkit-config-version.cmake
./lib/cmake/quorvex-agentkit/quorvex-agentkit-config.cmake
./lib/libquorvex-agentkit-c.so
./lib/libquorvex-agentkit-c.so.1
./lib/libquorvex-agentkit-c.so.1.0.0
./lib/libquorvex-agentkit.a
./lib/pkgconfig/quorvex-agentkit-c.pc
./lib/pkgconfig/quorvex-agentkit.pc
FILES
}

# The shared library has the functions of the header and no others.
check_kit_exports() {
  diff <(nm -D --defined-only "$kit_folder/kit/lib/libquorvex-agentkit-c.so" | sed 's/.* //' | LC_ALL=C sort) \
    <(sed -nE 's/^[a-zA-Z].* \*?(AgentKit[A-Za-z]+)\(.*/\1/p' "$top/agentkit/cinterface.h" | LC_ALL=C sort) &&
    diff <(sed -n 's/^  //p' "$top/agentkit/cinterface.def") \
      <(sed -nE 's/^[a-zA-Z].* \*?(AgentKit[A-Za-z]+)\(.*/\1/p' "$top/agentkit/cinterface.h" | LC_ALL=C sort)
}

check_kit_with_cmake() {
  local project="$kit_folder/project"
  cp "$top"/examples/agent.c* "$project/" && mkdir -p "$project/installed" &&
    cp "$top/examples/installed/CMakeLists.txt" "$project/installed/" || return 1
  cmake -G Ninja -S "$project/installed" -B "$project/build" -DCMAKE_PREFIX_PATH="$kit_folder/kit" &&
    cmake --build "$project/build"
}

check_kit_with_pkg_config() {
  local flags folder="$kit_folder/pkg-config"
  mkdir -p "$folder" && cd "$folder" || return 1
  export PKG_CONFIG_PATH="$kit_folder/kit/lib/pkgconfig"
  read -ra flags < <(pkg-config --cflags --libs quorvex-agentkit) &&
    g++ "$kit_folder/project/agent.cpp" -o agent "${flags[@]}" || return 1
  read -ra flags < <(pkg-config --cflags --libs quorvex-agentkit-c) &&
    gcc "$kit_folder/project/agent.c" -o agent-c "${flags[@]}"
}

# write_mail NAME RECIPIENTS [ATTACHMENT]: a mail in $kit_folder/mails.
write_mail() {
  local to="" i
  for ((i = 0; i < $2; i++)); do to+="${to:+, }p$i@partner.example"; done
  {
    printf 'From: Ada <ada@a.example>\r\n%sSubject: %s\r\nMIME-Version: 1.0\r\n' "${to:+To: $to$'\r\n'}" "$1"
    printf 'Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nHello\r\n'
    [ -z "${3:-}" ] || printf -- '--b\r\nContent-Disposition: attachment; filename=%s\r\n\r\nx\r\n' "$3"
    printf -- '--b--\r\n'
  } >"$kit_folder/mails/$1.eml"
}

# The verdict belongs to one mail: the mails after a blocked one and after a tagged one are let go.
write_mails() {
  mkdir -p "$kit_folder/mails"
  write_mail 1-plain 1 notes.txt && write_mail 2-key 1 my.key && write_mail 3-after-key 1 notes.txt &&
    write_mail 4-many 11 && write_mail 5-after-many 1 && write_mail 6-many 11 && write_mail 7-nobody 0
}

# run_example NAME COMMAND...: the agent decides about the mails as it should and then passes
# `quorvex conform`.
run_example() {
  local root="$kit_folder/$1" agent status=0 i
  shift
  rm -rf "$root" && cp -R "$top/samples/root" "$root" || return 1
  export QUORVEX_ROOT="$root" LD_LIBRARY_PATH="$kit_folder/kit/lib"
  "$@" >"$root/agent.log" 2>&1 &
  agent=$!
  for ((i = 0; i < 200; i++)); do grep -q ready "$root/agent.log" && break; sleep 0.05; done
  unset LD_LIBRARY_PATH
  "$top/build/native/quorvex" send --agent --json "$kit_folder"/mails/*.eml >"$root/sent"
  diff <(jq -r '(.mail | sub(".*/"; "")) + " " + .outcome' "$root/sent") - <<'SENT' || status=1
1-plain.eml sent
2-key.eml blocked
3-after-key.eml sent
4-many.eml tagged
5-after-many.eml sent
6-many.eml tagged
7-nobody.eml sent
SENT
  "$top/build/native/quorvex" conform || status=1
  kill "$agent" && wait "$agent" || { echo "the agent ended with $?"; status=1; }
  cat "$root/agent.log" | tail -n 5
  return $status
}

kit_example_cpp() { check "the C++ example decides and conforms" run_example cpp "$kit_folder/project/build/agent"; }
kit_example_c() { check "the C example decides and conforms" run_example c "$kit_folder/pkg-config/agent-c"; }
kit_example_python() {
  check "the Python example decides and conforms" run_example python \
    python3 "$top/examples/agent.py" "$kit_folder/kit/lib/libquorvex-agentkit-c.so.1"
}
kit_agent_from_document() {
  check "an agent from docs/protocol.md alone decides and conforms" run_example document \
    python3 "$top/tests/agentkit/agentfromdocument.py"
}

test_agentkit() {
  echo "Agent kit"
  check "the kit installs by itself" check_kit_installs
  check "the shared library exports the C interface only" check_kit_exports
  check "find_package builds the examples in an empty folder" check_kit_with_cmake
  check "pkg-config builds the examples in an empty folder" check_kit_with_pkg_config
  write_mails || failed "writing mails for the examples"
  # They mostly wait: conform gives a dead writer's space time to be reclaimed.
  at_once kit_example_cpp kit_example_c kit_example_python kit_agent_from_document
}
