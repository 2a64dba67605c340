# What is handed out: made twice, the second time signed, and compared.

release_folder="$top/build/releasetest"

check_release() {
  rm -rf "$release_folder" && mkdir -p "$release_folder" && make_certificate "$release_folder" &&
    "$top/packaging/release.sh" --output "$release_folder/plain" &&
    "$top/packaging/release.sh" --output "$release_folder/signed" \
      --certificate "$release_folder/test.pfx" --password-file "$release_folder/test.pass"
}

# Two builds, in different folders and at different times. Only what a signature changes may differ.
check_reproducible() {
  local different
  different=$(diff <(sort -k 2 "$release_folder/plain/SHA256SUMS") \
    <(sort -k 2 "$release_folder/signed/SHA256SUMS") | sed -n 's/^> [0-9a-f]*  //p' | tr '\n' ' ')
  [ "$different" = "DlpAddIn-x64.dll DlpAddIn-x64.msi DlpAddIn-x86.dll DlpAddIn-x86.msi quorvex.exe " ] ||
    { echo "these differ: $different"; return 1; }
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

# The kit's package alone is enough to build the example, with the flags that it gives.
check_kit_package() {
  local kit="$release_folder/kit"
  rm -rf "$kit" && dpkg-deb -x "$release_folder"/plain/quorvex-agentkit_*.deb "$kit" || return 1
  # shellcheck disable=SC2046
  g++ "$kit"/usr/share/doc/quorvex-agentkit/examples/agent.cpp -o "$release_folder/agent" \
    $(PKG_CONFIG_SYSROOT_DIR="$kit" PKG_CONFIG_PATH="$(echo "$kit"/usr/lib/*/pkgconfig)" \
      pkg-config --cflags --libs quorvex-agentkit | sed "s|-L/usr|-L$kit/usr|; s|-I/usr|-I$kit/usr|")
}

# The debug information of each library, found by its build id, names the add-in's functions.
check_symbols() {
  local arch id
  for arch in x64 x86; do
    id=$(x86_64-w64-mingw32-objdump -p "$release_folder/plain/DlpAddIn-$arch.dll" |
      sed -nE 's/.*RSDS signature ([0-9a-f]{32}).*/\1/p')
    x86_64-w64-mingw32-nm -C "$release_folder/plain/symbols/.build-id/${id:0:2}/${id:2}.debug" |
      grep -q 'DlpMailEvent::OnMailSend' || { echo "$arch: no symbols for $id"; return 1; }
  done
}

# What the runtime and the compiler put into every binary must be in the list.
check_sbom() {
  local list="$release_folder/plain/sbom.spdx.json" name
  for name in DlpAddIn-x64.dll:g++-mingw-w64-x86-64-posix DlpAddIn-x86.dll:g++-mingw-w64-i686-posix \
    quorvex.exe:nlohmann-json3-dev; do
    jq -e --arg from "SPDXRef-${name%:*}" --arg to "SPDXRef-$(sed "s,[^A-Za-z0-9.-],-,g" <<<"${name#*:}")" \
      '.relationships | any(.spdxElementId == $from and .relatedSpdxElement == $to)' "$list" >/dev/null ||
      { echo "$name isn't listed"; return 1; }
  done
}

test_release() {
  echo "Release"
  check "everything that is handed out is made, and made signed" check_release
  check "two builds of a commit have the same bytes" check_reproducible
  check "signed packages contain signed libraries" check_release_is_signed
  check "the agent kit's package builds the example" check_kit_package
  check "debug information is found by build id" check_symbols
  check "the list of contents names runtimes and libraries" check_sbom
}
