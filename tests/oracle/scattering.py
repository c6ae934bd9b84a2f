"""Atomic scattering factors: tables and their interpolation, Mott formula."""

from types import SimpleNamespace

import numpy as np

from parameter_file import Elements, number, tokens


def read_xray_table(path, element):
    """Gaussian amplitudes a[4], exponents b[4], constant c and nuclear charge Z."""
    elements = Elements(path)
    while (words := tokens(elements.line()) or [""])[0] != element:
        pass
    v = [number(w) for w in words[1:]]
    return SimpleNamespace(Z=v[0], a=np.array(v[1:9:2]), b=np.array(v[2:9:2]), c=v[9])


def read_bk_table(path, element):
    """Elastic table (s, f) and absorptive grid over B and B s^2 of one element."""
    elements = Elements(path)

    def block(count):
        return [v for _ in range(count) for v in map(number, tokens(elements.line()))]

    elements.keyword("DTS")
    s = block(3)
    elements.keyword("GM")
    b = block(1)
    elements.keyword("GMS2")
    bs2 = block(2)
    while elements.line().strip() != element:
        block(9)
    scale, offset = block(1)
    f = np.array(block(3)) / 1000
    grid = np.array(block(5)).reshape(10, 6).T
    grid = (grid * 10 / scale - 1e-6 * offset) * np.exp(bs2)
    return SimpleNamespace(s=np.array(s), f=f, B=np.array(b), Bs2=np.array(bs2), grid=grid)


def lagrange(xs, ys, x):
    """Polynomial through the points; ys may have one column per polynomial."""
    weights = [np.prod([(x - xs[j]) / (xs[i] - xs[j]) for j in range(len(xs)) if j != i])
               for i in range(len(xs))]
    return np.dot(weights, ys)


def first_below(x, table, first, last):
    """First index in first .. last-1 whose entry exceeds x, else last."""
    return next((i for i in range(first, last) if x < table[i]), last)


def patch(table, B, x, p, q, order):
    """Interpolation of the grid on the (order+1)^2 points that end at row p, column q."""
    rows, columns = slice(p - order, p + 1), slice(q - order, q + 1)
    return lagrange(table.Bs2[columns], lagrange(table.B[rows], table.grid[rows, columns], B), x)


def absorptive_grid(table, B, x):
    """Value of the grid at B and x = B s^2."""
    if x >= 2.0:
        return patch(table, B, x, first_below(B, table.B, 2, 4) + 1,
                     first_below(x, table.Bs2, 2, 8) + 1, 3)
    i, j = first_below(B, table.B, 1, 5), first_below(x, table.Bs2, 1, 9)
    if i == 1 and j == 1:
        stencils = [(2, 2), (2, 3), (3, 2), (3, 3)]
    elif j == 1:
        stencils = [(i, 2), (min(i + 1, 5), 2)]
    else:
        i = max(i, 2)
        stencils = {(p, q) for p in (i, min(i + 1, 5)) for q in (j, min(j + 1, 9))}
    return np.mean([patch(table, B, x, p, q, 2) for p, q in stencils])


def bk_factors(table, s, B, kilovolts):
    """Elastic and absorptive factor and whether the tables cover the arguments."""
    if s > table.s[-1] or kilovolts <= 0 or kilovolts > 10000:
        return 0.0, 0.0, False
    k = first_below(s, table.s, 2, len(table.s) - 2)
    f = lagrange(table.s[k - 2:k + 2], table.f[k - 2:k + 2], s)
    inside, clamped, x = 0 <= B <= table.B[-1], min(max(B, 0.0), table.B[-1]), s * s * B
    if clamped < table.B[0] or x > table.Bs2[-1]:
        return f, 0.0, inside
    beta = np.sqrt(1 - 261127 / ((1022 + kilovolts) * kilovolts + 261127))
    return f, f / beta * absorptive_grid(table, clamped, x), inside


def mott_factor(xray, s2, general_eps):
    if s2 > general_eps:
        cloud = np.sum(xray.a * np.exp(-xray.b * s2)) + xray.c
        return (xray.Z - cloud) * 0.02393367 / s2
    return np.sum(xray.a * xray.b) * 0.023934
