#!/usr/bin/env bash
# Runs a libFuzzer target, "reader" or "text", for some minutes, from a corpus of the kept files and
# the compiled examples. What it finds is left in out/fuzz/TARGET; a find is kept as a file in
# tests/run/corpus.
set -euo pipefail
target=$1 minutes=${2:-10}
bin=build/bin
out=out/fuzz/$target
mkdir -p "$out/seeds" "$out/found" "$out/work"

for program in examples/*.c tests/tools/cc/*.c; do
    name=$(basename "$program" .c)
    "$bin/ic-cc" -o "$out/seeds/$name.ic" "$program"
    "$bin/ic-dis" -o "$out/seeds/$name.ict" "$out/seeds/$name.ic"
done
for text in tests/run/corpus/*.ict tests/icode/*.ict; do
    cp "$text" "$out/seeds/"
    "$bin/ic-as" -o "$out/seeds/$(basename "$text" .ict).ic" "$text"
done
if [ "$target" = text ]; then rm -f "$out"/seeds/*.ic; else rm -f "$out"/seeds/*.ict; fi
exec env ASAN_OPTIONS=detect_leaks=0 "build-fuzz/bin/${target}_fuzz" -max_total_time=$((minutes * 60)) \
    -timeout=20 -max_len=30000 -artifact_prefix="$out/found/" "$out/work" "$out/seeds"
