// The tilt loop of the CBED jobs, for intensities and for amplitudes.
#pragma once

#include "app/mb_mpi.hpp"
#include "dynamics/mbfunc_check.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "jobs/mb_sim_setup.hpp"
#include "jobs/tilt_loop.hpp"
#include "jobs/tilt_threads.hpp"
#include "numeric/vecmat.hpp"

#include <vector>

namespace orvel {

// Solves the tilts of the grid: solve_tilt(work, p, table) leaves the values of point p in
// table[output reflection][thickness], from where they go to results[..][..][p]; points outside the
// disk keep their zeros. Tells of results that are not finite after write() has written them all.
// In the check mode of the beam selection neither is called.
template <class T, class SolveTilt, class Write>
void calc_pattern(const TiltProblem &problem, Tensor<T> &results, std::FILE *log,
                  SolveTilt solve_tilt, Write write) {
    const Sd &sd = problem.sd;
    const std::size_t n_out = results.extent(0);
    const std::size_t n_thick = results.extent(1);
    const int threads = num_tilt_threads(sd.grid.num_pix_in);
    std::vector<WorkCalInt> works =
        alloc_works(threads, sd.beams.size(), static_cast<int>(n_out), static_cast<int>(n_thick));
    std::vector<Matrix<T>> tables;
    tables.reserve(threads);
    for (int i = 0; i < threads; ++i) {
        tables.emplace_back(n_out, n_thick);
    }
    mb_fprintf(stdout, "Intensity calculation\n");
    if (dbg_sel_vg_on()) {
        check_selections(problem, works.front());
        return;
    }

    std::vector<char> finite(sd.grid.pix.size());
    solve_tilts(sd.grid, works, [&](int slot, int p) {
        Matrix<T> &table = tables[slot];
        solve_tilt(works[slot], p, table.get());
        finite[p] = all_finite(sd, table.get());
        for (std::size_t o = 0; o < n_out; ++o) {
            for (std::size_t k = 0; k < n_thick; ++k) {
                results[o][k][p] = table[o][k];
            }
        }
    });
    mb_fprintf(stdout, "$$Intensity output\n");
    write();
    NonFiniteCount(sd.grid, finite).report(log);
}

} // namespace orvel
