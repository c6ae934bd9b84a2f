"""The jobs that write single Bloch branches: dispersion surfaces and Bloch states.

A branch amplitude belongs to one branch only where its eigenvalue stands alone. Branches closer
than `CLOSE` are compared by the sum over their group; a group that the output cuts is left out
and counted in a note.
"""

import numpy as np

from bloch import amplitudes
from jobs import solve
from result_file import ResultFile

CLOSE = 1e-3  # 1/A^2; the eigen-solvers may mix branches of this distance visibly


def branch_groups(values, first, last):
    """Groups of close branches inside first .. last-1 as (members, whole)."""
    groups, left = [], set(range(len(values)))
    while left:
        group, frontier = set(), {left.pop()}
        while frontier:
            j = frontier.pop()
            group.add(j)
            near = {i for i in left if abs(values[i] - values[j]) < CLOSE}
            left -= near
            frontier |= near
        inside = sorted(j - first for j in group if first <= j < last)
        if inside:
            groups.append((inside, len(inside) == len(group)))
    return groups


def gather(table, groups, result, count):
    """Replace columns [branch, ...] of close branches by their sum, in place."""
    for members, whole in groups:
        if len(members) > 1 or not whole:
            total = table[members].sum(0) if whole else np.nan
            table[members] = np.nan
            table[members[0]] = total
            if count and not whole:
                result.notes.append("a group of close branches is cut by the branch range")


def dispersion_files(job):
    sd, base = job.sd, job.base
    first, last = sd.branch_begin - 1, sd.branch_end
    numbers = range(sd.branch_begin, sd.branch_end + 1)
    m, n_t = len(job.output), len(sd.thickness)
    n_b = last - first
    reflections = [("# g %d: %d %d %d\n", (o, *job.beams[r])) for o, r in enumerate(job.output)]
    ds = [("# Dispersion surface\n", ()), ("# kn, excitation(=eps^2)\n", ()),
          ("kxy(H)\tkxy(G)\tKz" + "".join(
              f"\tRe(kz{j})\tIm(kz{j})\tRe(gamma{j})\tIm(gamma{j})\tSq(eps{j})" for j in numbers)
           + "\n", ())]
    amp = [("# Amplitudes of reflections Cg (multiplied by excitation)\n", ()),
           ("# (Amplitude and Phase (rad),  g:reflection, j:branch)\n", ()), *reflections,
           ("kxy(H)\tkxy(G)" + "".join(f"\tA(eC)g{o}j{j}\tP(eC)g{o}j{j}"
                                       for o in range(m) for j in numbers) + "\n", ())]
    intensity = [("# Diffracted intensities\n", ()), *reflections,
                 *[("# thickness %d: %g[A]\n", pair) for pair in enumerate(sd.thickness)],
                 ("kxy(H)\tkxy(G)" + "".join(f"\tg{o}t{t}" for o in range(m) for t in range(n_t))
                  + "\n", ())]
    heads, points = (len(ds), len(amp)), []
    for p, (h, g) in enumerate(zip(job.grid.h, job.grid.g)):
        point = solve(job, p)
        points.append(branch_groups(point.values, first, last))
        k, value = point.K_n, point.values[first:last]
        square = np.abs(point.alpha[first:last])**2
        columns = np.stack([np.abs(value.real / (2 * k) + k), np.abs(value.imag / (2 * k)),
                            value.real, value.imag, square], 1)
        ds.append(("%g\t%g\t%.12g" + "\t%.12g\t%g\t%g\t%g\t%g" * n_b + "\n",
                   (h, h, abs(k), *columns.ravel()),
                   ["tilt"] * 2 + ["k"] + ["k", "Im k", "gamma", "Im gamma", "eps"] * n_b))
        z = (point.alpha * point.C / point.root_beta[:, None])[point.rows, first:last]
        z = np.where(point.rows[:, None] < 0, 0, z)
        pairs = np.stack([np.abs(z), np.angle(z)], -1).ravel()
        amp.append(("%g\t%g" + "\t%g\t%g" * (m * n_b) + "\n", (h, g, *pairs),
                    ["tilt"] * 2 + ["value"] * (2 * m * n_b)))
        I = np.abs(amplitudes(point, sd.thickness))**2 * job.settings.intensity_scaling
        intensity.append(("%g\t%g" + "\t%g" * I.size + "\n", (h, g, *I.ravel()),
                          ["tilt"] * 2 + ["value"] * I.size))

    def adjust_ds(expected, actual):
        for p, groups in enumerate(points):
            for rows in (expected, actual):
                values = np.array(rows[heads[0] + p])
                table = values[3:].reshape(n_b, 5)
                for members, _ in groups:  # equal real parts stand in any order
                    table[members] = sorted(table[members].tolist(), key=lambda r: r[3])
                gather(table[:, 4], groups, ds_file, rows is expected)
                rows[heads[0] + p] = values.tolist()

    def adjust_amp(expected, actual):
        for p, groups in enumerate(points):
            for rows in (expected, actual):
                values = np.array(rows[heads[1] + p])
                pairs = values[2:].reshape(m, n_b, 2)
                modulus, phase = pairs[..., 0].copy(), pairs[..., 1].copy()
                pairs[..., 0], pairs[..., 1] = modulus * np.cos(phase), modulus * np.sin(phase)
                gather(pairs.transpose(1, 0, 2), groups, amp_file, rows is expected)
                rows[heads[1] + p] = values.tolist()

    ds_file = ResultFile(base + "_ds.txt", ds, adjust_ds)
    amp_file = ResultFile(base + "_amp.txt", amp, adjust_amp)
    names = [base + end for end in ("_ds.txt", "_amp.txt", "_int.txt")]
    script = [("KAVUN_SCRIPT\n", ()), ("DISPSURF_VISUAL_MODE\n", ()), ("HTML_OPEN\n", ()),
              ("%s_.html\n", (base,)), ("DISPSURF_VISUAL\n", ()),
              ("%d  #branch_begin\n", (sd.branch_begin,)), ("%d  #branch_end\n", (sd.branch_end,)),
              ("%d  #num_rf_amp\n", (m,)), ("%d  #num_thick\n", (n_t,)),
              *[("%s\n", (name,)) for name in [base] + names], ("HTML_CLOSE\n", ())]
    return [ds_file, amp_file, ResultFile(names[2], intensity),
            ResultFile(base + "_kav.txt", script)]


def map_points(job):
    """Coordinates x [nx] and y [ny] and positions r [nx, ny, 3] of a map of the projected cell."""
    sd = job.sd

    def axis(limits, n):
        return limits[0] + (limits[1] - limits[0]) * np.arange(n) / max(n - 1, 1)
    x, y = axis(sd.rx_range, sd.nx), axis(sd.ry_range, sd.ny)
    r1, r2 = job.crystal.lattice.real_space_bases(sd.inc_uvw, sd.base_g1)
    return x, y, np.multiply.outer(x, r1)[:, None] + np.multiply.outer(y, r2)


def synthesis(r, hkl, coefficients):
    return np.exp(2j * np.pi * r @ np.asarray(hkl, float).T) @ coefficients


def map_rows(x, y, columns, names="value"):
    """One line per point, x slowest, and an empty line after each x."""
    fmt = "%g\t%g" + "\t%g" * len(columns) + "\n"
    groups = ["x", "x"] + ([names] * len(columns) if isinstance(names, str) else names)
    rows = []
    for i, x_i in enumerate(x):
        rows += [(fmt, (x_i, y_j, *(c[i, j] for c in columns)), groups) for j, y_j in enumerate(y)]
        rows.append(("\n", ()))
    return rows


def adjust_phase(expected, actual):
    """Give the written state the phase of the expected one; its parts must belong together."""
    rows = [i for i, values in enumerate(expected) if len(values) == 6]
    e, a = np.array([expected[i] for i in rows]), np.array([actual[i] for i in rows])
    z, w = e[:, 4] + 1j * e[:, 5], a[:, 4] + 1j * a[:, 5]
    turned = w * np.exp(1j * np.angle(np.vdot(w, z)))
    # Angle and amplitude of one line: the angle must turn the amplitude to the positive axis.
    angle_fault = np.abs(w * np.exp(-1j * a[:, 3]) - np.abs(w))
    for n, i in enumerate(rows):
        expected[i][3], actual[i][3] = 0.0, angle_fault[n]
        actual[i][4], actual[i][5] = turned[n].real, turned[n].imag


def bloch_files(job):
    sd, base, point = job.sd, job.base, solve(job, 0)
    exact = [job.beams[i] for i in point.exact]
    square = np.abs(point.alpha)**2
    groups = branch_groups(point.values, 0, len(exact))
    kn_rows = [("%d: %g %g %g\n", (j + 1, point.values[j].real, point.values[j].imag, square[j]),
                ["Re", "Im", "eps"]) for j in range(len(exact))]

    def adjust_kn(expected, actual):
        for rows in (expected, actual):
            table = np.array(rows[2:])
            for members, _ in groups:
                table[members] = sorted(table[members].tolist(), key=lambda r: r[1])
            gather(table[:, 2], groups, kn_file, False)
            rows[2:] = table.tolist()

    kn_file = ResultFile(base + "_kn.txt", [
        ("%% kn\n", ()), ("%% branch_i\tRe_eigenvalue\tIm_eigenvalue\teps^2\n", ())] + kn_rows,
        adjust_kn)
    x, y, r = map_points(job)
    V = synthesis(r, exact, job.V[point.exact, 0])
    potential = ResultFile(base + "_pp.txt", [
        ("# Projected potential (formed by %d-beams)\n", (len(exact),)), ("#nx ny\n", ()),
        ("#%d %d\n", (sd.nx, sd.ny)), ("#x\ty\t\tpotential.re[V]\tpotential.im[V]\n", ()),
        *map_rows(x, y, (V.real, V.imag))])
    script = [("KAVUN_SCRIPT\n", ()), ("BLOCH_VISUAL_MODE\n", ()), ("HTML_OPEN\n", ()),
              ("%s_.html\n", (base,)), ("BLOCH_VISUAL\n", ()), ("%s\n", (base,)),
              ("%s_pp.txt\n", (base,)), ("%d    # branch_begin\n", (sd.branch_begin,)),
              ("%d    # branch_end\n", (sd.branch_end,))]
    files = [kn_file, potential]
    for j in range(sd.branch_begin, sd.branch_end + 1):
        name = f"{base}_b{j}.txt"
        script += [("%s\n", (name,)), ("%d    # branch\n", (j,)),
                   ("%g    # eps^2\n", (square[j - 1],), "eps")]
        b = synthesis(r, exact, point.C[:, j - 1] / point.root_beta)
        b *= np.exp(2j * np.pi * r @ job.grid.K_t[0])
        state = ResultFile(name, [
            ("# Bloch state: branch %d)\n", (j,)),
            ("# branch:%d, eigen_val:%g, excitation(eps^2):%g\n",
             (j, point.values[j - 1].real, square[j - 1]), ["Re", "eps"]),
            ("# nx ny\n", ()), ("# %d %d\n", (sd.nx, sd.ny)),
            ("#x\ty\tdensity\tangle\tre\tim\n", ()),
            *map_rows(x, y, (np.abs(b)**2, np.angle(b), b.real, b.imag),
                      ["density", "psi", "psi", "psi"])], adjust_phase)
        if any(len(members) > 1 and j - 1 in members for members, _ in groups):
            state.adjust = skip_state
            state.notes.append(f"branch {j} is close to another: its map is not compared")
        files.append(state)
    return files + [ResultFile(base + "_kav.txt", script + [("HTML_CLOSE\n", ())])]


def skip_state(expected, actual):
    for rows in (expected, actual):
        for i, values in enumerate(rows):
            if len(values) == 6:
                rows[i][2:] = [np.nan] * 4
