#!/usr/bin/python3
"""Writes sample results of all jobs that kavun shows: make_samples.py FOLDER [--fine]

The content is computed: many-beam Bloch waves of silicon in the zero-order Laue zone, with the
electron scattering factor of P. A. Doyle and P. S. Turner, Acta Cryst. A24 (1968) 390, Table 4(a),
an isotropic B of 0.46 A^2 and an absorptive part of 5 % of the elastic one. The layout of every
file is that of the jobs.
"""
import os
import sys

import numpy as np

A_CELL, B_FACTOR, KVOLTS, SCALE = 5.4309, 0.46, 200.0, 10000.0
DOYLE_TURNER = [(2.1293, 57.7748), (2.5333, 16.4756), (0.8349, 2.8796), (0.3216, 0.3860)]
BASIS = [np.array(p) / 4.0 + np.array(f) for p in ([0, 0, 0], [1, 1, 1])
         for f in ([0, 0, 0], [0, 0.5, 0.5], [0.5, 0, 0.5], [0.5, 0.5, 0])]
VOLTS = KVOLTS * 1e3
LAMBDA = 12.264263 / np.sqrt(VOLTS * (1 + 9.7847537e-7 * VOLTS))
GAMMA = 1 + 1.9569507e-6 * VOLTS
VOLT_PER_U = 150.41 / GAMMA  # h^2 / (2 m e) in V A^2


def structure_factor(g):
    """Elastic F_g of silicon in A."""
    s2 = float(g @ g) / A_CELL**2 / 4
    f = sum(a * np.exp(-b * s2) for a, b in DOYLE_TURNER) * np.exp(-B_FACTOR * s2)
    return f * sum(np.exp(-2j * np.pi * (g @ r)) for r in BASIS)


def potential(g):
    """U_g in 1/A^2, absorption included."""
    return GAMMA * structure_factor(g) / (np.pi * A_CELL**3) * (1 + 0.05j)


class Run:
    """One zone axis: beams, potential matrix, solution at a tilt (H, G)."""

    def __init__(self, zone, g1, g_max):
        self.zone, self.g1 = np.array(zone), np.array(g1, float)
        g2 = np.cross(self.zone, self.g1)
        self.g2 = g2 * np.linalg.norm(self.g1) / np.linalg.norm(g2)
        reach = range(-int(g_max * A_CELL) - 1, int(g_max * A_CELL) + 2)
        beams = [np.array([h, k, l]) for h in reach for k in reach for l in reach
                 if np.dot([h, k, l], zone) == 0 and np.linalg.norm([h, k, l]) < g_max * A_CELL
                 and abs(structure_factor(np.array([h, k, l]))) > 1e-6]
        self.beams = sorted(beams, key=lambda g: (g @ g, tuple(-g)))
        self.matrix = np.array([[potential(g - h) for h in self.beams] for g in self.beams])
        self.K = np.sqrt(1 / LAMBDA**2 + potential(np.zeros(3)).real)
        np.fill_diagonal(self.matrix, potential(np.zeros(3)).imag * 1j)

    def k_t(self, H, G):
        return 0.5 * (H * self.g1 + G * self.g2)

    def solve(self, H, G):
        """Eigenvalues in 1/A^2, largest real part first, eigenvectors and excitations."""
        kt = self.k_t(H, G)
        a = self.matrix.copy()
        for i, g in enumerate(self.beams):
            a[i, i] += -(2 * kt + g) @ g / A_CELL**2
        values, vectors = np.linalg.eig(a)
        order = np.argsort(-values.real)
        values, vectors = values[order], vectors[:, order]
        start = np.zeros(len(values), complex)
        start[0] = 1
        return values, vectors, np.linalg.solve(vectors, start)

    def amplitudes(self, H, G, thicknesses):
        values, vectors, alpha = self.solve(H, G)
        phase = np.exp(2j * np.pi * np.outer(values, thicknesses) / (2 * self.K))
        return vectors @ (alpha[:, None] * phase)  # [beam][thickness]

    def project(self, g):
        return g @ self.g1 / (self.g1 @ self.g1), g @ self.g2 / (self.g1 @ self.g1)


def grid(calc_type, n, d):
    """(H, G, ix, iy, flag) of each tilt, relative to the centre."""
    if calc_type == 0:
        return [(0.0, 0.0, 0, 0, 1)]
    step = 2 * d / (n - 1)
    if calc_type == 1:
        return [(-d + i * step, 0.0, i - n // 2, 0, 1) for i in range(n)]
    return [(-d + i * step, -d + j * step, i, j,
             int(1e-10 + d > np.hypot(-d + i * step, -d + j * step)))
            for j in range(n) for i in range(n)]


def write(folder, name, text):
    with open(os.path.join(folder, name), "w", newline="\n") as f:
        f.write(text)


def triple(v):
    return "%g\t%g\t%g" % tuple(v)


def write_run_files(folder, base, mode, run, tilt):
    """The log and the parameter file that it names."""
    write(folder, base + "_log.txt", "parameter_file: %s.par\nSee you again!!!\n" % base)
    zone = "%d %d %d\n" % tuple(run.zone)
    write(folder, base + ".par",
          mode + "\nEPS_CONTROL_PARAMETERS{\n}EPS_CONTROL_PARAMETERS\nCRYSTAL_STRUCTURE_DATA{\n"
          "LATTICE{\n227\n" + ("%g FIX a\n" % A_CELL) * 3 + "90 FIX alpha\n" * 3 + "}LATTICE\n"
          "ATOM{\n1\nSITE{\nSi\n0 FIX x\n0 FIX y\n0 FIX z\nISO\n%g FIX B\n1 FIX occ\n1\n}SITE\n"
          "}ATOM\n}CRYSTAL_STRUCTURE_DATA\n# conditions\nINCIDENT_BEAM{\n" % B_FACTOR + zone + zone
          + "%g %g %g\n%g\n%g\n%g\n}INCIDENT_BEAM\n" % (*run.g1, *tilt, KVOLTS))


def write_cbed(folder, base, run, calc_type, n, d, thicknesses, num_rf, tilt=(0.0, 0.0),
               probe=None):
    """SIM_MODE, or SIM_COHERENT_MODE for a probe (Cs, defocus), both in A."""
    points = grid(calc_type, n, d)
    psi = np.zeros((num_rf, len(thicknesses), len(points)), complex)
    for p, (h, g, _, _, flag) in enumerate(points):
        if flag:
            psi[:, :, p] = run.amplitudes(h + tilt[0], g + tilt[1], thicknesses)[:num_rf]
            if probe:
                kt = run.k_t(h + tilt[0], g + tilt[1])
                k2 = kt @ kt / A_CELL**2
                psi[:, :, p] *= np.exp(1j * np.pi * (probe[1] * LAMBDA * k2
                                                     + 0.5 * probe[0] * LAMBDA**3 * k2**2))
    word = "SIM_COHERENT_" if probe else "SIM_"
    script = ("KAVUN_SCRIPT\n# script for kavun.\n%sVISUAL_MODE\n#\n# VISUAL\n"
              "# rs_file gamma_coef mag(int) cont_reverse_flag\n#\nHTML_OPEN\n%s_.html\n#\n"
              % (word, base))
    scale = n / d if d else np.inf
    half_width = d if calc_type else 0.0
    for t, thickness in enumerate(thicknesses):
        name = "%s_rs%d.txt" % (base, t)
        script += "%sVISUALIZE\n%s %g 1 %d\n" % (word, name, 0.5, 0 if probe else 1)
        values = np.abs(psi[:, t]) ** 2 * SCALE
        top, low = (10000, 0) if probe else (values.max(), values.min())
        text = ["%sRESULT\n# %s\n#\nVISUAL{\n# default max and min [>0]\n%g\t%g\n"
                "# default gamma [>0]\n1.0\n# defalut magnification (integer only)\n1\n"
                "# default contrast-reverse-flag\n#  1:reverse, 0:not reverse\n0\n}VISUAL\n#\n"
                % (word, name, top, low),
                "CR_PARAMETERS{\n# lattice parameter\n# a,b,c,alpha,beta,gamma\n"
                "%g\t%g\t%g\t%g\t%g\t%g\n" % (A_CELL, A_CELL, A_CELL, 90, 90, 90),
                "# incident direction\n%d\t%d\t%d\n# zolzbase1\n%s\n# tilt HG\n%g\t%g\n"
                "# thickness [Angstrom]\n%g\n}CR_PARAMETERS\n#\n"
                % (*run.zone, triple(run.g1), *tilt, thickness),
                "RF_INDEX{\n# reflections\n# number of reflections\n%d\n"
                "# h k l, position (pixel coord)\n" % num_rf]
        for g in run.beams[:num_rf]:
            x, y = run.project(g)
            place = [c * scale if c or d else np.nan for c in (x, y)]
            text.append("%d\t%d\t%d\t%g\t%g\n" % (*g, *place))
        text.append("}RF_INDEX\nCOORD{\n%d %d    #num_pix, num_pix_side\n"
                    "%g %g %g %g    #Hbgn Hend Gbgn Gend\n# H, G, ih, ig, flag\n"
                    % (len(points), n, -half_width, half_width, -half_width * (calc_type > 1),
                       half_width * (calc_type > 1)))
        for h, g, ix, iy, flag in points:
            text.append("%g\t%g\t%d\t%d\t%d\n" % (h + tilt[0], g + tilt[1], ix, iy, flag) if probe
                        else "%g %g %d %d %d\n" % (h, g, ix, iy, flag))
        text.append("}COORD\n# intensities\n")
        for r in range(num_rf):
            text.append("RF{\n# hkl\n%d\t%d\t%d\n" % tuple(run.beams[r]))
            for p in range(len(points)):
                c = psi[r, t, p] * np.sqrt(SCALE)
                text.append("%g\t%g\n" % (c.real, c.imag) if probe else "%g\n" % values[r, p])
            text.append("}RF\n")
        write(folder, name, "".join(text))
    write(folder, base + "_kav.txt", script + "HTML_CLOSE\n")
    write_run_files(folder, base, word + "MODE", run, tilt)


def write_dispsurf(folder, base, run, calc_type, n, d, thicknesses, num_rf, branches):
    js = range(branches[0] - 1, branches[1])
    ds = ["# Dispersion surface\n# kn, excitation(=eps^2)\nkxy(H)\tkxy(G)\tKz"]
    ds += ["\tRe(kz%d)\tIm(kz%d)\tRe(gamma%d)\tIm(gamma%d)\tSq(eps%d)" % ((j + 1,) * 5) for j in js]
    amp = ["# Amplitudes of reflections Cg (multiplied by excitation)\n"
           "# (Amplitude and Phase (rad),  g:reflection, j:branch)\n"]
    inten = ["# Diffracted intensities\n"]
    for o, g in enumerate(run.beams[:num_rf]):
        amp.append("# g %d: %d %d %d\n" % (o, *g))
        inten.append("# g %d: %d %d %d\n" % (o, *g))
    inten += ["# thickness %d: %g[A]\n" % (k, t) for k, t in enumerate(thicknesses)]
    amp += ["kxy(H)\tkxy(G)"] + ["\tA(eC)g%dj%d\tP(eC)g%dj%d" % ((o, j + 1) * 2)
                                  for o in range(num_rf) for j in js]
    inten += ["kxy(H)\tkxy(G)"] + ["\tg%dt%d" % (o, k) for o in range(num_rf)
                                    for k in range(len(thicknesses))]
    for h, g, _, _, _ in grid(calc_type, n, d):
        values, vectors, alpha = run.solve(h, g)
        kt = run.k_t(h, g)
        k_n = -np.sqrt(run.K**2 - kt @ kt / A_CELL**2)
        ds.append("\n%g\t%g\t%.12g" % (h, h, abs(k_n)))
        ds += ["\t%.12g\t%g\t%g\t%g\t%g" % (abs(values[j].real / (2 * k_n) + k_n),
                                            abs(values[j].imag / (2 * k_n)), values[j].real,
                                            values[j].imag, abs(alpha[j]) ** 2) for j in js]
        c = vectors * alpha
        amp.append("\n%g\t%g" % (h, g))
        amp += ["\t%g\t%g" % (abs(c[o, j]), np.angle(c[o, j])) for o in range(num_rf) for j in js]
        psi = run.amplitudes(h, g, thicknesses)
        inten.append("\n%g\t%g" % (h, g))
        inten += ["\t%g" % (abs(psi[o, k]) ** 2 * SCALE) for o in range(num_rf)
                  for k in range(len(thicknesses))]
    for suffix, text in (("ds", ds), ("amp", amp), ("int", inten)):
        write(folder, "%s_%s.txt" % (base, suffix), "".join(text) + "\n")
    write(folder, base + "_kav.txt",
          "KAVUN_SCRIPT\nDISPSURF_VISUAL_MODE\nHTML_OPEN\n%s_.html\nDISPSURF_VISUAL\n"
          "%d  #branch_begin\n%d  #branch_end\n%d  #num_rf_amp\n%d  #num_thick\n%s\n"
          "%s_ds.txt\n%s_amp.txt\n%s_int.txt\nHTML_CLOSE\n"
          % (base, *branches, num_rf, len(thicknesses), base, base, base, base))
    write_run_files(folder, base, "DISPSURF_MODE", run, (0.0, 0.0))


def write_bloch(folder, base, run, n, branches):
    values, vectors, alpha = run.solve(0.0, 0.0)
    length = np.linalg.norm(run.g1)
    x1, x2 = run.g1 / length**2, run.g2 / length**2  # dual base, fractional coordinates
    steps = np.linspace(0.0, 1.0, n)
    wave = [np.exp(2j * np.pi * (g @ x1 * steps[:, None] + g @ x2 * steps[None, :]))
            for g in run.beams]
    pot = sum(potential(g) * w for g, w in zip(run.beams, wave)) * VOLT_PER_U

    def rows(columns):
        return "".join("".join("\t".join("%g" % v for v in (steps[i], steps[j],
                       *(c[i, j] for c in columns))) + "\n" for j in range(n)) + "\n"
                       for i in range(n))

    write(folder, base + "_pp.txt", "# Projected potential (formed by %d-beams)\n#nx ny\n#%d %d\n"
          "#x\ty\t\tpotential.re[V]\tpotential.im[V]\n" % (len(values), n, n)
          + rows((pot.real, pot.imag)))
    write(folder, base + "_kn.txt", "% kn\n% branch_i\tRe_eigenvalue\tIm_eigenvalue\teps^2\n"
          + "".join("%d: %g %g %g\n" % (i + 1, v.real, v.imag, abs(alpha[i]) ** 2)
                    for i, v in enumerate(values)))
    script = ("KAVUN_SCRIPT\nBLOCH_VISUAL_MODE\nHTML_OPEN\n%s_.html\nBLOCH_VISUAL\n%s\n%s_pp.txt\n"
              "%d    # branch_begin\n%d    # branch_end\n" % (base, base, base, *branches))
    for j in range(branches[0], branches[1] + 1):
        b = sum(vectors[i, j - 1] * w for i, w in enumerate(wave))
        excitation = abs(alpha[j - 1]) ** 2
        script += "%s_b%d.txt\n%d    # branch\n%g    # eps^2\n" % (base, j, j, excitation)
        write(folder, "%s_b%d.txt" % (base, j),
              "# Bloch state: branch %d)\n# branch:%d, eigen_val:%g, excitation(eps^2):%g\n"
              "# nx ny\n# %d %d\n#x\ty\tdensity\tangle\tre\tim\n"
              % (j, j, values[j - 1].real, excitation, n, n)
              + rows((abs(b) ** 2, np.angle(b), b.real, b.imag)))
    write(folder, base + "_kav.txt", script + "HTML_CLOSE\n")
    write_run_files(folder, base, "BLOCH_MODE", run, (0.0, 0.0))


def main():
    folder, fine = sys.argv[1], "--fine" in sys.argv
    os.makedirs(folder, exist_ok=True)
    zone111 = Run([1, 1, 1], [2, -2, 0], 2.2 if fine else 1.2)
    zone110 = Run([1, 1, 0], [0, 0, 1], 1.6 if fine else 1.2)
    row = Run([1, 1, 1], [2, -2, 0], 1.2)
    thick = [300, 600, 900, 1200, 1500] if fine else [500, 1000]
    n = 121 if fine else 25
    write_cbed(folder, "cbed", zone111, 2, n, 0.92, thick, 19 if fine else 7)
    write_cbed(folder, "line", row, 1, 4 * n + 1, 4.0, thick, 5)
    write_cbed(folder, "coline", row, 1, 31, 1.5, thick[:1], 3, tilt=(0.5, 0.0), probe=(1.0e7, -600.0))
    write_cbed(folder, "point", row, 0, 1, 0.0, list(range(50, 2001, 50)) if fine else thick, 7)
    write_cbed(folder, "coherent", zone111, 2, n, 1.3, thick[:3], 19 if fine else 7,
               probe=(1.0e7, -600.0))
    write_dispsurf(folder, "surface", row, 1, 2 * n + 1, 3.0, thick[:2], 3, (1, 6))
    write_dispsurf(folder, "area", row, 2, 61 if fine else 13, 1.5, thick[:2], 2, (1, 4))
    write_bloch(folder, "bloch", zone110, 101 if fine else 31, (1, 4))


if __name__ == "__main__":
    main()
