#!/usr/bin/env bash
# packaging/debian/build.sh BUILD VERSION OUTPUT: makes two Debian packages in OUTPUT from the build folder
# BUILD: quorvex (the command line and the documents) and quorvex-agentkit (headers, library, example).
# SOURCE_DATE_EPOCH sets the time of their files. Needs dpkg-dev and python3-markdown.
set -eu -o pipefail
[ $# -eq 3 ] || { sed -n '2,4s/^# //p' "${BASH_SOURCE[0]}" >&2; exit 3; }
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$(realpath "$1") version=$2 output=$(realpath "$3")
architecture=$(dpkg --print-architecture)
triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git -C "$top" log -1 --format=%ct)}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
umask 022

# package NAME SECTION DEPENDS SUMMARY DESCRIPTION: from the files in $work/NAME.
package() {
  local root="$work/$1" file
  mkdir -p "$root/DEBIAN"
  printf '%s\n' "Package: $1" "Version: $version" "Architecture: $architecture" "Section: $2" \
    "Priority: optional" "Maintainer: Quorvex <maintainers@quorvex.invalid>" "Depends: $3" \
    "Installed-Size: $(du -k -s --apparent-size "$root" | cut -f1)" "Description: $4" " $5" >"$root/DEBIAN/control"
  (cd "$root" && find . -path ./DEBIAN -prune -o -type f -printf '%P\0' | LC_ALL=C sort -z |
    xargs -0 md5sum >DEBIAN/md5sums)
  find "$root" -newermt "@$SOURCE_DATE_EPOCH" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
  file="$output/$1_${version}_$architecture.deb"
  dpkg-deb --root-owner-group -Zxz --build "$root" "$file" >/dev/null
}

# The command line, with what it needs of the system's libraries.
root="$work/quorvex"
mkdir -p "$root/usr/bin" "$root/usr/share/doc/quorvex"
cp "$build/quorvex" "$root/usr/bin/"
strip -p "$root/usr/bin/quorvex"
"$top/packaging/documents" "$root/usr/share/doc/quorvex"
cp -R "$top/samples" "$root/usr/share/doc/quorvex/"
mkdir -p "$work/shlibs/debian" && printf 'Source: quorvex\n\nPackage: quorvex\nArchitecture: any\n' >"$work/shlibs/debian/control"
depends=$(cd "$work/shlibs" && dpkg-shlibdeps -O "$root/usr/bin/quorvex" | sed -n 's/^shlibs:Depends=//p')
[ -n "$depends" ] || { echo "no dependencies found" >&2; exit 1; }
package quorvex utils "$depends" "tools for the Quorvex mail add-in" \
  "Simulates the add-in and its agent, explains settings, logs and shared memory."

# The kit: one library from those that it consists of, and only the headers that a user includes.
root="$work/quorvex-agentkit"
library="$root/usr/lib/$triplet"
include="$root/usr/include/quorvex"
mkdir -p "$library/pkgconfig" "$include" "$root/usr/share/doc/quorvex-agentkit/examples"
ar -M <<SCRIPT
create $library/libquorvex-agentkit.a
addlib $build/agentkit/libqv_agentkit.a
addlib $build/platform/libqv_platform.a
save
SCRIPT
strip -p --strip-debug -D "$library/libquorvex-agentkit.a"
# What agentkit.h includes, and what those include.
headers=(agentkit/agentkit.h)
for ((i = 0; i < ${#headers[@]}; i++)); do
  mkdir -p "$include/$(dirname "${headers[i]}")"
  cp "$top/${headers[i]}" "$include/${headers[i]}"
  while IFS= read -r header; do
    [[ " ${headers[*]} " == *" $header "* ]] || headers+=("$header")
  done < <(sed -nE 's/^#include "(.*)"$/\1/p' "$top/${headers[i]}")
done
cat >"$library/pkgconfig/quorvex-agentkit.pc" <<PC
Name: quorvex-agentkit
Description: The library for people who write an agent for the Quorvex mail add-in
Version: $version
Cflags: -std=c++20 -I/usr/include/quorvex
Libs: -L/usr/lib/$triplet -lquorvex-agentkit
PC
cp "$top/examples/agent.cpp" "$root/usr/share/doc/quorvex-agentkit/examples/"
cp "$top/docs/protocol.md" "$root/usr/share/doc/quorvex-agentkit/"
package quorvex-agentkit libdevel "libstdc++-12-dev | libstdc++-dev" \
  "library for agents of the Quorvex mail add-in" \
  "Answers the add-in's requests through shared memory: headers, static library and an example."
