#include "tools/bk_table.hpp"

#include "tools/absorptive_factor.hpp"

#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace orvel {

namespace {

constexpr std::array<double, 27> dts = {0.0,  0.03, 0.06, 0.1,  0.14, 0.18, 0.22, 0.27, 0.32,
                                        0.38, 0.44, 0.5,  0.57, 0.65, 0.75, 0.86, 1.0,  1.2,
                                        1.4,  1.65, 1.95, 2.3,  2.75, 3.3,  4.0,  5.0,  6.0};
constexpr std::array<double, 6> gm = {0.04, 0.12, 0.35, 0.9, 2.0, 4.2};
constexpr std::array<double, 10> gms2 = {0.0, 0.1, 0.3, 0.7, 1.3, 2.0, 3.2, 5.0, 8.0, 12.0};
constexpr double mlt_fct = 1e8;

std::string formatted(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char *format, ...) {
    std::array<char, 64> buffer{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    va_end(arguments);
    return buffer.data();
}

template <class Values>
std::string lines_of(const Values &values, const char *format, std::size_t per_line) {
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
        text += formatted(format, values[i]);
        text += (i + 1) % per_line == 0 || i + 1 == values.size() ? '\n' : ' ';
    }
    return text;
}

} // namespace

std::string bk_table_head() {
    std::string text =
        R"(# Elastic and absorptive scattering factors of electrons, neutral atoms H to Cf.
)";
    text += "DTS\n" + lines_of(dts, "%g", 9);
    text += "GM\n" + lines_of(gm, "%g", 6);
    text += "GMS2\n" + lines_of(gms2, "%g", 5);
    return text;
}

std::string bk_table_block(const ElasticSource &source) {
    std::array<double, 27> dt{};
    for (std::size_t k = 0; k < dts.size(); ++k) {
        dt[k] = 1000.0 * elastic_factor(source, dts[k]);
    }
    std::array<double, 60> ratio{};
    std::size_t n = 0;
    for (const double x : gms2) {
        for (const double B : gm) {
            const double s = std::sqrt(x / B);
            ratio[n++] = 0.1 * mlt_fct * std::exp(-x) *
                         absorptive_factor(pair_products(source, s), B) / elastic_factor(source, s);
        }
    }
    return source.symbol + "\n" + formatted("%g 0\n", mlt_fct) + lines_of(dt, "%.8g", 9) +
           lines_of(ratio, "%.7g", 13);
}

} // namespace orvel
