"""Projected maps and maps of the unit cell."""

import numpy as np

from branch_jobs import map_points, map_rows, synthesis
from result_file import ResultFile

SINGLE = "single"  # group of values that pass through single precision


def gnuplot_rows(job, head, name, zrange, table, column=3):
    return [(head, ()), ("set pm3d\n", ()), ("set nosurface\n", ()), ("set view 0,0\n", ()),
            ("set size square\n", ()), ("set term png crop\n", ()),
            ("set output \"%s.png\"\n", (job.base + name,)), (f"#set zrange [{zrange}]\n", ()),
            ("splot \"%s\" using 1:2:%d with lines\n", (table, column)), ("pause -1\n", ())]


def projected_files(job):
    sd, base = job.sd, job.base
    job.crystal.resolve_again()
    x, y, r = map_points(job)
    hkl, n = np.array(job.beams), len(job.beams)

    def table(name, title, column_line, *columns):
        return ResultFile(name, [(title + " (formed by %d beams)\n", (n,)), ("# nx  ny\n", ()),
                                 ("# %d  %d\n", (sd.nx, sd.ny)), (column_line, ()),
                                 *map_rows(x, y, columns)])
    pp = base + "_pp.txt"
    if job.name == "POTENTIAL_REIM_PROJ_MODE":
        V = synthesis(r, hkl, job.crystal.potential(hkl))
        plots = [("_re_pp", "#Real (elastic) potential plot\n", "0:20", 3),
                 ("_im_pp", "#Imaginary (inelastic) potential plot\n", "-3:3", 4)]
        return [table(pp, "# Projected potential", "# x\ty\tpot.re[V]\tpot.im[V])\n",
                      V.real, V.imag)] + [
            ResultFile(base + name + ".plt", gnuplot_rows(job, head, name, zrange, pp, column))
            for name, head, zrange, column in plots]
    V, F_x = job.crystal.elastic_and_xray(hkl)
    ed, columns = base + "_ed.txt", "# x\ty\tpotential.re[V])\n"
    density = synthesis(r, hkl, F_x).real / sd.area_proj_cell
    return [table(pp, "# Projected potential", columns, synthesis(r, hkl, V).real),
            table(ed, "# Projected electron density", columns, density),
            ResultFile(base + "_ed.plt", gnuplot_rows(job, "#\n", "_ed", "0:3", ed)),
            ResultFile(base + "_pp.plt", gnuplot_rows(job, "#\n", "_pp", "0:20", pp))]


def cell_map(grid, hkl, coefficients):
    """Fourier synthesis on the grid of the unit cell."""
    box = np.zeros(grid, complex)
    box[tuple((hkl % grid).T)] = coefficients
    return np.fft.ifftn(box, norm="forward")


def cell_file(job, name, head, values):
    """Volumetric file: the periodic grid with index 0 repeated at the end of every axis."""
    wrapped = np.pad(values, [(0, 1)] * 3, mode="wrap")
    rows = [(head + "\n", ()), ("%g %g %g %g %g %g\n", tuple(p[1] for p in job.crystal.block.cell)),
            ("%d  %d  %d\n", wrapped.shape)]
    fmt = "%g  " * (wrapped.shape[2] - 1) + "%g\n"
    rows += [(fmt, tuple(line), SINGLE) for plane in wrapped for line in plane]
    return ResultFile(job.base + name, rows)


def cell_files(job):
    crystal, grid = job.crystal, np.array(job.sd.grid)
    crystal.resolve_again()
    axes = [np.arange(1 - n // 2, n // 2) for n in grid]
    hkl = np.stack(np.meshgrid(*axes, indexing="ij"), -1).reshape(-1, 3)
    if job.name == "POTENTIAL_REIM_3D_UNITCELL_MODE":
        V = cell_map(grid, hkl, crystal.potential(hkl))
        return [cell_file(job, "_pt.3ed", "#Electrostatic potential [V]", V.real),
                cell_file(job, "_ptim.3ed", "#Imaginary potential [V]", V.imag)]
    V, F_x = crystal.elastic_and_xray(hkl)
    inside = crystal.lattice.length(hkl) <= job.settings.e_density_gmax_val
    density = cell_map(grid, hkl, F_x * inside).real / crystal.lattice.volume
    return [cell_file(job, "_ed.3ed", "#Electron density [e/A^3]", density),
            cell_file(job, "_pt.3ed", "#Electrostatic potential [V]",
                      cell_map(grid, hkl, V * inside).real)]
