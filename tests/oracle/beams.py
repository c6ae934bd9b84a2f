"""Geometry of the incident beam, tilt grid, excitation errors, beam search and its listing."""

from types import SimpleNamespace

import numpy as np

from lattice import mass_ratio, wavelength


class Geometry:
    """Wave vectors and excitation errors of one crystal and one incident-beam condition."""

    def __init__(self, crystal, sd):
        self.lattice, self.sd = crystal.lattice, sd
        self.B_length = self.lattice.direct_length(sd.inc_uvw)
        self.N_length = self.lattice.direct_length(sd.nor_uvw)
        self.cos_bn = (np.array(sd.inc_uvw) @ self.lattice.direct @ np.array(sd.nor_uvw)
                       / (self.B_length * self.N_length))
        self.base_g1 = np.array(sd.base_g1)
        self.base_g2 = self.lattice.second_base(sd.inc_uvw, sd.base_g1)
        self.K = np.sqrt(wavelength(sd.acc_voltage)**-2 + crystal.mean_wave_number_square())

    def tangential(self, h, g):
        return 0.5 * (np.multiply.outer(h, self.base_g1) + np.multiply.outer(g, self.base_g2))

    def K_z(self, K_t):
        return -np.sqrt(self.K**2 - self.lattice.dot(K_t, K_t))

    def K_n(self, K_t):
        return self.K_z(K_t) * self.cos_bn + K_t @ np.array(self.sd.nor_uvw) / self.N_length

    def excitation_error(self, g, K_t):
        g_z = g @ np.array(self.sd.inc_uvw) / self.B_length
        return (-self.K_z(K_t) * g_z - self.lattice.dot(K_t + g / 2, g)) / self.K

    def surface_factor(self, g, K_t):
        return 1 + g @ np.array(self.sd.nor_uvw) / self.N_length / self.K_n(K_t)

    def edge_excitation_error(self, g):
        """Smallest |s_g| on the diameter of the tilt disk along the projection of g."""
        sd = self.sd
        a, b = self.lattice.zone_coordinates(g, sd.inc_uvw, self.base_g1)
        p = np.multiply.outer(a, self.base_g1) + np.multiply.outer(b, self.base_g2)
        square = self.lattice.dot(p, p)
        scale = np.sqrt(self.lattice.dot(self.base_g1, self.base_g1) / np.maximum(square, 1e-12))
        p *= np.where(square < 1e-12, 0, scale)[:, None]
        centre = self.tangential(sd.H_tilt, sd.G_tilt)
        plus, minus = (self.excitation_error(g, centre + sign * 0.5 * sd.disksize * p)
                       for sign in (1, -1))
        return np.where(plus * minus < 0, 0, np.minimum(abs(plus), abs(minus)))


def tilt_grid(sd, geometry, general_eps):
    """Points with tilt coordinates, K_t, indices and flag, and the ranges of the grid."""
    n, d, H, G = sd.num_cal_pix_side, sd.disksize, sd.H_tilt, sd.G_tilt
    grid = SimpleNamespace(H_range=(-d, d), G_range=(-d, d))
    i = np.arange(n)
    line = -d + i * (2 * d / (n - 1)) if n > 1 else np.array([-d])
    inner, outer = np.tile(i, n), np.repeat(i, n)
    if sd.calc_type == 0:
        h, g, ix, iy = np.array([H]), np.array([G]), np.array([0]), np.array([0])
        grid.H_range = grid.G_range = (0.0, 0.0)
    elif sd.calc_type == 1:
        h, g, ix, iy = H + line, np.full(n, G), i - n // 2, 0 * i
        grid.G_range = (0.0, 0.0)
    elif sd.calc_type == 2:
        h, g, ix, iy = H + line[inner], G + line[outer], inner, outer
    else:  # the square has no extent: every point stands at the centre
        h, g, ix, iy = np.full(n * n, H), np.full(n * n, G), inner - n // 2, outer - n // 2
    grid.h, grid.g, grid.ix, grid.iy = h, g, ix, iy
    inside = general_eps + d > np.hypot(h - H, g - G)
    grid.cal_flag = inside.astype(int) if sd.calc_type == 2 else np.ones(len(h), int)
    grid.K_t = geometry.tangential(h, g)
    return grid


def extinction_distance(V_or_F, factor, kilovolts):
    U = np.abs(V_or_F) * factor
    return np.where(U < 1e-12, 1e10, 1 / (wavelength(kilovolts) * np.maximum(U, 1e-12)))


def box_bound(lattice, axis, g_max):
    g, n = np.eye(3)[axis], 1
    while g_max > lattice.length(n * g):
        n += 1
    return n


def search_beams(crystal, sd, geometry, sphere=False):
    """Exact and Bethe beams; equal |g| in no particular order."""
    lattice = crystal.lattice
    if sd.flag_bs % 10 == 0:
        return sd.manual[:sd.num_exact], sd.manual[sd.num_exact:]
    bounds = [box_bound(lattice, axis, sd.g_max) for axis in range(3)]
    g = np.stack(np.meshgrid(*[np.arange(-n, n + 1) for n in bounds], indexing="ij"), -1)
    g = g.reshape(-1, 3)
    g = g[np.any(g != 0, axis=1) & (lattice.length(g) < sd.g_max)]
    g = g[~lattice.extinct(g, crystal.group.letter, crystal.group.hexagonal_r)]
    zone = g @ np.array(sd.inc_uvw)
    if sphere:
        exact, bethe = np.ones(len(g), bool), np.zeros(len(g), bool)
    else:
        inside = (zone >= sd.lz_min) & (zone <= sd.lz_max)
        g, zone = g[inside], zone[inside]
        lower, upper, xi_max = np.array(sd.thresholds)[zone if sd.flag_bs % 10 == 3 else 0 * zone].T
        xi = extinction_distance(crystal.structure_factor(g),
                                 mass_ratio(sd.acc_voltage) / (np.pi * lattice.volume),
                                 sd.acc_voltage)
        quantity = geometry.edge_excitation_error(g)
        if sd.flag_bs % 10 == 1:
            quantity = quantity * xi
        else:
            xi = np.where(xi_max >= 1e10, 1e10, xi)
        exact = (xi < xi_max) & (quantity < lower)
        bethe = (xi < xi_max) & ~exact & (quantity < upper)
    order = [sel[np.argsort(lattice.length(sel), kind="stable")] for sel in (g[exact], g[bethe])]
    return [(0, 0, 0)] + [tuple(r) for r in order[0]], [tuple(r) for r in order[1]]


def beam_list_rows(crystal, sd, beams, num_exact, geometry):
    """Rows of the reflection list."""
    method = sd.flag_bs % 10
    rows = []
    if method == 0:
        rows.append(("# beam_search --> manual\n", ()))
    else:
        rows.append(("# beam_search par.: \n", ()))
    if method == 3:
        rows.append(("# beam_search ---> multi sg\n", ()))
    elif method:
        w = "ws"[method - 1]
        rows.append((f"{w}gbmin=%g, {w}gmax=%g, xigmax=%g, lz:%d-%d, gmax=%g\n",
                     (*sd.thresholds[0], sd.lz_min, sd.lz_max, sd.g_max)))
    rows += [("# [%d %d %d]\n", tuple(sd.inc_uvw)),
             ("# Exact= %d  Bethe= %d\n", (num_exact, len(beams) - num_exact)),
             ("i\th\tk\tl\tnlz\tx\ty\tBethe\tg\tFg_re\tFg_im\tFg_abs"
              "\tFgela_re\tFgela_im\tFginela_re\tFginela_im\n", ())]
    g = np.array(beams)
    x, y = crystal.lattice.zone_coordinates(g, sd.inc_uvw, geometry.base_g1)
    F, F_minus = crystal.structure_factor(g), crystal.structure_factor(-g).conj()
    elastic, absorptive = (F + F_minus) / 2, (F - F_minus) / 2
    for i, beam in enumerate(beams):
        numbers = [v for z in (elastic[i], absorptive[i]) for v in (z.real, z.imag)]
        rows.append(("%d\t%3d\t%3d\t%3d\t%d\t%f\t%f\t%d\t%f" + 7 * "\t%f" + "\n",
                     (i, *beam, int(g[i] @ np.array(sd.inc_uvw)), x[i], y[i], int(i >= num_exact),
                      crystal.lattice.length(g[i]), F[i].real, F[i].imag, abs(F[i]), *numbers)))
    return rows


def read_beam_list(path):
    """Beams of a written reflection list and the number of exact ones."""
    with open(path) as stream:
        rows = [line.split("\t") for line in stream if line[:1].isdigit()]
    return [tuple(map(int, r[1:4])) for r in rows], sum(r[7] == "0" for r in rows)
