#include "numeric/lb_eigmat1_scalar.hpp"

#include <cmath>

namespace orvel {

double pythag(double a, double b) {
    double p = dmax1(std::fabs(a), std::fabs(b));
    if (p == 0.0) {
        return p;
    }
    const double ratio = dmin1(std::fabs(a), std::fabs(b)) / p;
    double r = ratio * ratio;
    // Written so that NaN ends it too.
    for (double t = 4.0 + r; t > 4.0; t = 4.0 + r) {
        const double s = r / t;
        const double u = 1.0 + 2.0 * s;
        p *= u;
        const double v = s / u;
        r *= v * v;
    }
    return p;
}

complex cdiv_cg(complex a, complex b) {
    const double s = std::fabs(b.re) + std::fabs(b.im);
    const complex as = {a.re / s, a.im / s};
    const complex bs = {b.re / s, b.im / s};
    const double d = bs.re * bs.re + bs.im * bs.im;
    return {(as.re * bs.re + as.im * bs.im) / d, (as.im * bs.re - as.re * bs.im) / d};
}

complex csroot(complex z) {
    const double s = std::sqrt(0.5 * (pythag(z.re, z.im) + std::fabs(z.re)));
    complex root;
    if (z.re >= 0.0) {
        root.re = s;
    }
    const double im = z.im < 0.0 ? -s : s;
    if (z.re <= 0.0) {
        root.im = im;
    }
    if (z.re < 0.0) {
        root.re = 0.5 * (z.im / root.im);
    }
    if (z.re > 0.0) {
        root.im = 0.5 * (z.im / root.re);
    }
    return root;
}

} // namespace orvel
