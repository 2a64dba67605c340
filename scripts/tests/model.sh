# Has spin search the model of the ring's protocol, and checks that it finds deliberate errors.

test_model() {
  local search="$top/tests/channel/model/search.sh"
  echo "Model of the ring"
  check "no writer that dies breaks the ring" "$search" enough -DDEATHS -DPUSHES=2
  check "no consumer that dies breaks the ring" "$search" enough -DDEATHS -DTAKEOVER -DPUSHES=2
  check "without deaths and timers, everything is freed" "$search" ends -DNO_TIMERS -DPUSHES=2
  check "a ring that can be filled completely holds" "$search" enough -DNO_TIMERS -DMULTIPLE -DPUSHES=2
  check "entries of two lengths are freed" "$search" ends -DNO_TIMERS -DTWO_LENGTHS -DPUSHES=2
  check "usedBytes counts no more than it should" "$search" bounded -DDEATHS -DPUSHES=2
  check "the consumer finishes whichever writer dies" "$search" ends -DDEATHS -DPUSHES=1
  check "a writer finishes whichever other process dies" "$search" writersEnd -DDEATHS -DPUSHES=1
  check "the next consumer finishes" "$search" ends -DDEATHS -DTAKEOVER -DPUSHES=1

  # The same searches must find these errors, each by the violation that it causes.
  local torn='assertion violated ((first>='
  local below='assertion violated  !( !((usedBytes>='
  local misread='assertion violated (length=='
  local lost='assertion violated ((taken[0]==completed[0])'
  check "finds a length stored before its payload" \
    "$search" --finds "$torn" enough -DDEATHS -DLENGTH_FIRST -DPUSHES=2
  check "finds additions in the wrong order" \
    "$search" --finds "$below" enough -DCURSOR_FIRST -DPUSHES=2
  check "finds an entry that is refused though it fits" \
    "$search" --finds 'assertion violated (sum>' enough -DNO_TIMERS -DMULTIPLE -DFULL_TOO_EARLY -DPUSHES=2
  check "finds a refused push that subtracts nothing" \
    "$search" --finds 'acceptance cycle' ends -DNO_TIMERS -DNO_ROLLBACK -DPUSHES=2
  check "finds a consumer that subtracts nothing" \
    "$search" --finds 'acceptance cycle' ends -DNO_TIMERS -DNO_FREEING -DPUSHES=1
  check "finds a payload that isn't cleared" \
    "$search" --finds "$misread" enough -DNO_CLEARING -DPUSHES=2
  check "finds leftover bytes subtracted without a comparison" \
    "$search" --finds "$below" enough -DDEATHS -DSTORE_ZERO -DPUSHES=2
  check "finds a time-out without a second look" \
    "$search" --finds "$lost" enough -DNO_SECOND_LOOK -DPUSHES=2
  check "finds a length that is cleared last" \
    "$search" --finds "$torn" enough -DTAKEOVER -DLENGTH_LAST -DPUSHES=2
  # What no consumer can prevent, as docs/protocol.md says.
  check "finds a consumer that takes a slow writer for dead" \
    "$search" --finds "$misread" enough -DIMPATIENT -DPUSHES=2
  check "finds leftover bytes that belong to a live writer" \
    "$search" --finds "$below" enough -DUNLUCKY -DPUSHES=2
}
