#include "dynamics/mbfunc_potential.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"
#include "crystal/potential_coef.hpp"
#include "crystal/strct_f.hpp"
#include "numeric/data_out.hpp"

namespace orvel {

namespace {

StructureFactorTable start_builder(Csd &csd, double voltage) {
    resolve_constraints_again(csd);
    return low_order_table(csd, voltage);
}

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
            const StructureFactor f = structure_factor_ext_tbl(beams.hkl[i], csd, voltage, known);
            F = f.F;
            status = std::max(status, f.status);
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
    SharedFactors elastic;
    SharedFactors nuclear;
    int outside = 0;
    const auto elastic_of = [&](const Hkl &g) {
        const StructureFactor f = calc_Fg_ela(g, csd, voltage);
        outside += f.status;
        return f;
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
        } else if (known.table.is_full()) {
            F = elastic.value(g, csd, elastic_of).F;
        } else {
            F = elastic_of(g).F;
            stock_fg_tbl_sym(g, F, known.table, csd.group.ops);
        }
        result.V[i] = fg_to_vg(F, csd.metric);
        const double factor = inverse_mott * (sq_abs(hkl2rhkl(g), csd.metric) / 4.0);
        result.F_x[i] = c_sub(nuclear.value(g, csd, nuclear_of).F, {factor * F.re, factor * F.im});
    }
    mb_fprintf(stderr, "100%%.\n");
    if (outside > 0) {
        mb_fprintf(stdout,
                   "$$ Warning: %d reflections, with their equivalents, lie outside of the tables "
                   "of scattering factors (voltage, B or |g|/2), where these count as 0.\n",
                   outside);
    }
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
