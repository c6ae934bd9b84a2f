#include "crystal/atom_positions.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"

namespace orvel {

std::vector<Position> newpos_sym_op(const Position &p, const std::vector<SymOp> &ops) {
    std::vector<Position> positions;
    positions.reserve(ops.size());
    for (const SymOp &op : ops) {
        positions.push_back(gen_pos(p, op));
    }
    return positions;
}

void fprint_gen_atom_pos(std::FILE *stream, const std::vector<SymOp> &ops,
                         const std::vector<AtomSite> &sites) {
    if (epsilon.auto_multiplicity_off != 0 && epsilon.auto_multiplicity_off != 1) {
        input_exit("$$ Invalid epsilon.auto_multiplicity_off. Abort.");
    }
    const int num_ops = static_cast<int>(ops.size());
    mb_fprintf(stream, "* All atom positions\n*\n");
    for (std::size_t i = 0; i < sites.size(); ++i) {
        std::vector<Position> positions = newpos_sym_op(sites[i].position(), ops);
        if (epsilon.auto_multiplicity_off == 0) {
            special_pos_check(positions);
        }
        const int count = static_cast<int>(positions.size());
        mb_fprintf(stream, "* Atom[%d]: %s\n", static_cast<int>(i) + 1, sites[i].element.c_str());
        mb_fprintf(stream, "* number of atom positions = %d  (multiplicity = %d/%d = %g)\n", count,
                   count, num_ops, static_cast<double>(count) / num_ops);
        mb_fprintf(stream, "no:\tx\ty\tz\n");
        for (int j = 0; j < count; ++j) {
            const Position &p = positions[static_cast<std::size_t>(j)];
            mb_fprintf(stream, "%d\t%g\t%g\t%g\n", j, p[0], p[1], p[2]);
        }
        mb_fprintf(stream, " Occupancy = %g\n", sites[i].occupancy);
    }
}

void dbg_atm_pos_out(const Csd &csd, const std::string &base_name) {
    if (dbg.atm_pos_out_flag != 1) {
        return;
    }
    OutputFile file = mb_fopen_chk_wmode(base_name + "_aps.txt");
    fprint_gen_atom_pos(file, csd.group.ops, csd.sites);
    mb_fclose(file);
    mb_fprintf(stdout, "$$ Generated atom positions ==> %s\n", file.path().c_str());
}

} // namespace orvel
