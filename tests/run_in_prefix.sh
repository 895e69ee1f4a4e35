#!/usr/bin/env bash
# For CTest: run_in_prefix.sh BUILD_FOLDER PROGRAM ARGUMENT... runs a test program in the Wine prefix of the tests.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../script/lib/prefix.sh"
prefix_provision "$1/wine-test" "$1"
prefix_run "$1/wine-test" "${@:2}" </dev/null
