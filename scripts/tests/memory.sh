# The memory that sending a mail with a large body takes.

# The add-in's own copies of a body take three times its size; the simulated host may keep none. One copy more
# is 30 MB, so the limit is between what it takes and that.
check_memory_of_large_body() {
  local work="$top/build/memory"
  rm -rf "$work" && mkdir -p "$work" && cp -R "$top/samples/root" "$work/root" || return 1
  QUORVEX_ROOT="$work/root" python3 - "$top/build/native/quorvex" "$work/large.eml" <<'SEND'
import resource, subprocess, sys
program, mail = sys.argv[1:]
line = "x" * 76 + "\r\n"
with open(mail, "w", newline="") as file:
    file.write("From: a@a.example\r\nTo: b@b.example\r\nSubject: large\r\n\r\n" + line * (30_000_000 // len(line)))
status = subprocess.run([program, "send", mail]).returncode
peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024 // 1_000_000
print(f"exit status {status}, at most {peak} MB")
sys.exit(status != 0 or peak > 135)
SEND
}

test_memory() {
  echo "Memory"
  check "a mail with a body of 30 MB is sent with at most 135 MB" check_memory_of_large_body
}
