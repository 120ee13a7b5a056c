# Texts of ./dev help and ./dev COMMAND --help.

usage() {
  cat <<'TEXT'
usage: ./dev COMMAND [ARGUMENT...]

  demo [PRESET] [shm]             run the example clients against the simulated server
  test [PRESET...] [-R REGEX]     build and run all tests, or those whose name matches
  check [--all]                   before a commit: format, lint of changed files, build, quick tests; Linux only
  build [PRESET]                  build one preset (default: linux) into build/PRESET
  bench [--quick | --check]       run the benchmarks beside other libraries
  fuzz [SECONDS]                  run the fuzz targets
  sim SEED..SEED                  simulate sessions, one from each seed
  plant [NAME...]                 put known faults into a copy and see whether the simulation finds them
  coverage                        which lines and branches of the library the tests reach
  package [KIND...]               make the packages for users
  docs                            make the site of guides and references, check its code and links
  format [--check]                format the sources
  lint [--changed]                clang-tidy and the format check
  help [COMMAND]                  this text, or more about a command

Presets: linux linux-asan linux-tsan windows.
Missing Debian packages are installed with apt-get, as root or through sudo.
TEXT
}

help_demo() {
  cat <<'TEXT'
usage: ./dev demo [PRESET] [shm]

Builds the library, the simulated server and the example clients, starts the server on a free port and runs the clients
against it. PRESET is linux (default) or windows (under Wine). With shm the session uses shared memory
through a gateway.

Without shm there is a second part: a trader with two servers, which are killed one after the other while it sends
orders. It ends with a table of all orders: the fate reported for each, and what the servers recorded. Every row must
agree.
TEXT
}

help_test() {
  cat <<'TEXT'
usage: ./dev test [PRESET...] [-R REGEX]
       ./dev test [PRESET...] --quick

Builds and runs the tests of these presets (default: linux, linux-asan, linux-tsan and windows). The last line is
'N passed, N failed'; the exit status is 0 if at least one passed and none failed.

  -R REGEX   only tests whose name matches. A name is DIRECTORY.SUITE.TEST, or check.NAME for the demo and the languages:
               ./dev test linux -R LinkLife
               ./dev test linux-asan windows -R 'result\.Table'
               ./dev test linux -R '^check\.example_python$'
  --quick    without the slow tests and the checks (default preset: linux)

Failed tests are shown with their output. build/PRESET/ctest.xml has the results in JUnit format,
build/PRESET/test-results those of the individual tests.
TEXT
}

help_check() {
  cat <<'TEXT'
usage: ./dev check [--all]

Run it before a commit. Checks the format of all sources, builds for Linux, runs clang-tidy over the sources changed
since the branch left main, committed or not (all sources with --all), and runs ./dev test linux --quick.
TEXT
}

help_build() {
  cat <<'TEXT'
usage: ./dev build [PRESET]

Builds one preset into build/PRESET: linux (default), linux-asan, linux-tsan or windows. The library is
build/linux/libvekapi.so or build/windows/vekapi.dll. ccache is used if it is installed.
TEXT
}

help_bench() {
  cat <<'TEXT'
usage: ./dev bench [--quick] [--only NAME]... [--json FILE] [--doc]
       ./dev bench --check

Builds the benchmarks and runs them beside bare sockets, memcpy and other libraries, by turns in short slices. Prints a
table, and writes build/bench/results.json and build/bench/index.html, a page with the distributions.

  --quick      a fifth of the slices
  --only NAME  only works with NAME in their name; may be repeated
  --json FILE  write the figures there
  --doc        also write the table into docs/performance.md
  --check      five ratios only, within limits that hold on a busy machine; fails if one is exceeded
TEXT
}

help_package() {
  cat <<'TEXT'
usage: ./dev package [--try | --twice] [KIND...]

Makes what is given to users from the last commit, all kinds if none is named, into build/package/out with a file of
checksums. Archives carry the commit's time.

  deb     Debian packages: library, development files, tools, and their debug symbols
  tar     the same for any Linux, debug symbols apart
  zip     for Windows: DLL, import libraries for MinGW and MSVC, headers, programs, documents
  wheel   Python packages with the library inside, for Linux and Windows
  nupkg   the C# classes with the libraries of both systems

  --twice makes them a second time, elsewhere and without the compiler cache, and compares: nothing may differ
  --try   unpacks those made before into empty places, and builds and runs a program with each
TEXT
}

help_docs() {
  cat <<'TEXT'
usage: ./dev docs

Makes build/site: the guides and the references of C, C++ and Python. It needs no server and no network: open
build/site/index.html. Then checks every link, compiles or runs every code block of the guides and of README.md, and
fails if a public declaration has no comment.
TEXT
}

help_fuzz() {
  cat <<'TEXT'
usage: ./dev fuzz [SECONDS]

Builds the fuzz targets with Clang and runs each for SECONDS (default: 60), starting from the inputs in
fuzz/corpus, which the tests repeat, and from what earlier runs found, in build/fuzz-corpus.
TEXT
}

help_coverage() {
  cat <<'TEXT'
usage: ./dev coverage

Builds the library with counters, runs the tests, the fuzz targets on their inputs and 4,000 seeds of the simulation, all
natively, and prints the lines and branches reached in each directory. build/coverage/index.html shows every line;
build/coverage/unreached.txt lists those that nothing reaches.
TEXT
}

help_sim() {
  cat <<'TEXT'
usage: ./dev sim FROM..TO

Simulates whole sessions on this machine's processors, one from each seed: the library as it is, over threads, a network and
a clock that are played by one thread. The first seed that breaks a promise is told, made shorter and printed as a
story; build/linux/test_simulation shows it step by step with the arguments that stand below the story.
TEXT
}

help_plant() {
  cat <<'TEXT'
usage: ./dev plant [NAME...]

Puts each fault of tests/plants into a copy of the sources, builds the simulation there, and prints whether it finds
the fault, with the seed. Without names all of them.
TEXT
}

help_format() {
  cat <<'TEXT'
usage: ./dev format [--check]

Formats all sources with clang-format; with --check only lists unformatted sources, and fails if there are any.
TEXT
}

help_lint() {
  cat <<'TEXT'
usage: ./dev lint [--all | --changed]

Builds the linux preset, then runs clang-tidy and the format check. With --changed, clang-tidy checks only the sources
changed since the branch left main; a changed header is checked through one source that includes it.
TEXT
}

dev_help() {
  case ${1:-} in
    '') usage ;;
    help) echo "usage: ./dev help [COMMAND]" ;;
    *)
      [[ " ${commands[*]} " == *" $1 "* ]] || fail "unknown command: $1 (see ./dev help)"
      "help_$1"
      ;;
  esac
}
