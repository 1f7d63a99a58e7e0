#!/usr/bin/env bash
# Benchmarks. There is none yet: nothing is measured, and no figure is claimed.
source "$(dirname "${BASH_SOURCE[0]}")/scripts/common.sh"
echo "There is nothing to measure yet."
