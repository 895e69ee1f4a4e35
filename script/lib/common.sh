# Shared by the scripts: where the project is, how they speak, and the checks that all of them need. Sourced, not run.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build_dir=$root/build
program=script/$(basename "$0")

# Messages go to standard error: standard output belongs to the programs that are run.
say() { printf '%s\n' "$*" >&2; }
step() { printf '==> %s\n' "$*" >&2; }

# die WHAT [HINT...]: ends the script; each hint stands on a line of its own.
die() {
  printf '%s: error: %s\n' "$program" "$1" >&2
  shift
  [ $# -eq 0 ] || printf '  %s\n' "$@" >&2
  exit 1
}

# An interruption, such as Ctrl+C, ends a script at once, whatever the commands that it runs make of it. Only the script
# that the user has started speaks of it, also while its standard error is redirected.
export outermost_script=${outermost_script-$$}
exec 3>&2
end_interrupted() {
  trap '' HUP INT TERM
  [ "$outermost_script" != $$ ] || say "$program: interrupted" 2>&3
  exit 130
}
trap end_interrupted HUP INT TERM

# limited SECONDS COMMAND...: ends a command that takes longer, with status 124, and when the script is interrupted.
# 0 is no limit.
# timeout gives the command a process group of its own, which Ctrl+C does not reach; and bash hears of a signal at once
# only while it waits for a command in the background.
limited() (
  trap 'kill $!; exit 130' HUP INT TERM
  start_limited "$@"
  wait $!
)

# The same in the background; the process to end is $!.
start_limited() { timeout --kill-after=10 "$@" <&0 3>&- & }

# Prints the comment at the head of the running script, which is its manual.
show_usage() {
  sed -n '2,/^[^#]/{s/^# \{0,1\}//p}' "$0"
}

# Answers --help; anything else that looks like an option is left to the script.
answer_help() {
  case ${1-} in
  -h | --help)
    show_usage
    exit 0
    ;;
  esac
}

no_arguments() {
  answer_help "$@"
  [ $# -eq 0 ] || die "it takes no arguments, but was given: $*" "see: $program --help"
}

# logged NAME COMMAND...: runs a talkative command with its output in build/log/NAME.log; when it fails, shows the end.
logged() {
  local log=$build_dir/log/$1.log status=0
  shift
  mkdir -p "$build_dir/log"
  "$@" >"$log" 2>&1 || status=$?
  [ "$status" -eq 0 ] && return
  tail -n 40 "$log" >&2
  say "(the last lines of $log)"
  return "$status"
}

# A build folder left by another user fails in many odd ways later; this says it at once.
require_own_build_dir() {
  mkdir -p "$build_dir" 2>/dev/null || die "cannot create $build_dir" "the folder must be writable for $(id -un)"
  [ -O "$build_dir" ] || die "$build_dir belongs to $(stat -c %U "$build_dir"), not to $(id -un)" \
    "run this as that user, or remove the folder"
}

# was_configured_elsewhere BUILD_FOLDER SOURCE_FOLDER: a checkout that was moved or copied brings along build folders of
# another place, which CMake refuses.
was_configured_elsewhere() {
  [ -e "$1/CMakeCache.txt" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$2" "$1/CMakeCache.txt"
}

seconds_since() { printf '%d' $(($(date +%s) - $1)); }
