#!/usr/bin/env bash
# Runs the benchmarks of a finished build; the arguments go to Google Benchmark.
set -euo pipefail
exec build/bin/roundtrip_bench "$@"
