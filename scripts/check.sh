#!/usr/bin/env bash
# The checks besides the test programs, as CTest runs them:
#   check.sh --list PRESET    lists their names
#   check.sh NAME PRESET      runs one
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
# shellcheck source-path=SCRIPTDIR
for part in report build run demo languages consumers docs; do source "scripts/$part.sh"; done

# The terminal client, as users and scripts run it.
vekterm_cases() {
  launch_as "$1"
  python3 tests/tools/vekterm.py "build/$1" "$suffix" "${launcher[@]}"
}

all_checks() {
  [[ $1 != linux ]] || check docs_code check_blocks
  [[ $1 != linux ]] || check docs_links python3 scripts/check_links.py
  [[ $1 != linux ]] || check directories python3 scripts/check_directories.py
  [[ $1 != linux ]] || check errors_page python3 tools/gen_errors/make_errors.py --check
  [[ $1 != linux ]] || check simulator_page tests/sim/page.py build/linux/veksim
  check demo demo_session "$1"
  check demo-shm demo_session "$1" shm
  check demo-fates demo_fates "$1"
  [[ $1 == linux-tsan ]] || check vekterm vekterm_cases "$1"
  check_languages "$1"
  check_consumers "$1"
}

if [[ ${1:-} == --list ]]; then
  check() { echo "$1"; }
  all_checks "${2:-}"
  exit
fi

wanted=${1:-} status=1 found=
check() {
  [[ $1 == "$wanted" ]] || return 0
  found=1 status=0
  shift
  ("$@") || status=$?
}
all_checks "${2:-}"
[[ -n $found ]] || fail "no check of this name: $wanted"
exit "$status"
