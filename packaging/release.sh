#!/usr/bin/env bash
# packaging/release.sh [--certificate FILE.pfx --password-file FILE] [--output FOLDER]
#                      [--maintainer "NAME <ADDRESS>"] [--help-link URL] [--contact TEXT]
#
# Makes everything that is handed out, from a clean clone of the current commit, in FOLDER (build/release):
#
#   DlpAddIn-x64.msi, DlpAddIn-x86.msi, *.reg   the installers, and the registry values without them
#   policy/                                     the administrative template for Group Policy and Intune
#   DlpAddIn-x64.dll, DlpAddIn-x86.dll          the libraries alone
#   quorvex.exe                                 the command line for Windows
#   quorvex_VERSION_ARCH.deb                    the command line for Debian 12, with manual pages
#   quorvex-agentkit_VERSION_ARCH.deb           the library for people who write an agent
#   symbols/                                    debug information of all of these, .build-id/XX/REST.debug
#   documents/                                  the documents as HTML
#   sbom.spdx.json, CHANGELOG, SHA256SUMS
#   SHA256SUMS.unsigned                         of the libraries and quorvex.exe before they were signed
#
# The Debian packages name the maintainer, by default the author of the commit; the list of programs on
# Windows shows the help link and the contact.
#
# With a certificate, libraries, quorvex.exe and packages are signed, the libraries before they go into
# the packages. Everything else, and everything without a certificate, depends on the commit alone: it has
# the same bytes wherever and whenever it is built. ccache isn't used, so that two releases are two builds.
set -eu -o pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

fail() { echo "release: $*" >&2; exit 1; }
usage() { sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//;p}' "${BASH_SOURCE[0]}"; }

certificate="" password="" output="$top/build/release" maintainer="" installer_options=()
while [ $# -gt 0 ]; do
  case $1 in
    -h | --help) usage; exit 0 ;;
    --certificate | --password-file | --output | --maintainer | --help-link | --contact) [ $# -ge 2 ] || { usage >&2; exit 3; } ;;
    *) usage >&2; exit 3 ;;
  esac
  case $1 in
    --certificate) certificate=$(realpath "$2") ;;
    --password-file) password=$(realpath "$2") ;;
    --output) output=$2 ;;
    --maintainer) maintainer=$2 ;;
    --help-link | --contact) installer_options+=("$1" "$2") ;;
  esac
  shift 2
done
[ -z "$certificate" ] || [ -n "$password" ] || fail "--certificate needs --password-file"

. "$top/scripts/packages.sh"
need_packages native windows packaging || exit 3
[ ! -e "$output" ] || [ -z "$(ls -A "$output")" ] || fail "$output isn't empty"
mkdir -p "$output"
output=$(realpath "$output")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

git clone -q --no-hardlinks "$top" "$work/source"
cd "$work/source"
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH CCACHE_DISABLE=1
version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
[ -z "$(git -C "$top" status --porcelain)" ] || echo "release: uncommitted changes aren't part of it" >&2
echo "Release $version of $(git rev-parse --short HEAD)"

# sign_in_place FILE, if there is a certificate.
sign_in_place() {
  [ -n "$certificate" ] || return 0
  packaging/sign "$certificate" "$password" "$1" "$work/signed" && mv "$work/signed" "$1"
}

compile() {
  echo "Building $1"
  { cmake --preset "$1" && cmake --build --preset "$1" --target "${@:2}"; } >"$work/$1.log" 2>&1 ||
    { tail -n 40 "$work/$1.log" >&2; fail "the build of $1 failed"; }
}

# symbols FILE DEBUG: the debug information, named for the build id that the program or library has.
symbols() {
  local id
  if [[ $1 == */win* ]]; then
    id=$(x86_64-w64-mingw32-objdump -p "$1" | sed -nE 's/.*RSDS signature ([0-9a-f]{32}).*/\1/p')
  else
    id=$(readelf -n "$1" | sed -nE 's/.*Build ID: ([0-9a-f]+)$/\1/p')
  fi
  [ -n "$id" ] || fail "$1 has no build id"
  mkdir -p "$output/symbols/.build-id/${id:0:2}"
  cp "$2" "$output/symbols/.build-id/${id:0:2}/${id:2}.debug"
}

# A Wine of the clone's own makes the type library.
(top=$PWD && . scripts/wine.sh && use_wine && wineserver -w)
compile win64 DlpAddIn quorvex
compile win32 DlpAddIn
compile release quorvex quorvex_agentkit quorvex_agentkit_c

x86_64-w64-mingw32-objcopy -p --only-keep-debug build/win64/quorvex.exe build/win64/quorvex.debug
x86_64-w64-mingw32-strip -p build/win64/quorvex.exe
symbols build/win64/quorvex.exe build/win64/quorvex.debug
for file in quorvex "agentkit/libquorvex-agentkit-c.so.$version"; do
  objcopy -p --only-keep-debug "build/release/$file" "build/release/$file.debug"
  symbols "build/release/$file" "build/release/$file.debug"
done
(cd build && sha256sum win64/DlpAddIn.dll win32/DlpAddIn.dll win64/quorvex.exe) >"$output/SHA256SUMS.unsigned"
for bits in 64 32; do
  cmake/checkdll.sh "build/win$bits/DlpAddIn.dll"
  symbols "build/win$bits/DlpAddIn.dll" "build/win$bits/DlpAddIn.debug"
  sign_in_place "build/win$bits/DlpAddIn.dll"
done
packaging/windows/build.sh --output "$work/installers" ${installer_options[@]+"${installer_options[@]}"} >/dev/null
for package in "$work/installers"/*.msi; do sign_in_place "$package"; done
cp "$work/installers"/* "$output/"
cp -R packaging/windows/policy "$output/policy"
cp build/win64/DlpAddIn.dll "$output/DlpAddIn-x64.dll"
cp build/win32/DlpAddIn.dll "$output/DlpAddIn-x86.dll"
cp build/win64/quorvex.exe "$output/quorvex.exe"
sign_in_place "$output/quorvex.exe"

mkdir -p "$output/documents"
packaging/documents "$output/documents"
QUORVEX_MAINTAINER=$maintainer packaging/debian/build.sh build/release "$version" "$output"
packaging/sbom "$version" "$output" >"$output/sbom.spdx.json"
last=$(git describe --tags --abbrev=0 HEAD^ 2>/dev/null || true)
{
  echo "quorvex $version"
  echo
  # Since the last release; all of it for the first one.
  git log --no-merges --format='- %s' ${last:+"$last..HEAD"}
} >"$output/CHANGELOG"
! grep -rlF "$work" "$output" || fail "these contain the path of the build folder"
(cd "$output" && find . -type f ! -name SHA256SUMS -printf '%P\0' | LC_ALL=C sort -z | xargs -0 sha256sum >SHA256SUMS)
(cd "$output" && sha256sum --quiet -c SHA256SUMS && cat SHA256SUMS)
