# Format and lint.

sources() { find include src sim tools examples tests bench fuzz -name '*.cpp' -o -name '*.h' -o -name '*.c' 2>/dev/null | sort; }

need_formatter() { need clang-format "formats the sources"; }

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
    *) fail "unknown argument: $1" ;;
  esac
}

# What the native build compiles; the Windows halves have no entry there.
linted_sources() {
  local file
  for file in $(find src sim tools examples -name '*.cpp' 2>/dev/null | sort); do
    if grep -qF "\"$root/$file\"" build/linux/compile_commands.json; then echo "$file"; fi
  done
}

tidy() { linted_sources | xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p build/linux 2>build/clang-tidy.log; }

dev_lint() {
  local status=0
  need_formatter
  need clang-tidy "looks for defects"
  need_for_build linux
  need_install
  # Built, not only configured: some headers may be made by the build.
  build_preset linux || fail "the build failed"
  step "clang-tidy" tidy || status=1
  step "clang-format, check only" format_check || status=1
  ((status == 0)) || fail "lint found something"
  verdict "nothing found"
}
