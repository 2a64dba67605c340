# What is handed out: made twice, the second time signed and in another folder, and compared.

release_folder="$top/build/releasetest"

# Each run clones and builds in a temporary folder of its own; the second one's has a longer path. ccache's
# folder shows afterwards that it wasn't used.
check_release() {
  rm -rf "$release_folder" && mkdir -p "$release_folder/a/longer/path" "$release_folder/ccache" &&
    make_certificate "$release_folder" || return 1
  local -x CCACHE_DIR="$release_folder/ccache"
  "$top/packaging/release.sh" --output "$release_folder/plain" &&
    TMPDIR="$release_folder/a/longer/path" "$top/packaging/release.sh" --output "$release_folder/signed" \
      --certificate "$release_folder/test.pfx" --password-file "$release_folder/test.pass" || return 1
  [ -z "$(find "$CCACHE_DIR" -type f)" ] || { echo "the builds used ccache"; return 1; }
}

# Only what a signature changes may differ: the signed files, and the list that has their checksums. The
# libraries and quorvex.exe are compared too, by what they were before they were signed.
check_reproducible() {
  local different
  (cd "$release_folder" && diff plain/SHA256SUMS.unsigned signed/SHA256SUMS.unsigned) || return 1
  different=$(diff <(sort -k 2 "$release_folder/plain/SHA256SUMS") \
    <(sort -k 2 "$release_folder/signed/SHA256SUMS") | sed -n 's/^> [0-9a-f]*  //p' | tr '\n' ' ')
  [ "$different" = "DlpAddIn-x64.dll DlpAddIn-x64.msi DlpAddIn-x86.dll DlpAddIn-x86.msi quorvex.exe sbom.spdx.json " ] ||
    { echo "these differ: $different"; return 1; }
  LC_ALL=C comm -12 <(cat "$release_folder/plain"/SHA256SUMS* | LC_ALL=C sort -u) \
    <(cat "$release_folder/signed"/SHA256SUMS* | LC_ALL=C sort -u) >"$release_folder/compared"
  [ "$(wc -l <"$release_folder/compared")" -ge 20 ]
}

# An unsigned package made from the same libraries has the same bytes as the one of the other build.
check_reproducible_packages() {
  local arch
  for arch in 64:x64 32:x86; do
    cmp <(sha256sum <"$release_folder/plain/DlpAddIn-${arch#*:}.dll") \
      <(sed -n "s|  win${arch%:*}/DlpAddIn.dll|  -|p" "$release_folder/signed/SHA256SUMS.unsigned") || return 1
  done
  (cd "$top" && SOURCE_DATE_EPOCH=$(git log -1 --format=%ct) packaging/windows/build.sh \
    --output "$release_folder/again" --dll64 "$release_folder/plain/DlpAddIn-x64.dll" \
    --dll32 "$release_folder/plain/DlpAddIn-x86.dll") || return 1
  for arch in x64 x86; do
    cmp "$release_folder/again/DlpAddIn-$arch.msi" "$release_folder/plain/DlpAddIn-$arch.msi" || return 1
  done
}

# The packages must contain the signed libraries, and be signed themselves.
check_release_is_signed() {
  local file arch
  for file in DlpAddIn-x64.dll DlpAddIn-x86.dll DlpAddIn-x64.msi DlpAddIn-x86.msi quorvex.exe; do
    osslsigncode verify -CAfile "$release_folder/test.pem" -in "$release_folder/signed/$file" || return 1
    ! osslsigncode verify -CAfile "$release_folder/test.pem" -in "$release_folder/plain/$file" || return 1
  done
  for arch in x64 x86; do
    rm -rf "$release_folder/extracted"
    msiextract -C "$release_folder/extracted" "$release_folder/signed/DlpAddIn-$arch.msi" || return 1
    file=$(find "$release_folder/extracted" -name DlpAddIn.dll)
    cmp "$file" "$release_folder/signed/DlpAddIn-$arch.dll" || return 1
  done
}

# The kit's package alone is enough to build the examples for both libraries, and they start.
check_kit_package() {
  local kit="$release_folder/kit" name flags status
  rm -rf "$kit" && dpkg-deb -x "$release_folder"/plain/quorvex-agentkit_*.deb "$kit" || return 1
  local examples="$kit/usr/share/doc/quorvex-agentkit/examples"
  local -x PKG_CONFIG_PATH="$kit/usr/lib/pkgconfig" LD_LIBRARY_PATH="$kit/usr/lib" QUORVEX_ROOT="$release_folder/root"
  mkdir -p "$QUORVEX_ROOT"
  read -ra flags < <(pkg-config --cflags --libs quorvex-agentkit) &&
    g++ "$examples/agent.cpp" -o "$release_folder/agent" "${flags[@]}" || return 1
  read -ra flags < <(pkg-config --cflags --libs quorvex-agentkit-c) &&
    gcc "$examples/agent.c" -o "$release_folder/agent-c" "${flags[@]}" || return 1
  for name in agent agent-c; do
    status=0
    timeout 2 "$release_folder/$name" || status=$?
    # An agent that timeout had to end was running.
    [ "$status" = 124 ] || { echo "$name ended with $status"; return 1; }
  done
}

# The tools' package, unpacked where nothing else of the project is.
check_tools_package() {
  local root="$release_folder/tools" package field
  package=$(ls "$release_folder"/plain/quorvex_*.deb)
  rm -rf "$root" && dpkg-deb -x "$package" "$root" || return 1
  cp -R "$root/usr/share/doc/quorvex/samples/root" "$root/machine" || return 1
  (cd "$root/usr/share/doc/quorvex/samples" && QUORVEX_ROOT="$root/machine" timeout 60 \
    "$root/usr/bin/quorvex" send --json --rules rules.toml 05-blocked-body.eml 01-plain.eml) >"$root/sent"
  [ "$(jq -r .outcome "$root/sent" | tr '\n' ' ')" = "blocked sent " ] || { cat "$root/sent"; return 1; }
  [ "$("$top/scripts/typeinbash" "$root/usr/share/bash-completion/completions/quorvex" quorvex \
    <<<"quorvex conf")" = "config conform" ] || return 1
  MANWIDTH=80 man -l "$root/usr/share/man/man1/quorvex-log-explain.1.gz" | grep '^EXIT STATUS' >/dev/null || return 1
  grep -q '<h1' "$root/usr/share/doc/quorvex/docs/administration.html" || return 1
  for field in Maintainer Depends; do
    dpkg-deb -f "$package" $field | grep -vE 'invalid|^$' || { echo "no $field"; return 1; }
  done
}

check_release_versions() {
  local version file
  version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+).*/\1/p' "$top/CMakeLists.txt")
  [ "$(head -n 1 "$release_folder/plain/CHANGELOG")" = "quorvex $version" ] || return 1
  [ "$("$release_folder/tools/usr/bin/quorvex" --version)" = "quorvex $version" ] || return 1
  for file in "$release_folder"/plain/*.deb; do
    [ "$(dpkg-deb -f "$file" Version)" = "$version" ] || { echo "$file: another version"; return 1; }
  done
  [ "$(PKG_CONFIG_PATH="$release_folder/kit/usr/lib/pkgconfig" pkg-config --modversion \
    quorvex-agentkit)" = "$version" ] || return 1
  for file in "$release_folder"/plain/*.msi; do
    msiinfo export "$file" Property | tr -d '\r' | grep -x "ProductVersion.$version" >/dev/null || return 1
  done
  [ "$(jq -r '.packages[] | select(.supplier == "Organization: Quorvex").versionInfo' \
    "$release_folder/plain/sbom.spdx.json" | sort -u)" = "$version" ]
}

# The debug information of each binary, found by its build id, names its functions.
check_symbols() {
  local file name id
  for file in DlpAddIn-x64.dll:DlpMailEvent::OnMailSend DlpAddIn-x86.dll:DlpMailEvent::OnMailSend \
    quorvex.exe:tools::SendCommand; do
    name=${file#*:} file=${file%%:*}
    id=$(x86_64-w64-mingw32-objdump -p "$release_folder/plain/$file" |
      sed -nE 's/.*RSDS signature ([0-9a-f]{32}).*/\1/p')
    x86_64-w64-mingw32-nm -C "$release_folder/plain/symbols/.build-id/${id:0:2}/${id:2}.debug" |
      grep -F "$name" >/dev/null || { echo "$file: no symbols for $id"; return 1; }
  done
  id=$(readelf -n "$release_folder/tools/usr/bin/quorvex" | sed -nE 's/.*Build ID: ([0-9a-f]+)$/\1/p')
  nm -C "$release_folder/plain/symbols/.build-id/${id:0:2}/${id:2}.debug" | grep -F tools::SendCommand >/dev/null
}

# lists FILE PACKAGE: the list of contents says that FILE contains something of PACKAGE.
lists() {
  jq -e --arg file "$1" --arg package "$2" '
    def id: gsub("[^A-Za-z0-9.-]"; "-") | "SPDXRef-" + .;
    .relationships | any(.spdxElementId == ($file | id) and .relatedSpdxElement == ($package | id))' \
    "$release_folder/plain/sbom.spdx.json" >/dev/null
}

# Bytes that a library leaves in each binary that contains it: the list must name the library's package
# exactly for those binaries.
check_sbom() {
  local file binary row mark package count=0
  for file in "DlpAddIn-x64.dll x86-64" "DlpAddIn-x86.dll i686" "quorvex.exe x86-64" "quorvex_*.deb -"; do
    read -r file arch <<<"$file"
    binary="$release_folder/plain/$file"
    if [ "$arch" = - ]; then
      file=$(cd "$release_folder/plain" && echo $file) binary="$release_folder/tools/usr/bin/quorvex"
    fi
    for row in 'N3CLI libcli11-dev' 'N8nlohmann nlohmann-json3-dev' 'N4toml libtomlplusplus-dev' \
      'N3fmt libfmt-dev' 'Mingw-w64 runtime failure mingw-w64-@-dev' \
      'St9bad_alloc g++-mingw-w64-@-posix'; do
      mark=${row% *} package=$(sed "s/@/$arch/" <<<"${row##* }")
      [ "$package" = "g++-mingw-w64---posix" ] && package=libstdc++-12-dev
      if LC_ALL=C grep -qa "$mark" "$binary"; then
        count=$((count + 1))
        lists "$file" "$package" || { echo "$file contains $package, but the list doesn't say so"; return 1; }
      elif lists "$file" "$package"; then
        echo "the list says that $file contains $package, but it has no \"$mark\""
        return 1
      fi
    done
  done
  [ "$count" -ge 10 ] || { echo "only $count marks found"; return 1; }
  # The checksums in it are those of the files.
  diff <(jq -r '.packages[] | select(.checksums) | .checksums[0].checksumValue + "  " + .name' \
    "$release_folder/plain/sbom.spdx.json" | LC_ALL=C sort) \
    <(grep -E '[.](dll|msi|exe|deb)$' "$release_folder/plain/SHA256SUMS" | LC_ALL=C sort)
}

test_release() {
  echo "Release"
  check "everything that is handed out is made, and made signed" check_release
  check "two builds of a commit have the same bytes" check_reproducible
  sed 's/^/          the same: /' "$release_folder/compared"
  check "packages made again from the same libraries have the same bytes" check_reproducible_packages
  check "signed packages contain signed libraries" check_release_is_signed
  check "the agent kit's package builds the example" check_kit_package
  check "the tools' package works where it is unpacked" check_tools_package
  check "everything handed out states the same version" check_release_versions
  check "debug information is found by build id" check_symbols
  check "the list of contents says what is in the binaries" check_sbom
}
