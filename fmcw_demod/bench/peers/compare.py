"""Times the library and the program beside NumPy and SciPy, job by job in turn on one processor, and
writes the table of bars as JSON and Markdown.

usage: compare.py LIBRARY_PEER PROGRAM OUT_DIRECTORY [ROUNDS]
"""
import datetime
import json
import os
import pathlib
import platform
import statistics
import subprocess
import sys
import time

import numpy as np
import scipy

HERE = pathlib.Path(__file__).resolve().parent
FS = 125e6
TARGETS = {"AVX-512": 2, "AVX2": 1, "baseline": 0}
SINGLE_THREAD = dict.fromkeys(("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS"), "1")


def make_capture(path, count):
    """Sawtooth: 40 MHz up in 100 us, back in 5 us, continuous phase, SNR 40 dB."""
    if path.exists() and path.stat().st_size == 8 * count:
        return path
    ramp, flyback, sweep, amplitude = 100e-6, 5e-6, 40e6, 0.3
    within = np.mod(np.arange(count) / FS, ramp + flyback)
    rising = -sweep / 2 + sweep * within / ramp
    falling = sweep / 2 - sweep * (within - ramp) / flyback
    turns = np.cumsum(np.where(within < ramp, rising, falling)) / FS
    noise = np.random.default_rng(1).standard_normal((2, count))
    samples = amplitude * np.exp(2j * np.pi * turns)
    samples += amplitude * 10 ** (-40 / 20) / np.sqrt(2) * (noise[0] + 1j * noise[1])
    samples.astype(np.complex64).tofile(path)
    return path


class Peer:
    """A program that answers jobs, one line each."""

    def __init__(self, *command):
        self.found = {}
        self.process = subprocess.Popen([str(word) for word in command], text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        env={**os.environ, **SINGLE_THREAD})

    def ask(self, job):
        self.process.stdin.write(job + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline()
        if not answer:
            sys.exit(f"compare: {self.process.args} ended at the job '{job}'")
        return answer.strip()

    def time(self, job):
        """Seconds that a job took. What it found, if its answer says, must never change."""
        seconds, *found = self.ask(job).split()
        if found and found != self.found.setdefault(job, found):
            sys.exit(f"compare: {self.process.args} found {found} in the job '{job}', "
                     f"before {self.found[job]}")
        return float(seconds)

    def close(self):
        self.process.stdin.close()
        self.process.wait()


def run_program(program, capture, jobs, processors):
    """(processor time, wall time) [s] of a whole run of the program, rows to a pipe nobody keeps."""
    command = [program, "analyze", str(capture), "--fs", "125M", "--jobs", str(jobs), "--csv", "-"]
    begin = time.monotonic()
    child = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                             preexec_fn=lambda: os.sched_setaffinity(0, processors))
    _, status, usage = os.wait4(child.pid, 0)
    if status != 0:
        sys.exit(f"compare: {command} ended with status {status}")
    return usage.ru_utime + usage.ru_stime, time.monotonic() - begin


def measure_program(program, capture, rounds, processors):
    """The program on one thread beside NumPy, in turn, and on two threads. Wall times are the least of
    the rounds: whoever else uses the machine only adds to them."""
    numpy_peer = Peer(sys.executable, HERE / "numpy_peer.py", capture, FS)
    one = os.sched_getaffinity(0)
    times = {"numpy figures": [], "processor": [], "1": [], "2": []}
    for k in range(rounds):
        times["numpy figures"].append(numpy_peer.time("analysis figures"))
        times["processor"].append(run_program(program, capture, 1, one)[0])
        for _ in range(5):
            for jobs in (1, 2):
                times[str(jobs)].append(run_program(program, capture, jobs, processors)[1])
        show(f"   round {k + 1} of {rounds}")
    numpy_peer.close()
    return {"numpy figures": statistics.median(times["numpy figures"]),
            "processor": statistics.median(times["processor"]),
            "wall": {jobs: min(times[jobs]) for jobs in ("1", "2")}}


def show(text):
    print(text, file=sys.stderr, flush=True)


def median_times(rounds, jobs):
    """jobs: name -> (peer, job). In every round each job runs twice and the second run counts: what
    the system takes back while others have their turn is not the job's doing."""
    times = {name: [] for name in jobs}
    for k in range(rounds):
        for name, (peer, job) in jobs.items():
            peer.ask(job)
            times[name].append(peer.time(job))
        show(f"   round {k + 1} of {rounds}")
    return {name: statistics.median(values) for name, values in times.items()}


def measure(library, program, directory, rounds, processors):
    captures = {count: make_capture(directory / f"sawtooth_{count}.cf32", count)
                for count in (100_000, 1_000_000, 4_000_000, 10_000_000)}
    million = captures[1_000_000]

    def library_peer(capture, target):
        return Peer(library, capture, FS, TARGETS[target])

    numpy_peer = Peer(sys.executable, HERE / "numpy_peer.py", million, FS)
    peers = {name: library_peer(million, name) for name in TARGETS}
    checks = [peer.ask("check").split() for peer in (numpy_peer, peers["AVX-512"])]
    if checks[0][0] != checks[1][0] or abs(float(checks[0][1]) / float(checks[1][1]) - 1) > 1e-3:
        sys.exit(f"compare: the peers disagree on chirps and first slope: {checks}")

    result = {}
    show("-- whole analyses, 1 000 000 samples")
    jobs = {f"numpy {method}": (numpy_peer, f"analysis {method}")
            for method in ("strided", "chunked", "scipy", "figures")}
    jobs |= {name: (peer, "analysis") for name, peer in peers.items()}
    jobs["reused"] = (peers["AVX-512"], "reused")
    jobs["figures"] = (peers["AVX-512"], "figures")
    result["analysis"] = median_times(rounds, jobs)

    show("-- first analyses in new processes")
    first, memory = [], []
    for _ in range(rounds):
        peer = library_peer(million, "AVX-512")
        first.append(peer.time("analysis"))
        peer.close()
        peer = library_peer(million, "AVX-512")
        memory.append(peer.time("memory"))
        peer.close()
    result["analysis"]["first"] = statistics.median(first)
    result["peak_bytes_per_sample"] = statistics.median(memory)

    show("-- growth")
    sizes = {count: library_peer(captures[count], "AVX-512") for count in (100_000, 4_000_000)}
    growth = median_times(rounds, {count: (peer, "analysis") for count, peer in sizes.items()})
    result["growth"] = {str(count): seconds / count for count, seconds in growth.items()}

    show("-- other windows")
    lengths = (60, 100, 257, 1024, 3001)
    jobs = {}
    for length in lengths:
        jobs[f"scipy {length}"] = (numpy_peer, f"stft {length}")
        jobs[f"scipy without levels {length}"] = (numpy_peer, f"transform {length}")
        jobs[f"library {length}"] = (peers["AVX-512"], f"stft {length}")
    result["stft"] = median_times(rounds, jobs)

    show("-- channel power")
    jobs = {}
    for count in (1_000_003, 1_048_576):
        jobs[f"scipy {count}"] = (numpy_peer, f"power {count}")
        jobs[f"library {count}"] = (peers["AVX-512"], f"power {count}")
    result["power"] = median_times(rounds, jobs)

    show("-- the program, 10 000 000 samples")
    result["program"] = measure_program(program, captures[10_000_000], rounds, processors)
    return result


def bars(result):
    """Rows of (what, must, aim, measured, unit); a ratio is how many times faster."""
    times = result["analysis"]
    idiomatic, tuned = times["numpy strided"], times["numpy chunked"]
    growth = result["growth"]
    rows = [
        ("whole analysis, fresh record, against NumPy idiomatic", 6.5, 9.5, idiomatic / times["AVX-512"], "x"),
        ("the same against NumPy tuned", 4.5, 6.5, tuned / times["AVX-512"], "x"),
        ("first analysis in a new process against NumPy idiomatic", 3.0, 5.5, idiomatic / times["first"], "x"),
        ("limited to AVX2, fresh, against NumPy idiomatic", 4.5, 6.5, idiomatic / times["AVX2"], "x"),
        ("limited to the baseline, fresh, against NumPy idiomatic", 1.2, 2.0, idiomatic / times["baseline"], "x"),
        ("figures only, no spectrogram, record reused, against the same in NumPy", 7.0, 10.0, times["numpy figures"] / times["figures"], "x"),
        ("cost per sample, 4 000 000 against 100 000 samples", 1.25, 1.1, growth["4000000"] / growth["100000"], "of"),
        ("peak memory besides input and result", 32, 12, result["peak_bytes_per_sample"], "B/sample"),
    ]
    for length in (60, 100, 257, 1024, 3001):
        rows.append((f"spectrogram, window {length}, against scipy.signal.stft and levels", 1.0, 3.0,
                     result["stft"][f"scipy {length}"] / result["stft"][f"library {length}"], "x"))
    for count in (1_000_003, 1_048_576):
        rows.append((f"channel power of {count} samples against scipy.fft.fft and levels", 1.0, 3.0,
                     result["power"][f"scipy {count}"] / result["power"][f"library {count}"], "x"))
    program = result["program"]
    rows.append(("fmcw analyze of 10 000 000 samples, one thread, against the same figures in NumPy", 7.0, 10.0,
                 program["numpy figures"] / program["processor"], "x"))
    rows.append(("the same on two threads against one, wall time", 1.8, 1.9,
                 program["wall"]["1"] / program["wall"]["2"], "x"))
    return rows


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def markdown(rows, machine):
    lines = [f"Measured on {machine['date']}, {machine['processor']}, one thread of "
             f"{machine['processors']}; NumPy {machine['numpy']}, SciPy {machine['scipy']}; medians of "
             f"{machine['rounds']} rounds, processor time of the thread; of the program that of the process, and "
             "the least wall times.", "",
             "| 1 000 000 samples unless said otherwise | must | aim | measured |",
             "| --- | --- | --- | --- |"]
    for what, must, aim, measured, unit in rows:
        if unit == "x":
            cells = f"{must:g} x | {aim:g} x | {measured:.1f} x"
        elif unit == "of":
            cells = f"within {must:g} | within {aim:g} | {measured:.2f}"
        else:
            cells = f"{must:g} {unit} | {aim:g} {unit} | {measured:.0f} {unit}"
        lines.append(f"| {what} | {cells} |")
    return "\n".join(lines) + "\n"


def main():
    library, program, directory = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    rounds = int(sys.argv[4]) if len(sys.argv) > 4 else 7
    directory.mkdir(parents=True, exist_ok=True)
    processors = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {max(processors)})
    result = measure(library, program, directory, rounds, processors)
    machine = {"date": datetime.date.today().isoformat(), "processor": processor(),
               "processors": os.cpu_count(), "numpy": np.__version__, "scipy": scipy.__version__,
               "rounds": rounds}
    rows = bars(result)
    table = markdown(rows, machine)
    report = {"machine": machine, "seconds": result,
              "bars": [dict(zip(("what", "must", "aim", "measured", "unit"), row)) for row in rows]}
    for name, text in (("peers.json", json.dumps(report, indent=1) + "\n"), ("peers.md", table)):
        partial = directory / (name + ".part")
        partial.write_text(text)
        partial.replace(directory / name)
    print(table)


main()
