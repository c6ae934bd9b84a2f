#!/usr/bin/python3
"""Whole runs of a CBED pattern in one way and in another, in turn, as ratios of their times, with
the largest deviation of a value in units of the incident beam beside them.

whole_runs.py ORVEL ORVEL_MPI MPIEXEC PAIRS
"""
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
INCIDENT = 10000.0


class Way:
    """A way to run the pattern: a command before the name of the parameter file, keys."""

    def __init__(self, name, command, keys="", copies=1):
        self.name, self.command, self.keys, self.copies = name, command, keys, copies

    def run(self, folder):
        """Wall time of the copies side by side, and the values of the first."""
        started = []
        for copy in range(self.copies):
            work = pathlib.Path(folder, f"{copy}")
            work.mkdir(exist_ok=True)
            work.joinpath("si001.dat").write_text(HERE.joinpath("si001.dat").read_text())
            work.joinpath("orvel.ini").write_text(self.keys + "INI_PARAM_END\n")
            started.append(work)
        begin = time.perf_counter()
        runs = [subprocess.Popen(self.command + ["si001.dat"], cwd=work, stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL) for work in started]
        if any(run.wait() != 0 for run in runs):
            raise SystemExit(f"{self.name}: a run failed")
        return time.perf_counter() - begin, values(started[0])


def values(folder):
    """Every intensity of every result file."""
    found = []
    for path in sorted(folder.glob("si001_rs*.txt")):
        for block in path.read_text().split("RF{\n")[1:]:
            lines = block.split("}RF")[0].splitlines()
            found += [float(line) for line in lines[2:]]
    return found


def row(way, reference, pairs):
    times, times_of_reference, deviation = [], [], 0.0
    with tempfile.TemporaryDirectory() as a, tempfile.TemporaryDirectory() as b:
        for _ in range(pairs):
            t, got = way.run(a)
            t_reference, expected = reference.run(b)
            times.append(t)
            times_of_reference.append(t_reference)
            deviation = max(deviation, max(abs(x - y) for x, y in zip(got, expected, strict=True)))
    t, t_reference = statistics.median(times), statistics.median(times_of_reference)
    print(f"{way.name + '/' + reference.name:58s} {t:8.3f} {t_reference:8.3f} "
          f"{t / t_reference:6.2f} {deviation / INCIDENT:9.1e}", flush=True)


def main():
    orvel, orvel_mpi, mpiexec, pairs = sys.argv[1:5]
    one = Way("one run", [orvel])
    os.environ.update(OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1")
    ways = [Way("two runs side by side", [orvel], copies=2),
            Way("num_threads 2", [orvel], "num_threads 2\n"),
            Way("tilt_symmetry_flag 1", [orvel], "tilt_symmetry_flag 1\n"),
            Way("propagation_flag 1", [orvel], "propagation_flag 1\n"),
            Way("both flags, num_threads 2", [orvel],
                "tilt_symmetry_flag 1\npropagation_flag 1\nnum_threads 2\n")]
    print(f"{'Whole runs (Si [001], 1257 tilts)':58s}      [s]      [s]  ratio  max. dev.")
    for way in ways:
        row(way, one, int(pairs))
    if os.path.exists(orvel_mpi):
        one_rank = Way("1 rank", [mpiexec, "-n", "1", orvel_mpi])
        row(Way("2 ranks", [mpiexec, "-n", "2", orvel_mpi]), one_rank, int(pairs))
        row(one_rank, one, int(pairs))


if __name__ == "__main__":
    main()
