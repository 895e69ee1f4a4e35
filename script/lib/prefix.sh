# The Wine prefixes in which zorvanlib runs with its development kit. Sourced, not run; needs nothing else sourced.
#
#   prefix_provision PREFIX BUILD_DIR   creates the prefix if it is missing and brings it up to date with the build
#   prefix_prepare PREFIX BUILD_DIR     the same without zorvanlib: with the stand-ins for what Wine lacks alone
#   prefix_uninstall PREFIX BUILD_DIR   deletes all ports and takes library and driver out of it again
#   prefix_run PREFIX PROGRAM ARG...    runs a Windows program in it; its exit status is the result
#   prefix_stop PREFIX                  ends whatever runs in it
#
# A provisioned prefix has the stand-ins for what Wine lacks, and zorvanlib with the development driver, both installed by
# the setup program. What a provisioning has put in, and from what, is noted in PREFIX/zorvanlib, so that the next one
# does only what has changed since. A folder without the note of its creation is emptied first: PREFIX holds nothing else.

prefix_say() { printf '%s\n' "$@" >&2; }

# The environment of everything that runs in a prefix. Quiet, unless the caller has set WINEDEBUG; no offers to
# download what is not needed, and no entries in the menus of the user's desktop.
prefix_env() {
  env WINEPREFIX="$1" WINEDEBUG="${WINEDEBUG--all}" \
    WINEDLLOVERRIDES="${WINEDLLOVERRIDES-mscoree,mshtml,winemenubuilder.exe=}" "${@:2}"
}

# Wine ends its drivers three seconds after the last program, and with them what ports are connected with: a server that
# lasts for an hour keeps that from one program to the next. It refuses when one runs already.
prefix_keep_running() {
  prefix_env "$1" wineserver --persistent=3600 >/dev/null 2>&1 </dev/null || :
}

prefix_run() {
  local prefix
  prefix=$(realpath -m -- "$1")
  prefix_keep_running "$prefix"
  prefix_env "$prefix" wine "${@:2}"
}

# wineserver reports a failure when there is none to end, which is as good.
prefix_stop() {
  local prefix
  prefix=$(realpath -m -- "$1")
  [ -d "$prefix" ] || return 0
  prefix_env "$prefix" wineserver -k || :
  prefix_env "$prefix" wineserver -w
}

prefix_provision() { prefix_alone prefix_bring_up_to_date "$@"; }
prefix_prepare() { prefix_alone prefix_make_windows "$@"; }
prefix_uninstall() { prefix_alone prefix_take_out "$@"; }

# prefix_alone COMMAND PREFIX BUILD_DIR: one at a time prepares a prefix. The lock is not handed on to Wine, whose
# server outlives this.
prefix_alone() {
  local prefix build_dir
  prefix=$(realpath -m -- "$2")
  build_dir=$(realpath -m -- "$3")
  prefix_check "$prefix" "$build_dir" || return
  (
    prefix_lock "$prefix" && "$1" 9>&-
  ) 9>"$prefix.lock"
}

prefix_lock() {
  flock -n 9 && return
  prefix_say "==> Waiting for another program that is preparing $1"
  flock -w 600 9 && return
  prefix_say "error: $1 has been in preparation by another program for ten minutes" \
    "  end that program (it has $1.lock open) and try again"
  return 1
}

prefix_check() {
  local prefix=$1 build_dir=$2 file
  if ! command -v wine >/dev/null || ! command -v wineserver >/dev/null; then
    prefix_say "error: wine is not installed" "  run script/bootstrap"
    return 1
  fi
  for file in zorvanlib.dll portwright.exe devkit/{wine/msports.dll,difxapi/DIFxAPI.dll,driver/zorvan.inf}; do
    if [ ! -e "$build_dir/bin/$file" ]; then
      prefix_say "error: $build_dir/bin/$file is missing" "  build first: script/build"
      return 1
    fi
  done
  for file in zorvanlib.dll portwright.exe; do
    if [ "$build_dir/bin/$file" -nt "$(prefix_setup_program)" ]; then
      prefix_say "error: the setup program is older than $build_dir/bin/$file" "  build it: ninja -C $build_dir setup"
      return 1
    fi
  done
  if [ -e "$prefix" ] && [ ! -O "$prefix" ]; then
    prefix_say "error: $prefix belongs to $(stat -c %U "$prefix"), and Wine refuses it to $(id -un)" \
      "  run this as that user, or remove the folder"
    return 1
  fi
  mkdir -p "$prefix/zorvanlib"
}

# The steps below share the variables of prefix_alone: prefix, build_dir.

prefix_make_windows() {
  prefix_create_patiently &&
    prefix_keep_running "$prefix" &&
    prefix_update stand-ins "the stand-ins for what Wine lacks" prefix_install_stand_ins \
      < <(prefix_fingerprint "$build_dir"/bin/devkit/wine/*.dll)
}

prefix_bring_up_to_date() {
  prefix_make_windows &&
    prefix_update library "the library" prefix_install_library \
      < <(prefix_fingerprint "$(prefix_setup_program)") &&
    prefix_update driver "the driver package (this ends what runs there)" prefix_install_driver \
      < <(prefix_fingerprint "$build_dir"/bin/devkit/{driver,difxapi}/*)
}

prefix_fingerprint() { sha256sum -- "$@"; }

# prefix_update NAME WHAT COMMAND: runs the command unless it was run for the same state, which is read from
# standard input. The state is noted only after the command has succeeded.
prefix_update() {
  local note=$prefix/zorvanlib/$1 what=$2 command=$3 log=$prefix/zorvanlib/$1.log state
  state=$(cat)
  [ "$(cat "$note" 2>/dev/null)" != "$state" ] || return 0
  prefix_say "==> Preparing $what in $prefix"
  rm -f "$note"
  if ! "$command" >"$log" 2>&1 </dev/null; then
    prefix_say "error: $what could not be prepared in $prefix; the end of $log:"
    tail -n 20 "$log" >&2
    return 1
  fi
  printf '%s\n' "$state" >"$note"
}

# DISPLAY is kept from Wine here: a message box nobody expects would wait for an answer forever.
prefix_wine() { DISPLAY='' prefix_env "$prefix" wine "$@"; }

# Wine starts dozens of programs to fill a prefix. Should one of them not start, the next attempt may fare better.
prefix_create_patiently() {
  local attempt
  for attempt in 1 2 3; do
    prefix_update created "the prefix" prefix_create <<<"Windows 10" && return
  done
  return 1
}

# Whatever keeps wineboot from filling the prefix, it says that all is well, and does not fill it when asked again:
# kernel32.dll is missing from then on. So nothing of an earlier attempt is kept. Wine says here what it has to say:
# it goes into the log. Without the wait, the first service that was created in a new prefix failed once. A new prefix
# is a Windows 7.
prefix_create() {
  local -x WINEDEBUG=${WINEDEBUG--all,err+all}
  prefix_clear &&
    prefix_wine wineboot -i &&
    prefix_env "$prefix" wineserver -w &&
    prefix_wine winecfg -v win10 &&
    prefix_env "$prefix" wineserver -w
}

prefix_clear() {
  prefix_stop "$prefix" &&
    rm -f "$prefix"/zorvanlib/{stand-ins,library,driver} &&
    find "$prefix" -mindepth 1 -maxdepth 1 ! -name zorvanlib -exec rm -rf {} +
}

# Without an override Wine takes its own DLL of the same name, wherever it is asked to load one from.
prefix_install_stand_ins() {
  local windows=$prefix/drive_c/windows dll settings=$prefix/zorvanlib/stand-ins.reg
  {
    printf 'REGEDIT4\n\n'
    printf '[HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Class\\%s]\n' \
      '{4D36E978-E325-11CE-BFC1-08002BE10318}'
    printf '"Installer32"="msports.dll,PortsClassInstaller"\n\n'
    # On a busy machine the driver may take longer to start a device than the ten seconds that Wine gives it. Wine gives
    # up then, while the driver goes on, and what the two say to each other is out of step from there on.
    printf '[HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control]\n'
    printf '"ServicesPipeTimeout"="60000"\n\n'
    printf '[HKEY_CURRENT_USER\\Software\\Wine\\DllOverrides]\n'
    for dll in "$build_dir"/bin/devkit/{wine,difxapi}/*.dll; do
      printf '"%s"="native,builtin"\n' "$(basename "$dll" .dll)"
    done
  } >"$settings" &&
    cp --remove-destination -- "$build_dir"/bin/devkit/wine/*.dll "$windows/system32/" &&
    prefix_wine regedit /S "$settings"
}

prefix_setup_program() {
  printf '%s/package/zorvanlib-%s-setup.exe' "$build_dir" \
    "$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build_dir/CMakeCache.txt")"
}

prefix_setup() {
  local status=0
  prefix_wine "$(prefix_setup_program)" /S "$@" || status=$?
  [ $status -eq 0 ] || prefix_say "the setup program ended with status $status: docs/guide.md, Installing, says what it means"
  return $status
}

prefix_install_library() { prefix_setup; }

# The ports that exist already get the new files, too. The running driver has them open and keeps the old code, hence
# the restart.
prefix_install_driver() {
  local package=$prefix/zorvanlib/driver-package
  prefix_stop "$prefix" &&
    prefix_keep_running "$prefix" &&
    prefix_replace_installed_driver &&
    rm -rf -- "$package" && mkdir -- "$package" &&
    cp -- "$build_dir"/bin/devkit/{driver/*,difxapi/DIFxAPI.dll} "$package/" &&
    prefix_setup "/DRIVER=$(prefix_wine winepath -w "$package")"
}

prefix_replace_installed_driver() {
  local file installed
  for file in "$build_dir"/bin/devkit/driver/*; do
    for installed in "$prefix"/drive_c/windows/system32{,/drivers}/"$(basename "$file")"; do
      [ ! -e "$installed" ] || cp --remove-destination -- "$file" "$installed" || return
    done
  done
}

# What is not there needs no taking out. The notes go first: whatever comes of it, the next provisioning starts anew.
prefix_take_out() {
  local log=$prefix/zorvanlib/removal.log
  rm -f "$prefix"/zorvanlib/{library,driver}
  prefix_setup /REMOVE >"$log" 2>&1 </dev/null && return
  prefix_say "error: zorvanlib could not be taken out of $prefix:"
  cat "$log" >&2
  return 1
}
