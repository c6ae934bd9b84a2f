"""Bloch-wave solution of one tilt: selection, dynamical matrix, eigenvalues, amplitudes."""

from types import SimpleNamespace

import numpy as np

from beams import extinction_distance
from lattice import MOTT_CONSTANT, mass_ratio, wavelength


def select_beams(sd, settings, beams, num_exact, s, V0):
    """Positions of the exact and of the Bethe beams of this tilt."""
    index = np.arange(len(beams))
    if not settings.vg_select_flag:
        return index[:num_exact], index[num_exact:]
    if sd.flag_bs % 10 == 3:
        lower, upper, _ = np.array(sd.thresholds)[np.array(beams) @ np.array(sd.inc_uvw)].T
    else:
        lower, upper, _ = sd.thresholds[0]
    quantity = np.abs(s)
    if sd.flag_bs % 10 == 1:
        quantity = quantity * extinction_distance(
            V0, mass_ratio(sd.acc_voltage) / 150.41214074282078, sd.acc_voltage)
    exact = (quantity < lower) | (index == 0)
    return index[exact], index[~exact & (quantity < upper)]


def dynamical_matrix(sd, selected, n_exact, V, s, beta):
    """Effective matrix of the exact beams, 1/A^2."""
    factor = MOTT_CONSTANT * mass_ratio(sd.acc_voltage) / np.pi
    U0 = V[0, 0] * factor
    K = np.sqrt(wavelength(sd.acc_voltage)**-2 + U0.real)
    s, beta = s[selected], beta[selected]
    A = V[np.ix_(selected, selected)] * factor / np.sqrt(np.outer(beta, beta))
    np.fill_diagonal(A, (2 * K * s + 1j * U0.imag) / beta)
    n = n_exact
    if n == len(selected):
        return A
    if sd.flag_bs <= 9:
        return A[:n, :n] - A[:n, n:] @ np.linalg.solve(A[n:, n:], A[n:, :n])
    return A[:n, :n] - (A[:n, n:] / np.diag(A)[n:]) @ A[n:, :n]


def isolate(A, eps):
    """Row and column exchanges that move decoupled eigenvalues to the ends (EISPACK CBAL)."""
    low, high = 0, len(A)

    def exchange(i, j):
        A[:, [i, j]] = A[:, [j, i]]
        A[[i, j]] = A[[j, i]]

    def find(rows):
        block = np.abs(rows[low:high, low:high]) >= eps
        np.fill_diagonal(block, False)
        return ~block.any(axis=1)
    moved = True
    while moved and high > 1:
        decoupled = np.flatnonzero(find(A))
        if moved := len(decoupled) > 0:
            high -= 1
            exchange(low + decoupled[-1], high)
    moved = True
    while moved and low < high:
        decoupled = np.flatnonzero(find(A.T))
        if moved := len(decoupled) > 0:
            exchange(low + decoupled[0], low)
            low += 1
    return low, high


def balance(A, eps):
    """The matrix that the EISPACK path diagonalises, and whether it differs from A."""
    balanced = A.copy()
    low, high = isolate(balanced, eps)
    repeat = True
    while repeat:
        repeat = False
        for i in range(low, high):
            size = np.abs(balanced.real) + np.abs(balanced.imag)
            c = size[low:high, i].sum() - size[i, i]
            r = size[i, low:high].sum() - size[i, i]
            if c == 0 or r == 0:
                continue
            f, total = 1.0, c + r
            while c < r / 16:
                f, c = f * 16, c * 256
            while c >= r * 16:
                f, c = f / 16, c / 256
            if (c + r) / f < 0.95 * total:
                balanced[i] /= f
                balanced[:, i] *= f
                repeat = True
    return balanced, not np.array_equal(balanced, A)


def solve_point(job, K_t):
    """Eigenvalues, eigenvectors, excitation coefficients and kept branches of one tilt.

    Eigenvalues stand in the order of decreasing real part; eigenvectors have unit length. The
    transformation of balancing is not undone, which `balanced` reports when it changed anything.
    """
    sd, settings, geometry = job.sd, job.settings, job.geometry
    g = np.array(job.beams)
    s, beta = geometry.excitation_error(g, K_t), geometry.surface_factor(g, K_t)
    exact, bethe = select_beams(sd, settings, job.beams, job.num_exact, s, job.V[:, 0])
    point = SimpleNamespace(exact=exact, K_n=geometry.K_n(K_t))
    B = dynamical_matrix(sd, np.concatenate([exact, bethe]), len(exact), job.V, s, beta)
    point.B, point.balanced = B, False
    if settings.eigmat_func == 0:
        B, point.balanced = balance(B, settings.eigen_eps)
    values, C = np.linalg.eig(B)
    order = np.argsort(-values.real, kind="stable")
    point.values, point.C = values[order], C[:, order] / np.linalg.norm(C[:, order], axis=0)
    point.root_beta = np.sqrt(beta[exact])
    unit = np.eye(len(exact))[0]
    point.alpha = np.linalg.solve(point.C / point.root_beta[:, None], unit)
    weights = np.abs(point.alpha)**2
    ranked = np.argsort(-weights, kind="stable")
    share = np.cumsum(weights[ranked]) / weights.sum()
    point.kept = ranked[:np.argmax(share >= settings.bc_accuracy) + 1]
    if settings.bc_accuracy == 1.0:
        point.kept = np.arange(len(exact))
    # Row of every output reflection in the matrix, -1 where it is not exact at this tilt.
    rows = {position: row for row, position in enumerate(exact)}
    point.rows = np.array([rows.get(o, -1) for o in job.output], int)
    return point


def amplitudes(point, thickness):
    """Complex amplitudes [output reflection, thickness]."""
    k = point.kept
    waves = np.exp(-1j * np.pi / point.K_n * np.outer(point.values[k], thickness))
    psi = (point.C[:, k] * point.alpha[k] / point.root_beta[:, None]) @ waves
    return np.where(point.rows[:, None] < 0, 0, psi[point.rows])
