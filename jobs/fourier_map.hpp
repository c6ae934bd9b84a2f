// Maps over a rectangle of the projected cell, summed directly from Fourier coefficients.
//
// f(r) = sum_g c_g exp(+2 pi i g.r), g.r = h x + k y + l z with r in direct-lattice components: the
// inverse of the sign that structure factors are formed with. Terms are added in beam order.
#pragma once

#include "app/mb_debug.hpp"
#include "crystal/lattice.hpp"
#include "input/mb_input.hpp"
#include "numeric/complex.hpp"

#include <array>
#include <cstdio>
#include <span>

namespace orvel {

// exp(2 pi i g.r)
inline complex plane_wave(const RealHkl &g, const RealUvw &r) {
    return c_exp({0.0, two_pi * (g.h * r.u + g.k * r.v + g.l * r.w)});
}

// The sum over hkl at r with coefficient(i) for beam i; 0 for no beams.
template <class Coefficient>
complex fourier_sum(const RealUvw &r, std::span<const Hkl> hkl, Coefficient coefficient) {
    complex sum;
    for (std::size_t i = 0; i < hkl.size(); ++i) {
        sum = c_add(sum, c_mul(coefficient(i), plane_wave(hkl2rhkl(hkl[i]), r)));
    }
    return sum;
}

// The sum with coefficients[i] for beam i.
complex calc_inv_fourier(const RealUvw &r, std::span<const Hkl> hkl, const complex *coefficients);

// Projected potential in volts: the coefficient of beam i is the first entry of its row of the
// potential matrix, V(g_i - 0).
complex calc_projpot(const RealUvw &r, std::span<const Hkl> hkl,
                     const complex *const *potential_rows);

// The points of a map: nx x ny of them, x and y in units of the real-space base vectors.
struct MapRange {
    int nx = 0;
    int ny = 0;
    std::array<double, 2> rx_range = {}; // minimum and maximum of x
    std::array<double, 2> ry_range = {}; // of y
};

// Three elements: nx ny; x_min x_max; y_min y_max. A size below 1, more than map_point_limit points
// and a range that is not finite end the run with a "$$" line.
MapRange fget_map_range(std::FILE *stream);

// A map with more points than this is taken for a mistake: its file would be of many gigabytes.
inline constexpr double map_point_limit = 1e8;

// Points of the maps of a run, and those of them with a nan or an infinity.
struct NonFinitePoints {
    long long points = 0;
    long long of = 0;

    void add(bool finite) {
        ++of;
        points += finite ? 0 : 1;
    }
    // One line to log and console when there were any.
    void report(std::FILE *log) const;
};

// min + (max - min) i/(n - 1); min when n = 1.
double map_coordinate(const std::array<double, 2> &range, int i, int n);

// Tells the base on the stream: "real-space base-vector ( length = 1/|zolzbase1| )\n" and
// "x1 = %g %g %g, x2 = %g %g %g\n".
void fprint_real_space_base(std::FILE *stream, const RealSpaceBase &base);

// Goes through the map, x outer, with progress marks for the rows: put(x, y, r) at every point
// r = x r1 + y r2, end_row() after each row of one x.
template <class Put, class EndRow>
void for_each_map_point(const MapRange &map, const RealSpaceBase &base, Put put, EndRow end_row) {
    for (int ix = 0; ix < map.nx; ++ix) {
        progress_indicator(ix, map.nx);
        const double x = map_coordinate(map.rx_range, ix, map.nx);
        for (int iy = 0; iy < map.ny; ++iy) {
            // A row may be the whole map.
            if (iy % 1024 == 0) {
                chk_interrupt();
            }
            const double y = map_coordinate(map.ry_range, iy, map.ny);
            const RealUvw r = {x * base.r1.u + y * base.r2.u, x * base.r1.v + y * base.r2.v,
                               x * base.r1.w + y * base.r2.w};
            put(x, y, r);
        }
        end_row();
    }
}

} // namespace orvel
