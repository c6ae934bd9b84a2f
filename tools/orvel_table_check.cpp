// Prints what docs/validation.md shows of the tables: run it in the folder of the tables.
//   orvel_table_check SOURCES        deviations of the interpolation and from second sources
//   orvel_table_check SOURCES all    the largest deviation of f' of each element
//   orvel_table_check SOURCES SYMBOL columns for a plot: s, f, |df/f|, then per B f' and its
//   deviation
#include "crystal/atom_tables.hpp"
#include "tools/absorptive_factor.hpp"
#include "tools/gemmi_factors.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

using namespace orvel;

constexpr std::array<int, 10> shown = {6, 8, 13, 14, 22, 29, 31, 38, 47, 79};
constexpr std::array<double, 11> B_shown = {0.05, 0.07, 0.1, 0.15, 0.22, 0.35,
                                            0.5,  0.8,  1.4, 2.5,  4.0};
constexpr double kvolts = 100.0;

// v/c of the electron, as atom_bk takes it.
double beta() {
    return std::sqrt(1.0 - 261127.0 / ((1022.0 + kvolts) * kvolts + 261127.0));
}

// Deviations in per cent: of f' exp(-B s^2) and, where B s^2 < 2, of f' itself, both of f'(0, B).
struct Deviation {
    double damped = 0.0;
    double bare = 0.0;
};

Deviation absorptive_deviation(const BkTable &table, double B, const std::vector<double> &s_values,
                               const std::vector<PairProducts> &pairs) {
    Deviation d;
    const double forward = absorptive_factor(pairs[0], B);
    for (std::size_t k = 0; k < s_values.size(); ++k) {
        const double s = s_values[k];
        const double x = B * s * s;
        ScatteringFactors out;
        atom_bk(table, s, B, out, kvolts);
        const double bare =
            std::fabs(beta() * out.f_abs - absorptive_factor(pairs[k], B)) / forward * 100.0;
        d.damped = std::max(d.damped, bare * std::exp(-x));
        d.bare = x < 2.0 ? std::max(d.bare, bare) : d.bare;
    }
    return d;
}

struct LargestDeviation {
    double damped = 0.0;
    double B = 0.0;
    double s = 0.0;
};

// The largest damped deviation over B = 0.05 to 4 and s = 0 to 6, on points that are not those of
// the fit and at the bends of the interpolation, where it is largest.
LargestDeviation largest_deviation(const BkTable &table, const ElasticSource &source) {
    constexpr int s_count = 121;
    constexpr int B_count = 45;
    LargestDeviation largest;
    const PairProducts forward = pair_products(source, 0.0);
    for (int k = 0; k < s_count; ++k) {
        const double s = k == 0 ? 0.0 : 0.008 * std::pow(750.0, (k - 1) / (s_count - 2.0));
        const PairProducts pairs = pair_products(source, s);
        std::vector<double> B_values(table.gm + 1, table.gm + 5);
        for (int i = 0; i < B_count; ++i) {
            B_values.push_back(0.05 * std::pow(80.0, i / (B_count - 1.0)));
        }
        for (int j = 1; s > 0.0 && j < 9; ++j) {
            B_values.push_back(table.gms2[j] / (s * s));
        }
        for (const double B : B_values) {
            if (B < 0.05 || B > 4.0) {
                continue;
            }
            ScatteringFactors out;
            atom_bk(table, s, B, out, kvolts);
            const double damped = std::fabs(beta() * out.f_abs - absorptive_factor(pairs, B)) *
                                  std::exp(-B * s * s) / absorptive_factor(forward, B) * 100.0;
            if (damped > largest.damped) {
                largest = {damped, B, s};
            }
        }
    }
    return largest;
}

void print_absorptive(const std::vector<ElasticSource> &elements) {
    std::vector<double> s_values;
    for (int k = 0; k <= 150; ++k) {
        const double t = k / 150.0;
        s_values.push_back(6.0 * t * (0.15 + 0.85 * t));
    }
    std::vector<std::string> rows(B_shown.size());
    std::string head = "| B |";
    std::string rule = "|---|";
    std::string any_B = "| any |";
    const auto append = [](std::string &row, const char *format, double a, double b) {
        char cell[48];
        std::snprintf(cell, sizeof cell, format, a, b);
        row += cell;
    };
    for (const int Z : shown) {
        const ElasticSource &source = elements[static_cast<std::size_t>(Z - 1)];
        const BkTable table = read_atom_dat_table(source.symbol);
        std::vector<PairProducts> pairs;
        for (const double s : s_values) {
            pairs.push_back(pair_products(source, s));
        }
        head += " " + source.symbol + " |";
        rule += "---|";
        for (std::size_t i = 0; i < B_shown.size(); ++i) {
            const Deviation d = absorptive_deviation(table, B_shown[i], s_values, pairs);
            append(rows[i], " %.2f / %.2f |", d.damped, d.bare);
        }
        const LargestDeviation largest = largest_deviation(table, source);
        append(any_B, " %.2f at %.2g |", largest.damped, largest.B);
    }
    std::printf("%s\n%s\n", head.c_str(), rule.c_str());
    for (std::size_t i = 0; i < B_shown.size(); ++i) {
        std::printf("| %g |%s\n", B_shown[i], rows[i].c_str());
    }
    std::printf("%s\n", any_B.c_str());
}

// A line an element: the largest damped deviation of its f' and where it stands.
void print_largest(const std::vector<ElasticSource> &elements) {
    for (const ElasticSource &source : elements) {
        const LargestDeviation d = largest_deviation(read_atom_dat_table(source.symbol), source);
        std::printf("%s %.2f B %.3f s %.3f\n", source.symbol.c_str(), d.damped, d.B, d.s);
    }
}

// Largest relative deviations of f in per cent: of the interpolation from the source, 0 to 6 1/A;
// from Peng's Gaussians, 0 to 1.5; from the Mott formula on orvelxdt.dat, 0.3 to 1.5 and 2 to 6.
void print_elastic(const std::vector<ElasticSource> &elements) {
    std::printf("| element | interpolation | Peng et al., 0..1.5 | Mott, 0.3..1.5 | Mott, 2..6 | "
                "f(0) | f(0) by Mott |\n|---|---|---|---|---|---|---|\n");
    for (const ElasticSource &source : elements) {
        const BkTable table = read_atom_dat_table(source.symbol);
        const XrayFactors x = read_xdt_table(source.symbol);
        const auto &peng = neutral_atom<gemmi::C4322<double>>(static_cast<gemmi::El>(source.Z));
        std::array<double, 4> largest{};
        for (int k = 0; k <= 6000; ++k) {
            const double s = 0.001 * k;
            ScatteringFactors out;
            atom_bk(table, s, 0.0, out, kvolts);
            const auto compare = [&](std::size_t column, double from, double to, double other) {
                if (s >= from && s <= to) {
                    largest[column] =
                        std::max(largest[column], 100.0 * std::fabs(other / out.f - 1.0));
                }
            };
            compare(0, 0.0, 6.0, elastic_factor(source, s));
            compare(1, 0.0, 1.5, peng.calculate_sf(s * s));
            compare(2, 0.3, 1.5, atomsf_xdt(s * s, x));
            compare(3, 2.0, 6.0, atomsf_xdt(s * s, x));
        }
        std::printf("| %s | %.2f | %.2f | %.2f | %.1f | %.4f | %.4f |\n", source.symbol.c_str(),
                    largest[0], largest[1], largest[2], largest[3], 0.001 * table.dt[0],
                    atomsf_xdt(0.0, x));
    }
}

void print_curves(const ElasticSource &source) {
    const BkTable table = read_atom_dat_table(source.symbol);
    constexpr std::array<double, 4> Bs = {0.05, 0.3, 1.0, 4.0};
    const PairProducts forward = pair_products(source, 0.0);
    for (int k = 0; k <= 300; ++k) {
        const double t = k / 300.0;
        const double s = 6.0 * t * (0.2 + 0.8 * t);
        const PairProducts pairs = pair_products(source, s);
        ScatteringFactors out;
        atom_bk(table, s, 0.0, out, kvolts);
        std::printf("%.4f %.6g %.4f", s, out.f, 100.0 * (out.f / elastic_factor(source, s) - 1.0));
        for (const double B : Bs) {
            atom_bk(table, s, B, out, kvolts);
            const double damping = std::exp(-B * s * s) / absorptive_factor(forward, B);
            const double exact = absorptive_factor(pairs, B) * damping;
            std::printf(" %.6g %.4f", exact, 100.0 * (beta() * out.f_abs * damping - exact));
        }
        std::printf("\n");
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 2 || argc > 3) {
        std::fputs("Usage: orvel_table_check SOURCES [all | SYMBOL]\n", stderr);
        return 1;
    }
    try {
        const auto elements = read_elastic_sources(argv[1]);
        if (argc == 2) {
            print_absorptive(elements);
            std::printf("\n");
            print_elastic(elements);
            return 0;
        }
        if (std::string(argv[2]) == "all") {
            print_largest(elements);
            return 0;
        }
        for (const ElasticSource &source : elements) {
            if (source.symbol == argv[2]) {
                print_curves(source);
            }
        }
    } catch (const std::exception &e) {
        std::fprintf(stderr, "orvel_table_check: %s\n", e.what());
        return 1;
    }
    return 0;
}
