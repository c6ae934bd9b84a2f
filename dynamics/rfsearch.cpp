#include "dynamics/rfsearch.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "crystal/potential_coef.hpp"
#include "crystal/strct_f.hpp"
#include "dynamics/beam_class.hpp"
#include "dynamics/mbfunc_geometry.hpp"

#include <algorithm>
#include <cmath>

namespace orvel {

namespace {

// From here on an extinction distance is not computed but counts as this.
constexpr double no_xig_limit = 1e10;

// s and w thresholds that apply to one candidate.
struct Thresholds {
    double exact = 0.0;
    double bethe = 0.0;
    double xigmax = 0.0;
};

double points_of_box(const Hkl &m) {
    return (2.0 * m.h + 1.0) * (2.0 * m.k + 1.0) * (2.0 * m.l + 1.0);
}

// Index bounds of the search, refused where the box is too large to go through.
Hkl search_box(double g_max, const Metric &metric) {
    const Hkl m = evaluate_hklmax(g_max, metric);
    if (points_of_box(m) > search_box_limit) {
        input_exit("$$ g_max = %g [1/A] asks for a search among %.3g reflections (at most %.3g). "
                   "Abort.",
                   g_max, points_of_box(m), search_box_limit);
    }
    return m;
}

// Index bounds of the sphere, which are wider than those of the search, m, where reciprocal axes
// are not at right angles: a plane of constant h lies h/a from the origin.
Hkl sphere_box(const Hkl &m, double g_max, const Metric &metric) {
    const auto bound = [&](const Uvw &axis, int searched) {
        return std::max(searched, truncate_to_int(g_max * abs_uvw(axis, metric)));
    };
    return {bound({1, 0, 0}, m.h), bound({0, 1, 0}, m.k), bound({0, 0, 1}, m.l)};
}

// Calls visit(g) for every non-extinct g but 000 of the box that admits(g), until it returns false.
template <class Admits, class Visit>
void go_through(const Hkl &m, const Csd &csd, Admits admits, Visit visit) {
    for (int h = -m.h; h <= m.h; ++h) {
        chk_interrupt(h + m.h, 2 * m.h + 1);
        for (int k = -m.k; k <= m.k; ++k) {
            for (int l = -m.l; l <= m.l; ++l) {
                const Hkl g = {h, k, l};
                if (g == Hkl{0, 0, 0} || !admits(g) ||
                    extinction_rule(g, csd.group.lattice_type, csd.group.rhombohedral_flag) != 0) {
                    continue;
                }
                if (!visit(g)) {
                    return;
                }
            }
        }
    }
}

void chk_limits(const BeamSearch &search, int candidates, const FoundBeams &found) {
    if (candidates > candidate_limit) {
        input_exit("$$ Beam search: more than %d reflections to judge. Abort.", candidate_limit);
    }
    const auto limit = static_cast<long long>(search.num_g_limit);
    if (static_cast<long long>(found.exact.size()) >= limit ||
        static_cast<long long>(found.bethe.size()) >= limit) {
        mb_fprintf(stdout, "$$ num_g has exceeded num_g_max.\n"
                           "$$ Please set a greater value into num_g. Abort.\n");
        end_run(1);
    }
}

// 000 and every g of the box that admits(g), in the class that judge(g) finds; ends the run at a
// limit.
template <class Admits, class Judge>
FoundBeams find_beams(const BeamSearch &search, const Csd &csd, Admits admits, Judge judge) {
    FoundBeams found;
    found.exact.push_back({0, 0, 0});
    int candidates = 0;
    go_through(search_box(search.g_max, csd.metric), csd, admits, [&](const Hkl &g) {
        const BeamClass beam_class = judge(g);
        if (beam_class != BeamClass::dropped) {
            (beam_class == BeamClass::exact ? found.exact : found.bethe).push_back(g);
        }
        chk_limits(search, ++candidates, found);
        return true;
    });
    sort_reflex(found.exact, csd.metric);
    sort_reflex(found.bethe, csd.metric);
    return found;
}

// Tells of beams that find_beams leaves out: in an oblique cell its box does not hold the whole
// sphere.
template <class Admits, class Judge>
void warn_left_out(const BeamSearch &search, const Csd &csd, Admits admits, Judge judge) {
    constexpr int most_judged = 100000;
    const Hkl m = search_box(search.g_max, csd.metric);
    const Hkl whole = sphere_box(m, search.g_max, csd.metric);
    bool is_left_out = false;
    bool is_looked_at = points_of_box(whole) <= search_box_limit;
    if (is_looked_at && whole != m) {
        const auto is_beyond = [&](const Hkl &g) {
            const bool searched =
                std::abs(g.h) <= m.h && std::abs(g.k) <= m.k && std::abs(g.l) <= m.l;
            return !searched && admits(g);
        };
        int judged = 0;
        go_through(whole, csd, is_beyond, [&](const Hkl &g) {
            is_left_out = judge(g) != BeamClass::dropped;
            is_looked_at = ++judged < most_judged;
            return !is_left_out && is_looked_at;
        });
    }
    if (is_left_out || !is_looked_at) {
        mb_fprintf(stdout,
                   "\n$$ Warning: the search ends at |h| <= %d, |k| <= %d, |l| <= %d. In this "
                   "oblique cell %s beyond; a greater g_max reaches them.\n",
                   m.h, m.k, m.l,
                   is_left_out ? "beams that meet its conditions lie"
                               : "more reflections than can be judged lie");
    }
}

SearchGeometry search_geometry(const BeamSearch &search, const IncidentBeam &beam, const Csd &csd) {
    SearchGeometry geometry;
    geometry.beam = beam;
    geometry.beam.base_g2 = zolz_ort_base(beam.inc_uvw, beam.base_g1, csd.metric);
    geometry.disksize = search.disksize;
    geometry.length_of_inc_uvw = abs_uvw(beam.inc_uvw, csd.metric);
    geometry.abs_K = calc_abs_K(csd, beam.acc_voltage);
    geometry.metric = csd.metric;
    return geometry;
}

// The frame of the three automatic methods. limits_of(g) gives the thresholds of a candidate; with
// by_w they are those of w = s xi_g, else those of s.
template <class LimitsOf>
FoundBeams search_zones(const BeamSearch &search, const IncidentBeam &beam, const Csd &csd,
                        bool by_w, LimitsOf limits_of) {
    const SearchGeometry geometry = search_geometry(search, beam, csd);
    StructureFactorTable known = low_order_table(csd, beam.acc_voltage);
    const double lambda = wavelength(beam.acc_voltage);
    const double gamma = relativ_corr(beam.acc_voltage);
    const Uvw &zone = beam.inc_uvw;

    int not_a_number = 0;
    const auto admits = [&](const Hkl &g) {
        const int n = laue_zone(zone, g);
        return search.lz_min <= n && n <= search.lz_max &&
               std::sqrt(sq_abs(hkl2rhkl(g), csd.metric)) < search.g_max;
    };
    const auto judge = [&](const Hkl &g) {
        const Thresholds limits = limits_of(g);
        double xig = no_xig_limit;
        if (by_w || !(limits.xigmax >= no_xig_limit)) {
            const complex F = structure_factor_ext_tbl(g, csd, beam.acc_voltage, known).F;
            xig = fg_to_xig2(F, gamma, lambda, csd.metric);
            not_a_number += std::isnan(xig) ? 1 : 0;
        }
        if (!(xig < limits.xigmax)) {
            return BeamClass::dropped;
        }
        const double s = abs_edge_s_g_tilt(g, geometry);
        return classify_beam(by_w ? s * xig : s, limits.exact, limits.bethe);
    };
    FoundBeams found = find_beams(search, csd, admits, judge);
    if (not_a_number > 0) {
        mb_fprintf(stdout,
                   "\n$$ Warning: %d beams were left out whose extinction distance is no number.\n",
                   not_a_number);
    }
    warn_left_out(search, csd, admits, judge);
    return found;
}

// Shown at once, since a search can take its time.
void announce_search(const char *criterion) {
    mb_fprintf(stdout, "Beam search (%s)... ", criterion);
    mb_fflush(stdout);
}

} // namespace

FoundBeams simple_beam_search_wg(const BeamSearch &search, const IncidentBeam &beam,
                                 const Csd &csd) {
    const Thresholds limits = {search.wgbmin, search.wgmax, search.xigmax};
    return search_zones(search, beam, csd, true, [&](const Hkl &) { return limits; });
}

FoundBeams simple_beam_search_sg(const BeamSearch &search, const IncidentBeam &beam,
                                 const Csd &csd) {
    const Thresholds limits = {search.sgbmin, search.sgmax, search.xigmax};
    return search_zones(search, beam, csd, false, [&](const Hkl &) { return limits; });
}

FoundBeams beam_search_sg_multi(const BeamSearch &search, const IncidentBeam &beam,
                                const Csd &csd) {
    return search_zones(search, beam, csd, false, [&](const Hkl &g) {
        const int n = laue_zone(beam.inc_uvw, g);
        return Thresholds{search.sgbmin_lz[n], search.sgmax_lz[n], search.xigmax_lz[n]};
    });
}

FoundBeams beam_search_sphere(const BeamSearch &search, const Csd &csd) {
    const auto admits = [&](const Hkl &g) {
        return sq_abs(hkl2rhkl(g), csd.metric) < search.g_max * search.g_max;
    };
    const auto judge = [](const Hkl &) { return BeamClass::exact; };
    FoundBeams found = find_beams(search, csd, admits, judge);
    warn_left_out(search, csd, admits, judge);
    return found;
}

Hkl evaluate_hklmax(double g_max, const Metric &metric) {
    const auto bound = [&](const Hkl &axis) {
        int n = 1;
        while (g_max > std::sqrt(sq_abs(hkl2rhkl({n * axis.h, n * axis.k, n * axis.l}), metric))) {
            if (++n > index_limit) {
                input_exit("$$ g_max = %g [1/A] reaches beyond the index %d. Abort.", g_max,
                           index_limit);
            }
        }
        return n;
    };
    return {bound({1, 0, 0}), bound({0, 1, 0}), bound({0, 0, 1})};
}

double spacing(const Hkl &g, const Metric &metric) {
    if (g == Hkl{0, 0, 0}) {
        return 1e10;
    }
    return 1.0 / std::sqrt(sq_abs(hkl2rhkl(g), metric));
}

int hkld_comp(const SpacedReflection &a, const SpacedReflection &b) {
    return b.d > a.d ? 1 : b.d < a.d ? -1 : 0;
}

void sort_reflex(std::vector<Hkl> &list, const Metric &metric) {
    std::vector<SpacedReflection> entries;
    entries.reserve(list.size());
    for (const Hkl &g : list) {
        entries.push_back({spacing(g, metric), g});
    }
    std::stable_sort(
        entries.begin(), entries.end(),
        [](const SpacedReflection &a, const SpacedReflection &b) { return hkld_comp(a, b) < 0; });
    std::transform(entries.begin(), entries.end(), list.begin(),
                   [](const SpacedReflection &e) { return e.g; });
}

double abs_edge_s_g_tilt(const Hkl &g, const SearchGeometry &geometry) {
    const IncidentBeam &beam = geometry.beam;
    const Metric &metric = geometry.metric;
    const double abs_K = geometry.abs_K;
    const double g_z = calc_g_z(g, geometry.length_of_inc_uvw, beam.inc_uvw);
    const RealHkl p =
        normalize_vec(proj_to_zolz2(hkl2rhkl(g), beam.base_g1, beam.base_g2, metric).vector,
                      beam.base_g1, metric);
    const auto s_at = [&](double r) {
        const auto component = [&](double g1, double g2, double along) {
            return 0.5 * (beam.H_tilt * g1 + beam.G_tilt * g2 + r * along);
        };
        const RealHkl K_t = {component(beam.base_g1.h, beam.base_g2.h, p.h),
                             component(beam.base_g1.k, beam.base_g2.k, p.k),
                             component(beam.base_g1.l, beam.base_g2.l, p.l)};
        return calc_excitation_error(K_t, calc_K_z(abs_K, K_t, metric), abs_K, g, g_z, metric);
    };
    const double s_plus = s_at(geometry.disksize);
    const double s_minus = s_at(-geometry.disksize);
    if (s_plus * s_minus >= 0.0) {
        return std::min(std::fabs(s_plus), std::fabs(s_minus));
    }
    return 0.0;
}

void fget_sd_beams(Sd &sd, const Csd &csd, std::FILE *stream) {
    BeamSearch &search = sd.beam_search;
    search.flag_bs = fget_i(stream, "the beam-search method");
    FoundBeams found;
    switch (search.flag_bs) {
    case 0:
    case 10:
        sd.beams = fget_manual_beams(stream);
        return;
    case 1:
    case 11:
        fget_beam_search_wg(stream, search);
        announce_search("wg");
        found = simple_beam_search_wg(search, sd.beam, csd);
        break;
    case 2:
    case 12:
        fget_beam_search_sg(stream, search);
        announce_search("sg");
        found = simple_beam_search_sg(search, sd.beam, csd);
        break;
    case 3:
    case 13:
        fget_beam_search_sg_multi(stream, search);
        announce_search("sg");
        found = beam_search_sg_multi(search, sd.beam, csd);
        break;
    default:
        mb_fprintf(stdout, "Invalid flag_bs\n");
        end_run(1);
    }
    sd.beams.num_exact_beam = static_cast<int>(found.exact.size());
    sd.beams.num_bethe_beam = static_cast<int>(found.bethe.size());
    mb_fprintf(stdout, "Exact = %d, Bethe = %d\n", sd.beams.num_exact_beam,
               sd.beams.num_bethe_beam);
    sd.beams.hkl = beam_merge(found.exact, found.bethe);
}

} // namespace orvel
