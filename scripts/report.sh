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

# Prints Ninja's latest count in a growing log, if it has changed.
tell_progress() {
  local count told=
  while sleep 10 >&- 2>&- && kill -0 $$ 2>&-; do
    count=$(grep -oE '^\[[0-9]+/[0-9]+\]' "$1" | tail -n 1) || true
    [[ $count == "$told" ]] || printf '   %s\n' "$count"
    told=$count
  done
}

# logged FILE CMD...: the output goes to the file, of which the end is shown if the command fails.
logged() {
  local file=$1 teller status=0
  shift
  : >"$file"
  tell_progress "$file" &
  teller=$!
  "$@" >"$file" 2>&1 || status=$?
  kill "$teller"
  ((status == 0)) || tail -n 100 "$file"
  return "$status"
}
