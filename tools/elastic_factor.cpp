#include "tools/elastic_factor.hpp"

#include "tools/gemmi_factors.hpp"

#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <xraylib/xraylib.h>

namespace orvel {

namespace {

// m e^2 / (8 pi eps0 h^2) in A^-1, the constant with which orvel itself applies the Mott formula.
constexpr double mott = 0.02393367;
constexpr double fit_to = 6.0; // 1/A, end of the fits of f_x

// 0 up to `from`, 1 beyond `to`, with two continuous derivatives.
double smooth_step(double x, double from, double to) {
    const double t = (x - from) / (to - from);
    if (t <= 0.0) {
        return 0.0;
    }
    return t >= 1.0 ? 1.0 : t * t * t * (10.0 + t * (6.0 * t - 15.0));
}

double peng_factor(const ElasticSource &source, double s_sq) {
    double f = 0.0;
    for (std::size_t i = 0; i < source.peng_a.size(); ++i) {
        f += source.peng_a[i] * std::exp(-source.peng_b[i] * s_sq);
    }
    return f;
}

double wk_xray_factor(const ElasticSource &source, double s_sq) {
    double f_x = source.wk_c;
    for (std::size_t i = 0; i < source.wk_a.size(); ++i) {
        f_x += source.wk_a[i] * std::exp(-source.wk_b[i] * s_sq);
    }
    return f_x;
}

// Beyond the fits' range: the shape of xraylib's values, which are not relativistic, scaled to meet
// the fit; nothing but the nucleus scatters beyond what xraylib tabulates.
double far_xray_factor(const ElasticSource &source, double s) {
    constexpr double tabulated_to = 1e3;
    if (s > tabulated_to) {
        return 0.0;
    }
    return wk_xray_factor(source, fit_to * fit_to) * FF_Rayl(source.Z, s, nullptr) /
           FF_Rayl(source.Z, fit_to, nullptr);
}

} // namespace

std::vector<ElasticSource> read_elastic_sources(const std::string &folder) {
    const std::string path = folder + "/wk1995.dat";
    std::ifstream in(path);
    std::vector<ElasticSource> sources;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with('#')) {
            continue;
        }
        std::istringstream fields(line);
        ElasticSource source;
        fields >> source.symbol >> source.Z;
        for (std::size_t i = 0; i < source.wk_a.size(); ++i) {
            fields >> source.wk_a[i] >> source.wk_b[i];
        }
        fields >> source.wk_c;
        if (!fields || source.Z != static_cast<int>(sources.size()) + 1) {
            throw std::runtime_error(path + ": cannot use the line \"" + line + "\"");
        }
        const auto &peng = neutral_atom<gemmi::C4322<double>>(static_cast<gemmi::El>(source.Z));
        for (int i = 0; i < 5; ++i) {
            source.peng_a[static_cast<std::size_t>(i)] = peng.a(i);
            source.peng_b[static_cast<std::size_t>(i)] = peng.b(i);
        }
        sources.push_back(source);
    }
    if (sources.size() != 98) {
        throw std::runtime_error(path + ": expected the 98 elements H to Cf");
    }
    return sources;
}

double elastic_factor(const ElasticSource &source, double s) {
    const double s_sq = s * s;
    const double to_mott = smooth_step(s, 0.3, 0.6);
    double f = to_mott < 1.0 ? (1.0 - to_mott) * peng_factor(source, s_sq) : 0.0;
    if (to_mott > 0.0) {
        const double f_x = s <= fit_to ? wk_xray_factor(source, s_sq) : far_xray_factor(source, s);
        f += to_mott * mott * (source.Z - f_x) / s_sq;
    }
    return f;
}

} // namespace orvel
