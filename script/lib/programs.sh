# Running programs in a Wine prefix, for script/demo and script/test. Sourced after common.sh and prefix.sh.

# run_limited SECONDS PREFIX PROGRAM [ARGUMENT...]: ends a program that hangs, with status 124.
run_limited() {
  local seconds=$1
  shift
  timeout --kill-after=10 "$seconds" bash -c 'source "$1"; shift; prefix_run "$@"' run_limited \
    "$root/script/lib/prefix.sh" "$@"
}

# The examples, one a line: title, then the command.
example_commands() {
  printf '%s\t%s\n' "VBScript client, examples/ports.vbs" "cscript ports.vbs"
  printf '%s\t%s\n' "JScript client, examples/ports.js" "cscript ports.js"
  printf '%s\t%s\n' "C++ client, examples/ports.cpp" "$build_dir/bin/examples/ports.exe"
}

# run_example PREFIX OUTPUT COMMAND...: runs an example in its folder.
#
# The output goes into a file, as some Windows programs fail when it is a pipe. The status alone proves nothing:
# Wine's cscript ends with 0 after an error that no script handled. So the last line must be there too.
run_example() {
  local prefix=$1 output=$2 status=0
  shift 2
  (cd "$root/examples" && run_limited 120 "$prefix" "$@") >"$output" 2>&1 || status=$?
  [ "$status" -ne 124 ] || printf '(ended by force after 120 s)\n' >>"$output"
  [ "$status" -eq 0 ] && grep -q '^All as expected\.' "$output"
}
