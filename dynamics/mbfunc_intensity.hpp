// One tilt from its geometry to amplitudes and intensities at every thickness.
//
// psi_g(t) = sum_j (C_gj / sqrt(beta_g)) alpha_j exp(-i pi lambda_j t / K_n), t in A, K_n in 1/A:
// the eigenvalue divided by 2 K_n is the anomalous wave-vector component of branch j, its imaginary
// part attenuates the branch.
#pragma once

#include "crystal/csd.hpp"
#include "dynamics/mbfunc_geometry.hpp"
#include "dynamics/sim_condition.hpp"
#include "dynamics/work_cal_int.hpp"

#include <span>

namespace orvel {

// What all tilts of a job have in common.
struct TiltProblem {
    const Sd &sd;
    const Metric &metric;
    const complex *const *V; // potential matrix over sd.beams, volts
    RunGeometry geometry;
    double abs_K = 0.0; // 1/A
};

// Geometry and beam selection of one incidence: fills s, beta, index_list, out_rows and K_n.
void select_tilt(const TiltProblem &problem, const RealHkl &K_t, WorkCalInt &work);

// Selection, dynamical matrix, Bethe folding and eigen-solution of one incidence: fills the work
// record up to eigval and eigvec.
void solve_tilt(const TiltProblem &problem, const RealHkl &K_t, WorkCalInt &work);

// Boundary condition and kept branches of a solved tilt. With phase, alpha of every branch is
// multiplied by it (the phase of a coherent probe at this incidence).
void excite_branches(WorkCalInt &work, const complex *phase = nullptr);

// Amplitude and intensity of the beam in a matrix row at thickness t; 0 for a row outside the
// matrix or with no branch kept.
complex psi_limited_ug(int row, double t, const WorkCalInt &work);
double psi_to_intensity_limited_ug(int row, double t, const WorkCalInt &work);

// The output beams of a solved and excited tilt at all thicknesses, table[output beam][thickness].
void calc_amplitudes(const TiltProblem &problem, WorkCalInt &work, complex *const *table);
void calc_intensities(const TiltProblem &problem, WorkCalInt &work, double *const *table);

// Perturbed potentials whose intensities are wanted beside the unperturbed ones.
struct PerturbedSets {
    int n_perturb = 0;
    const complex *const *const *V = nullptr; // [set]: potential matrix over the global list
    double *const *const *table = nullptr;    // [set][output beam][thickness]
    PerturbWork *work = nullptr;
};

// One tilt, all output beams, all thicknesses; intensities relative to a unit incident beam.
void calc_intensity_with_perturb_ug(const TiltProblem &problem, const RealHkl &K_t,
                                    WorkCalInt &work, double *const *table,
                                    const PerturbedSets &perturbed = {});

// The coherent twin: complex amplitudes, with the probe phase of this incidence. Perturbed sets end
// the run through mb_error_exit ("perturbation is not available in coherent mode.").
void calc_intensity_ug_coherent(const TiltProblem &problem, const RealHkl &K_t, complex phase,
                                WorkCalInt &work, complex *const *table, int n_perturb = 0);

} // namespace orvel
