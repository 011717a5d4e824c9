#!/usr/bin/python3
"""Measures quillopt beside LLVM's opt on the same C programs, in one run, and prints one table each
for speed, memory, growth and the quality of the output. Ratios are what to quote: both programs are
measured alternately on the same machine. The text goes to out/bench/table.txt too; --html FILE
writes a page with plots that needs no network."""
import argparse
import html
import math
import os
import pathlib
import statistics
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BIN = ROOT / "build" / "bin"
OUT = ROOT / "out" / "bench"
LEVELS = [0, 1, 2, 3]
CSMITH = ("--no-longlong --no-math64 --no-int8 --no-uint8 --no-packed-struct --concise --max-array-dim 2 "
          "--max-array-len-per-dim 5 --max-funcs 5 --max-block-depth 3").split()


def measure(command, repeats):
    """Median of user and system seconds of the process, and its peak memory in bytes."""
    seconds, peak = [], 0
    for _ in range(repeats):
        child = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        if child.returncode != 0:
            raise RuntimeError(f"exit code {child.returncode}: {' '.join(map(str, command))}")
        seconds.append(usage.ru_utime + usage.ru_stime)
        peak = max(peak, usage.ru_maxrss * 1024)
    return statistics.median(seconds), peak


def counts(command, limit=120):
    """The lines "word number" that a counting run prints on standard error, and its output."""
    done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=limit)
    words = {}
    for line in done.stderr.decode(errors="replace").splitlines():
        parts = line.split()
        if len(parts) == 2 and parts[1].isdigit():
            words[parts[0]] = int(parts[1])
    return words, done.returncode, done.stdout


def geometric_mean(values):
    values = [v for v in values if v]
    return math.exp(sum(map(math.log, values)) / len(values)) if values else float("nan")


class Program:
    """One C source with its icode and its bitcode."""

    def __init__(self, source, includes=()):
        self.source = source
        self.name = source.stem
        self.lines = len(source.read_text().splitlines())
        self.icode = OUT / f"{self.name}.ic"
        self.bitcode = OUT / f"{self.name}.bc"
        flags = [f"-I{folder}" for folder in includes]
        # -w: the programs are not ours to mend. The inliner is kept out of the bitcode that is counted.
        clang = ["clang-14", "-w", "-O0", "-Xclang", "-disable-O0-optnone", "-emit-llvm", "-c", "-fwrapv"]
        self.counted = OUT / f"{self.name}.counted.bc"
        for command in ([BIN / "ic-cc", *flags, "-o", self.icode, source],
                        [*clang, *flags, "-o", self.bitcode, source],
                        [*clang, "-fno-inline", *flags, "-o", self.counted, source]):
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def speed(self, repeats):
        rows = {}
        for level in LEVELS:
            rows["quillopt", level] = measure(
                [BIN / "quillopt", f"--opt_level={level}", self.icode, OUT / "speed.opt"], repeats)
            rows["opt", level] = measure(
                ["opt-14", f"-O{level}", self.bitcode, "-o", OUT / "speed.bc"], repeats)
        return rows

    def quality(self, levels=(1, 2, 3)):
        """Executed cost after over before: of quillopt by level, and of LLVM -O1 by instructions, by
        the machine's cost table, and by that table counted from registers (mem2reg) on. None where
        the program does not run to its end in time."""
        before, code, output = counts([BIN / "ic-run", "--count", "--limit", "400000000", self.icode])
        if code >= 120 or "cost" not in before:
            return None
        rows = {"nodes": before.get("nodes", 0)}
        for level in levels:
            optimized = OUT / "quality.opt"
            subprocess.run([BIN / "quillopt", f"--opt_level={level}", self.icode, optimized], check=True,
                           stdout=subprocess.DEVNULL)
            after, code_after, output_after = counts([BIN / "ic-run", "--count", optimized])
            if (code_after, output_after) != (code, output):
                raise RuntimeError(f"{self.name}: the output differs at level {level}")
            rows[level] = after["cost"] / before["cost"]
        registers, after = OUT / "registers.bc", OUT / "after.bc"
        subprocess.run(["opt-14", "-mem2reg", self.counted, "-o", registers], check=True)
        subprocess.run(["opt-14", "-O1", "-vectorize-loops=false", "-vectorize-slp=false", self.counted,
                        "-o", after], check=True)
        try:
            memory = counts([BIN / "ir_count", self.counted])[0]
            start = counts([BIN / "ir_count", registers])[0]
            end = counts([BIN / "ir_count", after])[0]
        except subprocess.TimeoutExpired:
            return None
        if not (memory.get("cost") and start.get("cost") and end.get("cost")):
            return None
        rows["llvm instructions"] = end["instructions"] / memory["instructions"]
        rows["llvm cost"] = end["cost"] / memory["cost"]
        rows["llvm from registers"] = end["cost"] / start["cost"]
        return rows


def generated(name, *arguments):
    source = OUT / f"{name}.c"
    with source.open("w") as file:
        subprocess.run([BIN / "generate_bench_c", *map(str, arguments)], check=True, stdout=file)
    return Program(source)


def csmith_programs(count):
    """(programs that compile, seeds tried); seeds from 1 on."""
    found, seed = [], 0
    include = ROOT / "tools" / "ic-diff" / "include"  # its csmith.h fits both machines
    while len(found) < count and seed < 4 * count:
        seed += 1
        source = OUT / f"csmith{seed}.c"
        with source.open("w") as file:
            subprocess.run(["csmith", "--seed", str(seed), *CSMITH], check=True, stdout=file, cwd=OUT)
        try:
            found.append(Program(source, [include]))
        except subprocess.CalledProcessError:
            pass
    return found, seed


class Table:
    def __init__(self, title, head):
        self.title, self.head, self.rows = title, head, []

    def text(self):
        rows = [self.head] + [[cell if isinstance(cell, str) else f"{cell:.3f}" if isinstance(cell, float)
                               else str(cell) for cell in row] for row in self.rows]
        widths = [max(len(row[i]) for row in rows) for i in range(len(self.head))]
        lines = [self.title, ""]
        for row in rows:
            lines.append("  ".join([row[0].ljust(widths[0])] +
                                   [cell.rjust(width) for cell, width in zip(row[1:], widths[1:])]))
        return "\n".join(lines) + "\n"

    def page(self):
        """Bars for each row: one for each column of numbers, scaled to the largest of the table."""
        numbers = [cell for row in self.rows for cell in row if isinstance(cell, float) and cell == cell]
        top = max(numbers, default=1) or 1
        colours = ["#4878a8", "#6a9f58", "#d1813b", "#a05d9c", "#7c7c7c", "#b5493c", "#39a0a0", "#96792b"]
        parts = [f"<h2>{html.escape(self.title)}</h2>"]
        columns = [i for i in range(1, len(self.head)) if any(isinstance(r[i], float) for r in self.rows)]
        parts.append("<p>" + " ".join(f'<span style="color:{colours[n % 8]}">&#9632; {html.escape(self.head[i])}</span>'
                                      for n, i in enumerate(columns)) + "</p>")
        height, y, bars = 9, 0, []
        for row in self.rows:
            bars.append(f'<text x="150" y="{y + height * len(columns) / 2 + 4}" text-anchor="end">{html.escape(row[0])}</text>')
            for n, i in enumerate(columns):
                value = row[i] if isinstance(row[i], float) else float("nan")
                if value == value:
                    bars.append(f'<rect x="156" y="{y}" width="{480 * value / top:.1f}" height="{height - 1}" '
                                f'fill="{colours[n % 8]}"/><text x="{160 + 480 * value / top:.1f}" y="{y + height - 1}" '
                                f'class="v">{value:.3f}</text>')
                y += height
            y += 6
        parts.append(f'<svg width="720" height="{y}">{"".join(bars)}</svg>')
        parts.append(f"<pre>{html.escape(self.text())}</pre>")
        return "\n".join(parts)


def speed_tables(programs, repeats):
    times = Table("Process time in ms for 1,000 source lines, and the ratio of quillopt to opt at like levels",
                  ["program", "lines"] + [f"quillopt {n}" for n in LEVELS] + [f"opt -O{n}" for n in LEVELS] +
                  ["2 / -O1", "2 / -O2", "3 / -O3"])
    memory = Table("Peak memory in MB", ["program"] + [f"quillopt {n}" for n in LEVELS] + [f"opt -O{n}" for n in LEVELS])
    ratios = []
    for program in programs:
        rows = program.speed(repeats)

        def per_line(tool, level):
            return 1e6 * rows[tool, level][0] / program.lines

        ratio = [rows["quillopt", ours][0] / max(rows["opt", theirs][0], 1e-4)
                 for ours, theirs in ((2, 1), (2, 2), (3, 3))]
        ratios.append(ratio)
        times.rows.append([program.name, program.lines] + [per_line("quillopt", n) for n in LEVELS] +
                          [per_line("opt", n) for n in LEVELS] + ratio)
        memory.rows.append([program.name] + [rows["quillopt", n][1] / 1e6 for n in LEVELS] +
                           [rows["opt", n][1] / 1e6 for n in LEVELS])
    times.rows.append(["median", ""] + [statistics.median(r[i] for r in times.rows) for i in range(2, 10)] +
                      [statistics.median(r[i] for r in ratios) for i in range(3)])
    return [times, memory]


def growth_table(repeats, quick):
    table = Table("Growth: microseconds for each unit of the input at levels 2 and 3",
                  ["input", "units", "level 2", "level 3"])
    inputs = [("functions", "functions", n) for n in ((25, 250) if quick else (25, 250, 1000))]
    inputs += [("statements of one function", "statements", n) for n in ((500, 2000) if quick else (500, 5000, 20000))]
    for title, word, number in inputs:
        program = generated(f"{word}{number}", word, number)
        cells = [1e6 * measure([BIN / "quillopt", f"--opt_level={level}", program.icode, OUT / "growth.opt"],
                               repeats if number < 1000 else 1)[0] / number for level in (2, 3)]
        table.rows.append([title, number] + cells)
    return table


QUALITY = [1, 2, 3, "llvm instructions", "llvm cost", "llvm from registers"]


def quality_row(name, rows):
    return [name] + [rows[key] for key in QUALITY] + [rows[3] / rows["llvm from registers"]]


def quality_tables(programs, csmith_count):
    head = ["program", "level 1", "level 2", "level 3", "-O1 instr", "-O1 cost", "-O1 cost r", "3 / -O1 cost r"]
    table = Table("Executed cost after over before (r: counted from code whose locals are in registers, as ic-run\n"
                  "counts; -O1 without its vectorizers and inliner)", head)
    table.rows = [quality_row(p.name, rows) for p in programs if (rows := p.quality())]

    def add_mean(title, rows):
        table.rows.append([title] + [geometric_mean(r[i] for r in rows) for i in range(1, len(head))])

    add_mean("geometric mean", list(table.rows))
    if csmith_count:
        found, tried = csmith_programs(csmith_count)
        rows = [quality_row(p.name, r) for p in found if (r := p.quality())]
        add_mean(f"{len(rows)} of csmith", rows)
        print(f"csmith: {tried} seeds tried, {len(found)} compiled, {len(rows)} ran to their end")
    return [table]


def interpreter_table(programs):
    table = Table("ic-run: millions of executed nodes a second", ["program", "nodes", "rate"])
    for program in programs:
        nodes = counts([BIN / "ic-run", "--count", program.icode])[0].get("nodes", 0)
        if nodes < 5_000_000:
            continue
        seconds, _ = measure([BIN / "ic-run", program.icode], 3)
        table.rows.append([program.name, nodes, nodes / seconds / 1e6])
    return table


def main():
    parser = argparse.ArgumentParser(prog="./quill bench", description=__doc__)
    parser.add_argument("--quick", action="store_true", help="fewer repetitions and smaller inputs")
    parser.add_argument("--csmith", type=int, default=0, metavar="N", help="quality over N programs of csmith too")
    parser.add_argument("--html", metavar="FILE", help="write a page with plots")
    parser.add_argument("--only", choices=["speed", "growth", "quality", "run"], help="one part alone")
    parser.add_argument("sources", nargs="*", type=pathlib.Path, help="C programs (default: examples and generated ones)")
    options = parser.parse_args()
    OUT.mkdir(parents=True, exist_ok=True)
    examples = [Program(source) for source in options.sources or sorted((ROOT / "examples").glob("*.c"))]
    large = [] if options.sources else [generated("generated25", "functions", 25),
                                        generated("generated250", "functions", 250)]
    repeats = 3 if options.quick else 9
    tables = []
    if options.only in (None, "speed"):
        tables += speed_tables(examples + large, repeats)
    if options.only in (None, "growth"):
        tables.append(growth_table(repeats, options.quick))
    if options.only in (None, "quality"):
        tables += quality_tables(examples, options.csmith)
    if options.only in (None, "run"):
        tables.append(interpreter_table(examples + [Program(ROOT / "bench" / "spin.c")]))
    text = "\n".join(table.text() for table in tables)
    print(text)
    (OUT / "table.txt").write_text(text)
    if options.html:
        style = "body{font:14px sans-serif;max-width:60em;margin:2em auto}text{font:9px sans-serif}.v{font-size:7px}pre{overflow-x:auto}"
        pathlib.Path(options.html).write_text(
            f'<!DOCTYPE html><html lang="en"><meta charset="utf-8"><title>quillopt bench</title><style>{style}</style>'
            f"<h1>quillopt beside opt</h1>{''.join(table.page() for table in tables)}</html>")
    return 0


if __name__ == "__main__":
    sys.exit(main())
