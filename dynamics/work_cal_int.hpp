// The per-job work record: everything that solving one tilt writes, allocated once for the largest
// matrix and reused for every tilt.
#pragma once

#include "numeric/lb_eigmat.hpp"
#include "numeric/lb_invmat.hpp"
#include "numeric/vecmat.hpp"

namespace orvel {

// Blocks of the Bethe folding.
struct BetheWork {
    explicit BetheWork(int n_max);
    Matrix<complex> bb;       // Bethe-Bethe block, then its inverse
    Matrix<complex> s;        // its inverse times the Bethe-exact block
    Matrix<complex> t;        // the exact-Bethe block times s
    bool is_singular = false; // the block that was folded last
};

// What a set of perturbed potentials needs beside the unperturbed solution.
struct PerturbWork {
    explicit PerturbWork(int n_max);
    Matrix<complex> eigvec_inv;
    Matrix<complex> potential;
    Matrix<complex> A;
    Matrix<complex> B;
    Matrix<complex> eigvec;
    Vector<complex> eigval;
    Vector<complex> alpha;
    Matrix<complex> difference; // B1 - B0, then C^-1 (B1 - B0) C
    Matrix<complex> product;
};

// Orders: N beams of the global list, n = n_exact + n_bethe of them selected at this tilt.
struct WorkCalInt {
    WorkCalInt(int n_max, int n_out, int n_thick);

    Vector<double> s;             // excitation errors of the global list, 1/A
    Vector<double> beta;          // surface-normal factors of the global list
    Vector<double> beta_selected; // the same in matrix-row order
    Matrix<complex> A;            // structure matrix over the selected beams, 1/A^2
    Matrix<complex> B;            // the same with the Bethe beams folded in
    Matrix<complex> eigvec;       // columns
    Vector<complex> eigval;       // 1/A^2, by decreasing real part
    Vector<complex> alpha;        // excitation coefficients
    Vector<int> branch_list;      // kept branches
    Vector<int> out_rows;         // row of each output beam, or -1
    Vector<int> index_list;       // global position of each matrix row
    int n_exact = 0;              // selected at this tilt
    int n_bethe = 0;
    // Kept branches: all at first. Where no set of branches reaches the share asked for, the count
    // of the tilt before stands.
    int n_kept = 0;
    double K_n = 0.0; // 1/A, of this tilt

    // Scratch.
    Vector<double> roots;              // sqrt(beta_i beta_j) along a row of A
    Matrix<complex> boundary;          // C / sqrt(beta)
    Matrix<complex> propagation;       // [thickness][branch] exp(-i pi lambda t / K_n)
    Vector<complex> branch_amplitudes; // C alpha / sqrt(beta) of one output beam, per kept branch
    Vector<complex> phases;            // of the probe, per branch
    Vector<double> weights;            // |alpha|^2
    Vector<int> order;                 // bethe beams of a selection; order of the weights
    BetheWork bethe;
    EigmatWork eigmat;
    InvmatWork invmat;
};

// The record for at most n_max beams, n_out output beams and n_thick thicknesses.
WorkCalInt alloc_work_cal_int(int n_max, int n_out, int n_thick);

// Bytes that such a record takes.
double work_cal_int_bytes(int n_max, int n_thick);

} // namespace orvel
