#!/usr/bin/env bash
# Benchmarks: how far the locator is from what this machine can do, as ratios (docs/performance.md). They need a machine
# that does nothing else.
#   ./bench.sh NAME [--json] [--quick]   one of forward, scale, park, register, start, hostile
#   ./bench.sh all [--json] [--quick]    all of them
# --json prints one object on standard output and nothing else there; --quick only shows that a benchmark works.
source "$(dirname "${BASH_SOURCE[0]}")/scripts/common.sh"

case "${1:-}" in
  forward | scale | park | register | start | hostile | all) ;;
  *) fail "Use ./bench.sh NAME [--json] [--quick], with NAME one of forward, scale, park, register, start, hostile, all." ;;
esac

{
  install_packages
  build release bench
} >&2
PYTHONDONTWRITEBYTECODE=1 exec python3 bench/drivers "$@" --bin "$root/build/release/bin"
