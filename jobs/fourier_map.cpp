#include "jobs/fourier_map.hpp"

#include "app/mb_mpi.hpp"
#include "jobs/condition_blocks.hpp"

namespace orvel {

namespace {

void chk_map_range(const MapRange &map) {
    if (map.nx < 1 || map.ny < 1) {
        input_exit("$$ CALC_RXY_RANGE: nx = %d, ny = %d, at least 1 point is needed. Abort.",
                   map.nx, map.ny);
    }
    if (static_cast<double>(map.nx) * map.ny > map_point_limit) {
        input_exit("$$ CALC_RXY_RANGE: nx = %d, ny = %d, at most %g points can be drawn. Abort.",
                   map.nx, map.ny, map_point_limit);
    }
}

} // namespace

complex calc_inv_fourier(const RealUvw &r, std::span<const Hkl> hkl, const complex *coefficients) {
    return fourier_sum(r, hkl, [&](std::size_t i) { return coefficients[i]; });
}

complex calc_projpot(const RealUvw &r, std::span<const Hkl> hkl,
                     const complex *const *potential_rows) {
    return fourier_sum(r, hkl, [&](std::size_t i) { return potential_rows[i][0]; });
}

MapRange fget_map_range(std::FILE *stream) {
    MapRange map;
    const std::array<int, 2> sizes = fget_2i(stream);
    map.nx = sizes[0];
    map.ny = sizes[1];
    map.rx_range = fget_2d(stream);
    map.ry_range = fget_2d(stream);
    chk_map_range(map);
    return map;
}

void NonFinitePoints::report(std::FILE *log) const {
    if (points > 0) {
        mb_fprintf_stdo(log, "$$ Warning: %lld of %lld map points are not finite numbers.\n",
                        points, of);
    }
}

double map_coordinate(const std::array<double, 2> &range, int i, int n) {
    return n == 1 ? range[0] : range[0] + (range[1] - range[0]) * i / (n - 1);
}

void fprint_real_space_base(std::FILE *stream, const RealSpaceBase &base) {
    mb_fprintf(stream, "real-space base-vector ( length = 1/|zolzbase1| )\n");
    mb_fprintf(stream, "x1 = %g %g %g, x2 = %g %g %g\n", base.r1.u, base.r1.v, base.r1.w, base.r2.u,
               base.r2.v, base.r2.w);
}

} // namespace orvel
