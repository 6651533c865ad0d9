#!/usr/bin/env python3
"""Changes one line of the library at a time and asks the tests whether they notice.

BUILD is a build folder in which span_tests is up to date. Each mutant is compiled alone, without optimisation, linked
with the objects of the tests and run until a test fails: first the tests that killed others of that file, then all. A
mutant of which the optimiser makes the very program that it makes of the library is none. Fails when a mutant survives
that survivors.txt does not explain, or when less than 95 % of them are killed. Each explanation is of one mutant: the
run does not begin with one that fits none or several.
"""

import argparse
import collections
import concurrent.futures
import pathlib
import queue
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import threading
import time

sys.dont_write_bytecode = True
import mutants  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIBRARY = pathlib.Path("feature/span/lib")
SURVIVORS = pathlib.Path(__file__).with_name("survivors.txt")
KILL_RATE = 95  # percent
FEWEST = 500  # mutants of all files that can be judged; where there are less, they are no longer found
RUN_SECONDS = 300
COMPILE_SECONDS = 300
LIMITS = ["prlimit", "--core=0", "--cpu=20", "--fsize=268435456"]  # a run takes two seconds
JOBS = 2
FIRST = 20  # tests that are tried before all others

KILLED, SURVIVED, EXPLAINED = "killed", "survived", "survived, explained"
NONE, BROKEN = "the same program", "not compiling"


def run(command, seconds, cwd, output=subprocess.DEVNULL):
    """Whether a command ends well, in time; and its process id."""
    quiet = dict(stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.DEVNULL)
    with subprocess.Popen(command, cwd=cwd, **quiet) as process:
        try:
            return process.wait(seconds) == 0, process.pid
        except subprocess.TimeoutExpired:
            process.kill()
            return False, process.pid


class Build:
    """How BUILD compiles the library and links the tests."""

    def __init__(self, folder, scratch):
        self.folder = folder
        self.scratch = scratch
        self.lock = threading.Lock()
        self.killers = collections.defaultdict(lambda: collections.deque(maxlen=FIRST))
        ninja = ["ninja", "-C", str(folder), "-t", "commands", "tests/span_tests"]
        commands = subprocess.run(ninja, check=True, capture_output=True, text=True).stdout.splitlines()
        self.compilers = {}
        for command in commands:
            source = re.search(rf" -c \S+/{LIBRARY}/(\w+)\.cpp$", command)
            if source:
                self.compilers[source[1]] = self.flags(command)
        self.linker = shlex.split(commands[-1].removeprefix(": && ").split(" && ")[0])

    @staticmethod
    def flags(command):
        """The compiler with the flags that matter to the program; where to find what is not mutated comes last."""
        words = [word for word in shlex.split(command) if not word.endswith("ccache")]
        keep = [word for word in words if re.match(r"-(m|f|std|D)|/|-idirafter", word)]
        keep = [word for word in keep if not word.endswith(".cpp")]
        return [keep[0], "-I.", f"-I{LIBRARY}", *keep[1:], f"-I{ROOT}", f"-I{ROOT}/platform", "-w"]

    def compile(self, bench, unit, level):
        target = bench / f"{unit}{level}.o"
        headers = ["-include", str(self.scratch / f"headers{level}.h")]
        command = [*self.compilers[unit], level, *headers, "-c", str(LIBRARY / f"{unit}.cpp"), "-o", str(target)]
        return run(command, COMPILE_SECONDS, bench)[0]

    def compile_headers(self, level):
        """Those of the system, which take longer to read than the library."""
        sources = [*(ROOT / LIBRARY).glob("*.cpp"), *(ROOT / LIBRARY).glob("internal/*.h")]
        lines = {line for path in sources for line in path.read_text().splitlines() if line.startswith("#include <")}
        header = self.scratch / f"headers{level}.h"
        header.write_text("\n".join(sorted(lines)) + "\n")
        command = [*next(iter(self.compilers.values())), level, "-x", "c++-header", str(header)]
        return run(command, COMPILE_SECONDS, ROOT)[0]

    def units_with(self, path):
        """The sources that a file of the library is a part of."""
        return [unit for unit in self.compilers if path in self.parts[unit]]

    def read_parts(self, bench):
        self.parts = {}
        for unit, compiler in self.compilers.items():
            command = [*compiler, "-MM", str(LIBRARY / f"{unit}.cpp")]
            listed = subprocess.run(command, check=True, capture_output=True, text=True, cwd=bench).stdout.split()
            self.parts[unit] = {str(pathlib.Path(p).relative_to(LIBRARY)) for p in listed if p.startswith(str(LIBRARY))}

    def tests(self, changed):
        """The tests in one object. They run in the order of theirs: those of the changed sources come first."""
        target = self.scratch / f"tests-{'-'.join(changed)}.o"
        with self.lock:
            if not target.exists():
                rooms = [f"/{unit.removeprefix('span_')}/" for unit in changed]
                objects = [word for word in self.linker if "/span_tests.dir/" in word]
                objects.sort(key=lambda word: not any(room in word for room in rooms))
                subprocess.run(["ld", "-r", "-o", str(target), *objects], check=True, cwd=self.folder)
        return target

    def link(self, bench, objects, changed):
        words = []
        for word in self.linker:
            unit = re.search(rf"{LIBRARY}/.*/(\w+)\.cpp\.o$", word)
            if "/span_tests.dir/" not in word:
                words.append(str(objects[unit[1]]) if unit else word)
        words.insert(words.index("-o"), str(self.tests(changed)))
        words[words.index("-o") + 1] = str(bench / "span_tests")
        words.append("-fuse-ld=gold")  # the fastest one of binutils
        return run(words, COMPILE_SECONDS, self.folder)[0]


class Bench:
    """A copy of the library to change, and the tests linked with it."""

    def __init__(self, build, folder, original=None):
        self.build = build
        self.folder = folder
        self.original = original or self
        shutil.copytree(ROOT / LIBRARY, folder / LIBRARY)

    def objects(self, units):
        return {unit: (self if unit in units else self.original).folder / f"{unit}-O0.o" for unit in self.build.compilers}

    def tests_pass(self, names=()):
        """Of some tests, or of all."""
        choice = [f"--gtest_filter={':'.join(names)}"] if names else []
        with open(self.folder / "output", "wb") as output:
            command = [*LIMITS, "./span_tests", "--gtest_fail_fast", *choice]
            passed, pid = run(command, RUN_SECONDS, self.folder, output)
        for left in pathlib.Path("/tmp").glob(f"span_show_internal_all.{pid}*"):
            shutil.rmtree(left) if left.is_dir() and not left.is_symlink() else left.unlink()
        return passed

    def failed_test(self):
        """The one that the last run ended at, be it that the program crashed."""
        with open(self.folder / "output", "rb") as output:
            output.seek(max(0, output.seek(0, 2) - 20000))
            told = output.read().decode(errors="replace")
        failed = re.search(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", told, re.MULTILINE)
        begun = re.findall(r"^\[ RUN      \] ([\w/]+\.[\w/]+)", told, re.MULTILINE)
        return failed[1] if failed else begun[-1] if begun else None

    def is_killed(self, path):
        killers = self.build.killers[path]
        if killers and not self.tests_pass(list(killers)):
            return True
        if self.tests_pass():
            return False
        name = self.failed_test()
        if name and name not in killers and self.original.tests_pass([name]):  # alone, too
            killers.append(name)
        return True

    def is_same_program(self, units):
        def code(bench, unit):
            return (bench.folder / f"{unit}-O2.o").read_bytes()

        return all(self.build.compile(self.folder, unit, "-O2") for unit in units) and all(
            code(self, unit) == code(self.original, unit) for unit in units
        )

    def judge(self, path):
        """What becomes of the library as it stands here, of which this file has changed."""
        units = self.build.units_with(path)
        if not all(self.build.compile(self.folder, unit, "-O0") for unit in units):
            return BROKEN
        if not self.build.link(self.folder, self.objects(units), units):
            return BROKEN
        if self.is_killed(path):
            return KILLED
        return NONE if self.is_same_program(units) else SURVIVED

    def try_mutant(self, mutant):
        path = self.folder / LIBRARY / mutant.path
        text = path.read_text()
        lines = text.splitlines()
        lines[mutant.line - 1] = mutant.new
        path.write_text("\n".join(lines) + "\n")
        try:
            return self.judge(mutant.path)
        finally:
            path.write_text(text)


def explanations():
    """The changes that survivors.txt explains; the reason stands indented below each."""
    lines = SURVIVORS.read_text().splitlines()
    return [line for line in lines if line and not line.startswith(("#", " "))]


def generate():
    found = []
    for path in sorted([*(ROOT / LIBRARY).glob("*.cpp"), *(ROOT / LIBRARY).glob("internal/*.h")]):
        found += mutants.mutants_of(str(path.relative_to(ROOT / LIBRARY)), path.read_text())
    return found


def explained_of(everything):
    """The mutants that are explained. Ends when an explanation is not of exactly one, or one has several."""
    named = collections.defaultdict(list)
    for mutant in everything:
        for name in mutant.names():
            named[name].append(mutant)
    wrong = []
    explained = {}
    for line in explanations():
        if not named[line]:
            wrong.append(f"explained, but no mutant: {line}")
        elif len(named[line]) > 1:
            places = ", ".join(f"{mutant.place or 'in none'} ({mutant.line})" for mutant in named[line])
            wrong.append(f"explained, but in several places, one of which its function has to tell: {line}\n  {places}")
        elif named[line][0] in explained:
            wrong.append(f"explained twice: {line}")
        else:
            explained[named[line][0]] = line
    if wrong:
        sys.exit("mutation: " + "\nmutation: ".join(wrong))
    return set(explained)


def selected(everything, only):
    """Those in files with a text in their name; behind a colon the lines, the only one or the first and the last one."""
    text, _, lines = only.partition(":")
    first, _, last = lines.partition("-")
    bounds = range(int(first or 1), int(last or first or sys.maxsize) + 1)
    return [mutant for mutant in everything if text in mutant.path and mutant.line in bounds]


def spread(everything, size):
    """A sample of that size, evenly over all."""
    size = min(size or len(everything), len(everything))
    return [everything[i * len(everything) // size] for i in range(size)]


class Report:
    def __init__(self, total, fewest):
        self.total = total
        self.fewest = fewest
        self.counts = collections.Counter()
        self.start = time.monotonic()

    def add(self, mutant, outcome, is_explained):
        if is_explained and outcome == SURVIVED:
            outcome = EXPLAINED
        self.counts[outcome] += 1
        if outcome == SURVIVED or (is_explained and outcome == KILLED):
            remark = ": explained, but noticed" if is_explained else ""
            print(f"{LIBRARY}/{mutant.path}:{mutant.line}{remark}")
            print(f"- {mutant.old.strip()}\n+ {mutant.new.strip()}\n", flush=True)
        done = sum(self.counts.values())
        if sys.stderr.isatty() or done % 25 == 0 or done == self.total:
            state = ", ".join(f"{count} {name}" for name, count in sorted(self.counts.items()))
            end = "\r" if sys.stderr.isatty() and done < self.total else "\n"
            print(f"mutation: {done} of {self.total}: {state}", end=end, file=sys.stderr, flush=True)

    def passes(self):
        judged = self.counts[KILLED] + self.counts[SURVIVED] + self.counts[EXPLAINED]
        print(f"mutants that compile and are other programs: {judged}")
        for name in (KILLED, EXPLAINED, SURVIVED):
            print(f"  {name}: {self.counts[name]} ({100 * self.counts[name] / max(judged, 1):.1f} %)")
        print(f"not counted: {self.counts[BROKEN]} {BROKEN}, {self.counts[NONE]} {NONE}")
        print(f"time: {time.monotonic() - self.start:.0f} s")
        if judged < self.fewest:
            print(f"too few: {self.fewest} are wanted")
        return judged >= self.fewest and self.counts[SURVIVED] == 0 and 100 * self.counts[KILLED] >= KILL_RATE * judged


def prepare(build, scratch):
    """The library as it is, and a bench for each job. Ends when the tests fail by themselves."""
    original = Bench(build, scratch / "original")
    build.read_parts(original.folder)
    units = list(build.compilers)
    ready = all(
        build.compile_headers(level) and all(build.compile(original.folder, unit, level) for unit in units)
        for level in ("-O0", "-O2")
    )
    if not (len(units) == 3 and ready and build.link(original.folder, original.objects(units), []) and original.tests_pass()):
        sys.exit("mutation: the tests fail without a mutant, too")
    benches = queue.SimpleQueue()
    for job in range(JOBS):
        benches.put(Bench(build, scratch / f"job{job}", original))
    return benches


def try_all(chosen, benches, explained, fewest):
    report = Report(len(chosen), fewest)

    def judge(mutant):
        bench = benches.get()
        try:
            return bench.try_mutant(mutant)
        finally:
            benches.put(bench)

    with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
        running = {pool.submit(judge, mutant): mutant for mutant in chosen}
        for done in concurrent.futures.as_completed(running):
            report.add(running[done], done.result(), running[done] in explained)
    return report


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, nargs="?", help="build folder with span_tests")
    parser.add_argument("--check", action="store_true", help="only look whether each explanation is of one mutant")
    parser.add_argument("--explained", action="store_true", help="try only those that are explained")
    parser.add_argument("--sample", type=int, metavar="N", help="try N mutants, evenly spread, not all")
    parser.add_argument("--only", default="", metavar="TEXT[:LINE[-LINE]]", help="files with TEXT in their name")
    options = parser.parse_args()
    if not options.check and options.build is None:
        parser.error("a build folder is needed")

    everything = generate()
    explained = explained_of(everything)
    if options.check:
        return
    candidates = [mutant for mutant in everything if mutant in explained] if options.explained else everything
    chosen = spread(selected(candidates, options.only), options.sample)
    fewest = 1 if options.only or options.sample or options.explained else FEWEST
    print(f"mutation: {len(chosen)} of {len(everything)} mutants", file=sys.stderr)
    with tempfile.TemporaryDirectory() as scratch:
        benches = prepare(Build(options.build.resolve(), pathlib.Path(scratch)), pathlib.Path(scratch))
        report = try_all(chosen, benches, explained, fewest)
    sys.exit(0 if report.passes() else 1)


main()
