# The installers: their contents, and under Wine what they install and remove. 64-bit Wine installs both,
# as 64-bit Windows does; 32-bit Wine also runs the 32-bit library.

packaging_folder="$top/build/packaging"
installed_64='C:\Program Files\Quorvex Mail Add-in\'
installed_32='C:\Program Files (x86)\Quorvex Mail Add-in\'

# A new machine, without registrations from other tests.
start_packaging_wine() {
  rm -f "$packaging_folder"/*.registry "$packaging_folder"/*.files
  rm -rf "$top/build/wine-packaging" && use_wine "$top/build/wine-packaging"
}

# msi ARGUMENT...: runs Windows Installer silently. Its result 1603 becomes exit status 67.
msi() { (cd "$packaging_folder" && wine msiexec "$@" /qn); }

# Wine's library of standard types and its three interfaces. Wine registers them again, with other values
# than at its start, when a program loads a library that refers to them.
wines_own='\\(typelib\\\{00020430-0000-0000-c000-000000000046\}|interface\\\{(4ef6100a-af88-11d0-9846-00c04fc29993|7bf80981-bf32-101a-8bbb-00aa00300cab|bef6e003-a874-101a-8bba-00aa00300cab)\})'

# state NAME: writes the registry, as lines "key|name=value", and the list of files to
# build/packaging/NAME.*. Leaves out what the system keeps about its devices, which changes by itself.
state() {
  local root
  for root in 'HKEY_LOCAL_MACHINE\Software' 'HKEY_CURRENT_USER'; do
    wine regedit /E 'C:\state.reg' "$root" || return 1
    iconv -f utf-16 -t utf-8 "$WINEPREFIX/drive_c/state.reg" | tr -d '\r'
    rm "$WINEPREFIX/drive_c/state.reg"
  done | sed -e ':a' -e '/\\$/{N;s/\\\n *//;ba' -e '}' | registry_lines | grep -vE "$wines_own" |
    LC_ALL=C sort \
    >"$packaging_folder/$1.registry"
  # The signature folder that the end-to-end test creates stays, because the library keeps it open.
  (cd "$WINEPREFIX/drive_c" && find . ! -path './users/*/Temp/*' ! -path '*/Microsoft/Signatures*') |
    LC_ALL=C sort \
    >"$packaging_folder/$1.files"
}

# Converts a .reg file to lines "key|name=value", and "key|" for the key itself, in lower case: Windows
# ignores case in keys and names, and Wine writes "Typelib".
registry_lines() {
  awk '
    /^\[/ { key = tolower(substr($0, 2, length($0) - 2)); print key "|"; next }
    key != "" && /^[@"]/ {
      at = match($0, /^("[^"]*"|@)=/) ? RLENGTH : 0
      name = substr($0, 1, at - 1); if (name == "@") name = ""
      gsub(/^"|"$/, "", name)
      print key "|" tolower(name) substr($0, at)
    }'
}

# new_in NAME BEFORE: prints the lines that NAME has and BEFORE doesn't.
new_in() {
  LC_ALL=C comm -13 "$packaging_folder/$2.registry" "$packaging_folder/$1.registry"
}

# Removes the 32-bit view, which Wine's type library functions also write.
view_64() { grep -v '\\wow6432node\\'; }

# msi_rows ARCH BITS FOLDER COMPONENT: prints the package's registry rows like registry_lines.
msi_rows() {
  msiinfo export "$packaging_folder/DlpAddIn-$1.msi" Registry | tr -d '\r' |
    awk -F '\t' -v bits="$2" -v folder="${3//\\/\\\\}" -v component="$4" '
      function doubled(text,   count, pieces, all, i) {
        count = split(text, pieces, "[\\\\]"); all = pieces[1]
        for (i = 2; i <= count; ++i) all = all "\\\\" pieces[i]
        return all
      }
      NR <= 3 || $6 != component { next }
      {
        root = $2 == 0 ? "HKEY_LOCAL_MACHINE\\Software\\Classes" : \
               $2 == 1 ? "HKEY_CURRENT_USER" : "HKEY_LOCAL_MACHINE"
        print "[" root "\\" $3 "]"
        if ($4 == "*") next
        value = $5
        if (value == "[#DlpAddInDll]") value = folder "DlpAddIn.dll"
        if (value == "[InstallFolder]") value = folder
        printf "%s=", $4 == "" ? "@" : "\"" $4 "\""
        if (value ~ /^#/) printf "dword:%08x\n", substr(value, 2)
        else print "\"" doubled(value) "\""
      }' | registry_lines | LC_ALL=C sort -u
}

# Removes the parents of keys that have a row; they are created and removed with it.
without_parents() { grep -vE '\|$|^$' || true; }

# Succeeds if the lines contain a key of that name. Reads all lines, or their writer would fail.
has_key() { grep "\\\\$1|\$" >/dev/null; }

# Prints what the library's own registration writes, as if it were registered where it is installed. Wine
# includes the flag for a library on a disk (8) in the type library's flags; Windows doesn't.
registered_rows() {
  local here
  here=$(winepath -w "$top/build/win64")
  new_in registered before | view_64 |
    awk -v here="${here//\\/\\\\\\\\}\\\\\\\\" -v there="${installed_64//\\/\\\\\\\\}" '
      { at = index($0, here); if (at) $0 = substr($0, 1, at - 1) there substr($0, at + length(here)) }
      /\\flags\|="8"$/ { sub(/"8"$/, "\"0\"") }
      { print }'
}

check_built() {
  "$top/packaging/windows/build.sh" || return 1
  # The next version, with a library whose version block says so.
  local version offset next="$packaging_folder/next"
  version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+).*/\1/p' "$top/CMakeLists.txt")
  rm -rf "$next" && mkdir -p "$next" || return 1
  cp "$top/build/win64/DlpAddIn.dll" "$next/DlpAddIn.dll"
  offset=$(LC_ALL=C grep -obUaP '\xbd\x04\xef\xfe' "$next/DlpAddIn.dll" | cut -d: -f1) || return 1
  IFS=. read -r major minor patch <<<"$version"
  printf "\\x$(printf %x $((minor + 1)))" |
    dd of="$next/DlpAddIn.dll" bs=1 seek=$((offset + 8)) conv=notrunc status=none
  next_version="$major.$((minor + 1)).$patch"
  "$top/packaging/windows/build.sh" --version "$next_version" --dll64 "$next/DlpAddIn.dll" \
    --help-link https://help.example --contact "the help desk" --output "$next" || return 1
  [ "$(msi_file_version "$packaging_folder/DlpAddIn-x64.msi")" = "$version.0" ] &&
    [ "$(msi_file_version "$next/DlpAddIn-x64.msi")" = "$next_version.0" ]
}

# Prints the version that Windows Installer compares with the file on the disk.
msi_file_version() {
  msiinfo export "$1" File | tr -d '\r' | awk -F '\t' '$1 == "DlpAddInDll" { print $5 }'
}

# Compares what the 64-bit library registers with the rows of both packages.
check_same_registration() {
  local library
  library=$(winepath -w "$top/build/win64/DlpAddIn.dll")
  state before || return 1
  wine regsvr32 /s "$library" && state registered && wine regsvr32 /s /u "$library" || return 1
  [ "$(registered_rows | wc -l)" -ge 20 ] || { echo "the library registered next to nothing"; return 1; }
  registered_rows | without_parents >"$packaging_folder/registered.rows"
  msi_rows x64 64 "$installed_64" AddIn | without_parents | grep -v '\\outlook\\addins\\' |
    diff "$packaging_folder/registered.rows" - || return 1
  # A key without a value exists only if it has its own row.
  registered_rows | has_key programmable &&
    msi_rows x64 64 "$installed_64" AddIn | has_key programmable || return 1
  cmp "$top/build/win64/agent/outlookaddin/dlpaddin.rgs" \
    "$top/build/win32/agent/outlookaddin/dlpaddin.rgs" || return 1
  diff <(msi_rows x64 64 "$installed_64" AddIn | sed 's/\\win64|/\\win32|/') \
    <(msi_rows x86 32 "$installed_64" AddIn)
}

# installed_rows BEFORE AFTER: prints what an installation wrote, without Windows Installer's own records.
installed_rows() {
  new_in "$2" "$1" |
    grep -vE '^hkey_local_machine\\software\\(wow6432node\\)?(classes\\installer|microsoft\\windows\\currentversion\\(installer|uninstall))(\\|\|)'
}

check_installed() {
  msi /i DlpAddIn-x64.msi && state installed || return 1
  cmp "$WINEPREFIX/drive_c/Program Files/Quorvex Mail Add-in/DlpAddIn.dll" \
    "$top/build/win64/DlpAddIn.dll" || return 1
  diff <(installed_rows before installed | view_64 | without_parents) \
    <(msi_rows x64 64 "$installed_64" AddIn | without_parents) || return 1
  local addin='hkey_local_machine\software\microsoft\office\outlook\addins\quorvex.connect'
  grep -qxF "$addin|loadbehavior=dword:00000003" "$packaging_folder/installed.registry" &&
    grep -qxF "$addin|friendlyname=\"Quorvex mail add-in\"" "$packaging_folder/installed.registry" &&
    ! grep -q 'resiliency' "$packaging_folder/installed.registry"
}

check_policy_when_asked_for() {
  msi /i DlpAddIn-x64.msi ADDLOCAL=KeepEnabled && state kept || return 1
  diff <(installed_rows installed kept | without_parents) - <<'ROW' &&
hkey_current_user\software\policies\microsoft\office\16.0\outlook\resiliency\addinlist|quorvex.connect="1"
ROW
    msi /i DlpAddIn-x64.msi REMOVE=KeepEnabled && state unkept &&
    diff <(installed_rows installed unkept) /dev/null
}

# products STATE VERSION: succeeds if the list of programs has our product exactly once, in that version.
products() {
  local list="$packaging_folder/$1.registry" uninstall='currentversion\\uninstall\\'
  [ "$(grep -c "$uninstall.*|displayname=\"Quorvex mail add-in ([36][24]-bit)\"" "$list")" = 1 ] &&
    [ "$(grep -c "$uninstall.*|displayversion=\"$2\"" "$list")" = 1 ] &&
    [ "$(grep -cE '^hkey_local_machine\\software\\classes\\installer\\products\\[^\\]*\|$' "$list")" = 1 ]
}

check_newer_replaces() {
  local version
  version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+).*/\1/p' "$top/CMakeLists.txt")
  products installed "$version" || { echo "not one product of $version before"; return 1; }
  ! cmp -s "$packaging_folder/next/DlpAddIn.dll" "$top/build/win64/DlpAddIn.dll" || return 1
  msi /i next/DlpAddIn-x64.msi && state upgraded || return 1
  products upgraded "$next_version" || { echo "not one product of $next_version"; return 1; }
  cmp "$packaging_folder/next/DlpAddIn.dll" \
    "$WINEPREFIX/drive_c/Program Files/Quorvex Mail Add-in/DlpAddIn.dll" || return 1
  diff <(installed_rows before upgraded) <(installed_rows before installed)
}

check_older_is_refused() {
  local status=0
  msi /i DlpAddIn-x64.msi || status=$?
  [ "$status" = 67 ] || { echo "msiexec ended with $status"; return 1; }
  state refused && products refused "$next_version" &&
    cmp "$packaging_folder/next/DlpAddIn.dll" \
      "$WINEPREFIX/drive_c/Program Files/Quorvex Mail Add-in/DlpAddIn.dll"
}

check_bits_replace_each_other() {
  msi /i next/DlpAddIn-x86.msi && state other && products other "$next_version" || return 1
  [ ! -e "$WINEPREFIX/drive_c/Program Files/Quorvex Mail Add-in" ] || return 1
  cmp "$WINEPREFIX/drive_c/Program Files (x86)/Quorvex Mail Add-in/DlpAddIn.dll" \
    "$top/build/win32/DlpAddIn.dll" || return 1
  # The class and Outlook's key are in the 32-bit view, where 32-bit Outlook looks.
  local view='hkey_local_machine\software\wow6432node'
  grep -qxF "$view\\microsoft\\office\\outlook\\addins\\quorvex.connect|loadbehavior=dword:00000003" \
    "$packaging_folder/other.registry" &&
    grep -qF "\\wow6432node\\clsid\\{5e1b7c42-9d3a-4f06-a8c1-3b7e42d09a16}\\inprocserver32|=\"${installed_32//\\/\\\\}" \
      "$packaging_folder/other.registry" &&
    msi /i next/DlpAddIn-x64.msi && state back && products back "$next_version"
}

# Empty keys that Wine's installer creates at the first installation. Wine also has empty keys of 32-bit
# classes, which disappear with the last class.
installers_own='hkey_local_machine\software\classes\installer|
hkey_local_machine\software\classes\installer\features|
hkey_local_machine\software\classes\installer\products|
hkey_local_machine\software\classes\installer\upgradecodes|
hkey_local_machine\software\microsoft\windows\currentversion\installer\upgradecodes|
hkey_local_machine\software\microsoft\windows\currentversion\installer\userdata|
hkey_local_machine\software\microsoft\windows\currentversion\installer\userdata\s-1-5-18|
hkey_local_machine\software\microsoft\windows\currentversion\installer\userdata\s-1-5-18\components|
hkey_local_machine\software\microsoft\windows\currentversion\installer\userdata\s-1-5-18\products|
hkey_local_machine\software\wow6432node\classes\clsid|
hkey_local_machine\software\classes\wow6432node\clsid|
hkey_local_machine\software\wow6432node\microsoft\windows\currentversion\uninstall|'

check_removed() {
  local product
  product=$(sed -nE 's/^.*uninstall\\(\{[-0-9a-f]+\})\|displayname="Quorvex mail add-in \([36][24]-bit\)"$/\1/p' \
    "$packaging_folder/back.registry")
  msi /x "$product" && state removed || return 1
  diff <(grep -vxF "$installers_own" "$packaging_folder/before.registry") \
    <(grep -vxF "$installers_own" "$packaging_folder/removed.registry") || return 1
  diff "$packaging_folder/before.files" <(grep -vx './windows/Installer' "$packaging_folder/removed.files")
}

# import NAME: imports a .reg file.
import() { (cd "$packaging_folder" && wine regedit /S "$1"); }

check_reg_files() {
  import DlpAddIn-x64.reg && import DlpAddIn-keep-enabled.reg && state imported || return 1
  diff <(new_in imported removed | view_64 | without_parents) \
    <({ msi_rows x64 64 "$installed_64" AddIn; msi_rows x64 64 "$installed_64" KeepEnabled; } |
      without_parents | LC_ALL=C sort) || return 1
  new_in imported removed | has_key programmable || return 1
  # The policy belongs to the user and stays.
  import DlpAddIn-x64-remove.reg && state unimported || return 1
  diff <(new_in unimported removed | without_parents) \
    <(msi_rows x64 64 "$installed_64" KeepEnabled | without_parents) || return 1
  diff <(tr -d '\r' <"$packaging_folder/DlpAddIn-x64.reg" | registry_lines | sed 's/win64|/win32|/') \
    <(tr -d '\r' <"$packaging_folder/DlpAddIn-x86.reg" | registry_lines)
}

# 32-bit Windows has one program folder and one registry view.
check_installed_32() {
  local addin='hkey_local_machine\software\microsoft\office\outlook\addins\quorvex.connect'
  state before32 && msi /i DlpAddIn-x86.msi && state installed32 || return 1
  cmp "$WINEPREFIX/drive_c/Program Files/Quorvex Mail Add-in/DlpAddIn.dll" \
    "$top/build/win32/DlpAddIn.dll" || return 1
  diff <(installed_rows before32 installed32 | without_parents) \
    <(msi_rows x86 32 "$installed_64" AddIn | without_parents) || return 1
  grep -qxF "$addin|loadbehavior=dword:00000003" "$packaging_folder/installed32.registry"
}

check_removed_32() {
  msi /x DlpAddIn-x86.msi && state removed32 || return 1
  [ ! -e "$WINEPREFIX/drive_c/Program Files/Quorvex Mail Add-in" ] || return 1
  diff <(installed_rows before32 removed32 | without_parents) /dev/null
}

packaging_32() (
  rm -rf "$top/build/wine32-packaging"
  use_wine32 "$top/build/wine32-packaging" || { failed "starting 32-bit Wine for the installers"; return 0; }
  check "a silent installation in a 32-bit Windows" check_installed_32
  QUORVEX_INSTALLED="${installed_64}DlpAddIn.dll" gtest "the installed 32-bit library end to end" \
    wine_within 600 "$top/build/win32/test_endtoend.exe" --gtest_filter=-Registration.*
  check "removal from a 32-bit Windows" check_removed_32
  wineserver -k 2>/dev/null
  return 0
)

test_packaging() {
  echo "Installers"
  local next_version="" WINEDEBUG WINEPREFIX WINEDLLOVERRIDES
  check "the installers are built" check_built
  check "the same input gives the same packages" check_same_bytes
  check "build.sh refuses libraries that don't fit" check_refusals
  check "signatures are valid, and only for the signed bytes" check_signature
  check "every file states the same version" check_versions
  check "optional features have the right attributes and rights" check_optional_contents
  if ! start_packaging_wine; then
    failed "starting Wine for the installers"
    return 0
  fi
  check "the packages write what the library's registration writes" check_same_registration
  check "a silent installation installs the library and its registry values" check_installed
  QUORVEX_INSTALLED="${installed_64}DlpAddIn.dll" gtest "the installed library end to end" \
    wine_within 600 "$top/build/win64/test_endtoend.exe" --gtest_filter=-Registration.*
  check "a repair brings file and registry values back" check_repair
  check "the policy is written and removed only on request" check_policy_when_asked_for
  check "a newer version replaces an older one" check_newer_replaces
  check "the list of programs shows size, help link and contact" check_list_of_programs
  check "an older version is refused" check_older_is_refused
  check "32 and 64 bits replace each other" check_bits_replace_each_other
  check "removal leaves nothing" check_removed
  check "the .reg files write and remove the same" check_reg_files
  check "optional features write their files and values, and keep existing files" check_optional_features
  check "a package for the other bitness of Outlook is refused" check_wrong_bitness_is_refused
  wineserver -k 2>/dev/null
  if have_wine32; then
    packaging_32
  else
    skipped "the installed 32-bit library end to end" "$wine32_unavailable"
  fi
  return 0
}
