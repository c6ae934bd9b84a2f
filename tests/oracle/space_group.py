"""Space-group table, generated positions and their listing."""

import re

import numpy as np

from parameter_file import Elements, tokens

CENTRING = {"P": [], "I": [(.5, .5, .5)], "A": [(0, .5, .5)], "B": [(.5, 0, .5)],
            "C": [(.5, .5, 0)], "F": [(0, .5, .5), (.5, 0, .5), (.5, .5, 0)],
            # Seven decimals, not exact thirds: the phases of the program carry them.
            "R": [(0.6666667, 0.3333333, 0.3333333), (0.3333333, 0.6666667, 0.6666667)]}


def read_operator(text):
    """Rotation and translation of an operator line such as -X,Y+1/2,-Z."""
    rotation, translation = np.zeros((3, 3), int), np.zeros(3)
    for row, part in enumerate(text.split(",")):
        minus = re.search(r"-(.?)", part)
        for column, letter in enumerate("XYZ"):
            if letter in part:
                rotation[row, column] = -1 if minus and minus.group(1) == letter else 1
        fraction = re.search(r"(\d)/(\d)", part)
        if fraction:
            translation[row] = int(fraction.group(1)) / int(fraction.group(2))
    return rotation, translation


class SpaceGroup:
    """All operations of a group: rotations [n,3,3] and translations [n,3]."""

    def __init__(self, path, number):
        elements = Elements(path)
        while True:
            header = tokens(elements.line())
            lines = [elements.line() for _ in range(int(header[0]))]
            if int(header[2]) == number:
                break
        self.letter = header[4][0]
        self.hexagonal_r = self.letter == "R" and int(header[3]) in (9, 11)
        pairs = [read_operator(line) for line in lines]
        rotations = np.array([r for r, _ in pairs])
        translations = np.array([t for _, t in pairs])
        shifts = CENTRING[self.letter] if self.letter != "R" or self.hexagonal_r else []
        self.rotations = np.concatenate([rotations] * (1 + len(shifts)))
        self.translations = np.concatenate([translations] + [translations + s for s in shifts])
        if int(header[1]) == 1:
            self.rotations = np.concatenate([self.rotations, -self.rotations])
            self.translations = np.concatenate([self.translations, -self.translations])

    def positions(self, xyz):
        return self.rotations @ np.asarray(xyz) + self.translations

    def distinct_positions(self, xyz):
        """The generated positions without repetition modulo the lattice, first seen first."""
        kept = []
        for p in self.positions(xyz):
            if all(np.any(np.abs((d := p - q) - np.round(d)) >= 1e-4) for q in kept):
                kept.append(p)
        return np.array(kept)


def position_rows(crystal, auto_multiplicity_off):
    """Rows of the listing of generated positions."""
    group = crystal.group
    rows = [("* All atom positions\n", ()), ("*\n", ())]
    for number, site in enumerate(crystal.sites, 1):
        p = (group.positions if auto_multiplicity_off else group.distinct_positions)(site.xyz)
        n = len(group.rotations)
        rows += [("* Atom[%d]: %s\n", (number, site.element)),
                 ("* number of atom positions = %d  (multiplicity = %d/%d = %g)\n",
                  (len(p), len(p), n, len(p) / n)), ("no:\tx\ty\tz\n", ())]
        rows += [("%d\t%g\t%g\t%g\n", (i, *xyz)) for i, xyz in enumerate(p)]
        rows += [(" Occupancy = %g\n", (site.occupancy,))]
    return rows
