# shellcheck shell=bash
# The stages of ./dev check, which sources this file. Each can be run alone, and builds what it needs; together they
# build nothing twice.

declare -A STAGES=(
  [style]="contracts, names in the papers, floors by include, banned functions and words, format"
  [lint]="the build with clang, clang-tidy and cppcheck; lengths that shrink to 32 bits unsaid"
  [exports]="exported names, version nodes, aliases, the library as a file, and its ABI beside the stored one"
  [rooms]="floors by call, circles of rooms, and whether a name is found at the first guess"
  [install]="programs outside the tree against an installed copy of both widths, and readers of other languages"
  [docs]="every snippet of README and docs, compiled and run; the reference, built without a warning or a dead link"
  [sanitize]="the tests under AddressSanitizer and UndefinedBehaviorSanitizer, in both widths"
  [threads]="what threads and locks are about, under ThreadSanitizer"
  [memcheck]="the programs about text, under valgrind"
  [fuzz]="the libFuzzer targets compile in both widths"
  [bench]="the benchmarks compile in both widths"
  [canaries]="each gate fails where it should"
  [coverage]="lines and branches of src/ that the tests reach"
  [soak]="a minute of file work by processes of both widths that are killed at random"
  [bits]="every pair of bit errors in a block of 500 bytes"
  [packages]="the Debian packages, built twice, looked at by lintian, installed into bare roots"
)
readonly ORDER=(style lint exports rooms install docs canaries sanitize threads memcheck fuzz bench)
readonly ON_DEMAND=(coverage soak bits packages)

readonly MEMCHECK_PROGRAMS=(convert_test format_test language_test strings_test value_test)
readonly THREAD_PROGRAMS=(os_test file_guard_test sync_object_test thread_test store_stress_test log_test)

# Running them ---------------------------------------------------------------------------------------------------------

list_stages() {
  local stage
  echo "Stages of ./dev check, in their order:"
  for stage in "${ORDER[@]}"; do printf '  %-10s %s\n' "$stage" "${STAGES[$stage]}"; done
  echo "Only when named, since they take minutes or need the network:"
  for stage in "${ON_DEMAND[@]}"; do printf '  %-10s %s\n' "$stage" "${STAGES[$stage]}"; done
}

# check [STAGE...]
check() {
  local stage started failed_in took=
  [[ $# -gt 0 ]] || set -- "${ORDER[@]}"
  if [[ $1 == list ]]; then
    list_stages
    return
  fi
  for stage in "$@"; do
    [[ -n ${STAGES[$stage]-} ]] || die "there is no stage '$stage'; ./dev check list lists them"
  done
  need_build
  need_stages "$@"
  trap '[[ -z ${failed_in-} ]] || echo "./dev check: $failed_in failed after $((SECONDS - started)) s" >&2' EXIT
  for stage in "$@"; do
    started=$SECONDS failed_in=$stage
    echo "== $stage: ${STAGES[$stage]}"
    "stage_$stage"
    took="${took:+$took, }$stage $((SECONDS - started))"
    echo "== $stage: $((SECONDS - started)) s"
  done
  failed_in=
  if [[ $# -gt 1 ]]; then
    echo "All of it, in seconds: $took; together $SECONDS"
  fi
}

# need_stages STAGE...: the packages of all of them at once.
need_stages() {
  local stage packages=(python3)
  for stage in "$@"; do
    case $stage in
      style) packages+=(clang clang-format) ;;
      lint) packages+=(clang clang-tidy cppcheck) ;;
      exports) packages+=(abigail-tools) ;;
      install) packages+=(clang pkg-config python3-cffi bindgen) ;;
      docs) packages+=(pkg-config doxygen) ;;
      memcheck) packages+=(valgrind) ;;
      fuzz) packages+=("${FUZZ_PACKAGES[@]}") ;;
      bench) packages+=("${BENCH_PACKAGES[@]}" "${BENCH_LIBRARIES[@]}") ;;
      canaries) packages+=(clang pkg-config abigail-tools python3-cffi bindgen) ;;
      coverage) packages+=(gcovr) ;;
      packages) packages+=(debhelper dpkg-dev fakeroot doxygen lintian mmdebstrap arch-test uidmap) ;;
    esac
  done
  need "Checking ($*)" "${packages[@]}"
}

# The stages -----------------------------------------------------------------------------------------------------------

stage_style() {
  scripts/hide_unprefixed --check
  scripts/check_headers include
  scripts/check_docs include
  scripts/check_floors
  scripts/check_banned
  scripts/check_comments
  sources | xargs clang-format --dry-run --Werror
  echo "format: $(sources | wc -l) files"
}

stage_canaries() {
  build i386 qvsupt32
  build x86_64 language_test
  [[ -d build/stage ]] || install_both build/stage
  scripts/check_gates build/i386 build/stage build/x86_64/tests/language_test
}

stage_lint() {
  build i386-clang qvsupt32 examples/all
  scripts/lint build/i386-clang
}

stage_exports() {
  local preset
  for preset in i386 x86_64; do
    build "$preset" qvsupt32
    scripts/check_exports "build/$preset/libqvsupt32.so.4" src/libqvsupt32.map include
    scripts/check_binary "build/$preset/libqvsupt32.so.4"
    scripts/check_abi "build/$preset/libqvsupt32.so.4" "scripts/abi/$preset.abi" include
  done
}

stage_rooms() {
  build i386 qvsupt32
  scripts/check_rooms build/i386
}

# install_both PREFIX
install_both() {
  local preset
  for preset in i386 x86_64; do
    build "$preset" qvsupt32 qvctl
    cmake --install "build/$preset" --prefix "$1" >/dev/null
  done
}

stage_install() {
  rm -rf build/stage
  install_both build/stage
  scripts/check_install build/stage
  tests/support/sandbox scripts/check_bindings build/stage/lib/x86_64-linux-gnu/libqvsupt32.so.4
}

stage_docs() {
  rm -rf build/stage
  install_both build/stage
  scripts/check_snippets build/stage
  scripts/build_docs build/docs
  scripts/check_site build/docs/html
}

stage_sanitize() {
  local preset
  for preset in i386-asan x86_64-asan; do
    build "$preset"
    run_tests "$preset"
  done
}

stage_threads() {
  build x86_64-tsan "${THREAD_PROGRAMS[@]}"
  run_tests x86_64-tsan --tests-regex "^($(IFS='|' && echo "${THREAD_PROGRAMS[*]}"))\$"
}

# As x86_64: valgrind needs the symbols of the dynamic loader, and Debian has none for the 32-bit one of gcc-multilib.
# The programs' own malloc counts and fails on purpose; valgrind has to watch the one below it.
stage_memcheck() {
  local program
  build x86_64 "${MEMCHECK_PROGRAMS[@]}"
  for program in "${MEMCHECK_PROGRAMS[@]}"; do
    tests/support/sandbox valgrind --quiet --error-exitcode=99 --soname-synonyms=somalloc=nouserintercepts \
      "build/x86_64/tests/$program" --gtest_brief=1
  done
}

stage_fuzz() {
  build fuzz
  build fuzz-plain
  build fuzz-x86_64
}

# The peers' 32-bit libraries belong to another architecture of Debian; without them everything is compiled, and not
# linked.
stage_bench() {
  build bench-x86_64
  configure bench
  ninja -C build/bench -t targets all | sed -n 's/^\(bench\/.*\.o\): .*/\1/p' |
    xargs ninja -C build/bench --quiet qvsupt32
}

# The tool's own tests are left out: the library's have to reach its lines.
stage_coverage() {
  configure coverage -DQVSUPT32_TOOLS=OFF
  build coverage
  find build/coverage -name '*.gcda' -delete
  run_tests coverage
  scripts/coverage build/coverage
}

stage_soak() {
  build x86_64 width_peer
  build i386 soak_test
  QVSUPT32_BOTH_WIDTHS=1 QVSUPT32_SOAK_SECONDS=60 tests/support/sandbox build/i386/tests/soak_test
}

stage_bits() {
  build i386 sdo_binary_test
  QVSUPT32_ALL_BIT_PAIRS=1 QVSUPT32_NO_TIME_LIMIT=1 tests/support/sandbox build/i386/tests/sdo_binary_test \
    --gtest_filter='*TwoBitErrors*'
}

stage_packages() {
  scripts/build_packages build/packages
  scripts/check_packages build/packages
}
