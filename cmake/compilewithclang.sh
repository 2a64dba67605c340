#!/usr/bin/env bash
# In front of a command that compiles with the cross compiler: compiles with clang instead, with the same
# headers. Unoptimised, clang takes a third of the time: 12 s in place of 35 s for half of the add-in's tests.
set -eu
arguments=()
for argument in "$@"; do
  case $argument in
    *-g++-posix)
      machine=${argument##*/} machine=${machine%-g++-posix}
      headers=$("$argument" -print-file-name=include/c++)
      # The comparison of types and thread-local variables are those of g++'s library. A function of COM says
      # that it doesn't throw only where the interface is declared.
      arguments+=(clang++-14 "--target=$machine" -nostdlibinc -isystem "$headers" -isystem "$headers/$machine"
        -isystem "/usr/$machine/include" -D__GXX_TYPEINFO_EQUALITY_INLINE=0 -femulated-tls
        -Wno-microsoft-exception-spec)
      ;;
    -fno-keep-inline-dllexport) ;; # unknown to clang
    *) arguments+=("$argument") ;;
  esac
done
exec "${arguments[@]}"
