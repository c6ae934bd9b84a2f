// The two process-wide settings records: debug flags (from "orvel.ini") and tolerances and method
// switches (from the EPS_CONTROL_PARAMETERS block). Filled once before any job code runs, read
// everywhere; the only later change is that a manual beam list, and the dispersion-surface job,
// switch epsilon.vg_select_flag off.
#pragma once

#include "app/mb_mpi.hpp"

#include <string>

namespace orvel {

// Debug flags and how tilts are solved: 0 off, 1 on unless noted. "Refinement only" and "nothing
// reads it": accepted in the file and kept, without effect on any job.
struct DebugFlags {
    OutputFile stream;     // "%s.dbg"; open only while vg_sel_chk_flag is at work
    int not_finite = 0;    // tilts in it with an excitation error that is no finite number
    std::string base_name; // base name of the job; dump files are named from it

    int eigval_dump_flag = 0;   // dump eigenvalues
    int eigvec_dump_flag = 0;   // dump eigenvectors
    int sg_dump_flag = 0;       // dump excitation errors
    int betag_dump_flag = 0;    // dump surface-normal factors
    int reflex_dump_flag = 0;   // nothing reads it
    int reflex_only_flag = 0;   // end the run after the reflection list
    int vg_dump_flag = 0;       // dump the potential matrix to "%s_vg.txt"
    int a_mat_dump_flag = 0;    // dump the dynamical matrix
    int b_mat_dump_flag = 0;    // dump the matrix with the Bethe beams folded in
    int b_cond_dump_flag = 0;   // dump the excitation coefficients
    int bc_chk_flag = 0;        // check the boundary condition: 1 coefficients, 2 vectors too
    int all_int_out_flag = 0;   // nothing reads it
    int covar_dump_flag = 0;    // refinement only
    int alpha_dump_flag = 0;    // refinement only
    int beta_dump_flag = 0;     // refinement only
    int obs_cal_dump_flag = 0;  // refinement only
    int ideal_cr_cal_flag = 0;  // refinement only
    int atm_pos_out_flag = 0;   // write the generated atom positions to "%s_aps.txt"
    int vg_sel_chk_flag = 0;    // write the beam selection of each tilt to "%s.dbg", no intensities
    int process_mon_flag = 0;   // process monitor messages
    int wg_xig_list_flag = 0;   // nothing reads it
    int print_bij_flag = 1;     // refinement only
    int chk_data_dump_flag = 0; // confirm each block keyword
    int num_threads = 1;        // tilts solved at a time, 0: as many as there are cores
    int checkpoint_seconds = 0; // finished tilts are saved at such intervals; 0: never
    int tilt_symmetry_flag = 0; // solve one of the tilts that the crystal makes equal
    int propagation_flag = 0;   // many tilts at once, without eigen-solutions
};

// Tolerances and method switches.
struct EpsilonSettings {
    double general_eps = 1e-10;       // small threshold of scattering factors and tilt grid
    double eigen_eps = 1e-8;          // tolerance of the eigen-solvers
    double inv_eps = 1e-8;            // singularity tolerance of the inversions
    double degeneracy_eps = 1e-8;     // degeneracy tolerance of the eigenvalue perturbation
    double perturb_step = 0.001;      // refinement only
    double tol_chisq_abs = 0.01;      // refinement only
    double tol_chisq_rel = 0.001;     // refinement only
    double tol_parameter = 0.01;      // refinement only
    double tol_lambda = 10.0;         // refinement only
    double marq_lambda_max = 1.0e6;   // refinement only
    double intensity_scaling = 1.0e4; // intensity of the incident beam in the outputs
    double bc_accuracy = 1.0;         // share of the excitation that the kept branches carry
    double corr_threshold = 0.5;      // refinement only
    double w_sq_coef = 1.0;           // refinement only
    double w_exponent_coef = 0.0;     // refinement only
    double w_exponent = 4.0;          // refinement only
    double scale_rst_chisq = 1.0;     // refinement only
    double e_density_gmax_val = 12.0; // longest reflection of the 3-D density maps, 1/A
    int vg_select_flag = 1;           // classify the beams anew at each tilt
    int eigmat_func = 0;              // 0 EISPACK path, 1 elementary Hessenberg + plane rotations
    int invmat_func = 0;              // only 0 is valid
    int bc_invmat_func = 0;           // only 0 is valid
    int svd_flag = 1;                 // refinement only
    int num_thickwidth = 0;           // refinement only
    int thickwidth_type = 2;          // refinement only
    int cal_range_flag = 0;           // refinement only
    int numh = 20;                    // nothing reads it
    int auto_multiplicity_off = 0;    // 1: occupancies carry the multiplicity (split atoms)
    int flag_modified_marquardt = 1;  // refinement only
};

extern DebugFlags dbg;
extern EpsilonSettings epsilon;

} // namespace orvel
