#!/usr/bin/env bash
# Builds the benchmarks and runs them all, or those named: bench/run.sh ring log. Every figure is
# the median of repetitions and stands beside its floor or its peer of the same run.
set -u -o pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$top/scripts/packages.sh"
. "$top/scripts/build.sh"
need_packages native bench || exit 3

names=("$@")
if [ ${#names[@]} -eq 0 ]; then
  for file in "$top"/bench/*bench.cpp; do names+=("$(basename "$file" bench.cpp)"); done
fi
targets=()
for name in "${names[@]}"; do targets+=("bench_$name"); done
build bench "${targets[@]}" || exit 3
for name in "${names[@]}"; do
  echo "== $name"
  "$top/build/bench/bench_$name" --benchmark_repetitions=5 \
    --benchmark_report_aggregates_only=true
done
