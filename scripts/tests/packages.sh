# More checks of the installers, which packaging.sh runs: what build.sh accepts and makes, versions,
# and on which machines a package installs.

# Under Wine: 32-bit Outlook by Click-to-Run, then by Windows Installer, then Outlooks of both bitnesses.
check_wrong_bitness_is_refused() {
  local software='HKLM\Software\Microsoft\Office' status=0
  wine reg add "$software\\ClickToRun\\Configuration" /v Platform /d x86 /reg:64 /f || return 1
  msi /i DlpAddIn-x64.msi || status=$?
  [ "$status" = 67 ] || { echo "msiexec ended with $status"; return 1; }
  msi /i DlpAddIn-x64.msi IGNOREOUTLOOKBITNESS=1 && msi /x DlpAddIn-x64.msi || return 1
  msi /i DlpAddIn-x86.msi && msi /x DlpAddIn-x86.msi || return 1
  wine reg delete "$software\\ClickToRun" /reg:64 /f || return 1

  wine reg add "$software\\16.0\\Outlook" /v Bitness /d x86 /reg:32 /f || return 1
  ! msi /i DlpAddIn-x64.msi || { echo "installed next to a 32-bit Outlook"; return 1; }
  wine reg add "$software\\16.0\\Outlook" /v Bitness /d x64 /reg:64 /f || return 1
  msi /i DlpAddIn-x64.msi && msi /x DlpAddIn-x64.msi || return 1
  wine reg delete "$software\\16.0\\Outlook" /v Bitness /reg:32 /f || return 1
  ! msi /i DlpAddIn-x86.msi || { echo "installed next to a 64-bit Outlook"; return 1; }
  wine reg delete "$software\\16.0" /reg:64 /f
}

# The features that bring files and an event source, of an administrator's own package. A file that is there
# stays, and removal leaves the files. Wine ignores the rights of the log's folder.
check_optional_features() {
  local own="$packaging_folder/own" system="$WINEPREFIX/drive_c/windows/system32"
  local key='HKLM\System\CurrentControlSet\Services\EventLog\Application\Quorvex'
  rm -rf "$own" && mkdir -p "$own" "$system/zbagent" || return 1
  printf 'x_name = X-Ours\n' >"$own/vrk.pro"
  printf 'Outlook 12 UDP 192.0.2.10\n' >"$own/Logger.cfg"
  printf 'Outlook 8 Dbg\r\n' >"$system/Logger.cfg"
  "$top/packaging/windows/build.sh" --output "$own" --settings "$own/vrk.pro" --logger "$own/Logger.cfg" ||
    return 1
  msi /i own/DlpAddIn-x64.msi && ! [ -e "$system/zbagent/vrk.pro" ] && msi /x own/DlpAddIn-x64.msi || return 1
  msi /i own/DlpAddIn-x64.msi ADDLOCAL=Main,SettingsFile,Log,EventSource || return 1
  cmp <(printf 'x_name = X-Ours\r\n') "$system/zbagent/vrk.pro" &&
    cmp <(printf 'Outlook 8 Dbg\r\n') "$system/Logger.cfg" &&
    [ -d "$WINEPREFIX/drive_c/ProgramData/Quorvex" ] || return 1
  wine reg query "$key" | tr -d '\r' | sed -nE 's/^ +//; s/ +/ /gp' | LC_ALL=C sort >"$own/event" || return 1
  diff "$own/event" - <<'VALUES' || return 1
CustomSource REG_DWORD 0x1
EventMessageFile REG_EXPAND_SZ %SystemRoot%\System32\EventCreate.exe
TypesSupported REG_DWORD 0x7
VALUES
  msi /x own/DlpAddIn-x64.msi || return 1
  [ -e "$system/zbagent/vrk.pro" ] && [ -e "$system/Logger.cfg" ] &&
    [ ! -e "$WINEPREFIX/drive_c/ProgramData/Quorvex" ] &&
    ! wine reg query "$key" || return 1
  rm -r "$system/zbagent" "$system/Logger.cfg"
}

# The rights as Windows Installer reads them, and the files that a package has without other orders.
check_optional_contents() {
  local package="$packaging_folder/DlpAddIn-x64.msi" attributes
  msiinfo export "$package" MsiLockPermissionsEx | tr -d '\r' |
    grep -qxF "$(printf 'LogFolder\tLogFolder\tCreateFolder\tD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1301bf;;;BU)\t')" ||
    return 1
  attributes=$(msiinfo export "$package" Component | awk -F '\t' '$1 ~ /^(Settings|LoggerFile)$/ { print $4 }' | sort -u)
  [ "$attributes" = 400 ] || { echo "attributes are $attributes"; return 1; }
  "$top/build/native/quorvex" config check "$top/packaging/windows/vrk.pro" &&
    "$top/build/native/quorvex" log check "$top/packaging/windows/Logger.cfg"
}

# What the list of programs says, for the package of check_built that has all of it.
check_list_of_programs() {
  local size name
  size=$(($(stat -c %s "$top/build/win64/DlpAddIn.dll") / 1024 + 1))
  for name in 'helplink="https://help.example"' 'contact="the help desk"' \
    "size=\"$size\""; do
    grep -qi "currentversion.uninstall.*|$name" "$packaging_folder/upgraded.registry" ||
      { echo "there is no $name"; grep -i 'currentversion.uninstall' "$packaging_folder/upgraded.registry"; return 1; }
  done
}

# msiexec /fa isn't tested: Wine's fails with 69. This is the same request in properties.
check_repair() {
  local library="$WINEPREFIX/drive_c/Program Files/Quorvex Mail Add-in/DlpAddIn.dll"
  rm "$library" && wine reg delete 'HKLM\Software\Classes\Quorvex.Connect' /f || return 1
  msi /i DlpAddIn-x64.msi REINSTALL=ALL REINSTALLMODE=amus && state repaired || return 1
  cmp "$library" "$top/build/win64/DlpAddIn.dll" &&
    diff <(installed_rows before repaired) <(installed_rows before installed)
}

check_same_bytes() {
  local arch
  rm -rf "$packaging_folder/again"
  # Another second, so that a time in the package would show.
  sleep 2
  "$top/packaging/windows/build.sh" --output "$packaging_folder/again" || return 1
  for arch in x64 x86; do
    cmp "$packaging_folder/DlpAddIn-$arch.msi" "$packaging_folder/again/DlpAddIn-$arch.msi" || return 1
  done
}

# build_refuses TEXT OPTION...: build.sh fails and says why.
build_refuses() {
  local text=$1 output
  shift
  output=$("$top/packaging/windows/build.sh" --output "$packaging_folder/refused" "$@" 2>&1) &&
    { echo "built with $*"; return 1; }
  grep -qF "$text" <<<"$output" || { echo "$output"; return 1; }
}

# make_certificate FOLDER: a certificate that nobody trusts.
make_certificate() {
  echo word >"$1/test.pass" &&
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=Test of the build" \
      -addext extendedKeyUsage=codeSigning -keyout "$1/test.key" -out "$1/test.pem" &&
    openssl pkcs12 -export -inkey "$1/test.key" -in "$1/test.pem" -passout "file:$1/test.pass" \
      -out "$1/test.pfx"
}

check_refusals() {
  build_refuses "isn't a 64-bit library" --dll64 "$top/build/win32/DlpAddIn.dll" || return 1
  build_refuses "isn't a 32-bit library" --dll32 "$top/build/win64/DlpAddIn.dll" || return 1
  make_certificate "$packaging_folder" || return 1
  "$top/packaging/sign" "$packaging_folder/test.pfx" "$packaging_folder/test.pass" \
    "$top/build/win64/DlpAddIn.dll" "$packaging_folder/signed.dll" || return 1
  build_refuses "only one of the two libraries is signed" --dll64 "$packaging_folder/signed.dll"
}

# A signature that is valid until a byte of the file changes.
check_signature() {
  local signed="$packaging_folder/signed.msi"
  "$top/packaging/sign" "$packaging_folder/test.pfx" "$packaging_folder/test.pass" \
    "$packaging_folder/DlpAddIn-x64.msi" "$signed" || return 1
  osslsigncode verify -CAfile "$packaging_folder/test.pem" -in "$packaging_folder/signed.dll" || return 1
  printf '\377\376' | dd of="$packaging_folder/signed.dll" bs=1 seek=5000 conv=notrunc status=none
  ! osslsigncode verify -CAfile "$packaging_folder/test.pem" -in "$packaging_folder/signed.dll"
}

# Everything that states the version states the one in CMakeLists.txt. The type library isn't part of it:
# it has a version of its own, 1.0, which registrations refer to. grep reads to the end here: with -q it may
# leave before msiinfo has written everything, which counts as a failure of msiinfo.
check_versions() {
  local version package library wide
  version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+).*/\1/p' "$top/CMakeLists.txt")
  [ "$("$top/build/native/quorvex" --version)" = "quorvex $version" ] || return 1
  # The library's resource has it as UTF-16, after the name and padding.
  wide=$(sed 's/./&\\x00/g; s/[.]/[.]/g' <<<"$version")
  for package in x64:64 x86:32; do
    library="$top/build/win${package#*:}/DlpAddIn.dll"
    package="$packaging_folder/DlpAddIn-${package%:*}.msi"
    msiinfo export "$package" Property | tr -d '\r' | grep -x "ProductVersion.$version" >/dev/null ||
      { echo "$package: another product version"; return 1; }
    msiinfo export "$package" File | grep -F "$version.0" >/dev/null || { echo "$package: another file"; return 1; }
    LC_ALL=C grep -qaP "P\x00r\x00o\x00d\x00u\x00c\x00t\x00V\x00e\x00r\x00s\x00i\x00o\x00n\x00(\x00)+$wide\x00\x00" \
      "$library" || { echo "$library: another version in the resource"; return 1; }
  done
}
