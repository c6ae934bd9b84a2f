#include "input/mb_input_beams.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "numeric/vecmat.hpp"

#include <algorithm>
#include <limits>
#include <tuple>

namespace orvel {

namespace {

constexpr int beam_search_limit = 90; // length limit of the beam-search elements

// A list grows with the lines that are really there, whatever count was announced.
constexpr int most_reserved = 4096;

// Returns how many of the n numbers, `least` of which are needed, the element held.
int fget_beam_search_line(std::FILE *stream, int n, int least, double *out) {
    constexpr const char *what = "a beam-search line";
    const std::string line = fget_line(stream, what, beam_search_limit);
    chk_number_count(least, n, line);
    const int found = str_to_fs(n, line.c_str(), out);
    for (int i = 0; i < n; ++i) {
        chk_finite(out[i], what);
    }
    return found;
}

void set_range(const double *v, BeamSearch &beam_search) {
    beam_search.num_g_limit = cut_to_int(v[0]);
    chk_count(beam_search.num_g_limit, "beams", 0.0);
    beam_search.g_max = v[1];
    beam_search.lz_min = cut_to_int(v[2]);
    beam_search.lz_max = cut_to_int(v[3]);
}

void fget_range(std::FILE *stream, BeamSearch &beam_search) {
    double v[4];
    fget_beam_search_line(stream, 4, 4, v);
    set_range(v, beam_search);
}

// Two thresholds and the longest extinction distance.
void fget_thresholds(std::FILE *stream, double &bmin, double &max, double &xigmax) {
    double v[3];
    fget_beam_search_line(stream, 3, 3, v);
    bmin = v[0];
    max = v[1];
    xigmax = v[2];
}

// A beam that occurs twice shares its intensity with itself; sums over the output count it twice.
void warn_repeated(std::vector<Hkl> hkl, const char *where) {
    const auto indices = [](const Hkl &g) { return std::tie(g.h, g.k, g.l); };
    std::sort(hkl.begin(), hkl.end(),
              [&](const Hkl &a, const Hkl &b) { return indices(a) < indices(b); });
    const auto twice = std::adjacent_find(hkl.begin(), hkl.end());
    if (twice != hkl.end()) {
        mb_fprintf(stdout, "$$ Warning: %d %d %d occurs more than once %s.\n", twice->h, twice->k,
                   twice->l, where);
    }
}

} // namespace

IncidentWave fget_inc_wave(std::FILE *stream) {
    IncidentWave wave;
    wave.voltage = fget_d(stream, "the accelerating voltage");
    wave.inc_uvw = fget_uvw(stream);
    wave.nor_uvw = fget_uvw(stream);
    wave.base_g1 = fget_r_hkl(stream);
    return wave;
}

void fget_beam_search(std::FILE *stream, BeamSearch &beam_search) {
    fget_beam_search_wg(stream, beam_search);
    fget_thresholds(stream, beam_search.sgbmin, beam_search.sgmax, beam_search.xigmax);
}

void fget_beam_search_wg(std::FILE *stream, BeamSearch &beam_search) {
    fget_range(stream, beam_search);
    fget_thresholds(stream, beam_search.wgbmin, beam_search.wgmax, beam_search.xigmax);
}

void fget_beam_search_sg(std::FILE *stream, BeamSearch &beam_search) {
    fget_range(stream, beam_search);
    fget_thresholds(stream, beam_search.sgbmin, beam_search.sgmax, beam_search.xigmax);
}

void fget_beam_search_sg_multi(std::FILE *stream, BeamSearch &beam_search) {
    // One number more than can be: a sixth makes the format invalid.
    double v[6];
    const int found = fget_beam_search_line(stream, 6, 0, v);
    if (found != 4 && found != 5) {
        input_exit("$$ Invalid format for beam_search. Abort.");
    }
    set_range(v, beam_search);
    if (beam_search.lz_min < 0 || beam_search.lz_max >= max_laue_zones) {
        input_exit("$$ Laue zones %d to %d: the zones of this search are 0 to %d. Abort.",
                   beam_search.lz_min, beam_search.lz_max, max_laue_zones - 1);
    }
    for (int zone = 0; zone <= beam_search.lz_max; ++zone) {
        const auto i = static_cast<std::size_t>(zone);
        fget_thresholds(stream, beam_search.sgbmin_lz[i], beam_search.sgmax_lz[i],
                        beam_search.xigmax_lz[i]);
    }
}

void fget_ed_beams(std::FILE *stream, BeamSearch &beam_search, BeamList &beams) {
    beam_search.flag_bs = fget_i(stream, "the beam-search method");
    switch (beam_search.flag_bs) {
    case 0:
    case 10:
        beams = fget_manual_beams(stream);
        break;
    case 1:
    case 11:
        fget_beam_search_wg(stream, beam_search);
        break;
    case 2:
    case 12:
        fget_beam_search_sg(stream, beam_search);
        break;
    case 3:
    case 13:
        fget_beam_search_sg_multi(stream, beam_search);
        break;
    default:
        mb_fprintf(stderr, "Invalid flag_bs %d\n", beam_search.flag_bs);
        end_run(1);
    }
}

BeamList fget_manual_beams(std::FILE *stream) {
    const auto [exact, bethe] = fget_2i(stream);
    mb_fprintf(stdout, "Exact = %d, Bethe = %d\n", exact, bethe);
    BeamList beams = fget_beam_list(exact, bethe, stream);
    mb_fprintf(stdout, "$$ vg_select_flag is set to 0.\n");
    epsilon.vg_select_flag = 0;
    return beams;
}

BeamList fget_beam_list(int ne, int nb, std::FILE *stream) {
    chk_count(ne, "exact beams", sizeof(Hkl));
    chk_count(nb, "Bethe beams", sizeof(Hkl));
    if (ne < 1 || nb > std::numeric_limits<int>::max() - ne) {
        input_exit("$$ %d exact and %d Bethe beams: no possible beam list. Abort.", ne, nb);
    }
    BeamList list = {ne, nb, fget_beams(ne, nb, stream)};
    warn_repeated(list.hkl, "in the beam list");
    return list;
}

std::vector<Hkl> fget_beams(int ne, int nb, std::FILE *stream) {
    const long long n = static_cast<long long>(ne) + nb;
    std::vector<Hkl> beams;
    beams.reserve(static_cast<std::size_t>(std::clamp(n, 0LL, 1LL * most_reserved)));
    for (long long i = 0; i < n; ++i) {
        beams.push_back(fget_hkl(stream));
    }
    return beams;
}

int find_n_g(const Hkl &g, std::span<const Hkl> list) {
    const auto found = std::find(list.begin(), list.end(), g);
    return found == list.end() ? -1 : static_cast<int>(found - list.begin());
}

std::vector<int> fget_cal_g(int n, const BeamList &beams, std::FILE *stream) {
    std::vector<int> positions;
    positions.reserve(static_cast<std::size_t>(std::clamp(n, 0, most_reserved)));
    std::vector<Hkl> listed;
    const auto exact = std::span(beams.hkl).first(beams.num_exact_beam);
    for (int i = 0; i < n; ++i) {
        const Hkl g = fget_hkl(stream);
        const int position = find_n_g(g, exact);
        if (position < 0) {
            mb_fprintf(stdout, "$$ cal_g: %d %d %d is not found in the exact beams. Abort.\n", g.h,
                       g.k, g.l);
            end_run(1);
        }
        positions.push_back(position);
        listed.push_back(g);
    }
    warn_repeated(std::move(listed), "among the output reflections");
    return positions;
}

std::vector<double> fget_cal_thick(int n, std::FILE *stream) {
    std::vector<double> thicknesses;
    thicknesses.reserve(static_cast<std::size_t>(std::clamp(n, 0, most_reserved)));
    for (int i = 0; i < n; ++i) {
        thicknesses.push_back(fget_d(stream, "a thickness"));
    }
    return thicknesses;
}

int fget_count(std::FILE *stream, const char *what, double bytes_each) {
    const std::string quantity = std::string("the number of ") + what;
    const int n = fget_i(stream, quantity.c_str());
    chk_count(n, what, bytes_each);
    return n;
}

void chk_count(int n, const char *what, double bytes_each) {
    if (n < 0) {
        input_exit("$$ The number of %s is negative: %d. Abort.", what, n);
    }
    require_memory(n * bytes_each, what);
}

std::vector<Hkl> beam_merge(std::span<const Hkl> exact, std::span<const Hkl> bethe) {
    std::vector<Hkl> merged(exact.begin(), exact.end());
    merged.insert(merged.end(), bethe.begin(), bethe.end());
    return merged;
}

ReflectionThicknessPairs marge_cal_gt(std::span<const int> g, std::span<const double> t) {
    ReflectionThicknessPairs pairs;
    pairs.g.reserve(g.size() * t.size());
    pairs.t.reserve(g.size() * t.size());
    for (const double thickness : t) {
        for (const int reflection : g) {
            pairs.g.push_back(reflection);
            pairs.t.push_back(thickness);
        }
    }
    return pairs;
}

} // namespace orvel
