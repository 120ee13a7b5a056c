# Format, lint, and the quick check before a commit.

sources() { find include src sim tools examples tests bench fuzz -name '*.cpp' -o -name '*.h' -o -name '*.c' 2>/dev/null | sort; }

need_formatter() { need clang-format "formats the sources"; }

need_linter() {
  need_formatter
  need clang-tidy "looks for defects"
  need_for_build linux
}

format_check() { sources | xargs clang-format --dry-run -Werror; }

dev_format() {
  need_formatter
  need_install
  case ${1:-} in
    --check)
      step "clang-format, check only" format_check || fail "some sources are not formatted: run ./dev format"
      verdict "all sources are formatted"
      ;;
    '')
      sources | xargs clang-format -i
      verdict "formatted"
      ;;
    *) fail "format: unknown argument: $1 (see ./dev help format)" ;;
  esac
}

# What the native build compiles; the Windows halves have no entry there.
linted_sources() {
  local file
  for file in $(find src sim tools examples -name '*.cpp' 2>/dev/null | sort); do
    if grep -qF "\"$root/$file\"" build/linux/compile_commands.json; then echo "$file"; fi
  done
}

# What differs from the branch's point of departure, be it committed or not. On main itself, from the commit
# that its upstream has, or else the last one.
changed_files() {
  local base
  base=$(git merge-base HEAD 'main@{upstream}' 2>/dev/null || git merge-base HEAD main 2>/dev/null || echo HEAD)
  git diff --name-only "$base"
  git ls-files --others --exclude-standard
}

# A header is linted with one source that includes it.
changed_sources() {
  local file
  changed_files | while read -r file; do
    case $file in
      *.cpp) echo "$file" ;;
      *.h) linted_sources | xargs grep -lF "${file##*/}\"" | head -n 1 || true ;;
    esac
  done | sort -u | comm -12 - <(linted_sources)
}

# tidy LISTER: clang-tidy over the files that it lists.
tidy() {
  local files
  mapfile -t files < <("$1")
  ((${#files[@]})) || return 0
  printf '%s\n' "${files[@]}" | xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p build/linux 2>build/clang-tidy.log
}

# Whether all sources are linted, or the changed ones: sets `lister`.
read_lint_arguments() {
  local command=$1 without=$2
  (($# <= 3)) || fail "$command: unknown argument: $4 (see ./dev help $command)"
  case ${3:-$without} in
    --all) lister=linted_sources ;;
    --changed)
      git rev-parse HEAD >/dev/null 2>&1 || fail "$command: only a git checkout tells what changed; use --all"
      lister=changed_sources
      ;;
    *) fail "$command: unknown argument: $3 (see ./dev help $command)" ;;
  esac
}

dev_lint() {
  local status=0 lister
  read_lint_arguments lint --all "$@"
  need_linter
  need_install
  # Built, not only configured: some headers may be made by the build.
  build_preset linux || fail "the build failed"
  step "clang-tidy" tidy "$lister" || status=1
  step "clang-format, check only" format_check || status=1
  ((status == 0)) || fail "lint found something"
  verdict "nothing found"
}

dev_check() {
  local status=0 lister
  read_lint_arguments check --changed "$@"
  need_linter
  need_install
  step "clang-format, check only" format_check || status=1
  build_preset linux || fail "the build failed"
  step "clang-tidy" tidy "$lister" || status=1
  (dev_test linux --quick) || status=1
  ((status == 0)) || fail "the check found something; see above"
  verdict "ready to commit"
}
