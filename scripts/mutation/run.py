"""Plants faults one by one in copies of the tree, builds them, and runs the tests that should notice. See scripts/mutate.

Where VORN_MUTATE_WAIT is set, its command is run before every build and every test, as one that waits for a quiet machine.
"""

import argparse
import hashlib
import os
import pathlib
import queue
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

import faults
import rooms

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "mutate"
EXPLAINED = pathlib.Path(__file__).with_name("explained.txt")
CONFIGURE = [
    "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DCMAKE_CXX_FLAGS=-w",
    "-DVORN_BUILD_EXAMPLES=OFF",
]
# A fault may take all the memory, or fill the disk.
LIMITS = ["prlimit", f"--as={8 << 30}", f"--fsize={1 << 30}", "--core=0"]
WAIT = shlex.split(os.environ.get("VORN_MUTATE_WAIT", ""))


def tracked(*folders):
    listed = subprocess.run(
        ["git", "ls-files", "--cached", "--others", "--exclude-standard", "-z", "--", *folders],
        cwd=ROOT, check=True, capture_output=True, text=True).stdout
    return sorted(name for name in listed.split("\0") if name and (ROOT / name).is_file())


def digest(names):
    together = hashlib.sha1()
    for name in names:
        together.update(name.encode() + b"\0" + (ROOT / name).read_bytes() + b"\0")
    return together.hexdigest()[:12]


class Failed(Exception):
    pass


class Copy:
    """A copy of the tree and its build, in which one fault at a time stands."""

    def __init__(self, number, scratch):
        self.tree = WORK / str(number) / "tree"
        self.build = WORK / str(number) / "build"
        self.environment = {**os.environ, "TMPDIR": scratch}

    def prepare(self, targets):
        wanted = tracked()
        for name in wanted:
            source, target = ROOT / name, self.tree / name
            content = source.read_bytes()
            if source.name == "CMakeLists.txt":
                # No file is added while the faults are tried, so nobody needs to look for one at every build.
                content = re.sub(rb"(?<!_)CONFIGURE_DEPENDS ", b"", content)
            if not target.is_file() or target.read_bytes() != content:
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(content)
                shutil.copymode(source, target)
        for path in list(self.tree.rglob("*")):
            if path.is_file() and str(path.relative_to(self.tree)) not in set(wanted):
                path.unlink()
        launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
        self.environment.setdefault("CCACHE_BASEDIR", str(WORK))
        self.build.mkdir(exist_ok=True)
        self.run(["cmake", "-S", str(self.tree), "-B", str(self.build), *CONFIGURE, *launcher])
        self.run(["ninja", "-C", str(self.build), *targets])

    def run(self, command):
        result = self.execute(command, None)[0]
        if result.returncode != 0:
            raise Failed(f"{' '.join(command)}\n{result.stdout}")

    def execute(self, command, limit):
        """-> what became of the command, None where it was killed at the limit; the seconds"""
        if WAIT:
            subprocess.run([*WAIT, "true"], check=True)
        begin = time.monotonic()
        # Into a file, as a loop that never ends may say a lot.
        with tempfile.TemporaryFile() as output:
            process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "KILL", *command], cwd=self.build, env=self.environment,
                stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, start_new_session=True)
            try:
                process.wait(limit)
                hung = False
            except subprocess.TimeoutExpired:
                hung = True
            # What a test has started ends with it, where it crashed too.
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            seconds = time.monotonic() - begin
            process.wait()
            output.seek(0)
            said = output.read().decode(errors="replace")
        return None if hung else subprocess.CompletedProcess(command, process.returncode, said), seconds

    def builds(self, targets):
        return self.execute(["ninja", "-C", str(self.build), *targets], None)[0].returncode == 0

    def try_fault(self, fault, text, stages, limits):
        """-> outcome, what noticed it"""
        path = self.tree / fault.path
        path.write_text(fault.apply(text))
        try:
            for step, name in enumerate(stages):
                stage = rooms.STAGES[name]
                if not self.builds(stage.targets):
                    # What compiles and does not link is a fault like any other, but no test is needed for it.
                    return ("not built", "-") if step == 0 else ("noticed", "the build")
                result, _ = self.execute([*LIMITS, *stage.command], limits[name])
                if result is None:
                    return "noticed", f"{name} hung"
                if result.returncode != 0:
                    first = re.search(r"^\[  FAILED  \] (\S+)", result.stdout, re.MULTILINE)
                    return "noticed", first[1].rstrip(",") if first else f"{name} crashed"
            return "survived", "-"
        finally:
            path.write_text(text)


class Results:
    """What is known of each fault, in one file with a line for each trial. The last one counts."""

    def __init__(self, quick):
        self.path = WORK / "results.tsv"
        self.lock = threading.Lock()
        # A survivor is one of these tests: of others it may be none.
        self.tests = digest(tracked("tests", "scripts/mutation/rooms.py")) + (" quick" if quick else "")
        self.sources = {}
        self.known = {}
        if self.path.exists():
            for line in self.path.read_text().splitlines():
                fields = line.split("\t")
                if len(fields) == 9:
                    self.known["\t".join(fields[:4])] = fields[4:]

    def source(self, path):
        if path not in self.sources:
            self.sources[path] = digest([path])
        return self.sources[path]

    def find(self, fault):
        """-> outcome, what noticed it, seconds; None where it has to be tried"""
        outcome, by, seconds, source, tests = self.known.get(fault.key(), [None] * 5)
        if outcome is None or source != self.source(fault.path) or (
            outcome == "survived" and not self.tests.startswith(tests)
        ):
            return None
        return outcome, by, float(seconds)

    def keep(self, fault, outcome, by, seconds):
        with self.lock, self.path.open("a") as file:
            fields = [fault.key(), outcome, by, f"{seconds:.1f}", self.source(fault.path), self.tests]
            file.write("\t".join(fields) + "\n")


def explanations():
    """(path, n-th such line, old, new): why; the file is as its own head says."""
    found = {}
    for block in re.split(r"\n\s*\n", EXPLAINED.read_text()):
        lines = [line for line in block.splitlines() if line and not line.startswith("#")]
        if lines:
            place, old, new, *why = lines
            path, nth = re.fullmatch(r"(\S+)(?: \(the (\d+)\w\w\))?", place).groups()
            if not (old.startswith("- ") and new.startswith("+") and why):
                raise Failed(f"{EXPLAINED.name}: cannot be read at: {path} {old}")
            found[path, int(nth or 1), old[2:], new[2:]] = " ".join(why)
    return found


def in_turn(sources, seed):
    """One fault of every file, then the next one of each, files in an order that the seed decides."""
    files = sorted(sources, key=lambda path: hashlib.sha1(f"{seed} {path}".encode()).digest())
    queues = [faults.chosen(path, sources[path], seed) for path in files]
    for turn in range(max(map(len, queues), default=0)):
        yield from (each[turn] for each in queues if turn < len(each))


class Run:
    def __init__(self, arguments):
        self.count = arguments.count
        names = [name for name in tracked("src") if name.endswith((".cpp", ".h"))]
        names = [name for name in names if name.startswith(tuple(arguments.paths or ["src"]))]
        self.sources = {name: (ROOT / name).read_text() for name in names}
        self.faults = in_turn(self.sources, arguments.seed)
        self.quick = arguments.quick
        self.results = Results(self.quick)
        self.explained = explanations()
        self.lock = threading.Lock()
        self.outcomes = []  # (fault, outcome) of those that count
        self.under_way = 0
        self.not_built = 0
        self.limits = {}
        self.problem = None

    def stages_of(self, path):
        return [name for name in rooms.stages_of(path) if not (self.quick and name.endswith(", long"))]

    def next(self):
        """The next fault to try; None when there are enough. Those that are known are reported on the way."""
        while True:
            with self.lock:
                if self.problem or len(self.outcomes) + self.under_way >= self.count:
                    # One under way that does not compile makes room for another.
                    if self.problem or self.under_way == 0 or len(self.outcomes) >= self.count:
                        return None
                    fault = None
                else:
                    fault = next(self.faults, None)
                    if fault is None:
                        return None
                    self.under_way += 1
            if fault is None:
                time.sleep(0.2)
                continue
            if (fault.path, fault.nth, fault.old, fault.new) in self.explained:
                self.report(fault, "explained", "-", 0)
            elif known := self.results.find(fault):
                self.report(fault, *known)
            else:
                return fault

    def report(self, fault, outcome, by, seconds):
        with self.lock:
            self.under_way -= 1
            if outcome == "not built":
                self.not_built += 1
                return
            self.outcomes.append((fault, outcome))
            said = outcome if by == "-" else f"{outcome} by {by}"
            number = f"{len(self.outcomes)}/{self.count}"
            print(f"{number} {fault.path}:{fault.line}  {fault.old}  ->  {fault.new}  {said}  {seconds:.0f} s", flush=True)

    def work(self, copy):
        try:
            while fault := self.next():
                begin = time.monotonic()
                outcome, by = copy.try_fault(fault, self.sources[fault.path], self.stages_of(fault.path), self.limits)
                seconds = time.monotonic() - begin
                self.results.keep(fault, outcome, by, seconds)
                self.report(fault, outcome, by, seconds)
        except Exception as problem:  # Shown by the main thread; the others stop.
            self.problem = problem

    def measure(self, copy, stages):
        """How long the tests take where nothing is wrong: a fault that hangs is known by that."""
        for name in stages:
            result, seconds = copy.execute([*LIMITS, *rooms.STAGES[name].command], None)
            if result.returncode != 0:
                raise Failed(f"{name} fails without a fault:\n{result.stdout[-4000:]}")
            self.limits[name] = 30 + 6 * seconds
            print(f"without a fault: {name} {seconds:.1f} s", flush=True)

    def all(self, copies):
        stages = list(dict.fromkeys(stage for path in self.sources for stage in self.stages_of(path)))
        targets = sorted({target for stage in stages for target in rooms.STAGES[stage].targets} | {"store_tests"})
        for copy in copies:
            copy.prepare(targets)
        self.measure(copies[0], stages)
        # Where this program is ended they end too, and what they have started with them.
        threads = [threading.Thread(target=self.work, args=(copy,), daemon=True) for copy in copies]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        if self.problem:
            raise self.problem

    def say(self):
        """-> whether every fault was noticed or is explained"""
        rows = {}
        for fault, outcome in self.outcomes:
            for room in (str(pathlib.PurePath(fault.path).parent).removeprefix("src/"), "in all"):
                row = rows.setdefault(room, {"noticed": 0, "explained": 0, "survived": 0})
                row[outcome] += 1
        print(f"\n{'room':32} planted noticed explained open")
        for room in sorted(rows, key=lambda room: (room == "in all", room)):
            row = rows[room]
            print(f"{room:32} {sum(row.values()):7} {row['noticed']:7} {row['explained']:9} {row['survived']:4}")
        for path, _, old, new in self.explained:
            if path in self.sources and old not in " ".join(self.sources[path].split()):
                print(f"\n{EXPLAINED.name}: no longer there:\n{path}\n- {old}\n+ {new}")
        survivors = [fault for fault, outcome in self.outcomes if outcome == "survived"]
        for fault in sorted(survivors, key=lambda fault: (fault.path, fault.line)):
            print(f"\n{fault.path}\n- {fault.old}\n+ {fault.new}\nline {fault.line}")
        counted = {name: sum(outcome == name for _, outcome in self.outcomes) for name in ("noticed", "explained")}
        print(f"\n{len(self.outcomes)} planted, {counted['noticed']} noticed, {counted['explained']} explained, "
              f"{len(survivors)} open; {self.not_built} did not compile")
        return not survivors


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutate")
    parser.add_argument("-j", dest="jobs", type=int, default=os.cpu_count())
    parser.add_argument("-q", dest="quick", action="store_true")
    parser.add_argument("count", nargs="?", type=int, default=100)
    parser.add_argument("seed", nargs="?", type=int, default=1)
    parser.add_argument("paths", nargs="*", metavar="PATH")
    arguments = parser.parse_intermixed_args()
    run = Run(arguments)
    if not run.sources:
        parser.error("no file of src has such a path")
    WORK.mkdir(parents=True, exist_ok=True)
    os.nice(10)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    scratch = tempfile.mkdtemp(prefix="vorn-mutate-")
    os.chmod(scratch, 0o1777)  # A server of a test runs as another user.
    try:
        run.all([Copy(number + 1, scratch) for number in range(arguments.jobs)])
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    return run.say()


if __name__ == "__main__":
    try:
        sys.exit(0 if main() else 1)
    except Failed as problem:
        sys.exit(f"scripts/mutate: {problem}")
