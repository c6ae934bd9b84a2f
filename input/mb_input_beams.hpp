// Readers of beam lists, beam-search conditions, output reflections and thicknesses.
#pragma once

#include "input/mb_input.hpp"

#include <array>
#include <cstdio>
#include <span>
#include <vector>

namespace orvel {

// Number of Laue zones that can have thresholds of their own.
inline constexpr int max_laue_zones = 100;

// How the beams of a calculation are chosen. Lengths |g| and excitation errors in 1/A, extinction
// distances in A; w_g = s_g xi_g has no unit. Which fields a method reads: see fget_beam_search_*.
struct BeamSearch {
    int flag_bs = 0;       // 0, 10 manual; 1, 11 wg; 2, 12 sg; 3, 13 sg-multi; below 10 generalized
                           // Bethe approximation, else the simple one
    int num_g_limit = 0;   // capacity of each of the two result lists
    int lz_min = 0;        // first Laue zone admitted
    int lz_max = 0;        // last Laue zone admitted
    double g_max = 0.0;    // radius of the search sphere
    double disksize = 0.0; // radius of the tilt disk, in half base vectors
    double wgbmin = 0.0;   // wg: exact below
    double wgmax = 0.0;    // wg: Bethe below
    double sgbmin = 0.0;   // sg: exact below
    double sgmax = 0.0;    // sg: Bethe below
    double xigmax = 0.0;   // longest extinction distance admitted
    std::array<double, max_laue_zones> sgbmin_lz = {}; // sg-multi: the same for each zone
    std::array<double, max_laue_zones> sgmax_lz = {};
    std::array<double, max_laue_zones> xigmax_lz = {};
};

// Beams of a calculation: exact beams first, then Bethe beams; 000 first in an automatic search.
struct BeamList {
    int num_exact_beam = 0;
    int num_bethe_beam = 0;
    std::vector<Hkl> hkl; // num_exact_beam + num_bethe_beam

    int size() const { return num_exact_beam + num_bethe_beam; }
};

// Incident wave: four elements.
struct IncidentWave {
    double voltage = 0.0; // kV
    Uvw inc_uvw;
    Uvw nor_uvw;
    RealHkl base_g1;
};
IncidentWave fget_inc_wave(std::FILE *stream);

// Three elements of 4, 3 and 3 numbers: num_g_limit g_max lz_min lz_max; wgbmin wgmax xigmax;
// sgbmin sgmax xigmax.
void fget_beam_search(std::FILE *stream, BeamSearch &beam_search);
// Two elements: num_g_limit g_max lz_min lz_max; wgbmin wgmax xigmax.
void fget_beam_search_wg(std::FILE *stream, BeamSearch &beam_search);
// Two elements: num_g_limit g_max lz_min lz_max; sgbmin sgmax xigmax.
void fget_beam_search_sg(std::FILE *stream, BeamSearch &beam_search);
// One element of four or five numbers (num_g_limit g_max lz_min lz_max; a fifth is ignored), then
// lz_max + 1 elements sgbmin sgmax xigmax, for the zones 0 .. lz_max. Fewer than 4 numbers:
// "$$ Invalid format for beam_search. Abort.", status 1. A negative lz_min or more than
// max_laue_zones zones end the run.
void fget_beam_search_sg_multi(std::FILE *stream, BeamSearch &beam_search);

// A selector, then by it: 0, 10 an explicit list (see fget_manual_beams); 1, 11 wg; 2, 12 sg;
// 3, 13 sg-multi; any other: "Invalid flag_bs %d\n" on standard error, status 1.
void fget_ed_beams(std::FILE *stream, BeamSearch &beam_search, BeamList &beams);

// An explicit list: an element with the two counts, echoed as "Exact = %d, Bethe = %d\n", then that
// many elements h k l, exact beams first. Switches the per-tilt selection off
// ("$$ vg_select_flag is set to 0.\n").
BeamList fget_manual_beams(std::FILE *stream);

// ne exact and then nb Bethe beams, one element h k l each, with checked counts.
// A beam that occurs twice is told on the console.
BeamList fget_beam_list(int ne, int nb, std::FILE *stream);

// ne + nb elements of h k l.
std::vector<Hkl> fget_beams(int ne, int nb, std::FILE *stream);

// Position of g in a list, or -1.
int find_n_g(const Hkl &g, std::span<const Hkl> list);

// n elements of h k l, each looked up among the exact beams: their positions. A missing one:
// "$$ cal_g: %d %d %d is not found in the exact beams. Abort.\n", status 1.
std::vector<int> fget_cal_g(int n, const BeamList &beams, std::FILE *stream);

// n elements of one number: thicknesses in A.
std::vector<double> fget_cal_thick(int n, std::FILE *stream);

// The count that opens a list of elements. Negative where a count is meant, or more than memory can
// hold at bytes_each: a "$$" line that names `what`, status 1.
int fget_count(std::FILE *stream, const char *what, double bytes_each);
// The same check for a count that is already read.
void chk_count(int n, const char *what, double bytes_each);

// Exact and then Bethe triples in one list.
std::vector<Hkl> beam_merge(std::span<const Hkl> exact, std::span<const Hkl> bethe);

// All (reflection, thickness) pairs, thickness in the outer and reflection in the inner loop.
struct ReflectionThicknessPairs {
    std::vector<int> g;
    std::vector<double> t;
};
ReflectionThicknessPairs marge_cal_gt(std::span<const int> g, std::span<const double> t);

} // namespace orvel
