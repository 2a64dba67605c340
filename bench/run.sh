#!/usr/bin/env bash
# Builds and runs every benchmark, natively and under Wine, and writes the tables and the plot of
# docs/performance.md. With names it builds and runs only those: bench/run.sh ring log
set -u -o pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

case "${1:-}" in
  -h | --help)
    echo "usage: bench/run.sh [connect | log | mail | profile | ring ...]"
    echo "Without a name: runs all of them, some also under Wine, and rewrites the tables of"
    echo "docs/performance.md. Leave the machine idle meanwhile (a few minutes)."
    exit 0
    ;;
esac

. "$top/scripts/packages.sh"
. "$top/scripts/build.sh"
. "$top/scripts/wine.sh"
results="$top/build/bench/results"
google="profile ring"
plain="connect log mail"

# run NAME: runs one native benchmark and saves its figures in the results folder.
run() {
  echo "== $1"
  if [[ " $google " == *" $1 "* ]]; then
    # Many short repetitions in random order: what disturbs the machine disturbs all alike.
    "$top/build/bench/bench_$1" --benchmark_repetitions=101 --benchmark_min_time=0.005 \
      --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=false \
      --benchmark_display_aggregates_only=true --benchmark_out="$results/$1.json" \
      --benchmark_out_format=json
  else
    "$top/build/bench/bench_$1" --json "$results/$1.lines"
  fi || { echo "bench_$1 failed" >&2; exit 1; }
}

# under_wine NAME RESULT [PROCESSOR]: runs one Windows benchmark and saves its figures in RESULT.lines.
# With a processor, the program and Wine's server share it.
under_wine() {
  local pinned=()
  [ $# -lt 3 ] || pinned=(taskset -c "$3")
  echo "== $1, under Wine${3:+, on processor $3 alone}"
  wineserver -k
  "${pinned[@]}" wineserver -p
  (cd "$results" && "${pinned[@]}" wine "$top/build/win64/bench_$1.exe" --json "$2.lines") || {
    echo "bench_$1.exe failed" >&2
    exit 1
  }
  wineserver -k
}

names=("$@")
[ $# -gt 0 ] || read -ra names <<<"$google $plain"
for name in "${names[@]}"; do
  [[ " $google $plain " == *" $name "* ]] || { echo "bench/run.sh: no benchmark is called $name" >&2; exit 3; }
done
if [ $# -gt 0 ]; then
  need_packages native bench || exit 3
else
  need_packages native bench windows || exit 3
fi
build bench "${names[@]/#/bench_}" || exit 3
mkdir -p "$results"
if [ $# -gt 0 ]; then
  for name in "${names[@]}"; do run "$name"; done
  exit 0
fi

use_wine || exit 3
build win64 bench_connect bench_log bench_mail bench_load || exit 3
printf '%s cores of "%s", %s, %s\n' "$(nproc)" "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1)" \
  "$(sed -n 's/^PRETTY_NAME="\(.*\)"/\1/p' /etc/os-release)" "$(date +%F)" >"$results/machine.txt"
for name in "${names[@]}"; do run "$name"; done
for name in connect load log; do under_wine "$name" "$name-wine"; done
under_wine mail mail-wine
under_wine mail mail-wine-one 0
python3 "$top/bench/report.py" "$results" --write "$top/docs/performance.md" "$top/docs/images/growth.svg"
