"""Lattice metric, zone-axis bases and the optics of the fast electron."""

import numpy as np

MOTT_CONSTANT = 0.020886563  # F = MOTT_CONSTANT * volume * V, in 1/(V A^2)


class Lattice:
    """Direct metric G, reciprocal metric and volume of a cell (A, degrees).

    Reciprocal vectors are rows of indices hkl, direct vectors rows of indices uvw; both may be
    arrays of such rows.
    """

    def __init__(self, cell):
        self.cell = cell
        lengths, cosines = np.array(cell[:3]), np.cos(np.radians(cell[3:]))
        angles = np.array([[1, cosines[2], cosines[1]], [cosines[2], 1, cosines[0]],
                           [cosines[1], cosines[0], 1]])
        self.direct = angles * np.outer(lengths, lengths)
        self.reciprocal = np.linalg.inv(self.direct)
        self.volume = np.sqrt(np.linalg.det(self.direct))

    def dot(self, p, q):
        """Scalar product of reciprocal vectors, 1/A^2."""
        return np.sum((np.asarray(p) @ self.reciprocal) * np.asarray(q), axis=-1)

    def length(self, g):
        return np.sqrt(self.dot(g, g))

    def direct_length(self, uvw):
        return np.sqrt(np.asarray(uvw) @ self.direct @ np.asarray(uvw))

    def second_base(self, uvw, g1):
        """Reciprocal vector along uvw x g1, as long as g1."""
        g2 = np.cross(uvw, self.reciprocal @ np.asarray(g1, float))
        return g2 * (self.length(g1) / self.length(g2))

    def zone_coordinates(self, g, uvw, g1):
        """Coefficients of the projection of g on g1 and the second base vector."""
        g2 = self.second_base(uvw, g1)
        square = self.dot(g1, g1)
        return self.dot(g, g1) / square, self.dot(g, g2) / square

    def real_space_bases(self, uvw, g1):
        """Direct vectors r1, r2 normal to uvw with r_i . g_j = delta_ij."""
        g2 = self.second_base(uvw, g1)
        square = self.dot(g1, g1)
        return self.reciprocal @ np.asarray(g1) / square, self.reciprocal @ g2 / square

    def extinct(self, hkl, letter, hexagonal_r):
        """Whether the lattice centring forbids each reflection."""
        h, k, l = np.asarray(hkl).T
        sums = {"P": [], "I": [(h + k + l, 2)], "A": [(k + l, 2)], "B": [(h + l, 2)],
                "C": [(h + k, 2)], "F": [(h + k, 2), (k + l, 2), (h + l, 2)],
                "R": [(-h + k + l, 3)] if hexagonal_r else []}[letter]
        return np.any([s % m != 0 for s, m in sums], axis=0) if sums else np.zeros(h.shape, bool)


def wavelength(kilovolts):
    """Electron wavelength in A."""
    volts = 1000 * kilovolts
    return 12.264263 / np.sqrt(volts * (1 + 9.7847537e-7 * volts))


def mass_ratio(kilovolts):
    return 1 + 1.9569507e-6 * 1000 * kilovolts
