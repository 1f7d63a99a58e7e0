#!/usr/bin/env bash
# Fuzzes with libFuzzer, from the committed corpus on.
#   fuzz/run.sh MINUTES [TARGET]   each target for that long, or one: codec, keys, reference, configuration, import
# What it finds goes to tests/fuzz/findings/TARGET, where every test run replays it; commit it with the fix. Inputs that
# reach something new are kept in build/fuzz/corpus/TARGET for the next run.
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

targets=(codec keys reference configuration import)
minutes=${1:?usage: fuzz/run.sh MINUTES [TARGET]}
[[ $minutes =~ ^[0-9]+$ ]] && [ "$minutes" -gt 0 ] || fail "\"$minutes\" is no number of minutes."
if [ $# -gt 1 ]; then
  [[ " ${targets[*]} " == *" $2 "* ]] || fail "There is no target \"$2\": there are ${targets[*]}."
  targets=("$2")
fi

install_packages
build fuzz "${targets[@]/#/fuzz_}"

status=0
for target in "${targets[@]}"; do
  say "Fuzzing $target for $minutes min"
  seeds=$root/tests/fuzz/corpus/$target
  found=$root/tests/fuzz/findings/$target
  corpus=$root/build/fuzz/corpus/$target
  log=$root/build/fuzz/$target.log
  mkdir -p "$corpus" "$found"
  before=$(ls "$found" | wc -l)
  ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    "build/fuzz/bin/fuzz_$target" -max_total_time=$((minutes * 60)) -timeout=10 -rss_limit_mb=2048 -max_len=2048 \
      -artifact_prefix="$found/" -print_final_stats=1 "$corpus" "$seeds" > "$log" 2>&1 || status=1
  grep -E '^(stat::number_of_executed_units|stat::new_units_added|SUMMARY)' "$log" || true
  echo "findings: $(($(ls "$found" | wc -l) - before)) (log: build/fuzz/$target.log)"
  rmdir --ignore-fail-on-non-empty "$found"
done
exit "$status"
