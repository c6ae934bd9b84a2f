// Expressions over parameter names, and the order in which they are resolved.
#include "crystal/constraint.hpp"

#include "support/run_end.hpp"

namespace orvel::test {
namespace {

FitPar named(const char *name, double value) {
    FitPar par;
    par.name = name;
    par.value = value;
    return par;
}

FitPar constrained(const char *name, const char *expression) {
    FitPar par = named(name, 0.0);
    par.flag = -1;
    par.value_text = expression;
    return par;
}

// A cell a, b, c, alpha, beta, gamma; an isotropic site x1 .. and an anisotropic one x2 ..;
// one low-order entry by per-site factors.
Csd crystal() {
    Csd csd;
    alloc_csd(1, 2, 1, csd);
    alloc_csd_sub_cstr(2, 1, 3, csd);
    const char *const cell[] = {"a", "b", "c", "alpha", "beta", "gamma"};
    for (std::size_t i = 0; i < 6; ++i) {
        csd.cell_pars[i] = named(cell[i], 4.0 + static_cast<double>(i));
    }
    const char *const slots[] = {"x",   "y",   "z",   "B",   "b11", "b22",
                                 "b33", "b12", "b23", "b13", "occ"};
    for (std::size_t s = 0; s < 2; ++s) {
        for (std::size_t k = 0; k < num_site_pars; ++k) {
            const std::string name = slots[k] + std::to_string(s + 1);
            csd.site_pars[s][k] = named(name.c_str(), 0.1 * static_cast<double>(10 * s + k + 1));
        }
        csd.low_order[0].elastic_pars[s] = named(s == 0 ? "fe1" : "fe2", 1.5);
        csd.low_order[0].inelastic_pars[s] = named(s == 0 ? "fi1" : "fi2", 0.5);
    }
    csd.sites[1].bf = 1;
    return csd;
}

TEST(Constraint, Expressions) {
    const Csd csd = crystal(); // x1 = 0.1, y1 = 0.2
    struct Case {
        const char *expression;
        double value;
    };
    const Case cases[] = {
        {"=0.5*x1+0.25", 0.3}, {"-x1", -0.1}, {"x1-2*y1", -0.3}, {"2*x1*3+y1*y1-1", -0.36},
        {"1-x1-y1", 0.7},      {"", 0.0},     {"x1+", 0.1},      {"x1*", 0.0},
        {"x1--y1", -0.1},                     // the empty token between is 0, then -y1
        {"1e1", 10.0},         {"2e-1", 1.0}, // cut at its sign
        {" = x1 * 2 ", 0.2},   {"fi2*a", 2.0}};
    for (const Case &c : cases) {
        EXPECT_NEAR(constraint_value_csd(c.expression, csd), c.value, 1e-15) << c.expression;
    }
    EXPECT_EQ(val_trans_csd("", csd), 0.0);
    EXPECT_EQ(val_trans_csd("2.5", csd), 2.5);
    EXPECT_EQ(val_search_csd("b232", csd), csd.site_pars[1][par_beta23].value);
}

TEST(Constraint, ResolutionOrder) {
    Csd csd = crystal();
    csd.cell_pars[1] = constrained("b", "a");
    csd.cell_pars[2] = constrained("c", "x1*10+gamma");
    csd.site_pars[0][par_y] = constrained("y1", "x1");
    csd.site_pars[0][par_z] = constrained("z1", "x1+y2"); // y2 comes later: still 0
    csd.site_pars[1][par_y] = constrained("y2", "z1*3");
    csd.site_pars[1][par_beta13] = constrained("b132", "2*b112");
    csd.site_pars[1][par_beta23] = constrained("b232", "b132"); // 13 comes before 23
    csd.low_order[0].inelastic_pars[1] = constrained("fi2", "fe2*x1");
    constraint_csd(csd);
    EXPECT_EQ(csd.cell.b, 4.0);
    EXPECT_EQ(csd.cell.c, 10.0);
    EXPECT_EQ(csd.sites[0].y, 0.1);
    EXPECT_EQ(csd.sites[0].z, 0.1);
    EXPECT_DOUBLE_EQ(csd.sites[1].y, 0.3);
    EXPECT_DOUBLE_EQ(csd.sites[1].beta[4], 3.0);
    EXPECT_DOUBLE_EQ(csd.sites[1].beta[5], 3.0);
    EXPECT_DOUBLE_EQ(csd.low_order[0].inelastic_f[1], 0.15);
    // Once more, every value is known.
    constraint_csd(csd);
    EXPECT_DOUBLE_EQ(csd.sites[0].z, 0.4);
    // Of equal names the first in resolution order counts.
    csd.site_pars[1][par_x].name = "a";
    EXPECT_EQ(val_search_csd("a", csd), 4.0);
}

TEST(Constraint, Failures) {
    const std::string prefix = "$$error: ";
    Csd csd = crystal();
    const auto message = [&](const std::string &expression) {
        const Outcome o = outcome_of([&] { constraint_value_csd(expression, csd); });
        EXPECT_EQ(o.status, 1);
        return o.out;
    };
    const std::string long_name(256, 'n');
    EXPECT_EQ(message(long_name), prefix + long_name + " too long\n");
    EXPECT_EQ(message("2*nn"), prefix + "$$ (val_search_csd) constraint nn not found\n");
    EXPECT_EQ(message(".5"), prefix + "$$ (val_search_csd) constraint .5 not found\n");
    // B of an anisotropic site is no parameter of the crystal.
    EXPECT_EQ(message("B2"), prefix + "$$ (val_search_csd) constraint B2 not found\n");
    csd.lof_type = 5;
    EXPECT_EQ(message("nn"), prefix + "lof_type=5 not available\n");
    csd.lof_type = 7;
    EXPECT_EQ(message("nn"), prefix + "(fget_low_g_cst) invalid lof_type(=7)\n");
    Outcome o = outcome_of([&] { constraint_csd(csd); });
    EXPECT_EQ(o.out, prefix + "(fget_low_g_cst) invalid lof_type(=7)\n");
    csd.sites[1].bf = 2;
    EXPECT_EQ(message("nn"), prefix + "Invalid bf\n");
    EXPECT_EQ(constraint_value_csd("x1", csd), 0.1); // found before the site is reached
    o = outcome_of([&] { constraint_csd(csd); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, prefix + "invalid bf\n");
}

} // namespace
} // namespace orvel::test
