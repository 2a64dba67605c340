# Sends many random mails through one process, with an agent that misbehaves. Checks verdicts and memory.

# soak_finds TEXT ARGUMENT...: the soak test must exit with 1 and print TEXT.
soak_finds() {
  local text=$1 output status=0
  shift
  output=$("$top/build/asan/soak" "$@") || status=$?
  printf '%s\n' "$output" | tail -n 8
  [ "$status" -eq 1 ] && grep -q -- "$text" <<<"$output"
}

test_soak() {
  build_or_fail asan soak || return
  echo "Soak"
  local ASAN_OPTIONS=quarantine_size_mb=8
  local LSAN_OPTIONS="suppressions=$top/scripts/leftonpurpose.supp:print_suppressions=0"
  export ASAN_OPTIONS LSAN_OPTIONS
  local rules="$results_logs/otherrules.toml"
  sed "s/TAG-BODY/ANOTHER-WORD/" "$top/tests/soak/rules.toml" >"$rules"
  check "2000 random mails under asan" "$top/build/asan/soak" --mails 2000
  check "finds an agent that doesn't follow the rules" \
    soak_finds "the tag is missing" --mails 200 --seed 1 --rules "$rules"
  check "finds memory that isn't freed" \
    soak_finds "heap bytes: grown by 2..... after" --mails 200 --seed 1 --keep 2000
  unset ASAN_OPTIONS LSAN_OPTIONS
  if build_or_fail win64 soak && build_or_fail win32 soak; then at_once soak_64 soak_32; fi
}

soak_64() {
  use_wine || { failed "starting Wine"; return 0; }
  check "1000 random mails, 64-bit, under Wine" wine_within 1800 "$top/build/win64/soak.exe" --mails 1000
}

soak_32() {
  local name="1000 random mails, 32-bit, under Wine"
  have_wine32 || { skipped "$name" "$wine32_unavailable"; return 0; }
  use_wine32 || { failed "starting 32-bit Wine"; return 0; }
  check "$name" wine_within 1800 "$top/build/win32/soak.exe" --mails 1000
}
