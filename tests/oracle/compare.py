"""Recompute every result file of a finished run and compare: compare.py PARAMETER_FILE.

Run in the folder of the run. Prints one line per file with the largest deviation beyond print
precision, relative to the largest value of its group of columns; exits with 1 when one is above
1e-5 or when any text differs. The physics is written a second time here, from its formulas; only
the order of beams is taken from the program's reflection list, once the list is found to hold the
right beams.
"""

import os
import sys
from types import SimpleNamespace

import numpy as np

import branch_jobs
import jobs
import map_jobs
from beams import Geometry, beam_list_rows, read_beam_list, search_beams
from crystal import Crystal
from parameter_file import read_parameter_file
from result_file import ResultFile, compare_file
from space_group import position_rows

DIFFRACTION = {"SIM_MODE": jobs.cbed_files, "SIM_COHERENT_MODE": jobs.cbed_files,
               "TFRINGE_MODE": jobs.fringe_files, "DISPSURF_MODE": branch_jobs.dispersion_files,
               "BLOCH_MODE": branch_jobs.bloch_files}


def table_path(name):
    return name if os.path.exists(name) else os.path.join(os.environ.get("ORVEL_DATA", ""), name)


def flag_set(name):
    """Whether the flag file of the folder switches a flag on."""
    if not os.path.exists("orvel.ini"):
        return False
    with open("orvel.ini") as stream:
        return any(name in line and line.split()[1] == "1" for line in stream
                   if line[0] not in "#%")


def load_job(path):
    """The job up to its own beam search."""
    job = SimpleNamespace(base=os.path.basename(path).split(".")[0])
    read = read_parameter_file(path)
    job.name, job.settings, job.sd = read.job, read.settings, read.conditions
    if job.name == "DISPSURF_MODE":
        job.settings.vg_select_flag = 0
    job.crystal = Crystal(read.crystal_block, job.settings, job.sd.acc_voltage, table_path)
    job.geometry = Geometry(job.crystal, job.sd)
    sphere = "3D" in job.name and job.sd.flag_bs in (1, 2)
    exact, bethe = search_beams(job.crystal, job.sd, job.geometry, sphere)
    job.beams, job.num_exact = exact + bethe, len(exact)
    return job


def adopt_order(job, path):
    """Take over the program's order of beams of equal |g|; the fault found, or None."""
    written, num_exact = read_beam_list(path)
    if job.sd.flag_bs % 10 == 0:
        return None if written == job.beams else "the manual list is not kept"
    for own, theirs in ((job.beams[:job.num_exact], written[:num_exact]),
                        (job.beams[job.num_exact:], written[num_exact:])):
        if set(own) != set(theirs) or len(own) != len(theirs):
            return f"missing {set(own) - set(theirs)}, unexpected {set(theirs) - set(own)}"
        lengths = job.crystal.lattice.length(np.array(theirs).reshape(-1, 3))
        if np.any(np.diff(lengths) < -1e-9) or (own and 0 in own[0] and theirs[0] != own[0] == (0, 0, 0)):
            return "the beams do not stand in ascending |g|"
    job.beams = written
    return None


def expected_files(job):
    files = [ResultFile(job.base + "_fg0.txt", beam_list_rows(
        job.crystal, job.sd, job.beams, job.num_exact, job.geometry))]
    if flag_set("atm_pos_out_flag"):
        files.append(ResultFile(job.base + "_aps.txt", position_rows(
            job.crystal, job.settings.auto_multiplicity_off)))
    if job.name in DIFFRACTION:
        jobs.prepare(job)
        return files + DIFFRACTION[job.name](job)
    return files + (map_jobs.cell_files if "3D" in job.name else map_jobs.projected_files)(job)


def main(path):
    job = load_job(path)
    fault = adopt_order(job, job.base + "_fg0.txt")
    if fault:
        print(f"FAIL {job.base}_fg0.txt: {fault}")
        return 1
    print(f"{job.name}: {job.num_exact} exact and {len(job.beams) - job.num_exact} Bethe beams")
    failures = 0
    for result in expected_files(job):
        deviation, fault = compare_file(result, result.name)
        print(f"{'FAIL' if fault else 'ok  '} {result.name}  {deviation:.1e}"
              + (f"  {fault}" if fault else ""))
        for note in sorted(set(result.notes)):
            print(f"     note: {note} ({result.notes.count(note)} times)")
        failures += fault is not None
    if getattr(job, "balanced", 0):
        print(f"     note: balancing changed the matrix at {job.balanced} tilts")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
