# The rsyslog settings of docs/administration.md, in a real rsyslogd: the add-in logs to it, and `quorvex log
# explain` reads what it wrote.

# Only the port and the file differ from the document.
check_documented_syslog() {
  local work="$top/build/syslog" root="$top/build/syslog/root" port daemon i status=0
  rm -rf "$work" && mkdir -p "$work" && cp -R "$top/samples/root" "$root" || return 1
  port=$(python3 -c 'import socket; s = socket.socket(type=socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
  {
    echo "global(workDirectory=\"$work\")"
    sed -n '/^module(load="imudp")$/,/^```$/{/^```$/d;p}' "$top/docs/administration.md" |
      sed "s,/var/log/quorvex.log,$work/quorvex.log,; s,port=\"5514\",port=\"$port\","
  } >"$work/rsyslog.conf"
  [ "$(wc -l <"$work/rsyslog.conf")" = 5 ] || { echo "the document has other settings"; return 1; }
  /usr/sbin/rsyslogd -n -C -f "$work/rsyslog.conf" -i "$work/pid" &
  daemon=$!
  for ((i = 0; i < 200; i++)); do
    echo first >"/dev/udp/127.0.0.1/$port"
    [ -s "$work/quorvex.log" ] && break
    sleep 0.05
  done
  echo "Outlook 15 UDP 127.0.0.1:$port" >"$root/windows/system32/Logger.cfg"
  QUORVEX_ROOT="$root" "$top/build/native/quorvex" send "$top/samples/01-plain.eml" || status=1
  for ((i = 0; i < 200; i++)); do
    grep -q 'ScanSessionEnd returns' "$work/quorvex.log" && break
    sleep 0.05
  done
  kill "$daemon" && wait "$daemon"
  "$top/build/native/quorvex" log explain --json "$work/quorvex.log" | tee "$work/explained"
  [ "$status" = 0 ] && jq -e -s 'length == 1 and .[0].machine == "127.0.0.1" and .[0].checked == "yes" and
    .[0].outcome == "sent"' "$work/explained"
}

test_syslog() {
  echo "Syslog"
  check "quorvex log explain reads what the documented rsyslog settings write" check_documented_syslog
}
