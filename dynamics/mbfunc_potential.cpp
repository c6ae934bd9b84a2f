#include "dynamics/mbfunc_potential.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/constraint.hpp"
#include "crystal/equivalents.hpp"
#include "crystal/potential_coef.hpp"
#include "crystal/strct_f.hpp"
#include "numeric/data_out.hpp"

#include <unordered_map>

namespace orvel {

namespace {

StructureFactorTable start_builder(Csd &csd, double voltage) {
    constraint_csd(csd);
    refresh_equivalent_b(csd);
    return low_order_table(csd, voltage);
}

bool is_full(const ReflectionTable &table) {
    return table.count() >= table.capacity;
}

// Values that the reflection table does not keep, each computed for one of its equivalents only. A
// list of beams holds a reflection once: without equivalents there is nothing to remember.
class SharedFactors {
public:
    explicit SharedFactors(const Equivalents &equivalents) : equivalents_(equivalents) {}

    // The value of g, by compute(hkl) unless an equivalent has been asked for before.
    template <class Compute> StructureFactor value(const Hkl &g, Compute compute) {
        if (equivalents_.ops.size() <= 1) {
            return compute(g);
        }
        const Representative r = representative(g, equivalents_);
        const auto [entry, is_new] = computed_.try_emplace(r.hkl);
        if (is_new) {
            entry->second = compute(r.hkl);
        }
        return {c_mul(entry->second.F, c_exp({0.0, two_pi * r.turns})), entry->second.status};
    }

private:
    const Equivalents &equivalents_;
    std::unordered_map<Hkl, StructureFactor, HklHash> computed_;
};

Hkl difference(const Hkl &a, const Hkl &b) {
    return {a.h - b.h, a.k - b.k, a.l - b.l};
}

} // namespace

PotentialMatrix potential_matrix_csd(const BeamList &beams, Csd &csd, double voltage) {
    StructureFactorTable known = start_builder(csd, voltage);
    const int n = beams.size();
    PotentialMatrix result;
    if (n >= 1) {
        result.V = Matrix<complex>(n, n);
        for (int i = 0; i < n; ++i) {
            progress_indicator(i, n);
            int last_status = 0;
            for (int j = 0; j < n; ++j) {
                const StructureFactor f = structure_factor_ext_tbl(
                    difference(beams.hkl[i], beams.hkl[j]), csd, voltage, known);
                result.V[i][j] = fg_to_vg(f.F, csd.metric);
                last_status = f.status;
            }
            if (last_status != 0) {
                result.status = 1;
            }
        }
    }
    mb_fprintf(stderr, "100%%\n");
    return result;
}

Vector<complex> vgv_reim_csd(const BeamList &beams, Csd &csd, double voltage) {
    StructureFactorTable known = start_builder(csd, voltage);
    const Equivalents equivalents = exact_equivalents(csd);
    SharedFactors shared(equivalents);
    const auto computed = [&](const Hkl &g) {
        return is_full(known.table)
                   ? shared.value(
                         g, [&](const Hkl &e) { return structure_factor_ext(e, csd, voltage); })
                   : structure_factor_ext_tbl(g, csd, voltage, known);
    };
    const int n = beams.size();
    Vector<complex> V(n);
    int status = 0;
    for (int i = 0; i < n; ++i) {
        progress_indicator(i, n);
        const int position = search_g_table(beams.hkl[i], known.table);
        complex F;
        if (position >= 0) {
            F = known.table.F[position];
        } else {
            const StructureFactor f = computed(beams.hkl[i]);
            F = f.F;
            status = f.status;
        }
        V[i] = fg_to_vg(F, csd.metric);
    }
    mb_fprintf(stderr, "100%%.\n");
    if (status != 0) {
        mb_fprintf(stderr, "$$ Error in Fg calc. You should check params. (flag=%d)\n", status);
    }
    return V;
}

PotentialAndDensity vgv_fxgv_csd(const BeamList &beams, Csd &csd, double voltage) {
    constexpr double inverse_mott = 131.2625 / pi; // 1/A
    StructureFactorTable known = start_builder(csd, voltage);
    const Equivalents equivalents = exact_equivalents(csd);
    SharedFactors elastic(equivalents);
    SharedFactors nuclear(equivalents);
    const auto elastic_of = [&](const Hkl &g) {
        return StructureFactor{calc_Fg_ela(g, csd, voltage)};
    };
    const auto nuclear_of = [&](const Hkl &g) { return StructureFactor{calc_z_factor(g, csd)}; };
    const int n = beams.size();
    PotentialAndDensity result = {Vector<complex>(n), Vector<complex>(n)};
    for (int i = 0; i < n; ++i) {
        progress_indicator(i, n);
        const Hkl &g = beams.hkl[i];
        const int position = search_g_table(g, known.table);
        complex F;
        if (position >= 0) {
            F = known.table.F[position];
        } else if (is_full(known.table)) {
            F = elastic.value(g, elastic_of).F;
        } else {
            F = elastic_of(g).F;
            stock_fg_tbl_sym(g, F, known.table, csd.group.ops);
        }
        result.V[i] = fg_to_vg(F, csd.metric);
        const double factor = inverse_mott * (sq_abs(hkl2rhkl(g), csd.metric) / 4.0);
        result.F_x[i] = c_sub(nuclear.value(g, nuclear_of).F, {factor * F.re, factor * F.im});
    }
    mb_fprintf(stderr, "100%%.\n");
    return result;
}

void debug_vg_dump(const complex *const *V, int n) {
    if (dbg.vg_dump_flag != 1) {
        return;
    }
    const std::string name = dbg.base_name + "_vg.txt";
    OutputFile file = mb_fopen_chk_wmode(name);
    mb_fprintf(stderr, "vg_data output ==> %s\n", name.c_str());
    mb_fprintf(file, "Vg: [Volt]\n");
    fprint_complexmat(file, n, V);
    mb_fclose(file);
}

} // namespace orvel
