#!/usr/bin/env bash
# Searches all states of the ring's model and prints how many there are.
#
#   search.sh CLAIM [-DSWITCH...]             exits with 0 if the claim and every assertion hold
#   search.sh --finds TEXT CLAIM [-DSWITCH...]   exits with 0 if the search finds that violation
#
# ring.pml defines the claims (enough, bounded, ends, writersEnd) and the switches. A search that was cut
# short or didn't reach every statement of the model proves nothing and exits with 1.
set -u -o pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

finds=
if [ "${1:-}" = --finds ]; then
  finds=$2
  shift 2
fi
[ $# -ge 1 ] || { sed -n '2,8s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" >&2; exit 3; }
claim=$1
shift

work=$(mktemp -d) || exit 3
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 3
cp "$here/ring.pml" . || exit 3
spin -a "$@" ring.pml >spin.log 2>&1 || { cat spin.log; exit 3; }
# Only the claims about an end need fairness: no process waits forever.
fair=()
flags=(-DNOFAIR)
[[ $claim == ends || $claim == writersEnd ]] && fair=(-f) && flags=()
gcc -w -O2 -DCOLLAPSE -DMEMLIM=6000 "${flags[@]}" -o pan pan.c || exit 3
./pan -a "${fair[@]}" -m4000000 -N "$claim" >out.log 2>&1

states=$(sed -nE 's/^ *([0-9.e+]+) states, stored.*/\1/p' out.log)
seconds=$(sed -nE 's/^pan: elapsed time ([0-9.e+-]+) seconds/\1/p' out.log)
echo "$claim $*: ${states:-no} states, ${seconds:-0} s"
if [ -n "$finds" ]; then
  grep -E '^pan:[0-9]+: ' out.log
  grep -qF -- "$finds" out.log && grep -q 'errors: 1$' out.log
  exit
fi

fail() { echo "$1"; cat out.log; exit 1; }
grep -q 'errors: 0$' out.log || fail "the search found an error"
grep -qiE 'max search depth too small|search not completed|out of memory|memory limit|bit statespace|hash factor: [0-9.]+ .*approx' out.log &&
  fail "the search was cut short"
grep -q '^Full statespace search' out.log || fail "that was no full search"
# Once the writers have ended, writersEnd follows the consumer no further.
processes="Writer Consumer init"
[ "$claim" = writersEnd ] && processes="Writer init"
for process in $processes; do
  grep -A 1 "^unreached in .*$process" out.log | grep -q '(0 of [0-9]* states)' ||
    fail "something of $process was never reached"
done
