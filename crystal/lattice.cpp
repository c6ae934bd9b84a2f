#include "crystal/lattice.hpp"

#include "app/mb_mpi.hpp"
#include "numeric/complex.hpp"

#include <cmath>
#include <cstdlib>

namespace orvel {

namespace {

// 32-bit arithmetic that wraps around.
int wrap_mul(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}

int wrap_add(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

int wrap_sub(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}

double radians(double degrees) {
    return degrees * pi / 180.0;
}

// g on the direct basis: G* g.
RealUvw direct_components(const RealHkl &g, const MetricTensor &G) {
    return {g.h * G.g11 + g.k * G.g12 + g.l * G.g31, g.h * G.g12 + g.k * G.g22 + g.l * G.g23,
            g.h * G.g31 + g.k * G.g23 + g.l * G.g33};
}

// t on the reciprocal basis: G t.
RealHkl reciprocal_components(const Uvw &t, const MetricTensor &G) {
    return {G.g11 * t.u + G.g12 * t.v + G.g31 * t.w, G.g12 * t.u + G.g22 * t.v + G.g23 * t.w,
            G.g31 * t.u + G.g23 * t.v + G.g33 * t.w};
}

// Vectors shorter than this have no direction.
constexpr double shortest_vector = 1e-12;

} // namespace

Metric bravai(const CellConstants &cell) {
    const double a = cell.a;
    const double b = cell.b;
    const double c = cell.c;
    const double sa = std::sin(radians(cell.alpha));
    const double sb = std::sin(radians(cell.beta));
    const double sg = std::sin(radians(cell.gamma));
    const double ca = std::cos(radians(cell.alpha));
    const double cb = std::cos(radians(cell.beta));
    const double cg = std::cos(radians(cell.gamma));

    Metric m;
    m.cofactor = {.g11 = b * b * c * c * sa * sa,
                  .g22 = c * c * a * a * sb * sb,
                  .g33 = a * a * b * b * sg * sg,
                  .g12 = a * b * c * c * (ca * cb - cg),
                  .g23 = a * a * b * c * (cb * cg - ca),
                  .g31 = a * b * b * c * (cg * ca - cb)};
    m.volume = a * b * c * std::sqrt(1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg);

    const double as = b * c * sa / m.volume;
    const double bs = c * a * sb / m.volume;
    const double cs = a * b * sg / m.volume;
    m.reciprocal = {.g11 = as * as,
                    .g22 = bs * bs,
                    .g33 = cs * cs,
                    .g12 = as * bs * (ca * cb - cg) / (sa * sb),
                    .g23 = bs * cs * (cb * cg - ca) / (sb * sg),
                    .g31 = cs * as * (cg * ca - cb) / (sg * sa)};
    m.direct = {.g11 = a * a,
                .g22 = b * b,
                .g33 = c * c,
                .g12 = a * b * cg,
                .g23 = b * c * ca,
                .g31 = c * a * cb};
    return m;
}

double inner_product(const RealHkl &p, const RealHkl &q, const Metric &metric) {
    const MetricTensor &G = metric.reciprocal;
    return p.h * q.h * G.g11 + p.k * q.k * G.g22 + p.l * q.l * G.g33 +
           (p.h * q.k + p.k * q.h) * G.g12 + (p.k * q.l + q.k * p.l) * G.g23 +
           (q.h * p.l + q.l * p.h) * G.g31;
}

double sq_abs(const RealHkl &g, const Metric &metric) {
    return inner_product(g, g, metric);
}

RealHkl hkl2rhkl(const Hkl &g) {
    return {static_cast<double>(g.h), static_cast<double>(g.k), static_cast<double>(g.l)};
}

RealUvw uvw2ruvw(const Uvw &t) {
    return {static_cast<double>(t.u), static_cast<double>(t.v), static_cast<double>(t.w)};
}

double inner_product_uvw_hkl(const Uvw &t, const RealHkl &g) {
    return t.u * g.h + t.v * g.k + t.w * g.l;
}

int laue_zone(const Uvw &t, const Hkl &g) {
    return wrap_add(wrap_add(wrap_mul(t.u, g.h), wrap_mul(t.v, g.k)), wrap_mul(t.w, g.l));
}

double inner_product_uvw(const Uvw &p, const Uvw &q, const Metric &metric) {
    const MetricTensor &G = metric.direct;
    return wrap_mul(p.u, q.u) * G.g11 + wrap_mul(p.v, q.v) * G.g22 + wrap_mul(p.w, q.w) * G.g33 +
           wrap_add(wrap_mul(p.u, q.v), wrap_mul(p.v, q.u)) * G.g12 +
           wrap_add(wrap_mul(p.v, q.w), wrap_mul(q.v, p.w)) * G.g23 +
           wrap_add(wrap_mul(q.u, p.w), wrap_mul(q.w, p.u)) * G.g31;
}

double abs_uvw(const Uvw &t, const Metric &metric) {
    return std::sqrt(inner_product_uvw(t, t, metric));
}

double inner_product_r_uvw(const RealUvw &p, const RealUvw &q, const Metric &metric) {
    const MetricTensor &G = metric.direct;
    return p.u * q.u * G.g11 + p.v * q.v * G.g22 + p.w * q.w * G.g33 +
           (p.u * q.v + p.v * q.u) * G.g12 + (p.v * q.w + q.v * p.w) * G.g23 +
           (q.u * p.w + q.w * p.u) * G.g31;
}

double abs_r_uvw(const RealUvw &t, const Metric &metric) {
    return std::sqrt(inner_product_r_uvw(t, t, metric));
}

RealHkl normalize_vec(const RealHkl &v, const RealHkl &r, const Metric &metric) {
    const double sq_v = sq_abs(v, metric);
    if (sq_v < 1e-12) {
        return {};
    }
    const double scale = std::sqrt(sq_abs(r, metric) / sq_v);
    return {v.h * scale, v.k * scale, v.l * scale};
}

RealHkl zolz_ort_base(const Uvw &t, const RealHkl &g1, const Metric &metric) {
    // t x g1 on the reciprocal basis
    const RealUvw x = direct_components(g1, metric.reciprocal);
    const double V = metric.volume;
    const RealHkl g2 = {V * (t.v * x.w - t.w * x.v), V * (t.w * x.u - t.u * x.w),
                        V * (t.u * x.v - t.v * x.u)};

    const double abs_g2 = std::sqrt(sq_abs(g2, metric));
    if (abs_g2 < shortest_vector) {
        input_exit("$Error in zolz_ort_base: g2 = 0");
    }
    const double scale = std::sqrt(sq_abs(g1, metric)) / abs_g2;
    return {g2.h * scale, g2.k * scale, g2.l * scale};
}

RealUvw zolz_ort_base_uvw(const Uvw &t, const RealHkl &r, const Metric &metric) {
    // t x r on the direct basis
    const RealHkl y = reciprocal_components(t, metric.direct);
    const double V = metric.volume;
    const RealUvw n = {(y.k * r.l - y.l * r.k) / V, (y.l * r.h - y.h * r.l) / V,
                       (y.h * r.k - y.k * r.h) / V};

    const double abs_r = std::sqrt(sq_abs(r, metric));
    const double abs_n = abs_r_uvw(n, metric);
    if (abs_n < shortest_vector) {
        input_exit("$Error in zolz_ort_base_uvw: g2 = 0");
    }
    const double scale = abs_r * abs_n;
    return {n.u / scale, n.v / scale, n.w / scale};
}

RealSpaceBase zolz_ort_base_two_uvw(const Uvw &t, const RealHkl &g1, const Metric &metric) {
    const RealUvw r2 = zolz_ort_base_uvw(t, g1, metric);
    const RealHkl g2 = zolz_ort_base(t, g1, metric);
    // t x g2 points along -g1
    const RealUvw r1 = zolz_ort_base_uvw(t, g2, metric);
    return {.r1 = {-r1.u, -r1.v, -r1.w}, .r2 = r2};
}

ZolzProjection proj_to_zolz(const Hkl &g, const Uvw &t, const RealHkl &g1, const Metric &metric) {
    return proj_to_zolz2(hkl2rhkl(g), g1, zolz_ort_base(t, g1, metric), metric);
}

ZolzProjection proj_to_zolz2(const RealHkl &g, const RealHkl &g1, const RealHkl &g2,
                             const Metric &metric) {
    const double sq_g1 = sq_abs(g1, metric);
    const double a = inner_product(g, g1, metric) / sq_g1;
    const double b = inner_product(g, g2, metric) / sq_g1;
    return {
        .vector = {a * g1.h + b * g2.h, a * g1.k + b * g2.k, a * g1.l + b * g2.l}, .a = a, .b = b};
}

int extinction_rule(const Hkl &g, const std::string &lattice_type, int rhombohedral_flag) {
    const int hk = wrap_add(g.h, g.k);
    const int kl = wrap_add(g.k, g.l);
    const int hl = wrap_add(g.h, g.l);
    switch (lattice_type.empty() ? '\0' : lattice_type[0]) {
    case 'P':
        return 0;
    case 'I':
        return wrap_add(hk, g.l) % 2;
    case 'F':
        return std::abs(kl % 2) + std::abs(hk % 2) + std::abs(hl % 2);
    case 'A':
        return kl % 2;
    case 'B':
        return hl % 2;
    case 'C':
        return hk % 2;
    case 'R':
        return rhombohedral_flag == 1 ? wrap_sub(kl, g.h) % 3 : 0;
    default:
        input_exit("$$ Lattice type %s is invalid\n in extinction_rule() of lattice.c",
                   lattice_type.c_str());
    }
}

Uvw incident_direction(const Uvw &a, const Uvw &b) {
    return {wrap_sub(wrap_mul(a.v, b.w), wrap_mul(a.w, b.v)),
            wrap_sub(wrap_mul(a.w, b.u), wrap_mul(a.u, b.w)),
            wrap_sub(wrap_mul(a.u, b.v), wrap_mul(a.v, b.u))};
}

double wavelength(double kvolts) {
    const double volts = 1000.0 * kvolts;
    return 12.264263 / std::sqrt(volts * (1.0 + 9.7847537e-7 * volts));
}

double relativ_corr(double kvolts) {
    return 1.0 + 1.9569507e-6 * (1000.0 * kvolts);
}

double evdash(double kvolts) {
    constexpr double rest_energy = 510999.0; // of the electron, eV
    const double volts = 1000.0 * kvolts;
    return volts * (1.0 + 0.5 * volts / rest_energy) / (1.0 + volts / rest_energy);
}

} // namespace orvel
