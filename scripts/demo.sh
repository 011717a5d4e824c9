#!/usr/bin/env bash
# Takes one C program through the whole road and shows what happened to it.
set -euo pipefail
source_file=$1
bin=build/bin
name=$(basename "$source_file" .c)
out=out/demo/$name
mkdir -p "$out"

"$bin/ic-cc" -o "$out/$name.ic" "$source_file"
"$bin/ic-lint" "$out/$name.ic"
"$bin/ic-dis" --no-positions "$out/$name.ic" >"$out/before.ict"
for level in off 0 1 2 3; do
    "$bin/quillopt" --opt_level=$level "$out/$name.ic" "$out/$name.o$level.ic"
    "$bin/ic-lint" "$out/$name.o$level.ic"
    "$bin/ic-dis" --no-positions "$out/$name.o$level.ic" >"$out/after.o$level.ict"
done

# Runs a program: prints its output to FILE.out, keeps its counts in FILE.count.
run() { "$bin/ic-run" --count "$1" >"$1.out" 2>"$1.count"; }
run "$out/$name.ic"
for level in off 0 1 2 3; do
    run "$out/$name.o$level.ic"
    cmp "$out/$name.ic.out" "$out/$name.o$level.ic.out"
done

count() { # FILE: statements, tree nodes, bytes, cost of a run
    local statements nodes cost
    statements=$("$bin/ic-dis" --stats "$1" | awk '/^statements/ {print $2}')
    nodes=$("$bin/ic-dis" --stats "$1" | awk '/^nodes/ {print $2}')
    cost=$(awk '/^cost/ {print $2}' "$1.count")
    printf '%10s %10s %10s %12s\n' "$statements" "$nodes" "$(stat -c %s "$1")" "$cost"
}

echo
echo "$source_file: $(wc -l <"$source_file") lines of C"
echo
printf '%-24s %10s %10s %10s %12s\n' "" statements nodes bytes "cost of run"
printf '%-24s %s\n' "from ic-cc" "$(count "$out/$name.ic")"
for level in off 0 1 2 3; do
    printf '%-24s %s\n' "quillopt --opt_level=$level" "$(count "$out/$name.o$level.ic")"
done
echo
echo "All six files are clean under ic-lint, and running them prints the same:"
sed 's/^/    /' "$out/$name.ic.out" | head -n 20
echo "Where to look:"
echo "  $out/before.ict        the program as the front end wrote it"
echo "  $out/after.o3.ict      the same after quillopt --opt_level=3"
echo "  diff $out/before.ict $out/after.o3.ict"
echo "The text form is described in docs/icode.md, the options in docs/options.md."
