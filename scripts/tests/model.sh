# The ring's protocol as a model, searched by spin: what holds, and that a spoilt model is found.

test_model() {
  local search="$top/tests/channel/model/search.sh"
  echo "The ring as a model"
  check "the ring holds whichever writer dies" "$search" enough -DDEATHS -DPUSHES=2
  check "the ring holds when its consumer dies too" "$search" enough -DDEATHS -DTAKEOVER -DPUSHES=2
  check "the consumer comes to an end whichever writer dies" "$search" ends -DDEATHS -DPUSHES=1
  check "the next consumer comes to an end" "$search" ends -DDEATHS -DTAKEOVER -DPUSHES=1

  # The same searches have to find these, each by the violation that it leads to.
  local torn='assertion violated ((first>='
  local below='assertion violated  !( !((usedBytes>='
  local misread='assertion violated (length=='
  local lost='assertion violated ((taken[0]==completed[0])'
  check "a length stored before its payload is found" \
    "$search" --finds "$torn" enough -DDEATHS -DLENGTH_FIRST -DPUSHES=2
  check "additions in the wrong order are found" \
    "$search" --finds "$below" enough -DCURSOR_FIRST -DPUSHES=2
  check "a payload that isn't cleared is found" \
    "$search" --finds "$misread" enough -DNO_CLEARING -DPUSHES=2
  check "a rest that is taken back unseen is found" \
    "$search" --finds "$below" enough -DDEATHS -DSTORE_ZERO -DPUSHES=2
  check "a timer that is believed without a look is found" \
    "$search" --finds "$lost" enough -DNO_SECOND_LOOK -DPUSHES=2
  check "a length that is cleared last is found" \
    "$search" --finds "$torn" enough -DTAKEOVER -DLENGTH_LAST -DPUSHES=2
  # What the protocol can't help, and docs/protocol.md says so.
  check "a consumer that takes a slow writer for dead is found" \
    "$search" --finds "$misread" enough -DIMPATIENT -DPUSHES=2
  check "a rest that is a live writer's is found" \
    "$search" --finds "$below" enough -DUNLUCKY -DPUSHES=2
}
