#!/usr/bin/env bash
# Names the first step after which a program goes wrong.
#   scripts/bisect.sh FILE.c --opt_level=3 [--size_speed_goal=4] [--option=--vectorize=on]
set -euo pipefail
exec "$(dirname "$0")/../build/bin/ic-diff" bisect "$@"
