"""Crystal: sites, resolved constraints, structure factors and given low-order values."""

import re
from types import SimpleNamespace

import numpy as np

from lattice import MOTT_CONSTANT, Lattice, mass_ratio
from parameter_file import number
from scattering import bk_factors, mott_factor, read_bk_table, read_xray_table
from space_group import SpaceGroup


def expression_value(text, lookup):
    """Sum of signed products of numbers and parameter names."""
    text = text.replace("=", "").replace(" ", "")
    total = 0.0
    for sign, term in re.findall(r"([+-]?)([^+-]*)", text):
        if sign or term:
            factors = [0.0 if f == "" else number(f) if f[0].isdigit() else lookup(f)
                       for f in term.split("*")]
            total += (-1 if sign == "-" else 1) * np.prod(factors)
    return total


class Crystal:
    """Everything that structure factors need; F in A, reflections as rows of integers [n,3]."""

    def __init__(self, block, settings, kilovolts, table_path):
        self.block, self.settings, self.kilovolts = block, settings, kilovolts
        self.group = SpaceGroup(table_path("orvelspg.dat"), block.space_group)
        self.tables = [(read_xray_table(table_path("orvelxdt.dat"), s.element),
                        read_bk_table(table_path("orvelbk.dat"), s.element)) for s in block.sites]
        self.n_ops = len(self.group.rotations)
        self.resolve()
        self.lattice = Lattice([p[1] for p in block.cell])
        self.given = {}
        self.refresh()
        self.multiplicity = [
            1.0 if settings.auto_multiplicity_off else
            len(self.group.distinct_positions(s.xyz)) / self.n_ops for s in self.sites]
        self.expand_given()

    def parameters(self):
        """All [name, value, expression] records in the order of resolution and of name look-up."""
        yield from self.block.cell
        for site in self.block.sites:
            yield from site.position + site.displacement + [site.occupancy]
        for _, values in self.block.low_order:
            yield from values

    def resolve(self):
        def lookup(name):
            return next(p[1] for p in self.parameters() if p[0] == name)
        for p in self.parameters():
            if p[2] is not None:
                p[1] = expression_value(p[2], lookup)

    def resolve_again(self):
        """What a builder of potential coefficients does first."""
        self.resolve()
        self.refresh()
        self.expand_given()

    def refresh(self):
        """Numeric sites from the parameter records."""
        self.sites = []
        for s in self.block.sites:
            d = [p[1] for p in s.displacement]
            site = SimpleNamespace(element=s.element, af=s.af, xyz=[p[1] for p in s.position],
                                   occupancy=s.occupancy[1], anisotropic=s.anisotropic)
            if s.anisotropic:
                site.beta = np.array([[d[0], d[3], d[5]], [d[3], d[1], d[4]], [d[5], d[4], d[2]]])
                site.B = 4 / 3 * np.sum(site.beta * self.lattice.direct)
            else:
                site.B = d[0]
            self.sites.append(site)

    def sum_over_atoms(self, hkl, f, f_absorptive):
        """F of reflections [n,3] for factors [n, sites]."""
        hkl = np.asarray(hkl)
        rotated = np.einsum("nj,kji->nki", hkl, self.group.rotations)
        shift = hkl @ self.group.translations.T
        s2 = self.lattice.dot(hkl, hkl) / 4
        F = np.zeros(len(hkl), complex)
        for i, (site, w) in enumerate(zip(self.sites, self.multiplicity)):
            phases = np.exp(-2j * np.pi * (rotated @ np.array(site.xyz) + shift))
            if site.anisotropic:
                phases *= np.exp(-np.einsum("nki,ij,nkj->nk", rotated, site.beta, rotated))
                S = phases.sum(1)
            else:
                S = phases.sum(1) * np.exp(-site.B * s2)
            F += (f[:, i] + 1j * f_absorptive[:, i]) * site.occupancy * w * S
        return F

    def factors(self, hkl):
        """Elastic and absorptive factors [n, sites] each."""
        s = self.lattice.length(hkl) / 2
        unique, where = np.unique(np.round(s, 11), return_inverse=True)
        f, f_absorptive = np.zeros((2, len(unique), len(self.sites)))
        for i, (site, (xray, bk)) in enumerate(zip(self.sites, self.tables)):
            for n, s_n in enumerate(unique):
                f_bk, f_absorptive[n, i], _ = bk_factors(bk, s_n, site.B, self.kilovolts)
                f[n, i] = f_bk if site.af else mott_factor(xray, s_n**2, self.settings.general_eps)
        return f[where], f_absorptive[where]

    def elastic(self, hkl):
        f, _ = self.factors(hkl)
        return self.sum_over_atoms(hkl, f, 0 * f)

    def absorptive(self, hkl):
        _, f = self.factors(hkl)
        return self.sum_over_atoms(hkl, 0 * f, f)

    def nuclear(self, hkl):
        Z = np.array([[xray.Z for xray, _ in self.tables]] * len(hkl))
        return self.sum_over_atoms(hkl, Z, 0 * Z)

    def given_value(self, hkl, values):
        """Structure factor of one low-order entry."""
        v, one = np.array([p[1] for p in values]), np.array([hkl])
        if self.block.lof_type <= 2:
            F = complex(v[0], v[1])
        else:
            F = self.sum_over_atoms(one, v[None, 0::2], v[None, 1::2])[0]
        return F + (self.absorptive(one)[0] if self.block.lof_type in (2, 4) else 0)

    def expand_given(self):
        """Given values of the low-order entries and of their equivalents, first come first."""
        self.given = {}
        for hkl, values in self.block.low_order:
            F = self.given_value(hkl, values)
            self.given.setdefault(hkl, F)
            for R, t in zip(self.group.rotations, self.group.translations):
                self.given.setdefault(tuple(np.array(hkl) @ R),
                                      F * np.exp(2j * np.pi * np.dot(hkl, t)))

    def with_given(self, hkl, F):
        for i, g in enumerate(map(tuple, hkl)):
            F[i] = self.given.get(g, F[i])
        return F

    def structure_factor(self, hkl):
        """F with given values and lattice extinctions, the value that all jobs use."""
        hkl = np.asarray(hkl).reshape(-1, 3)
        f, f_absorptive = self.factors(hkl)
        F = self.sum_over_atoms(hkl, f, f_absorptive)
        F[self.lattice.extinct(hkl, self.group.letter, self.group.hexagonal_r)] = 0
        return self.with_given(hkl, F)

    def potential(self, hkl):
        """V_g in volts."""
        return self.structure_factor(hkl) / (MOTT_CONSTANT * self.lattice.volume)

    def potential_matrix(self, beams):
        """V(g_i - g_j) of all pairs of beams."""
        beams = np.asarray(beams)
        differences = (beams[:, None] - beams[None, :]).reshape(-1, 3)
        unique, where = np.unique(differences, axis=0, return_inverse=True)
        return self.potential(unique)[where].reshape(len(beams), len(beams))

    def elastic_and_xray(self, hkl):
        """Elastic V_g and X-ray structure factor, the latter by the inverse Mott relation."""
        F = self.with_given(hkl, self.elastic(hkl))
        s2 = self.lattice.dot(hkl, hkl) / 4
        return (F / (MOTT_CONSTANT * self.lattice.volume),
                self.nuclear(hkl) - 131.2625 / np.pi * s2 * F)

    def mean_wave_number_square(self):
        """Re U_0 in 1/A^2 as it enters |K|: given F(000), else Bird & King at 100 kV and B = 0."""
        listed = next((v for hkl, v in self.block.low_order if hkl == (0, 0, 0)), None)
        if listed is not None:
            F0 = self.given_value((0, 0, 0), listed).real
        else:
            F0 = sum(bk_factors(bk, 0.0, 0.0, 100.0)[0] * s.occupancy * self.n_ops * w
                     for s, w, (_, bk) in zip(self.sites, self.multiplicity, self.tables))
        return F0 * mass_ratio(self.kilovolts) / (np.pi * self.lattice.volume)
