# Sourced by ./test with $top set: a 32-bit Wine, in a Debian i386 root directory of its own.
#
# have_wine32          makes the root if it isn't there yet. Status 1 and $wine32_unavailable say why
#                      this machine can't have it.
# use_wine32 [FOLDER]  what use_wine is for 64 bits. From here on wine, winepath, wineboot, wineserver
#                      and wine_within are those of the root, so call it in a subshell.
#
# The root is in the user's cache, so a fresh clone finds it. Mounts exist only in the mount namespace of
# the command that needs them, so other processes never see one, and neither does an rm.

wine32_release=bookworm
wine32_root="${XDG_CACHE_HOME:-$HOME/.cache}/quorvex/wine32-$wine32_release"
wine32_unavailable=""

# The archive that this machine's own apt takes the release from.
wine32_mirror() {
  apt-get indextargets --format '$(SITE) $(CODENAME) $(COMPONENT)' 'Created-By: Packages' |
    awk -v release="$wine32_release" '$2 == release && $3 == "main" { print $1; exit }'
}

# make_wine32_root ROOT MIRROR: in a mount namespace, see have_wine32.
make_wine32_root() {
  debootstrap --variant=minbase --arch=i386 "$wine32_release" "$1" "$2" || return 1
  # Nothing that is installed may start a service.
  printf '#!/bin/sh\nexit 101\n' >"$1/usr/sbin/policy-rc.d"
  chmod +x "$1/usr/sbin/policy-rc.d"
  mount -t proc proc "$1/proc" || return 1
  chroot "$1" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends wine wine32 || return 1
  rm -f "$1"/var/cache/apt/archives/*.deb
}

have_wine32() {
  local log="$top/build/logs/wine32-root.log" mirror new="$wine32_root.new"
  [ -x "$wine32_root/usr/bin/wine" ] && return 0
  [ -n "$wine32_unavailable" ] && return 1
  if [ "$(id -u)" -ne 0 ]; then
    wine32_unavailable="only root can make the i386 root directory"
  elif ! unshare --mount true 2>/dev/null; then
    wine32_unavailable="this machine doesn't allow mount namespaces"
  elif mirror=$(wine32_mirror) && [ -z "$mirror" ]; then
    wine32_unavailable="apt has no mirror for Debian $wine32_release"
  fi
  [ -n "$wine32_unavailable" ] && return 1

  echo "Making a 32-bit Wine in $wine32_root"
  mkdir -p "$top/build/logs" "$(dirname "$wine32_root")"
  (
    # A second ./test waits, and then finds what the first one made.
    flock 9
    [ -x "$wine32_root/usr/bin/wine" ] && exit 0
    rm -rf --one-file-system "$new"
    export new mirror wine32_release
    unshare --mount --propagation private \
      bash -c "$(declare -f make_wine32_root); make_wine32_root \"\$new\" \"\$mirror\"" &&
      mv "$new" "$wine32_root"
  ) 9>"$wine32_root.lock" >"$log" 2>&1 && return 0
  wine32_unavailable="the i386 root directory can't be made (build/logs/wine32-root.log)"
  return 1
}

# in_wine32_root COMMAND...: with the repository at the same path as outside.
in_wine32_root() {
  unshare --mount --propagation private bash -c '
    root=$1 top=$2
    mkdir -p "$root$top" && mount -t proc proc "$root/proc" && mount --rbind /dev "$root/dev" &&
      mount --bind "$top" "$root$top" || exit 125
    exec chroot "$root" /usr/bin/env -C "$PWD" "${@:3}"' in_wine32_root "$wine32_root" "$top" "$@"
}

use_wine32() {
  have_wine32 || return 1
  wine() { in_wine32_root wine "$@"; }
  winepath() { in_wine32_root winepath "$@"; }
  wineboot() { in_wine32_root wineboot "$@"; }
  wineserver() { in_wine32_root wineserver "$@"; }
  wine_within() {
    local seconds=$1
    shift
    in_wine32_root timeout "$seconds" wine "$@"
  }
  export WINEARCH=win32
  use_wine "${1:-$top/build/wine32}"
}
