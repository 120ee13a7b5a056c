# Progress output: timed steps, warnings, verdicts.

if [[ -t 1 ]]; then bold=$'\e[1m' plain=$'\e[0m'; else bold='' plain=''; fi

say() { printf '%s== %s%s\n' "$bold" "$*" "$plain"; }
verdict() { say "$*"; }
warn() { printf 'dev: %s\n' "$*" >&2; }
fail() {
  warn "$*"
  exit 1
}

# step TEXT CMD...: announces and runs a command and prints its time; returns its exit status.
step() {
  local text=$1 start=$SECONDS status=0
  shift
  say "$text"
  "$@" || status=$?
  printf '   %s: %s in %s s\n' "$text" "$( ((status)) && echo failed || echo "done")" $((SECONDS - start))
  return "$status"
}
