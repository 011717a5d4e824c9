#!/usr/bin/env bash
# Runs the RUN lines of a file, one after the other; the first that fails fails the test.
#   run_lines.sh BIN_DIR FILECHECK FILE
# In them %s is the file, %t a name in a scratch folder that is gone afterwards, and FileCheck the
# program given; the project's programs are found by their names.
set -euo pipefail
bin=$1 filecheck=$2 file=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export PATH="$bin:$PATH" ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=0}"
mapfile -t lines < <(sed -nE 's/^(;|\/\/) RUN: //p' "$file")
[ ${#lines[@]} -gt 0 ] || { echo "$file: no RUN line"; exit 1; }
for line in "${lines[@]}"; do
    line=${line//%s/$file}
    line=${line//%t/$scratch/t}
    line=${line//FileCheck/$filecheck --allow-unused-prefixes=false}
    echo "+ $line"
    bash -euo pipefail -c "$line"
done
