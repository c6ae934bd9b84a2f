#include "dynamics/mbfunc_perturb.hpp"

#include "app/mb_debug.hpp"
#include "app/run_settings.hpp"
#include "dynamics/mbfunc_bcond.hpp"
#include "dynamics/mbfunc_matrix.hpp"
#include "dynamics/perturb.hpp"
#include "numeric/cmatutil.hpp"

#include <utility>

namespace orvel {

namespace {

// While it lives, the perturbed eigen-solution stands in the work record in place of the
// unperturbed one, so that the same sums serve both.
class SolutionSwap {
public:
    SolutionSwap(WorkCalInt &work, PerturbWork &perturb) : work_(work), perturb_(perturb) {
        swap();
    }
    ~SolutionSwap() { swap(); }
    SolutionSwap(const SolutionSwap &) = delete;
    SolutionSwap &operator=(const SolutionSwap &) = delete;

private:
    void swap() {
        std::swap(work_.eigval, perturb_.eigval);
        std::swap(work_.eigvec, perturb_.eigvec);
        std::swap(work_.alpha, perturb_.alpha);
    }
    WorkCalInt &work_;
    PerturbWork &perturb_;
};

void solve_set(const TiltProblem &problem, const complex *const *V, WorkCalInt &work,
               PerturbWork &perturb, double *const *table) {
    const int n = work.n_exact;
    dbg_mon("$$ p-construct_matrix\n");
    construct_ug_mat_slct(problem.sd.beam.acc_voltage, V, work, perturb.A.get());
    dbg_dump_complexmat(dbg.a_mat_dump_flag, "a_matrix: (perturb)", n, perturb.A.get());
    dbg_mon("$$ p-g-bethe\n");
    fold_bethe_beams(problem.sd.beam_search.flag_bs, n, work.n_bethe, perturb.A.get(),
                     perturb.B.get(), work);
    dbg_dump_complexmat(dbg.b_mat_dump_flag, "bethe_matrix: (perturb)", n, perturb.B.get());

    dbg_mon("$$ perturbation2\n");
    perturbation2({work.eigval.data(), work.eigvec.get(), perturb.eigvec_inv.get()}, n,
                  work.B.get(), perturb.B.get(), epsilon.degeneracy_eps, perturb.eigval.data(),
                  perturb.eigvec.get(), perturb);
    dbg_dump_complexvec(dbg.eigval_dump_flag, "perturbed eigen values:", n, perturb.eigval.data());
    dbg_dump_complexmat(dbg.eigvec_dump_flag, "perturbed eigen vectors", n, perturb.eigvec.get());

    dbg_mon("$$ p-upper_b_cond\n");
    upper_b_cond(n, work.beta_selected.data(), perturb.eigvec.get(), perturb.alpha.data(),
                 work.boundary.get(), work.invmat);
    dbg_dump_complexvec(dbg.b_cond_dump_flag, "p-upper_b_cond:", n, perturb.alpha.data());

    dbg_mon("$$ p-intensities\n");
    const SolutionSwap swap(work, perturb);
    calc_intensities(problem, work, table);
}

} // namespace

void calc_perturb_ug(const TiltProblem &problem, const PerturbedSets &perturbed, WorkCalInt &work) {
    const int n = work.n_exact;
    PerturbWork &perturb = *perturbed.work;
    dbg_mon("$$ eigen_vec_inv\n");
    c_matcopy2(n, work.eigvec.get(), perturb.eigvec_inv.get());
    invmat(n, perturb.eigvec_inv.get(), work.invmat);
    for (int p = 0; p < perturbed.n_perturb; ++p) {
        dbg_mon("$$ transfer perturbed vg\n");
        pvg_to_vg(p, problem.sd.beams.size(), perturbed.V, perturb.potential.get());
        solve_set(problem, perturb.potential.get(), work, perturb, perturbed.table[p]);
    }
    dbg_mon("$$perturbation end\n");
}

} // namespace orvel
