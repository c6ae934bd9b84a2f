// Maps of the unit cell in three dimensions, by a fast Fourier transform over every reflection that
// fits on the grid. The beam search of the condition block gives the reflection list alone.
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/csd.hpp"
#include "dynamics/mbfunc_potential.hpp"
#include "jobs/e_density_input.hpp"
#include "jobs/fourier_map.hpp"
#include "jobs/jobs.hpp"
#include "jobs/tilt_loop.hpp"
#include "jobs/vend_file.hpp"
#include "numeric/lb_fft.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

namespace orvel {

namespace {

// Coefficients, and then their transform, in single precision: [nx][ny][nz].
struct ComplexGrid {
    explicit ComplexGrid(const UnitCellMapConditions &map)
        : re(extent(map.nx), extent(map.ny), extent(map.nz)),
          im(extent(map.nx), extent(map.ny), extent(map.nz)) {}
    static std::size_t extent(int n) { return static_cast<std::size_t>(n); }
    Tensor<float> re;
    Tensor<float> im;
};

// Reflections -max .. max of an axis of n points; none when n = 1.
int index_max(int n) {
    return n / 2 - 1;
}

// The number of reflections for even sizes, in 32 bits.
void report_reflections(const UnitCellMapConditions &map) {
    const auto less_one = [](int n) { return static_cast<unsigned>(n) - 1U; };
    const unsigned count = less_one(map.nx) * less_one(map.ny) * less_one(map.nz);
    mb_fprintf(stdout, "$$ number of reflections for FFT = %d\n", static_cast<int>(count));
}

// Whole cells are transformed; explicit ranges only come to the point where they are refused.
void chk_sizes(const UnitCellMapConditions &map, const SpaceGroup &group) {
    const auto &[nx, ny, nz] = std::array{map.nx, map.ny, map.nz};
    if (nx < 1 || ny < 1 || nz < 1) {
        mb_fprintf(stdout, "$$ number of pixels should be greater than 0. Abort.\n");
        mb_fprintf(stdout, "$$ x,y,z = %d %d %d\n", nx, ny, nz);
        end_run(1);
    }
    if (map.unitcell_mode == 1 &&
        !(is_power_of_two(nx) && is_power_of_two(ny) && is_power_of_two(nz))) {
        input_exit("$$ x,y,z = %d %d %d: the transform needs powers of two. Abort.", nx, ny, nz);
    }
    const double points = static_cast<double>(nx) * ny * nz;
    if (points > std::numeric_limits<int>::max()) {
        input_exit("$$ x,y,z = %d %d %d: at most %d points can be transformed. Abort.", nx, ny, nz,
                   std::numeric_limits<int>::max());
    }
    // Reflections are remembered for their equivalents, twice: half of them, or all without any.
    const double remembered = group.ops.size() > 1 ? 64.0 : 128.0;
    const double bytes_per_point =
        4 * sizeof(float) + 2 * sizeof(double) + sizeof(Hkl) + 2 * sizeof(complex) + remembered;
    require_memory(bytes_per_point * points, "the grids and their coefficients");
}

// Every reflection that fits on the grid but those of the Nyquist planes, l fastest.
BeamList fft_reflections(const UnitCellMapConditions &map) {
    const int hmax = index_max(map.nx);
    const int kmax = index_max(map.ny);
    const int lmax = index_max(map.nz);
    const auto count = [](int max) { return static_cast<std::size_t>(std::max(0, 2 * max + 1)); };
    BeamList list;
    list.hkl.reserve(count(hmax) * count(kmax) * count(lmax));
    for (int h = -hmax; h <= hmax; ++h) {
        for (int k = -kmax; k <= kmax; ++k) {
            for (int l = -lmax; l <= lmax; ++l) {
                list.hkl.push_back({h, k, l});
            }
        }
    }
    list.num_exact_beam = static_cast<int>(list.hkl.size());
    return list;
}

void warn_short_axis(const UnitCellMapConditions &map) {
    const int shortest = std::min({map.nx, map.ny, map.nz});
    if (shortest == 1) {
        mb_fprintf(stdout,
                   "$$ Warning: no reflection fits on an axis of 1 point; the maps are 0.\n");
    } else if (shortest == 2) {
        mb_fprintf(stdout,
                   "$$ Warning: the index 0 alone fits on an axis of 2 points; the maps are "
                   "constant along it.\n");
    }
}

UnitCellMapConditions input_unitcell_map(Csd &csd, InputFile &stream,
                                         const std::string &base_name) {
    csd = input_csd_cstr(stream, base_name);
    UnitCellMapConditions map = input_density_3d_data(csd, base_name, stream);
    report_reflections(map);
    chk_sizes(map, csd.group);
    warn_short_axis(map);
    mb_fprintf(stdout, "Potential.\n");
    return map;
}

void filter_gmax(const BeamList &list, const Metric &metric, PotentialAndDensity &coefficients) {
    mb_fprintf(stdout, "$$ Threshold gmax = %lf.\n", epsilon.e_density_gmax_val);
    bool filtered = false;
    for (std::size_t i = 0; i < list.hkl.size(); ++i) {
        if (std::sqrt(sq_abs(hkl2rhkl(list.hkl[i]), metric)) > epsilon.e_density_gmax_val) {
            coefficients.V[i] = {};
            coefficients.F_x[i] = {};
            filtered = true;
        }
    }
    mb_fprintf(stdout, "%s", filtered ? "$$ gmax filtered." : "$$ All reflections are within gmax");
}

std::size_t wrapped(int index, int n) {
    return static_cast<std::size_t>(index < 0 ? index + n : index);
}

// The Nyquist planes, which no reflection reaches, stay zero.
ComplexGrid place_coefficients(const BeamList &list, const Vector<complex> &coefficients,
                               const UnitCellMapConditions &map) {
    ComplexGrid grid(map);
    for (std::size_t i = 0; i < list.hkl.size(); ++i) {
        const auto &[h, k, l] = list.hkl[i];
        const std::size_t x = wrapped(h, map.nx);
        const std::size_t y = wrapped(k, map.ny);
        const std::size_t z = wrapped(l, map.nz);
        grid.re[x][y][z] = static_cast<float>(coefficients[i].re);
        grid.im[x][y][z] = static_cast<float>(coefficients[i].im);
    }
    return grid;
}

void synthesise(const char *message, const UnitCellMapConditions &map, ComplexGrid &grid) {
    if (map.unitcell_mode != 1) {
        mb_fprintf(stdout, "$$error. Use UNITCELL_XYZ mode.\n");
        end_run(1);
    }
    mb_fprintf(stdout, "%s", message);
    fft3d_nxnynz(fft_inverse, map.nx, map.ny, map.nz, grid.re, grid.im);
}

// The values of a grid in double precision, divided.
Tensor<double> quotient(const Tensor<float> &grid, double divisor) {
    Tensor<double> values(grid.extent(0), grid.extent(1), grid.extent(2));
    for (std::size_t i = 0; i < grid.extent(0); ++i) {
        for (std::size_t j = 0; j < grid.extent(1); ++j) {
            for (std::size_t k = 0; k < grid.extent(2); ++k) {
                values[i][j][k] = static_cast<double>(grid[i][j][k]) / divisor;
            }
        }
    }
    return values;
}

// A result: what stands behind the base name in its file name, how the console tells of it, and its
// header line.
struct VendMap {
    const char *suffix;
    const char *quantity;
    const char *header;
};
constexpr VendMap electron_density = {
    "_ed.3ed", "Electron density (VEND-format):", "#Electron density [e/A^3]\n"};
constexpr VendMap real_potential = {
    "_pt.3ed", "Potential.re (VEND-format):       ", "#Electrostatic potential [V]\n"};
constexpr VendMap imaginary_potential = {
    "_ptim.3ed", "Potential.im (VEND-format):       ", "#Imaginary potential [V]\n"};

NonFinitePoints non_finite_points(const Tensor<double> *const (&values)[2]) {
    NonFinitePoints non_finite;
    for (const Tensor<double> *map : values) {
        const std::size_t n = map->extent(0) * map->extent(1) * map->extent(2);
        for (const double value : std::span((*map)[0][0], n)) {
            non_finite.add(is_finite(value));
        }
    }
    return non_finite;
}

// Two maps of one run and their files.
void write_vend_maps(const VendMap (&maps)[2], const Tensor<double> *const (&values)[2],
                     const CellConstants &cell, const std::string &base_name, std::FILE *log) {
    OutputFile files[2];
    for (const VendMap &map : maps) {
        mb_fprintf(stdout, "%s ==> %s%s\n", map.quantity, base_name.c_str(), map.suffix);
    }
    for (int i = 0; i < 2; ++i) {
        files[i] = fopen_chk_wmode(base_name + maps[i].suffix);
    }
    for (int i = 0; i < 2; ++i) {
        fprint_vend(files[i], maps[i].header, cell, *values[i]);
        mb_fclose(files[i]);
    }
    non_finite_points(values).report(log);
}

} // namespace

void mb_electron_density_3d_unitcell(InputFile &stream, std::FILE *log,
                                     const std::string &base_name) {
    Csd csd;
    const UnitCellMapConditions map = input_unitcell_map(csd, stream, base_name);
    const BeamList list = fft_reflections(map);
    PotentialAndDensity coefficients = vgv_fxgv_csd(list, csd, map.sd.beam.acc_voltage);
    filter_gmax(list, csd.metric, coefficients);
    mb_fprintf(stdout, "$$ Fourier coef. transfering...\n");
    ComplexGrid density = place_coefficients(list, coefficients.F_x, map);
    ComplexGrid potential = place_coefficients(list, coefficients.V, map);

    synthesise("Electron density...\n", map, density);
    synthesise("Electrostatic potential...\n", map, potential);
    const Tensor<double> rho = quotient(density.re, csd.metric.volume);
    const Tensor<double> phi = quotient(potential.re, 1.0);
    write_vend_maps({electron_density, real_potential}, {&rho, &phi}, csd.cell, base_name, log);
}

void mb_potential_reim_3d_unitcell(InputFile &stream, std::FILE *log,
                                   const std::string &base_name) {
    Csd csd;
    const UnitCellMapConditions map = input_unitcell_map(csd, stream, base_name);
    const BeamList list = fft_reflections(map);
    const Vector<complex> V = vgv_reim_csd(list, csd, map.sd.beam.acc_voltage);
    mb_fprintf(stdout, "$$ Fourier coef. transfering...\n");
    ComplexGrid potential = place_coefficients(list, V, map);

    synthesise("Electrostatic potential...\n", map, potential);
    const Tensor<double> re = quotient(potential.re, 1.0);
    const Tensor<double> im = quotient(potential.im, 1.0);
    write_vend_maps({real_potential, imaginary_potential}, {&re, &im}, csd.cell, base_name, log);
}

} // namespace orvel
