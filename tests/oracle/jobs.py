"""The diffraction jobs: expected result files of CBED, coherent CBED and thickness fringes."""

import os
from types import SimpleNamespace

import numpy as np

from beams import Geometry, tilt_grid
from bloch import amplitudes, solve_point
from lattice import wavelength
from result_file import ResultFile


def prepare(job):
    """What all diffraction jobs share, once the beam list is known."""
    job.crystal.resolve_again()
    job.V = job.crystal.potential_matrix(job.beams)
    job.geometry = Geometry(job.crystal, job.sd)
    job.grid = tilt_grid(job.sd, job.geometry, job.settings.general_eps)
    exact = job.beams[:job.num_exact]
    all_exact = not job.sd.output and job.name != "DISPSURF_MODE"
    job.output = list(range(len(exact))) if all_exact else [exact.index(g) for g in job.sd.output]
    job.balanced = 0


def solve(job, p):
    point = solve_point(job, job.grid.K_t[p])
    job.balanced += point.balanced
    return point


def kavun_head(job, mode):
    return [("KAVUN_SCRIPT\n", ()), ("# script for kavun.\n", ()), (mode + "\n", ()), ("#\n", ()),
            ("# VISUAL\n", ()), ("# rs_file gamma_coef mag(int) cont_reverse_flag\n", ()),
            ("#\n", ()), ("HTML_OPEN\n", ()), ("%s_.html\n", (job.base,)), ("#\n", ())]


def pattern_head(job, title, name, thickness, extremes):
    """Lines of a pattern file above its tilt points."""
    sd, g = job.sd, np.array([job.beams[o] for o in job.output])
    scale = sd.num_cal_pix_side / sd.disksize
    rows = [(title + "\n", ()), ("# %s\n", (name,)), ("#\n", ()), ("VISUAL{\n", ()),
            ("# default max and min [>0]\n", ()), extremes, ("# default gamma [>0]\n", ()),
            ("1.0\n", ()), ("# defalut magnification (integer only)\n", ()), ("1\n", ()),
            ("# default contrast-reverse-flag\n", ()), ("#  1:reverse, 0:not reverse\n", ()),
            ("0\n", ()), ("}VISUAL\n", ()), ("#\n", ()), ("CR_PARAMETERS{\n", ()),
            ("# lattice parameter\n", ()), ("# a,b,c,alpha,beta,gamma\n", ()),
            ("%g\t%g\t%g\t%g\t%g\t%g\n", tuple(p[1] for p in job.crystal.block.cell)),
            ("# incident direction\n", ()), ("%d\t%d\t%d\n", tuple(sd.inc_uvw)),
            ("# zolzbase1\n", ()), ("%g\t%g\t%g\n", tuple(sd.base_g1)), ("# tilt HG\n", ()),
            ("%g\t%g\n", (sd.H_tilt, sd.G_tilt)), ("# thickness [Angstrom]\n", ()),
            ("%g\n", (thickness,)), ("}CR_PARAMETERS\n", ()), ("#\n", ()), ("RF_INDEX{\n", ()),
            ("# reflections\n", ()), ("# number of reflections\n", ()), ("%d\n", (len(g),)),
            ("# h k l, position (pixel coord)\n", ())]
    x, y = job.crystal.lattice.zone_coordinates(g, sd.inc_uvw, job.geometry.base_g1)
    rows += [("%d\t%d\t%d\t%g\t%g\n", (*map(int, hkl), a * scale, b * scale), "position")
             for hkl, a, b in zip(g, x, y)]
    return rows + [("}RF_INDEX\n", ()), ("COORD{\n", ()),
                   ("%d %d    #num_pix, num_pix_side\n", (len(job.grid.h), sd.num_cal_pix_side)),
                   ("%g %g %g %g    #Hbgn Hend Gbgn Gend\n", (*job.grid.H_range, *job.grid.G_range)),
                   ("# H, G, ih, ig, flag\n", ())]


def pattern_files(job, psi, coherent):
    """Script and one pattern file per thickness from amplitudes [reflection, thickness, point]."""
    grid, sd, scaling = job.grid, job.sd, job.settings.intensity_scaling
    script = kavun_head(job, "SIM_COHERENT_VISUAL_MODE" if coherent else "SIM_VISUAL_MODE")
    files = []
    for t, thickness in enumerate(sd.thickness):
        name = f"{job.base}_rs{t}.txt"
        script += [("SIM_COHERENT_VISUALIZE\n" if coherent else "SIM_VISUALIZE\n", ()),
                   ("%s 0.5 1 0\n" if coherent else "%s 0.5 1 1\n", (name,))]
        if coherent:
            values = np.stack([psi[:, t].real, psi[:, t].imag], -1) * np.sqrt(scaling)
            extremes, line = ("%g\t%g\n", (10000.0, 0.0)), "%g\t%g\n"
            point_line, h, g = "%g\t%g\t%d\t%d\t%d\n", grid.h, grid.g
        else:
            values = np.abs(psi[:, t])[..., None]**2 * scaling
            extremes, line = ("%g\t%g\n", (values.max(), values.min()), "value"), "%g\n"
            point_line, h, g = "%g %g %d %d %d\n", grid.h - sd.H_tilt, grid.g - sd.G_tilt
        rows = pattern_head(job, "SIM_COHERENT_RESULT" if coherent else "SIM_RESULT",
                            name, thickness, extremes)
        rows += [(point_line, p, "tilt") for p in zip(h, g, grid.ix, grid.iy, grid.cal_flag)]
        rows += [("}COORD\n", ()), ("# intensities\n", ())]
        for o, reflection in enumerate(job.output):
            rows += [("RF{\n", ()), ("# hkl\n", ()), ("%d\t%d\t%d\n", job.beams[reflection])]
            rows += [(line, tuple(v), "value") for v in values[o]]
            rows.append(("}RF\n", ()))
        files.append(ResultFile(name, rows))
    return [ResultFile(job.base + "_kav.txt", script + [("HTML_CLOSE\n", ())])] + files


def probe_phase(job):
    """Phase factor of the aberrated probe at every tilt point."""
    sd, K_t, lam = job.sd, job.grid.K_t, wavelength(job.sd.acc_voltage)
    k2 = job.crystal.lattice.dot(K_t, K_t)
    chi = np.pi * (sd.defocus * lam * k2 + 0.5 * sd.cs_coef * lam**3 * k2**2
                   + 2 * K_t @ np.array(sd.probe_pos))
    return np.exp(1j * chi)


def cbed_files(job):
    coherent = job.name == "SIM_COHERENT_MODE"
    n = len(job.grid.h)
    psi = np.zeros((len(job.output), len(job.sd.thickness), n), complex)
    for p in np.flatnonzero(job.grid.cal_flag):
        psi[:, :, p] = amplitudes(solve(job, p), job.sd.thickness)
    return pattern_files(job, psi * probe_phase(job) if coherent else psi, coherent)


def fringe_files(job):
    psi = amplitudes(solve(job, 0), job.sd.thickness)
    indices = [job.beams[o] for o in job.output]
    head = [("#thickness" + "\t%d_%d_%d" * len(indices) + "\n",
             tuple(v for hkl in indices for v in hkl))]
    intensity, amplitude, scaling = head[:], head[:], job.settings.intensity_scaling
    for t, thickness in enumerate(job.sd.thickness):
        z = psi[:, t] * np.sqrt(scaling)
        names = ["thickness"] + ["value"] * len(z)
        intensity.append(("%g" + "\t%g" * len(z) + "\n", (thickness, *np.abs(z)**2), names))
        amplitude.append(("%g" + "\t%g\t%g" * len(z) + "\n",
                          (thickness, *np.stack([z.real, z.imag], -1).ravel()),
                          names + ["value"] * len(z)))
    table = job.base + "_int.txt"
    plot = [("#\n", ()), ("set xlabel \"thickness [A]\"\n", ()), ("set ylabel \"Intensity\"\n", ()),
            ("set title \"Thickness fringes\"\n", ()), ("set term png\n", ()),
            ("set output \"%s_out.png\"\n", (job.base,))]
    for j, hkl in enumerate(indices):
        end = ",\\\n" if j < len(indices) - 1 else "\n"
        plot.append((("plot " if j == 0 else "") + "\"%s\" using 1:%d title \"%d %d %d\" with lines "
                     + end, (table, j + 2, *hkl)))
    return [ResultFile(table, intensity), ResultFile(job.base + "_re_im.txt", amplitude),
            ResultFile(job.base + ".plt", plot + [("#pause -1 \n", ())])]
