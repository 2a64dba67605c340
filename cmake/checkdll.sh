#!/usr/bin/env bash
# checkdll.sh DLL: inspects a built DlpAddIn.dll from outside, as the system's loader will, and prints
# each thing that is wrong. Exit status 0 only when nothing is.
#
# Exports by name and ordinal (undecorated in the 32-bit library too), imports (the system's own
# libraries, of MAPI32 the ordinals 13 and 136 and nothing else), the loader's protections, the
# table of settings, size, no path of the machine that built it, and in the 32-bit library no SSE.
set -u
dll=${1:?usage: checkdll.sh DLL}
objdump=${OBJDUMP:-x86_64-w64-mingw32-objdump}
limit=$((2 * 1024 * 1024))

status=0
wrong() { echo "$dll: $1"; status=1; }

headers=$("$objdump" -p "$dll") || { echo "$dll: can't be read"; exit 1; }

case $headers in
  *"file format pei-x86-64"*) bits=64 ;;
  *"file format pei-i386"*) bits=32 ;;
  *) echo "$dll: neither a 64-bit nor a 32-bit library"; exit 1 ;;
esac

# "ordinal name" for each export. Entries of the name table are counted from 0, ordinals from the
# base, which is 1.
base=$(sed -n 's/^Ordinal Base[[:space:]]*//p' <<<"$headers")
exports=$(sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' <<<"$headers" |
  sed -nE "s/^[[:space:]]*\[[[:space:]]*([0-9]+)\][[:space:]]+(\+base\[[[:space:]]*[0-9]+\][[:space:]]+[0-9a-f]+[[:space:]]+)?(.*)/\1 \3/p" |
  while read -r index name; do echo "$((index + base)) $name"; done)
expected="1 DllCanUnloadNow
2 DllGetClassObject
3 DllRegisterServer
4 DllUnregisterServer"
[ "$exports" = "$expected" ] || wrong "exports are:
$exports"

allowed=" ADVAPI32.dll KERNEL32.dll MAPI32.dll msvcrt.dll ole32.dll OLEAUT32.dll SHELL32.dll USER32.dll WS2_32.dll "
imports=$(sed -n 's/^[[:space:]]*DLL Name: //p' <<<"$headers")
[ -n "$imports" ] || wrong "no imports found"
for library in $imports; do
  [[ $allowed == *" $library "* ]] || wrong "imports $library"
done

# The lines of MAPI32's import table, down to the empty one. An import by ordinal has the highest
# bit of its table entry set, in the first column.
mapi=$(sed -n '/DLL Name: MAPI32.dll/,/^$/p' <<<"$headers" |
  sed -nE 's/^[[:space:]]+8(0{7})?0*([0-9a-f]+)[[:space:]].*<none>.*/\2/p' | sort)
named=$(sed -n '/DLL Name: MAPI32.dll/,/^$/p' <<<"$headers" | grep -cE '^[[:space:]]+[0-9a-f]+[[:space:]]+[0-9a-f]+[[:space:]]')
[ "$mapi" = "$(printf '88\nd')" ] && [ "$named" = 2 ] || wrong "imports of MAPI32.dll are: $mapi"

protections="DYNAMIC_BASE NX_COMPAT"
[ "$bits" = 64 ] && protections="$protections HIGH_ENTROPY_VA"
for protection in $protections; do
  grep -q "^[[:space:]]*$protection\$" <<<"$headers" || wrong "lacks $protection"
done
# Without relocations the system can't choose the address.
"$objdump" -h "$dll" | grep '\.reloc' >/dev/null || wrong "has no relocations"

# Part of the library though nothing in it refers to it, so a linker could leave it out.
grep -qa 'INET_REPO_CLEAR_INTERVA' "$dll" || wrong "lacks the table of settings"

# -ffile-prefix-map keeps the source folder out of __FILE__.
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
paths=$(LC_ALL=C grep -aobF "$top/" "$dll" | head -n 3)
[ -z "$paths" ] || wrong "contains paths of the build folder: $paths"

# A 32-bit caller aligns the stack to 4 bytes, SSE's moves need 16. Without SSE nothing can go wrong. The
# unwind information says where the functions are; between them is data, which a disassembler takes for code.
if [ "$bits" = 32 ]; then
  functions=$("$objdump" --dwarf=frames "$dll" 2>/dev/null |
    sed -nE 's/.* FDE .* pc=([0-9a-f]{8})\.\.([0-9a-f]{8})$/\1 \2/p' | LC_ALL=C sort)
  [ "$(wc -l <<<"$functions")" -gt 500 ] || wrong "has unwind information for too few functions"
  sse=$("$objdump" -d --no-show-raw-insn "$dll" | sed -nE 's/^ *([0-9a-f]{8}):.*%xmm[0-7].*/\1/p' |
    awk -v functions="$functions" '
      BEGIN { count = split(functions, range, /[ \n]/) }
      { for (i = 1; i < count; i += 2) if ($1 "" >= range[i] "" && $1 "" < range[i + 1] "") { print; next } }')
  [ -z "$sse" ] || wrong "has SSE instructions, the first at $(head -n 1 <<<"$sse")"
fi

stripped=$(mktemp) || exit 1
"${objdump/objdump/strip}" -s -o "$stripped" "$dll" || wrong "can't be stripped"
size=$(stat -c %s "$stripped")
rm -f "$stripped"
[ "$size" -lt "$limit" ] || wrong "has $size bytes stripped"

[ $status = 0 ] && echo "$dll: $bits-bit, 4 exports, $(wc -w <<<"$imports") system libraries, $size bytes stripped"
exit $status
