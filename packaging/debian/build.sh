#!/usr/bin/env bash
# packaging/debian/build.sh BUILD VERSION OUTPUT: makes two Debian packages in OUTPUT from the build folder
# BUILD: quorvex (the command line, its manual pages and completion, the documents) and quorvex-agentkit
# (headers, libraries, examples). SOURCE_DATE_EPOCH sets the time of their files, and QUORVEX_MAINTAINER
# ("Name <address>") who maintains them: by default time and author of the last commit. Needs dpkg-dev and
# python3-markdown.
set -eu -o pipefail
[ $# -eq 3 ] || { sed -n '2,6s/^# //p' "${BASH_SOURCE[0]}" >&2; exit 3; }
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$(realpath "$1") version=$2 output=$(realpath "$3")
architecture=$(dpkg --print-architecture)
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
  size=$(find "$root/usr" -type f -printf '%s\n' | awk '{ sum += $1 } END { print int((sum + 1023) / 1024) }')
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

# depends FILE: the packages whose libraries the program or library needs. By the folder DEBIAN,
# dpkg-shlibdeps recognises the package that FILE is in.
depends() {
  local found
  mkdir -p "$work/shlibs/debian"
  printf 'Source: quorvex\n\nPackage: quorvex\nArchitecture: any\n' >"$work/shlibs/debian/control"
  found=$(cd "$work/shlibs" && dpkg-shlibdeps -O "$1" | sed -n 's/^shlibs:Depends=//p')
  [ -n "$found" ] || { echo "$1: no dependencies found" >&2; exit 1; }
  echo "$found"
}

root="$work/quorvex"
cmake --install "$build" --component quorvex --prefix "$root/usr" >/dev/null
strip -p "$root/usr/bin/quorvex"
gzip -9n "$root"/usr/share/man/man1/*.1
mkdir -p "$root/usr/share/doc/quorvex" "$root/DEBIAN"
"$top/packaging/documents" "$root/usr/share/doc/quorvex"
cp -R "$top/samples" "$root/usr/share/doc/quorvex/"
needed=$(depends "$root/usr/bin/quorvex")
package quorvex utils "$needed" "tools for the Quorvex mail add-in" \
  "Simulates the add-in and its agent, explains settings, logs and shared memory."

# The kit, with its examples.
root="$work/quorvex-agentkit"
documents="$root/usr/share/doc/quorvex-agentkit"
cmake --install "$build" --component agentkit --prefix "$root/usr" >/dev/null
strip -p --strip-debug -D "$root/usr/lib/libquorvex-agentkit.a"
strip -p --strip-unneeded "$root/usr/lib/libquorvex-agentkit-c.so.$version"
mkdir -p "$documents" "$root/DEBIAN"
cp -R "$top/examples" "$documents/"
cp "$top/docs/protocol.md" "$top/docs/agentkit.md" "$documents/"
# The loader's list of libraries has to be renewed.
echo "activate-noawait ldconfig" >"$root/DEBIAN/triggers"
needed=$(depends "$root/usr/lib/libquorvex-agentkit-c.so.$version")
package quorvex-agentkit libdevel "$needed, libstdc++-12-dev | libstdc++-dev" \
  "library for agents of the Quorvex mail add-in" \
  "Answers the add-in's requests through shared memory: for C++, C and other languages, with examples."
