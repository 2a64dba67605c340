#!/usr/bin/env bash
# packaging/debian/build.sh BUILD VERSION OUTPUT: makes two Debian packages in OUTPUT from the build folder
# BUILD: quorvex (the command line, its manual pages and completion, the documents) and quorvex-agentkit
# (headers, library, example). SOURCE_DATE_EPOCH sets the time of their files, and QUORVEX_MAINTAINER
# ("Name <address>") who maintains them: by default time and author of the last commit. Needs dpkg-dev and
# python3-markdown.
set -eu -o pipefail
[ $# -eq 3 ] || { sed -n '2,6s/^# //p' "${BASH_SOURCE[0]}" >&2; exit 3; }
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$(realpath "$1") version=$2 output=$(realpath "$3")
architecture=$(dpkg --print-architecture)
triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git -C "$top" log -1 --format=%ct)}
maintainer=${QUORVEX_MAINTAINER:-$(git -C "$top" log -1 --format='%an <%ae>')}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
umask 022

# package NAME SECTION DEPENDS SUMMARY DESCRIPTION: from the files in $work/NAME. One thread, because
# the number of threads shows in the compressed bytes.
package() {
  local root="$work/$1" size
  mkdir -p "$root/DEBIAN"
  size=$(find "$root" -type f -printf '%s\n' | awk '{ sum += $1 } END { print int((sum + 1023) / 1024) }')
  printf '%s\n' "Package: $1" "Version: $version" "Architecture: $architecture" "Section: $2" \
    "Priority: optional" "Maintainer: $maintainer" "Depends: $3" "Installed-Size: $size" \
    "Description: $4" " $5" >"$root/DEBIAN/control"
  (cd "$root" && find . -path ./DEBIAN -prune -o -type f -printf '%P\0' | LC_ALL=C sort -z |
    xargs -0 md5sum >DEBIAN/md5sums)
  chmod -R u=rwX,go=rX "$root"
  find "$root" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
  dpkg-deb --root-owner-group --threads-max=1 -Zxz --build "$root" "$output/$1_${version}_$architecture.deb" \
    >/dev/null
}

# depends FILE: the packages whose libraries the program or library needs.
depends() {
  local found
  mkdir -p "$work/shlibs/debian"
  printf 'Source: quorvex\n\nPackage: quorvex\nArchitecture: any\n' >"$work/shlibs/debian/control"
  found=$(cd "$work/shlibs" && dpkg-shlibdeps --warnings=0 -O "$1" | sed -n 's/^shlibs:Depends=//p')
  [ -n "$found" ] || { echo "$1: no dependencies found" >&2; exit 1; }
  echo "$found"
}

root="$work/quorvex"
cmake --install "$build" --component quorvex --prefix "$root/usr" >/dev/null
strip -p "$root/usr/bin/quorvex"
gzip -9n "$root"/usr/share/man/man1/*.1
mkdir -p "$root/usr/share/doc/quorvex"
"$top/packaging/documents" "$root/usr/share/doc/quorvex"
cp -R "$top/samples" "$root/usr/share/doc/quorvex/"
needed=$(depends "$root/usr/bin/quorvex")
package quorvex utils "$needed" "tools for the Quorvex mail add-in" \
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
