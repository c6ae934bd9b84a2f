#include "jobs/tilt_doubts.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"

namespace orvel {

Branches branches_of_waves() {
    return epsilon.bc_accuracy == 1.0 ? Branches::all : Branches::single;
}

int doubts_of(const WorkCalInt &work, Branches taken) {
    const double possible = taken == Branches::all ? 1e16 : 2.0; // 8 of 16 digits are left
    double sum = 0.0;
    for (int j = 0; j < work.n_exact; ++j) {
        sum += c_norm(work.alpha[j]);
    }
    const bool depend = sum > possible * work.beta_selected[0];
    return (work.invmat.is_singular || depend ? singular_mark : 0) +
           (work.eigmat.is_balanced ? balanced_mark : 0) +
           (work.bethe.is_singular ? unfolded_mark : 0);
}

void TiltDoubts::add(int marks, bool finite) {
    unfolded += finite && (marks & unfolded_mark) != 0 ? 1 : 0;
    singular += finite && (marks & singular_mark) != 0 ? 1 : 0;
    balanced += finite && (marks & balanced_mark) != 0 ? 1 : 0;
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
