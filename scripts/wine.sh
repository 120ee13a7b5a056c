#!/usr/bin/env bash
# wine.sh PROGRAM [ARGUMENT...]: runs a Windows program under 64-bit Wine with the prefix in build/wine, which is
# created if missing.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/report.sh"
source "$root/scripts/run.sh"

find_wine
if [[ ! -e $WINEPREFIX/user.reg ]]; then
  mkdir -p "$root/build"
  start_wine >&2 || exit 1
fi
exec "$wine" "$@"
