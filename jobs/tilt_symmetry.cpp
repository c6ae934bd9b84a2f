#include "jobs/tilt_symmetry.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace orvel {

namespace {

// Distance of an image from its grid point, of the spacing.
constexpr double point_eps = 1e-9;
// Share of the excitation by which a cut between branches has to be clear.
constexpr double share_eps = 1e-9;
// Distance of two eigenvalues, of the largest, from which on eigenvectors are their own to 1e-9.
constexpr double gap_eps = 1e-6;

// Rows of equidistant points.
struct PointLattice {
    int columns = 0;
    int rows = 0;
    double h = 0.0; // of the first point
    double g = 0.0;
    double spacing = 0.0;
};

PointLattice lattice_of(const TiltGrid &grid) {
    PointLattice lattice;
    lattice.columns = grid.calc_type == 0 ? 1 : grid.num_cal_pix_side;
    lattice.rows = grid.calc_type <= 1 ? 1 : lattice.columns;
    lattice.h = grid.pix.front().h;
    lattice.g = grid.pix.front().g;
    lattice.spacing = lattice.columns > 1 ? grid.pix[1].h - lattice.h : 0.0;
    return lattice;
}

// -1 for a number outside 0 .. n - 1 or no number.
int nearest_index(double x, int n) {
    return x > -0.5 && x < n - 0.5 ? static_cast<int>(std::lround(x)) : -1;
}

// The calculated point at (h, g), or -1.
int point_at(const TiltGrid &grid, const PointLattice &lattice, double h, double g) {
    const int column = nearest_index((h - lattice.h) / lattice.spacing, lattice.columns);
    const int row =
        lattice.rows == 1 ? 0 : nearest_index((g - lattice.g) / lattice.spacing, lattice.rows);
    if (column < 0 || row < 0) {
        return -1;
    }
    const int p = row * lattice.columns + column;
    const TiltPoint &point = grid.pix[p];
    const double eps = point_eps * std::fabs(lattice.spacing);
    const bool is_there =
        point.cal_flag == 1 && std::fabs(point.h - h) <= eps && std::fabs(point.g - g) <= eps;
    return is_there ? p : -1;
}

bool all_coincide(const TiltGrid &grid) {
    const TiltPoint &first = grid.pix.front();
    return std::all_of(grid.pix.begin(), grid.pix.end(), [&](const TiltPoint &p) {
        return p.cal_flag == first.cal_flag && p.h == first.h && p.g == first.g;
    });
}

// One orbit by the identity.
TiltOrbit orbit_of_one_tilt(const TiltGrid &grid) {
    TiltOrbit orbit;
    for (int p = 1; p < grid.num_pix; ++p) {
        orbit.others.push_back({p, 0});
    }
    return orbit;
}

std::vector<TiltOrbit> find_orbits(const TiltGrid &grid,
                                   const std::vector<TiltOperation> &operations) {
    std::vector<TiltOrbit> orbits;
    if (grid.num_pix_in == 0) {
        return orbits;
    }
    if (all_coincide(grid)) {
        return {orbit_of_one_tilt(grid)};
    }
    const PointLattice lattice = lattice_of(grid);
    std::vector<char> taken(grid.pix.size(), 0);
    for (int p = 0; p < grid.num_pix; ++p) {
        const TiltPoint &point = grid.pix[p];
        if (point.cal_flag != 1 || taken[p] != 0) {
            continue;
        }
        taken[p] = 1;
        TiltOrbit orbit = {.first = p, .others = {}};
        for (std::size_t i = 1; i < operations.size(); ++i) {
            const std::array<double, 4> &m = operations[i].tilt;
            const int image = point_at(grid, lattice, m[0] * point.h + m[1] * point.g,
                                       m[2] * point.h + m[3] * point.g);
            if (image >= 0 && taken[image] == 0) {
                taken[image] = 1;
                orbit.others.push_back({image, static_cast<int>(i)});
            }
        }
        orbits.push_back(std::move(orbit));
    }
    return orbits;
}

std::vector<char> used_operations(const TiltSymmetry &symmetry) {
    std::vector<char> used(symmetry.operations.size(), 0);
    for (const TiltOrbit &orbit : symmetry.orbits) {
        for (const ImageTilt &image : orbit.others) {
            used[image.operation] = 1;
        }
    }
    return used;
}

bool is_image(const TiltOperation &operation, std::span<const int> beams,
              std::span<const int> images) {
    return beams.size() == images.size() && std::all_of(beams.begin(), beams.end(), [&](int beam) {
               return std::binary_search(images.begin(), images.end(), operation.beam[beam]);
           });
}

bool eigenvalues_apart(std::span<const complex> eigval) {
    double largest = 0.0;
    for (const complex &value : eigval) {
        largest = std::max(largest, c_abs(value));
    }
    for (std::size_t i = 0; i < eigval.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (!(c_abs(c_sub(eigval[i], eigval[j])) > gap_eps * largest)) {
                return false;
            }
        }
    }
    return true;
}

template <class T, class Value>
void copy_values(std::span<const ReflectionSource> sources, std::size_t n_thick, T *const *table,
                 Value value) {
    for (std::size_t o = 0; o < sources.size(); ++o) {
        for (std::size_t k = 0; k < n_thick; ++k) {
            table[o][k] = value(sources[o], k);
        }
    }
}

} // namespace

TiltSymmetry find_tilt_symmetry(const TiltProblem &problem, std::span<const SymOp> ops) {
    std::vector<TiltOperation> operations = tilt_operations(problem, ops);
    std::vector<TiltOrbit> orbits = find_orbits(problem.sd.grid, operations);
    return trace_reflections(std::move(operations), std::move(orbits), problem.sd.reflections);
}

TiltSymmetry trace_reflections(std::vector<TiltOperation> operations, std::vector<TiltOrbit> orbits,
                               const std::vector<int> &reflections) {
    TiltSymmetry symmetry;
    symmetry.operations = std::move(operations);
    symmetry.orbits = std::move(orbits);
    symmetry.solved_reflections = reflections;
    if (symmetry.operations.empty()) {
        return symmetry;
    }
    const std::size_t n = symmetry.operations.front().beam.size();
    std::vector<int> solved_index(n, -1);
    for (std::size_t o = 0; o < reflections.size(); ++o) {
        solved_index[reflections[o]] = static_cast<int>(o);
    }
    const std::vector<char> used = used_operations(symmetry);
    symmetry.sources.resize(used.size());
    std::vector<int> source_of(n);
    for (std::size_t k = 0; k < used.size(); ++k) {
        if (used[k] == 0) {
            continue;
        }
        ++symmetry.num_used;
        const TiltOperation &operation = symmetry.operations[k];
        for (std::size_t i = 0; i < n; ++i) {
            source_of[operation.beam[i]] = static_cast<int>(i);
        }
        for (const int beam : reflections) {
            const int source = source_of[beam];
            if (solved_index[source] < 0) {
                solved_index[source] = static_cast<int>(symmetry.solved_reflections.size());
                symmetry.solved_reflections.push_back(source);
            }
            symmetry.sources[k].push_back({solved_index[source], operation.phase[source]});
        }
    }
    return symmetry;
}

void report_tilt_symmetry(const TiltSymmetry &symmetry, std::FILE *log) {
    std::size_t tilts = symmetry.orbits.size();
    for (const TiltOrbit &orbit : symmetry.orbits) {
        tilts += orbit.others.size();
    }
    mb_fprintf_stdo(
        log,
        "$$ tilt_symmetry: %zu of %zu tilts are solved (%zu operations, %d of them lead "
        "from tilt to tilt).\n",
        symmetry.orbits.size(), tilts, symmetry.operations.size(), symmetry.num_used);
    if (epsilon.bc_accuracy != 1.0 && symmetry.orbits.size() < tilts) {
        mb_fprintf_stdo(log, "$$ tilt_symmetry: bc_accuracy is not 1: others are solved too where "
                             "it does not settle the kept branches.\n");
    }
}

BeamSelection selection_of(const WorkCalInt &work) {
    const auto n_exact = static_cast<std::size_t>(work.n_exact);
    const auto n_bethe = static_cast<std::size_t>(work.n_bethe);
    const int *list = work.index_list.data();
    return {{list, n_exact}, {list + n_exact, n_bethe}};
}

bool same_selection(const TiltOperation &operation, const BeamSelection &first,
                    const BeamSelection &image) {
    return is_image(operation, first.exact, image.exact) &&
           is_image(operation, first.bethe, image.bethe);
}

bool kept_branches_settled(const WorkCalInt &work) {
    if (epsilon.bc_accuracy == 1.0) {
        return true;
    }
    const int n = work.n_exact;
    const int kept = work.n_kept;
    if (kept < 1 || kept > n) {
        return false;
    }
    const double *weights = work.weights.data(); // descending
    double total = 0.0;
    double with_last = 0.0;
    for (int i = 0; i < n; ++i) {
        total += weights[i];
        with_last += i < kept ? weights[i] : 0.0;
    }
    const double without_last = with_last - weights[kept - 1];
    const double needed = epsilon.bc_accuracy * total;
    const double margin = share_eps * total;
    const bool cut_is_clear = kept == n || weights[kept - 1] - weights[kept] > margin;
    return with_last > needed + margin && (kept == 1 || without_last < needed - margin) &&
           cut_is_clear && eigenvalues_apart({work.eigval.data(), static_cast<std::size_t>(n)});
}

void copy_tilt(std::span<const ReflectionSource> sources, std::size_t n_thick,
               const double *const *solved, double *const *table) {
    copy_values(sources, n_thick, table, [&](const ReflectionSource &source, std::size_t k) {
        return solved[source.solved][k];
    });
}

void copy_tilt(std::span<const ReflectionSource> sources, std::size_t n_thick,
               const complex *const *solved, complex *const *table) {
    copy_values(sources, n_thick, table, [&](const ReflectionSource &source, std::size_t k) {
        return c_mul(source.phase, solved[source.solved][k]);
    });
}

} // namespace orvel
