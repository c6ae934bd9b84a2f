#include "tools/bk_table.hpp"

#include "tools/xdt_table.hpp"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <span>

namespace orvel {

namespace {

// Chosen together for the smallest error of interpolation (docs/validation.md) by random search
// and Newton's method: gm and gms2 on Na, Al, Sr, Cs and Au, dts on H, Li, Be, B, K, Rb, Cs and Fr.
constexpr std::array<double, 27> dts = {0.0,    0.0465, 0.0756, 0.104,  0.1473, 0.193,  0.2522,
                                        0.3033, 0.3592, 0.4348, 0.5198, 0.6118, 0.7341, 0.8581,
                                        1.0162, 1.1909, 1.3991, 1.6358, 1.9109, 2.2384, 2.5998,
                                        3.0222, 3.5517, 4.0353, 4.8922, 5.1105, 6.0};
constexpr std::array<double, 6> gm = {0.0146, 0.143, 0.2034, 0.7895, 1.959, 4.15};
constexpr std::array<double, 10> gms2 = {0.0,     0.000653, 0.001764, 0.005535, 0.01592,
                                         0.04084, 0.1075,   0.3125,   1.977,    14.4};
constexpr double mlt_fct = 1e8;

constexpr const char *head =
    R"(# Elastic and absorptive scattering factors of electrons for neutral atoms, H to Cf.
# Everything in A, without relativistic correction; s = sin(theta)/lambda in 1/A, B in A^2.
#
# Elastic: 27 values of f(s) in 0.001 A at the s values under DTS.
#   s < 0.3   L.-M. Peng, G. Ren, S. L. Dudarev & M. J. Whelan, Acta Cryst. A52 (1996) 257
#             (International Tables for Crystallography, Vol. C, table 4.3.2.2)
#   s > 0.6   Mott formula on the X-ray factors of D. Waasmaier & A. Kirfel, Acta Cryst. A51 (1995)
#             416; a smooth mean of both in between
# Absorptive: thermal diffuse scattering, Einstein model (C. R. Hall & P. B. Hirsch, Proc. R. Soc.
# A286 (1965) 158; D. M. Bird & Q. A. King, Acta Cryst. A46 (1990) 202), from the same f:
#   beta f'(s,B) = 2 h/(m0 c) int d^2s' f(|s/2+s'|) f(|s/2-s'|) [1 - exp(-2 B (s'^2 - s^2/4))]
# with beta = v/c; a site then contributes (f + i f') exp(-B s^2). The 60 values v are
#   F = beta f' / f = (10 v / mlt_fct - 1e-6 add_fct) exp(B s^2)
# at the B values under GM and the B s^2 values under GMS2. Both kinds of values are fitted, so that
# what orvel interpolates is good between the points, for s = 0 to 6 and B = 0.05 to 4; at the points
# themselves they are not exact (f(0) is), and not meant to be read off. docs/validation.md tells the
# errors.
# Range: s = 0 to 6; B = 0.05 to 4; f' is 0 below the first B and beyond the last B s^2.
#
# After DTS 27 values, after GM 6, after GMS2 10. A block: element; mlt_fct and add_fct; 27 elastic
# values; for each B s^2 in turn the 6 values v down the B's. The names of ions, at the end, have
# the values of their neutral atom: absorption hardly feels the ionic charge. Made by
# tools/orvel_tables.
)";

std::string formatted(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char *format, ...) {
    std::array<char, 64> buffer{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    va_end(arguments);
    return buffer.data();
}

// `digits` significant digits a number, `per_line` numbers a line.
std::string lines_of(std::span<const double> values, int digits, std::size_t per_line) {
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
        text += formatted("%.*g", digits, values[i]);
        text += (i + 1) % per_line == 0 || i + 1 == values.size() ? '\n' : ' ';
    }
    return text;
}

} // namespace

BkTable bk_table_grids() {
    BkTable grids;
    std::copy(dts.begin(), dts.end(), grids.dts);
    std::copy(gm.begin(), gm.end(), grids.gm);
    std::copy(gms2.begin(), gms2.end(), grids.gms2);
    return grids;
}

std::string bk_table_head() {
    return head + ("DTS\n" + lines_of(dts, 6, 9)) + "GM\n" + lines_of(gm, 6, 6) + "GMS2\n" +
           lines_of(gms2, 6, 5);
}

std::string bk_table_block(const ElasticSource &source, const TableFit &fit) {
    BkTable table = bk_table_grids();
    fit.fit_elastic(source, table);
    fit.fit_absorptive(source, mlt_fct, table);
    std::vector<double> column_by_column;
    for (std::size_t j = 0; j < gms2.size(); ++j) {
        for (std::size_t i = 0; i < gm.size(); ++i) {
            column_by_column.push_back(table.f[i][j]);
        }
    }
    return source.symbol + "\n" + formatted("%g 0\n", mlt_fct) + lines_of(table.dt, 8, 9) +
           lines_of(column_by_column, 7, 13);
}

std::string bk_table(const std::string &folder) {
    const TableFit fit(bk_table_grids());
    std::vector<std::string> blocks;
    std::string text = bk_table_head();
    for (const ElasticSource &source : read_elastic_sources(folder)) {
        blocks.push_back(bk_table_block(source, fit));
        text += blocks.back();
    }
    for (const Ion &ion : read_ions(folder)) {
        const std::string &block = blocks[static_cast<std::size_t>(ion.Z - 1)];
        text += ion.name + block.substr(block.find('\n'));
    }
    return text;
}

} // namespace orvel
