#include "jobs/tilt_doubts.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"

#include <algorithm>
#include <span>

namespace orvel {

namespace {

// |alpha|^2 of the branches that coincide with another one, but for the error of their solution.
double excitation_of_coinciding(const WorkCalInt &work) {
    const std::span<const complex> found(work.eigval.data(), work.n_exact);
    double largest = 0.0;
    for (const complex &value : found) {
        largest = std::max(largest, c_abs(value));
    }
    const double error = std::max(epsilon.eigen_eps, 1e-9) * largest;
    double sum = 0.0;
    for (int j = 0; j < work.n_exact; ++j) {
        const auto num_near = std::count_if(found.begin(), found.end(), [&](const complex &value) {
            return c_abs(c_sub(value, found[j])) <= error;
        });
        sum += num_near > 1 ? c_norm(work.alpha[j]) : 0.0;
    }
    return sum;
}

// The bounds for single branches are measured: of 1394 solutions with a sum above 1.05 the 1288 on
// which both eigen-solvers agree have sums up to 3.4 and next to nothing in branches that coincide.
bool excitations_cancel(const WorkCalInt &work, Branches taken) {
    constexpr double without_digits = 1e16; // 8 of the 16 of an amplitude are left
    constexpr double beyond_absorption = 1e4;
    constexpr double above_one = 1.05;
    constexpr double noticeable = 0.1;
    double sum = 0.0;
    for (int j = 0; j < work.n_exact; ++j) {
        sum += c_norm(work.alpha[j]);
    }
    sum /= work.beta_selected[0];
    if (taken == Branches::all) {
        return sum > without_digits;
    }
    return sum > beyond_absorption ||
           (sum > above_one && excitation_of_coinciding(work) > noticeable * work.beta_selected[0]);
}

} // namespace

Branches branches_of_waves() {
    return epsilon.bc_accuracy >= 1.0 ? Branches::all : Branches::single;
}

int doubts_of(const WorkCalInt &work, Branches taken) {
    return (work.invmat.is_singular || excitations_cancel(work, taken) ? singular_mark : 0) +
           (work.eigmat.is_balanced ? balanced_mark : 0) +
           (work.bethe.is_singular ? unfolded_mark : 0);
}

void TiltDoubts::add(int marks) {
    unfolded += (marks & unfolded_mark) != 0 ? 1 : 0;
    singular += (marks & singular_mark) != 0 ? 1 : 0;
    balanced += (marks & balanced_mark) != 0 ? 1 : 0;
}

void TiltDoubts::report(std::FILE *log) const {
    if (unfolded > 0) {
        mb_fprintf_stdo(log,
                        "$$ Warning: the Bethe beams of %d tilts could not be folded (one at its "
                        "Bragg condition, or too large an inv_eps): their values may be wrong.\n",
                        unfolded);
    }
    if (singular > 0) {
        mb_fprintf_stdo(
            log,
            "$$ Warning: the boundary condition of %d tilts was not solved, or with excitations "
            "that cancel (eigenvectors that depend on one another, as of branches that coincide, "
            "or too large an inv_eps): their values may be wrong.\n",
            singular);
    }
    if (balanced > 0) {
        mb_fprintf_stdo(
            log,
            "$$ Warning: eigmat_func 0 balanced the matrix of %d tilts, which it does not undo: "
            "beams that hardly couple may have traded their values with others. eigmat_func 1 "
            "gives them their own.\n",
            balanced);
    }
}

} // namespace orvel
