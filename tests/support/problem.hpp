// A crystal with its beams and potential, ready to solve tilts in process.
#pragma once

#include "app/run_settings.hpp"
#include "crystal/csd.hpp"
#include "dynamics/mbfunc_intensity.hpp"
#include "dynamics/mbfunc_potential.hpp"
#include "jobs/tilt_loop.hpp"
#include "support/crystals.hpp"
#include "support/run_end.hpp"

#include <vector>

namespace orvel::test {

// Sets a global setting for the life of a test.
template <class T> class Setting {
public:
    Setting(T &setting, T value) : setting_(setting), before_(setting) { setting_ = value; }
    ~Setting() { setting_ = before_; }
    Setting(const Setting &) = delete;
    Setting &operator=(const Setting &) = delete;

private:
    T &setting_;
    T before_;
};

struct Incidence {
    Uvw inc_uvw = {0, 0, 1};
    Uvw nor_uvw = {0, 0, 1};
    RealHkl base_g1 = {2, 0, 0};
    double acc_voltage = 100.0;
};

inline Csd read_with_tables(const CrystalText &crystal) {
    const WorkFolder folder;
    folder.link_tables();
    return read_crystal(crystal.block());
}

// The first num_exact beams of the list are exact, the others Bethe beams; all are given out.
class Problem {
public:
    Problem(const CrystalText &crystal, const Incidence &incidence, const std::vector<Hkl> &beams,
            int num_exact) {
        csd = read_with_tables(crystal);
        sd.beam.inc_uvw = incidence.inc_uvw;
        sd.beam.nor_uvw = incidence.nor_uvw;
        sd.beam.base_g1 = incidence.base_g1;
        sd.beam.acc_voltage = incidence.acc_voltage;
        sd.beam.base_g2 = zolz_ort_base(sd.beam.inc_uvw, sd.beam.base_g1, csd.metric);
        sd.beams.num_exact_beam = num_exact;
        sd.beams.num_bethe_beam = static_cast<int>(beams.size()) - num_exact;
        sd.beams.hkl = beams;
        sd.beam_search.flag_bs = 0;
        for (int i = 0; i < num_exact; ++i) {
            sd.reflections.push_back(i);
        }
        outcome_of([&] { potential = potential_matrix_csd(sd.beams, csd, incidence.acc_voltage); });
    }

    // Leaves the elastic potential alone.
    void drop_absorption() {
        for (int i = 0; i < sd.beams.size(); ++i) {
            for (int j = 0; j < sd.beams.size(); ++j) {
                // The Hermitian part: V(g) and V(-g) conjugate.
                const complex a = potential.V[i][j];
                const complex b = potential.V[j][i];
                if (i <= j) {
                    potential.V[i][j] = {0.5 * (a.re + b.re), 0.5 * (a.im - b.im)};
                    potential.V[j][i] = c_conj(potential.V[i][j]);
                }
            }
        }
    }

    TiltProblem tilt_problem() const { return orvel::tilt_problem(sd, csd, potential.V.get()); }

    // K_t of the tilt (h, g) in half base vectors.
    RealHkl tilt(double h, double g) const {
        const RealHkl &g1 = sd.beam.base_g1;
        const RealHkl &g2 = sd.beam.base_g2;
        return {0.5 * (h * g1.h + g * g2.h), 0.5 * (h * g1.k + g * g2.k),
                0.5 * (h * g1.l + g * g2.l)};
    }

    WorkCalInt work() const {
        return alloc_work_cal_int(sd.beams.size(), static_cast<int>(sd.reflections.size()),
                                  static_cast<int>(sd.thicknesses.size()));
    }

    // Intensities [output beam][thickness] of one tilt.
    Matrix<double> intensities(const RealHkl &K_t) const {
        Matrix<double> table(sd.reflections.size(), sd.thicknesses.size());
        WorkCalInt w = work();
        calc_intensity_with_perturb_ug(tilt_problem(), K_t, w, table.get());
        return table;
    }

    Csd csd;
    Sd sd;
    PotentialMatrix potential;

private:
    // As for every manual list, the global classification stands at every tilt.
    Setting<int> no_selection_{epsilon.vg_select_flag, 0};
};

} // namespace orvel::test
