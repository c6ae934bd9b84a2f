#include "dynamics/mbfunc_tilt.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

void add_point(TiltGrid &grid, const IncidentBeam &beam, const TiltPoint &p) {
    const RealHkl &g1 = beam.base_g1;
    const RealHkl &g2 = beam.base_g2;
    grid.pix.push_back(p);
    grid.kxy.push_back({0.5 * (p.h * g1.h + p.g * g2.h), 0.5 * (p.h * g1.k + p.g * g2.k),
                        0.5 * (p.h * g1.l + p.g * g2.l)});
    grid.num_pix_in += p.cal_flag;
}

void make_line(TiltGrid &grid, const IncidentBeam &beam) {
    const int n = grid.num_cal_pix_side;
    const double d = grid.disksize;
    const double step = 2.0 * d / (n - 1);
    for (int i = 0; i < n; ++i) {
        add_point(grid, beam, {i - n / 2, 0, 1, beam.H_tilt - d + i * step, beam.G_tilt});
    }
    grid.H_range = {-d, d};
    grid.G_range = {0.0, 0.0};
}

void make_disk(TiltGrid &grid, const IncidentBeam &beam) {
    const int n = grid.num_cal_pix_side;
    const double d = grid.disksize;
    const double start = n == 1 ? 0.0 : -d;
    const double step = n == 1 ? 0.0 : 2.0 * d / (n - 1);
    for (int j = 0; j < n; ++j) {
        const double g = beam.G_tilt + start + j * step;
        for (int i = 0; i < n; ++i) {
            const double h = beam.H_tilt + start + i * step;
            const double dh = h - beam.H_tilt;
            const double dg = g - beam.G_tilt;
            const bool inside = epsilon.general_eps + d > std::sqrt(dh * dh + dg * dg);
            add_point(grid, beam, {i, j, inside ? 1 : 0, h, g});
        }
    }
    grid.H_range = {-d, d};
    grid.G_range = {-d, d};
}

void make_square(TiltGrid &grid, const IncidentBeam &beam) {
    const int n = grid.num_cal_pix_side;
    const double d = grid.disksize;
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            add_point(grid, beam, {i - n / 2, j - n / 2, 1, beam.H_tilt, beam.G_tilt});
        }
    }
    grid.H_range = {-d, d};
    grid.G_range = {-d, d};
}

// Points that the kind of grid holds.
std::size_t num_points(const TiltGrid &grid) {
    const auto side = static_cast<std::size_t>(std::max(grid.num_cal_pix_side, 0));
    return grid.calc_type == 0 ? 1 : grid.calc_type == 1 ? side : side * side;
}

} // namespace

void calc_kxy_tilt(Sd &sd, const Metric &metric) {
    IncidentBeam &beam = sd.beam;
    TiltGrid &grid = sd.grid;
    beam.base_g2 = zolz_ort_base(beam.inc_uvw, beam.base_g1, metric);
    grid.pix.clear();
    grid.kxy.clear();
    grid.num_pix_in = 0;
    grid.pix.reserve(num_points(grid));
    grid.kxy.reserve(num_points(grid));
    switch (grid.calc_type) {
    case 0:
        add_point(grid, beam, {0, 0, 1, beam.H_tilt, beam.G_tilt});
        break;
    case 1:
        make_line(grid, beam);
        break;
    case 2:
        make_disk(grid, beam);
        break;
    case 3:
        make_square(grid, beam);
        break;
    default:
        mb_fprintf(stdout, "$$ (calc_kxy_tilt) calc_type=%d is invalid. Abort.\n", grid.calc_type);
        end_run(1);
    }
    grid.num_pix = static_cast<int>(grid.pix.size());
}

} // namespace orvel
