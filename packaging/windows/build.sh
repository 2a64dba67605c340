#!/usr/bin/env bash
# Builds both installers and the .reg files from the built libraries:
#
#   packaging/windows/build.sh [--version X.Y.Z] [--dll64 FILE] [--dll32 FILE] [--output FOLDER]
#                              [--help-link URL] [--contact TEXT]
#                              [--settings FILE] [--logger FILE]
#
# The defaults are the version in CMakeLists.txt, build/win64/DlpAddIn.dll, build/win32/DlpAddIn.dll
# and build/packaging. The list of programs shows the help link and the contact. The optional features
# SettingsFile and Log install the other two files as vrk.pro and Logger.cfg. Refuses a library of
# the wrong bitness, and a signed library together with an unsigned one. A failure leaves no incomplete
# output file. Needs wixl, msitools and faketime.
#
# The same input gives the same bytes: the product code follows from version and bitness, the package
# code from the contents, and all times are SOURCE_DATE_EPOCH, by default the time of the last commit.
#
#   DlpAddIn-x64.msi, DlpAddIn-x86.msi       for 64-bit and for 32-bit Outlook
#   DlpAddIn-x64.reg, DlpAddIn-x86.reg       the same registry values, for scripted installs
#   DlpAddIn-x64-remove.reg, ...             remove those values
#   DlpAddIn-keep-enabled.reg                the optional user policy
set -eu -o pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
top=$(cd "$here/../.." && pwd)

fail() { echo "packaging: $*" >&2; exit 1; }
usage() { sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//;p}' "${BASH_SOURCE[0]}"; }

# Never change these: Windows identifies the product and its components by them.
upgrade_code="{8A1F5D0C-6B7E-4D52-9C34-2E0B917A6F43}"
addin_x64="{3D9C2B61-40F7-4E1A-B7A5-6C81F2D0935E}"
addin_x86="{B52E7F14-9A0D-4C68-8F3B-D7164EA0C289}"
keep_x64="{E6047A93-1C5F-4B2D-A8D9-50F3B7C16E24}"
keep_x86="{71C8D5E2-F36A-4097-93BE-0A4D2C98B7F5}"
event_x64="{0C9E4F71-58B2-4D3A-9E06-A1F7358C2B4D}"
event_x86="{94B1D6A8-2E7F-4C05-B3D9-6F08E5A7C132}"
settings_x64="{C27A05E9-6B14-4F8D-8A53-D90E1B76F42C}"
settings_x86="{5F83B1D4-A9C6-4E20-97F5-3B2D08C64E71}"
logger_x64="{E8160D3B-7C95-42AF-B4E1-0596A3D8F72E}"
logger_x86="{28D4F7A6-B03E-4159-8C6D-E17F92B05A34}"
logfolder_x64="{7B95E2C1-D84F-4A36-A07E-4C1B63F8D950}"
logfolder_x86="{AD306F58-1E92-4BC7-95D4-8F7B20E6C1A3}"

version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+).*/\1/p' "$top/CMakeLists.txt")
dll_x64="$top/build/win64/DlpAddIn.dll"
dll_x86="$top/build/win32/DlpAddIn.dll"
output="$top/build/packaging"
help_link=""
contact=""
settings="$here/vrk.pro"
logger="$here/Logger.cfg"
while [ $# -gt 0 ]; do
  case $1 in
    -h | --help) usage; exit 0 ;;
    --version | --dll64 | --dll32 | --output | --help-link | --contact | --settings | --logger)
      [ $# -ge 2 ] || { usage >&2; exit 3; } ;;
    *) usage >&2; exit 3 ;;
  esac
  case $1 in
    --version) version=$2 ;;
    --dll64) dll_x64=$2 ;;
    --dll32) dll_x86=$2 ;;
    --output) output=$2 ;;
    --help-link) help_link=$2 ;;
    --contact) contact=$2 ;;
    --settings) settings=$2 ;;
    --logger) logger=$2 ;;
  esac
  shift 2
done
[[ $version =~ ^[0-9]{1,3}\.[0-9]{1,3}\.[0-9]{1,5}$ ]] || fail "'$version' is not a version X.Y.Z"
for tool in wixl msibuild faketime; do
  command -v "$tool" >/dev/null || fail "$tool is missing (Debian's packages wixl, msitools and faketime)"
done
epoch=${SOURCE_DATE_EPOCH:-$(git -C "$top" log -1 --format=%ct)}

# number OFFSET BYTES FILE: an unsigned number of FILE, little-endian.
number() { od -An -tu"$2" -j "$1" -N "$2" "$3" | tr -d ' '; }

# bits_of DLL and signature_size DLL: from the library's headers.
bits_of() {
  case $(number $(($(number 60 4 "$1") + 4)) 2 "$1") in
    34404) echo 64 ;;
    332) echo 32 ;;
    *) fail "$1 is neither a 64-bit nor a 32-bit library" ;;
  esac
}
signature_size() {
  local directories=$(($(number 60 4 "$1") + 24 + 96))
  [ "$(bits_of "$1")" = 32 ] || directories=$((directories + 16))
  number $((directories + 4 * 8 + 4)) 4 "$1"
}

# guid TEXT: an identifier that follows from the text.
guid() {
  sha1sum <<<"$1" | tr a-f A-F |
    sed -E 's/^(.{8})(.{4}).(.{3}).(.{3})(.{12}).*/{\1-\2-5\3-A\4-\5}/'
}

# Reads an identity from addinids.h, the only place that defines it.
identity() {
  sed -nE "/$1 *=/,/;/s/.*\"(\{[-0-9A-F]+\})\".*/\1/p" "$top/agent/outlookaddin/addinids.h"
}
clsid=$(identity CLSID_Connect)
libid=$(identity LIBID_QuorvexLib)
[ -n "$clsid" ] && [ -n "$libid" ] || fail "addinids.h doesn't name the class and the type library"

# rows PARTS BITS FILE FOLDER: prints registry.txt's rows of these parts, with "|" between the fields.
rows() {
  clsid=$clsid libid=$libid bits=$2 file=$3 folder=$4 awk -F ' *[|] *' -v parts=" $1 " '
    function put(text, name, value,   at) {
      while ((at = index(text, name)) > 0)
        text = substr(text, 1, at - 1) value substr(text, at + length(name))
      return text
    }
    /^ *(#|$)/ { next }
    NF != 6 || $5 !~ /^(string|expand|dword|key)$/ {
      print "registry.txt:" NR ": not part | root | key | name | type | value" >"/dev/stderr"
      exit 1
    }
    index(parts, " " $1 " ") {
      text = $2 "|" $3 "|" $4 "|" $5 "|" $6
      text = put(text, "@CLSID@", ENVIRON["clsid"]); text = put(text, "@LIBID@", ENVIRON["libid"])
      text = put(text, "@BITS@", ENVIRON["bits"]); text = put(text, "@FILE@", ENVIRON["file"])
      print put(text, "@FOLDER@", ENVIRON["folder"])
    }' "$here/registry.txt"
}

# wix_rows PART BITS: prints the rows as wixl elements. wixl can't express a key without a value;
# add_keys adds those.
wix_rows() {
  rows "$1" "$2" '[#DlpAddInDll]' '[InstallFolder]' | awk -F '|' -v keypath="$1" '
    $4 == "key" { next }
    {
      printf "<RegistryValue Root=\"%s\" Key=\"%s\" ", $1, $2
      if ($3 != "") printf "Name=\"%s\" ", $3
      printf "Type=\"%s\" Value=\"%s\"", ($4 == "dword" ? "integer" : "string"), $5
      # The rows are a component of their own, and the first one says whether it is installed.
      print ((keypath == "keep" || keypath == "event") && !rows++ ? " KeyPath=\"yes\"/>" : "/>")
    }'
}

# add_keys MSI BITS: adds keys without values. The name "*" tells Windows Installer to create and
# remove the key.
add_keys() {
  local number=0 key
  while IFS='|' read -r _ key _; do
    number=$((number + 1))
    at_epoch msibuild "$1" -q "INSERT INTO \`Registry\` (\`Registry\`, \`Root\`, \`Key\`, \`Name\`, \
\`Component_\`) VALUES ('key$number', 0, '$key', '*', 'AddIn')"
  done < <(rows class "$2" '' '' | awk -F '|' '$4 == "key"')
}

# mark_expandable MSI BITS: "#%" marks a text with variables. wixl would take it for part of the text.
mark_expandable() {
  local key name value
  while IFS='|' read -r _ key name _ value; do
    at_epoch msibuild "$1" -q "UPDATE \`Registry\` SET \`Value\` = '#%$value' WHERE \`Key\` = '$key' \
AND \`Name\` = '$name'"
  done < <(rows event "$2" '' '' | awk -F '|' '$4 == "expand"')
}

# file_version DLL: prints the version from its version block, as Windows Installer compares it.
file_version() {
  local offset minor major revision patch
  offset=$(LC_ALL=C grep -obUaP '\xbd\x04\xef\xfe' "$1" | head -n 1 | cut -d: -f1) || true
  [ -n "$offset" ] || fail "$1 has no version: it is no library of ours"
  read -r minor major revision patch < <(od -An -tu2 -j $((offset + 8)) -N 8 "$1")
  echo "$major.$minor.$patch.$revision"
}

# property NAME VALUE: as a wixl element.
property() {
  local value
  value=$(sed 's/&/\&amp;/g; s/</\&lt;/g; s/"/\&quot;/g' <<<"$2")
  printf '<Property Id="%s" Value="%s"/>\n' "$1" "$value"
}

# A fixed clock for the tools that write the time into the package.
at_epoch() { TZ=UTC faketime -f "$(date -u -d "@$epoch" '+%Y-%m-%d %H:%M:%S')" "$@"; }

# add_optional_files MSI WIN64: what wixl can't express of the features SettingsFile and Log. The attributes
# of their files are 16 (permanent) and 128 (never overwrite). In the log's folder, the system and
# administrators have full control, and users may create, change and delete files. That table needs Windows
# Installer 5, so Windows 7.
add_optional_files() {
  at_epoch msibuild "$1" -q "UPDATE \`Component\` SET \`Attributes\` = $((16 + 128 + $2)) \
WHERE \`Component\` = 'Settings'"
  at_epoch msibuild "$1" -q "UPDATE \`Component\` SET \`Attributes\` = $((16 + 128 + $2)) \
WHERE \`Component\` = 'LoggerFile'"
  at_epoch msibuild "$1" -q "CREATE TABLE \`MsiLockPermissionsEx\` (\`MsiLockPermissionsEx\` \
CHAR(72) NOT NULL, \`LockObject\` CHAR(72) NOT NULL, \`Table\` CHAR(32) NOT NULL, \`SDDLText\` \
CHAR(0) NOT NULL, \`Condition\` CHAR(255) PRIMARY KEY \`MsiLockPermissionsEx\`)"
  at_epoch msibuild "$1" -q "INSERT INTO \`MsiLockPermissionsEx\` (\`MsiLockPermissionsEx\`, \
\`LockObject\`, \`Table\`, \`SDDLText\`) VALUES ('LogFolder', 'LogFolder', 'CreateFolder', \
'D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1301bf;;;BU)')"
}

# identities ARCH: replaces the components' names by their identities.
identities() {
  local name variable
  for name in addin keep event settings logger logfolder; do
    variable="${name}_$1"
    printf 's|@%s@|%s|; ' "${name^^}" "${!variable}"
  done
}

# make_msi ARCH BITS DLL PROGRAMFILES SYSTEM WIN64
make_msi() {
  local arch=$1 bits=$2 dll=$3 work="$scratch/$1" part own wrong file
  own=$(file_version "$dll")
  mkdir -p "$work"
  wrong='CLICKTORUN="x86" OR (NOT CLICKTORUN AND OUTLOOK32="x86" AND NOT OUTLOOK64="x64")'
  [ "$bits" = 64 ] || wrong='CLICKTORUN="x64" OR (NOT CLICKTORUN AND OUTLOOK64="x64" AND NOT OUTLOOK32="x86")'
  sed -e "s|@PRODUCT@|$(guid "$upgrade_code $version $arch")|; s|@WRONG@|$wrong|" -e "s|@VERSION@|$version|g; s|@UPGRADE@|$upgrade_code|g; s|@BITS@|$bits|g" \
    -e "s|@PROGRAMFILES@|$4|; s|@SYSTEM@|$5|; s|@WIN64@|$6|; $(identities "$arch")" \
    "$here/addin.wxs.in" >"$work/addin.wxs"
  for part in class load keep event; do
    wix_rows "$part" "$bits" >"$work/$part"
    sed -i -e "/<!-- rows $part -->/{r $work/$part" -e 'd}' "$work/addin.wxs"
  done
  property ARPSIZE "$(($(stat -c %s "$dll") / 1024 + 1))" >"$work/arp"
  if [ -n "$help_link" ]; then property ARPHELPLINK "$help_link"; fi >>"$work/arp"
  if [ -n "$contact" ]; then property ARPCONTACT "$contact"; fi >>"$work/arp"
  sed -i -e "/<!-- arp -->/{r $work/arp" -e 'd}' "$work/addin.wxs"
  # wixl accepts only relative file names.
  cp "$dll" "$work/DlpAddIn.dll"
  # With the line ends of Windows.
  sed 's/\r*$/\r/' "$settings" >"$work/vrk.pro"
  sed 's/\r*$/\r/' "$logger" >"$work/Logger.cfg"
  for file in DlpAddIn.dll vrk.pro Logger.cfg; do touch -d "@$epoch" "$work/$file"; done
  (cd "$work" && at_epoch wixl --arch "$arch" --output out.msi addin.wxs)
  add_keys "$work/out.msi" "$bits"
  mark_expandable "$work/out.msi" "$bits"
  add_optional_files "$work/out.msi" "$([ "$bits" = 64 ] && echo 256 || echo 0)"
  # wixl doesn't read the library's version. Without a version, Windows Installer would never replace
  # an older library on the disk.
  at_epoch msibuild "$work/out.msi" -q "UPDATE \`File\` SET \`Version\` = '$own', \
\`Language\` = '1033' WHERE \`File\` = 'DlpAddInDll'"
  # An upgrade also removes the same version (wixl drops IncludeMaximum) and keeps the choice of
  # features.
  at_epoch msibuild "$work/out.msi" -q "DELETE FROM \`Upgrade\` WHERE \`ActionProperty\` = 'OLDERFOUND'"
  at_epoch msibuild "$work/out.msi" -q "INSERT INTO \`Upgrade\` (\`UpgradeCode\`, \`VersionMin\`, \
\`VersionMax\`, \`Attributes\`, \`ActionProperty\`) \
VALUES ('$upgrade_code', '0.0.0', '$version', $((1 + 256 + 512)), 'OLDERFOUND')"
  at_epoch msibuild "$work/out.msi" -q "UPDATE \`Property\` SET \
\`Value\` = 'OLDERFOUND;NEWERFOUND;IGNOREOUTLOOKBITNESS' WHERE \`Property\` = 'SecureCustomProperties'"
  at_epoch msibuild "$work/out.msi" -s "Quorvex mail add-in for $bits-bit Outlook" Quorvex \
    "$(msiinfo suminfo "$work/out.msi" | sed -n 's/^Template: //p')" \
    "$(guid "$(cat "$work/addin.wxs"; cd "$work" && sha256sum DlpAddIn.dll vrk.pro Logger.cfg)")"
  mv "$work/out.msi" "$output/DlpAddIn-$arch.msi"
}

# reg_rows PARTS BITS FOLDER: prints the rows in .reg format, with one heading for consecutive rows of
# the same key.
reg_rows() {
  rows "$1" "$2" "$3DlpAddIn.dll" "$3" | awk -F '|' '
    function quoted(text,   count, pieces, all, i) {
      count = split(text, pieces, "[\\\\]")
      all = pieces[1]
      for (i = 2; i <= count; ++i) all = all "\\\\" pieces[i]
      return "\"" all "\""
    }
    {
      root["HKCR"] = "HKEY_LOCAL_MACHINE\\Software\\Classes"
      root["HKLM"] = "HKEY_LOCAL_MACHINE"; root["HKCU"] = "HKEY_CURRENT_USER"
      key = root[$1] "\\" $2
      if (key != last) print "\n[" key "]"
      last = key
      if ($4 == "key") next
      printf "%s=", ($3 == "" ? "@" : quoted($3))
      if ($4 == "dword") printf "dword:%08x\n", $5; else print quoted($5)
    }'
}

# Removes the top keys that belong only to this product.
remove_rows() {
  local key
  for key in "Software\\Microsoft\\Office\\Outlook\\Addins\\Quorvex.Connect" \
    "Software\\Classes\\Quorvex.Connect" "Software\\Classes\\Quorvex.Connect.1" \
    "Software\\Classes\\CLSID\\$clsid" "Software\\Classes\\TypeLib\\$libid"; do
    printf '\n[-HKEY_LOCAL_MACHINE\\%s]\n' "$key"
  done
}

# reg_file NAME: writes standard input with the line ends that regedit expects.
reg_file() { sed 's/$/\r/' >"$scratch/$1" && mv "$scratch/$1" "$output/$1"; }

# make_reg ARCH BITS
make_reg() {
  local head="Windows Registry Editor Version 5.00" folder='C:\Program Files\Quorvex Mail Add-in\'
  {
    printf '%s\n\n' "$head"
    echo "; Quorvex mail add-in $version for $2-bit Outlook. DlpAddIn.dll must be in"
    echo ";   $folder"
    echo "; To use another folder, replace"
    echo ";   ${folder//\\/\\\\}"
    echo "; in the lines below, doubling each backslash. For $2-bit Outlook import the file with"
    echo ";   reg import DlpAddIn-$1.reg /reg:$2"
    reg_rows "class load" "$2" "$folder"
  } | reg_file "DlpAddIn-$1.reg"
  { printf '%s\n' "$head"; remove_rows; } | reg_file "DlpAddIn-$1-remove.reg"
  { printf '%s\n' "$head"; reg_rows keep "$2" "$folder"; } | reg_file "DlpAddIn-keep-enabled.reg"
}

mkdir -p "$output"
output=$(cd "$output" && pwd)
scratch=$(mktemp -d "$output/work.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
for bits in 64 32; do
  dll=$([ $bits = 64 ] && echo "$dll_x64" || echo "$dll_x86")
  [ -f "$dll" ] || fail "$dll is not there: build the preset win$bits first"
  [ "$(bits_of "$dll")" = $bits ] || fail "$dll isn't a $bits-bit library"
done
[ $(($(signature_size "$dll_x64") > 0)) = $(($(signature_size "$dll_x86") > 0)) ] ||
  fail "only one of the two libraries is signed"
make_msi x64 64 "$dll_x64" ProgramFiles64Folder System64Folder yes
make_msi x86 32 "$dll_x86" ProgramFilesFolder SystemFolder no
make_reg x64 64
make_reg x86 32
(cd "$output" && ls -l DlpAddIn-* | awk '{ printf "%9d  %s\n", $5, $NF }')
