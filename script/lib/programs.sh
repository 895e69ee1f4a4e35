# Running programs in a Wine prefix, for script/demo and script/test. Sourced after common.sh and prefix.sh.

# What runs one of the functions of prefix.sh as a command that can be limited.
in_prefix=(bash -euo pipefail -c 'source "$1"; "${@:2}"' in_prefix "$root/script/lib/prefix.sh")

provision() { limited 900 "${in_prefix[@]}" prefix_provision "$1" "$build_dir" </dev/null >&2; }

# run_limited SECONDS PREFIX PROGRAM [ARGUMENT...]
run_limited() { limited "$1" "${in_prefix[@]}" prefix_run "${@:2}"; }

# A run that was ended by force has left its ports in PREFIX.
delete_ports() {
  { run_limited 120 "$1" "$build_dir/bin/portwright.exe" delete --all &&
    run_limited 120 "$1" "$build_dir/bin/portwright.exe" doctor --release-stale; } </dev/null >/dev/null ||
    die "the ports of the last run cannot be deleted" "remove the folder $1"
}

# The examples, one a line: title, then the command, which is run in the folder of the project.
example_commands() {
  printf '%s\t%s\n' "VBScript client, examples/ports.vbs" "cscript examples/ports.vbs"
  printf '%s\t%s\n' "Events in VBScript, examples/events.vbs" "cscript examples/events.vbs"
  printf '%s\t%s\n' "JScript client, examples/ports.js" "cscript examples/ports.js"
  printf '%s\t%s\n' "C++ client, examples/ports.cpp" "build/bin/examples/ports.exe"
  printf '%s\t%s\n' "All connections, examples/connections.cpp" "build/bin/examples/connections.exe"
  printf '%s\t%s\n' "A bridge in JScript, examples/bridge.js" "cscript examples/bridge.js"
  printf '%s\t%s\n' "A pipe in C++, examples/pipe.cpp" "build/bin/examples/pipe.exe"
}

# run_example PREFIX OUTPUT COMMAND...
#
# The output goes into a file, as some Windows programs fail when it is a pipe. The status alone proves nothing:
# Wine's cscript ends with 0 after an error that no script handled. So the last line must be there too.
run_example() {
  local prefix=$1 output=$2 status=0
  shift 2
  run_limited 120 "$prefix" "$@" >"$output" 2>&1 </dev/null || status=$?
  [ "$status" -ne 124 ] || printf '(ended by force after 120 s)\n' >>"$output"
  [ "$status" -eq 0 ] && grep -q '^All as expected\.' "$output"
}

# What watch.js prints, besides the time, of what changes.js does.
watched_events() {
  printf '%s\n' "added COM31" "added COM32" "changed name of COM33" "changed mode of COM33: bridge" \
    "deleted COM33" "deleted COM32"
}

# Waits, for at most SECONDS, until FILE holds a line that ends with TEXT.
wait_for_line() {
  local deadline=$(($(date +%s) + $1))
  until tr -d '\r' <"$2" | grep -qE "  $3\$"; do
    [ "$(date +%s)" -lt "$deadline" ] || return 1
    sleep 0.2
  done
}

missing_events() {
  local event
  while read -r event; do
    wait_for_line 10 "$1" "$event" || printf 'missing: %s\n' "$event"
  done < <(watched_events)
}

# run_watcher PREFIX OUTPUT: lets watch.js in one process watch what changes.js does in another. The output holds what
# both print; an event that the watcher does not print within ten seconds is noted there as missing.
run_watcher() {
  local prefix=$1 output=$2 watched=$2.watched missing watcher changes=0
  : >"$watched"
  start_limited 120 "${in_prefix[@]}" prefix_run "$prefix" cscript examples/watch.js 100 >"$watched" 2>&1 </dev/null
  watcher=$!
  wait_for_line 30 "$watched" watching || true
  run_example "$prefix" "$output" cscript examples/changes.js || changes=1
  missing=$(missing_events "$watched")
  kill "$watcher" 2>/dev/null || true
  wait "$watcher" 2>/dev/null || true
  { printf '\nMeanwhile the watcher printed:\n' && cat "$watched" && printf '%s' "$missing"; } >>"$output"
  [ $changes -eq 0 ] && [ -z "$missing" ]
}
