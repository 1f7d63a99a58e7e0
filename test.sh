#!/usr/bin/env bash
# All tests: unit and system tests under AddressSanitizer and UndefinedBehaviorSanitizer, then under
# ThreadSanitizer, then what only shows in an optimised build: memory. Ends with one line: N passed, N failed.
#   ./test.sh            everything
#   ./test.sh asan REGEX only the tests of one preset whose names match
source "$(dirname "${BASH_SOURCE[0]}")/scripts/common.sh"

passed=0
failed=0
reports=()

# run_tests PRESET FACTOR [ctest option...]: FACTOR stretches the limits of waiting, for slow instrumentation.
run_tests() {
  local preset=$1 factor=$2 report count bad skipped
  shift 2
  say "Testing the preset $preset"
  report=$root/build/$preset/report.xml
  rm -f "$report"
  POALOCATOR_TEST_TIME_FACTOR=$factor \
  ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1 \
  LSAN_OPTIONS=suppressions=$root/tests/sanitizers/leak.supp:print_suppressions=0 \
  UBSAN_OPTIONS=print_stacktrace=1 \
  TSAN_OPTIONS=suppressions=$root/tests/sanitizers/thread.supp:second_deadlock_stack=1 \
    ctest --test-dir "build/$preset" --output-on-failure --no-tests=error -j "$(($(nproc) * 2))" --timeout 300 \
      --output-junit "$report" "$@" || true
  [ -s "$report" ] || fail "The tests of the preset $preset did not run."
  count=$(grep -c '<testcase ' "$report" || true)
  bad=$(grep -c '<testcase .*status="fail"' "$report" || true)
  skipped=$(grep -c '<testcase .*status="\(notrun\|disabled\)"' "$report" || true)
  [ "${skipped:-0}" -eq 0 ] || { echo "$skipped tests of the preset $preset did not run; that counts as failed."; bad=$((bad + skipped)); }
  reports+=("$report")
  passed=$((passed + count - bad))
  failed=$((failed + bad))
}

install_packages
case "${1:-all}" in
  all)
    build asan
    run_tests asan 3
    build tsan
    run_tests tsan 5
    build release poalocd qz_poa_location_loc test_server system_giop system_hostile
    run_tests release 1 -R 'LargeBody|system/hostile/'
    ;;
  *)
    build "$1"
    run_tests "$1" 3 ${2:+-R "$2"}
    ;;
esac

# At the end, where they are looked for and where a shortened log still has them.
[ "$failed" -eq 0 ] || python3 scripts/failures.py "${reports[@]}" || true

say "Result after $((SECONDS / 60)) min $((SECONDS % 60)) s"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
