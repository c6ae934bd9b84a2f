#include "jobs/tilt_operations.hpp"

#include "app/run_settings.hpp"
#include "crystal/equivalents.hpp"
#include "crystal/reflection_table.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <unordered_map>

namespace orvel {

namespace {

// Deviation of a potential, of the largest one: over 1000 A a phase of about 1e-11.
constexpr double potential_eps = 1e-12;
// Deviation of a base vector of the tilts from the plane of both, of its length.
constexpr double plane_eps = 1e-10;
// Different mappings of the tilt plane differ by far more.
constexpr double mapping_eps = 1e-6;

using BeamPositions = std::unordered_map<Hkl, int, HklHash>;

RealHkl rotated(const RealHkl &x, const SymOp &op) {
    const auto component = [&](std::size_t column) {
        return x.h * op[column] + x.k * op[column + 1] + x.l * op[column + 2];
    };
    return {component(0), component(3), component(6)};
}

double turns(const Hkl &g, const SymOp &op) {
    const double all = g.h * op[9] + g.k * op[10] + g.l * op[11];
    return all - std::round(all);
}

TiltOperation identity(int n) {
    TiltOperation operation;
    operation.beam.resize(static_cast<std::size_t>(n));
    std::iota(operation.beam.begin(), operation.beam.end(), 0);
    operation.phase.assign(operation.beam.size(), {1.0, 0.0});
    operation.tilt = {1.0, 0.0, 0.0, 1.0};
    return operation;
}

// Components of the image of a base vector along both, nothing where it leaves their plane or the
// component along the normal changes.
std::optional<std::array<double, 2>> rotated_base(const RealHkl &base, const TiltProblem &problem,
                                                  const SymOp &op) {
    const IncidentBeam &beam = problem.sd.beam;
    const RealHkl image = rotated(base, op);
    const ZolzProjection p = proj_to_zolz2(image, beam.base_g1, beam.base_g2, problem.metric);
    const RealHkl off = {image.h - p.vector.h, image.k - p.vector.k, image.l - p.vector.l};
    const double length = std::sqrt(sq_abs(base, problem.metric));
    const double K_n_change =
        inner_product_uvw_hkl(beam.nor_uvw, image) - inner_product_uvw_hkl(beam.nor_uvw, base);
    const double eps = plane_eps * length;
    if (!(sq_abs(off, problem.metric) <= eps * eps) ||
        !(std::fabs(K_n_change) <= eps * problem.geometry.length_of_nor_uvw)) {
        return std::nullopt;
    }
    return std::array<double, 2>{p.a, p.b};
}

bool map_tilts(const TiltProblem &problem, const SymOp &op, TiltOperation &operation) {
    const auto image1 = rotated_base(problem.sd.beam.base_g1, problem, op);
    const auto image2 = rotated_base(problem.sd.beam.base_g2, problem, op);
    if (!image1 || !image2) {
        return false;
    }
    operation.tilt = {(*image1)[0], (*image2)[0], (*image1)[1], (*image2)[1]};
    return true;
}

bool same_component(const Uvw &t, const Hkl &g, const Hkl &image) {
    return inner_product_uvw_hkl(t, hkl2rhkl(g)) == inner_product_uvw_hkl(t, hkl2rhkl(image));
}

bool same_class(const BeamList &beams, int i, int image) {
    return epsilon.vg_select_flag != 0 ||
           (i < beams.num_exact_beam) == (image < beams.num_exact_beam);
}

bool map_beams(const Sd &sd, const BeamPositions &positions, const SymOp &op,
               TiltOperation &operation) {
    const BeamList &beams = sd.beams;
    std::vector<char> taken(beams.hkl.size(), 0);
    const double incident_turns = turns(beams.hkl[0], op);
    for (int i = 0; i < beams.size(); ++i) {
        const Hkl &g = beams.hkl[i];
        const auto image = positions.find(gen_reflex(g, op));
        if (image == positions.end() || taken[image->second] != 0 ||
            (i == 0) != (image->second == 0) || !same_class(beams, i, image->second) ||
            !same_component(sd.beam.inc_uvw, g, image->first) ||
            !same_component(sd.beam.nor_uvw, g, image->first)) {
            return false;
        }
        taken[image->second] = 1;
        operation.beam.push_back(image->second);
        operation.phase.push_back(c_exp({0.0, two_pi * (turns(g, op) - incident_turns)}));
    }
    return true;
}

double largest_potential(const complex *const *V, int n) {
    double largest = 0.0;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            largest = std::max(largest, c_abs(V[i][j]));
        }
    }
    return largest;
}

bool keeps_potential(const complex *const *V, double tolerance, const TiltOperation &operation) {
    const std::size_t n = operation.beam.size();
    for (std::size_t i = 0; i < n; ++i) {
        const complex *row = V[operation.beam[i]];
        for (std::size_t j = 0; j < n; ++j) {
            const complex phase = c_mul(operation.phase[i], c_conj(operation.phase[j]));
            const complex change = c_sub(row[operation.beam[j]], c_mul(V[i][j], phase));
            if (!(std::fabs(change.re) <= tolerance && std::fabs(change.im) <= tolerance)) {
                return false;
            }
        }
    }
    return true;
}

bool same_mapping(const TiltOperation &a, const TiltOperation &b) {
    return std::equal(a.tilt.begin(), a.tilt.end(), b.tilt.begin(),
                      [](double x, double y) { return std::fabs(x - y) < mapping_eps; });
}

} // namespace

std::vector<TiltOperation> tilt_operations(const TiltProblem &problem, std::span<const SymOp> ops) {
    const Sd &sd = problem.sd;
    const int n = sd.beams.size();
    std::vector<TiltOperation> found = {identity(n)};
    if (n == 0) {
        return found;
    }
    BeamPositions positions;
    for (int i = 0; i < n; ++i) {
        positions.emplace(sd.beams.hkl[i], i);
    }
    const double tolerance = potential_eps * largest_potential(problem.V, n);
    for (const SymOp &op : ops) {
        TiltOperation operation;
        const auto is_known = [&](const TiltOperation &other) {
            return same_mapping(operation, other);
        };
        if (keeps_lengths(op, problem.metric) && map_tilts(problem, op, operation) &&
            std::none_of(found.begin(), found.end(), is_known) &&
            map_beams(sd, positions, op, operation) &&
            keeps_potential(problem.V, tolerance, operation)) {
            found.push_back(std::move(operation));
        }
    }
    return found;
}

} // namespace orvel
