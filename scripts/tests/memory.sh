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

# Eight times as many mails may take no more than the sinks that the add-in leaves behind, and must end the
# same way although the process may open few files.
check_memory_of_many_mails() {
  local work="$top/build/memory"
  rm -rf "$work" && mkdir -p "$work" && cp -R "$top/samples/root" "$work/root" || return 1
  QUORVEX_ROOT="$work/root" python3 - "$top" "$work/list" <<'SEND'
import glob, re, resource, subprocess, sys
top, path = sys.argv[1:]
mails = sorted(glob.glob(top + "/samples/*.eml"))
def peak(rounds):
    with open(path, "w") as file:
        file.write("\n".join(mails * rounds) + "\n")
    send = [top + "/build/native/quorvex", "send", "--fast", "--summary", "--rules", top + "/samples/rules.toml"]
    run = subprocess.run(send + ["--files-from", path], stdout=subprocess.PIPE, text=True,
                         preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (40, 40)))
    print(run.stdout, end="")
    return [int(n) for n in re.findall(r"\d+", run.stdout)], resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
few, few_peak = peak(50)
many, many_peak = peak(400)
grown = (many_peak - few_peak) * 1024 / (350 * len(mails))
print(f"{few_peak} KB, then {many_peak} KB: {grown:.0f} bytes a mail")
sys.exit(not few or many != [8 * n for n in few] or grown > 600)
SEND
}

test_memory() {
  echo "Memory"
  check "a mail with a body of 30 MB is sent with at most 135 MB" check_memory_of_large_body
  check "thousands of mails leave at most 600 bytes each, and no open file" check_memory_of_many_mails
}
