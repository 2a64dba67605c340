# Sourced by ./run, ./test and bench/run.sh: installs what is missing from Debian's packages.
#
# need_packages GROUP...: lists the packages that it installs; does nothing if all are installed.

packages_native="g++ clang-14 cmake ninja-build pkg-config ccache libgmime-3.0-dev libgsf-1-dev libxml2-dev libcli11-dev
  nlohmann-json3-dev rapidjson-dev libtomlplusplus-dev libpcre2-dev libfmt-dev libutfcpp-dev
  zlib1g-dev libgtest-dev libgmock-dev"
packages_tests="rsyslog man-db groff-base python3"
packages_lint="clang-format-14 clang-tidy-14 jq python3"
packages_sanitize="libclang-rt-14-dev"
packages_bits32="g++-multilib googletest"
packages_windows="g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix mingw-w64-tools lld-14
  libz-mingw-w64-dev googletest
  wine wine64 libwine libwine-dev debootstrap"
packages_packaging="wixl msitools faketime osslsigncode openssl dpkg-dev python3-markdown"
packages_bench="libbenchmark-dev libinih-dev libspdlog-dev libboost-dev
  libconcurrentqueue-dev python3 gnuplot-nox"
packages_model="spin gcc"
packages_documents="parallel"
packages_pages="python3 chromium chromium-driver fonts-dejavu-core poppler-utils"

need_packages() {
  local group name missing=()
  for group in "$@"; do
    local list="packages_$group"
    for name in ${!list}; do
      dpkg-query -W -f '${Status}\n' "$name" 2>/dev/null | grep -q '^install ok installed$' ||
        missing+=("$name")
    done
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
      echo "These Debian packages are missing and need root to install: ${missing[*]}" >&2
      return 1
    }
    as_root=(sudo)
  fi
  echo "Installing Debian packages: ${missing[*]}"
  # Updates the package lists first, which may be empty or old on a new machine.
  "${as_root[@]}" apt-get update -qq >/dev/null || return 1
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
