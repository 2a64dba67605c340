#!/usr/bin/env bash
# For g++'s -wrapper: runs LLVM's linker in place of the GNU one, which searches an object's symbols from the
# start for each of its sections: 72 s for the largest test program, whose objects have thousands. Debian's
# cross compiler has the GNU linker's path built in.
set -eu
[[ $1 == */collect2 ]] || exec "$@"
shift
arguments=()
while [ $# -gt 0 ]; do
  case $1 in
    -plugin) shift ;;
    -plugin-opt=*) ;;
    *) arguments+=("$1") ;;
  esac
  shift
done
exec ld.lld-14 "${arguments[@]}"
