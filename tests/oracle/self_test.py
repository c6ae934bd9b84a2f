"""Tests of the second implementation itself: closed forms, identities and the comparison."""

import contextlib
import glob
import io
import os
import shutil
import tempfile
import unittest

import numpy as np

import bloch
import compare
import jobs
from lattice import MOTT_CONSTANT, mass_ratio, wavelength
from scattering import absorptive_grid, read_bk_table

HERE = os.path.dirname(os.path.abspath(__file__))


def job_of(case, **settings):
    job = compare.load_job(f"{HERE}/crystals/{case}.prm")
    vars(job.settings).update(settings)
    jobs.prepare(job)
    return job


def hermitian(V):
    """The potential without absorption."""
    return (V + V.conj().T) / 2


def read(path):
    with open(path) as stream:
        return stream.read()


def write(path, text):
    with open(path, "w") as stream:
        stream.write(text)


class Physics(unittest.TestCase):
    def test_two_beams_follow_the_closed_form(self):
        job = job_of("anatase_manual", eigmat_func=1)
        U, lengths = 0.003 + 0.004j, np.array([0.0, 130.0, 900.0])
        job.beams, job.num_exact, job.output = job.beams[:2], 2, [0, 1]
        job.sd.nor_uvw = job.sd.inc_uvw
        factor = MOTT_CONSTANT * mass_ratio(job.sd.acc_voltage) / np.pi
        job.V = np.array([[0, U.conjugate()], [U, 0]]) / factor
        job.geometry = compare.Geometry(job.crystal, job.sd)
        K_t = job.geometry.tangential(0.3, -0.5)
        s = job.geometry.excitation_error(np.array(job.beams[1]), K_t)
        point = bloch.solve_point(job, K_t)
        I = np.abs(bloch.amplitudes(point, lengths))**2
        half = s / wavelength(job.sd.acc_voltage)  # K of the matrix without mean potential
        root = np.sqrt(half**2 + abs(U)**2)
        expected = (abs(U) / root * np.sin(np.pi * lengths * root / point.K_n))**2
        np.testing.assert_allclose(I[1], expected, atol=1e-12)
        np.testing.assert_allclose(I[0], 1 - expected, atol=1e-12)

    def test_flux_is_kept_without_absorption(self):
        job = job_of("si_cbed", vg_select_flag=0)
        job.V, job.output = hermitian(job.V), range(job.num_exact)
        psi = bloch.amplitudes(bloch.solve_point(job, job.grid.K_t[12]), [0.0, 300.0, 2000.0])
        np.testing.assert_allclose((np.abs(psi)**2).sum(0), 1, atol=1e-10)
        np.testing.assert_allclose(psi[:, 0], np.eye(job.num_exact)[0], atol=1e-10)

    def test_zone_axis_symmetry_of_silicon(self):
        # The direct disk of diamond [110] has the symmetry 2mm.
        pattern = jobs.cbed_files(job_of("si_cbed"))[2]
        values = [row[1][0] for row in pattern.rows if row[0] == "%g\n" and len(row) > 2][:81]
        disk = np.array(values).reshape(9, 9)
        np.testing.assert_allclose(disk, disk[::-1], rtol=1e-7)
        np.testing.assert_allclose(disk, disk[:, ::-1], rtol=1e-7)

    def test_one_crystal_in_two_settings(self):
        # Lattice B on axes (a, -c, b) is lattice C: the same beams in other indices.
        b, c = job_of("gallia_b"), job_of("gallia_c")
        b.settings.vg_select_flag = c.settings.vg_select_flag = 0
        self.assertEqual(sorted(b.beams), sorted((h, -l, k) for h, k, l in c.beams))
        K_t = [job.geometry.tangential(job.sd.H_tilt, job.sd.G_tilt) for job in (b, c)]
        I = []
        for job, k in zip((b, c), K_t):
            psi = bloch.amplitudes(bloch.solve_point(job, k), [250.0])[:, 0]
            keys = [g if job is b else (g[0], -g[2], g[1]) for g in job.beams]
            I.append([abs(z)**2 for _, z in sorted(zip(keys, psi), key=lambda pair: pair[0])])
        np.testing.assert_allclose(I[0], I[1], atol=1e-9)

    def test_structure_factors_of_equivalents_differ_by_the_phase_of_the_translation(self):
        for case in ("quartz_bloch", "batio3_square", "corundum_branches", "si_cbed"):
            crystal = compare.load_job(f"{HERE}/crystals/{case}.prm").crystal
            crystal.given = {}
            h = np.array([[3, -1, 5] if crystal.group.letter in "FIAP" else [1, 2, 5]])
            F = crystal.structure_factor(h)[0]
            for R, t in zip(crystal.group.rotations, crystal.group.translations):
                rotated = crystal.structure_factor(h @ R)[0]
                self.assertLess(abs(rotated - F * np.exp(2j * np.pi * (h[0] @ t))), 1e-5)

    def test_interpolation_returns_the_nodes_of_the_grid(self):
        # Not those of the lowest B: its cells are partly extrapolated from the rows above.
        table = read_bk_table(compare.table_path("orvelbk.dat"), "Si")
        for i, j in np.ndindex(5, 10):
            x, node = table.Bs2[j] * (1 - 1e-13), table.grid[i + 1, j]
            self.assertAlmostEqual(absorptive_grid(table, table.B[i + 1], x), node, delta=1e-9)

    def test_isolation_keeps_the_eigenvalues(self):
        A = np.array([[1, 0.2, 0, 0], [0.1, 2, 0, 0.3], [0, 0, 3, 0], [40, 0.2, 0, 4]], complex)
        balanced, changed = bloch.balance(A, 1e-8)
        self.assertTrue(changed)
        np.testing.assert_allclose(sorted(np.linalg.eigvals(balanced).real),
                                   sorted(np.linalg.eigvals(A).real))


class Comparison(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.back = os.getcwd()
        for path in (f"{HERE}/crystals/rutile_fringe.prm", f"{HERE}/crystals/orvel.ini"):
            shutil.copy(path, self.folder.name)
        os.chdir(self.folder.name)
        for result in compare.expected_files(compare.load_job("rutile_fringe.prm")):
            with open(result.name, "w") as out:
                out.writelines(row[0] % tuple(row[1]) for row in result.rows)

    def tearDown(self):
        os.chdir(self.back)
        self.folder.cleanup()

    def status(self):
        with contextlib.redirect_stdout(io.StringIO()):
            return compare.main("rutile_fringe.prm")

    def test_own_files_pass_and_any_change_of_them_fails(self):
        self.assertEqual(self.status(), 0)
        for path in glob.glob("rutile_fringe_*.txt") + ["rutile_fringe.plt"]:
            text = read(path)
            last = text.rstrip("\n").split("\n")[-2]
            for wrong in (text.replace("#", "% ", 1).replace("All", "all"), text + "\n",
                          text.replace(last, last + "0"), text.replace("\t", " ", 1)):
                if wrong != text:
                    write(path, wrong)
                    self.assertEqual(self.status(), 1, path)
            write(path, text)

    def test_a_value_off_by_2e_5_of_the_largest_fails(self):
        lines = read("rutile_fringe_int.txt").splitlines(keepends=True)
        words = lines[5].split("\t")
        words[3] = "%g" % (float(words[3]) + 0.2)
        lines[5] = "\t".join(words).rstrip("\n") + "\n"
        write("rutile_fringe_int.txt", "".join(lines))
        self.assertEqual(self.status(), 1)


if __name__ == "__main__":
    unittest.main()
