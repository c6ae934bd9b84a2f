#include "tools/spg_table.hpp"

#include <algorithm>
#include <cstring>
#include <gemmi/symmetry.hpp>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace orvel {

namespace {

using gemmi::GroupOps;
using gemmi::Op;
using gemmi::SpaceGroup;

constexpr const char *head =
    R"(# Symmetry operations of the 530 tabulated settings of the 230 space groups.
# Source: International Tables for Crystallography, Vol. A (operations) and Vol. B, table
# A1.4.2.7 (settings and Hall symbols); the Hall symbols as tabulated in gemmi, expanded.
# Numbers 1 to 230: standard setting (unique axis b, cell choice 1; origin choice 2; hexagonal
# axes for R). Numbers 1001 to 1530: every other setting, 1000 + its position among the 530;
# README.md beside this file lists them by symbol.
# An entry is a comment line (space group, symbol, Hall symbol), a header line and its operators.
# Header: number of operators listed; 1 where the inversion at the origin is to be added, else 0;
# number; setting code; lattice letter, whose centring is to be added.
# Setting codes: 1 -1; 2 2/m unique axis b; 3 2/m unique axis a or c; 4 mmm; 5 4/m; 6 4/mmm;
# 7 -3; 8 -3, R on rhombohedral axes; 9 -3, R on hexagonal axes; 10 -3m, R on rhombohedral axes;
# 11 -3m, R on hexagonal axes; 12 -3m; 13 6/m; 14 6/mmm; 15 m-3; 16 m-3m (Laue classes).
# Codes 9 and 11 receive the obverse centring (2/3,1/3,1/3), (1/3,2/3,2/3); R with 8 and 10 none.
)";

std::string fraction(int twenty_fourths) {
    const int common = std::gcd(twenty_fourths, Op::DEN);
    return std::to_string(twenty_fourths / common) + "/" + std::to_string(Op::DEN / common);
}

// One component, written so that at most its first minus sign matters.
std::string component(const Op &op, std::size_t row) {
    constexpr const char *letters = "XYZ";
    std::string text;
    int negated = 0;
    for (std::size_t j = 0; j < 3; ++j) {
        const int coefficient = op.rot[row][j] / Op::DEN;
        if (coefficient != 0) {
            text += coefficient < 0 ? "-" : text.empty() ? "" : "+";
            text += letters[j];
            negated += coefficient < 0 ? 1 : 0;
        }
    }
    if (negated > 1) {
        throw std::logic_error("two negated letters in one component: " + text);
    }
    const int t = ((op.tran[row] % Op::DEN) + Op::DEN) % Op::DEN;
    return t == 0 ? text : text + "+" + fraction(t);
}

std::string operator_line(const Op &op) {
    return component(op, 0) + "," + component(op, 1) + "," + component(op, 2);
}

// Setting codes by Laue class; 9 and 11 are the ones that ask for rhombohedral centring.
int setting_code(const SpaceGroup &sg) {
    const bool rhombohedral_lattice = sg.hm[0] == 'R';
    const bool hexagonal_axes = sg.ext == 'H';
    switch (sg.laue_class()) {
    case gemmi::Laue::L1:
        return 1;
    case gemmi::Laue::L2m:
        return std::strchr(sg.qualifier, 'b') != nullptr ? 2 : 3;
    case gemmi::Laue::Lmmm:
        return 4;
    case gemmi::Laue::L4m:
        return 5;
    case gemmi::Laue::L4mmm:
        return 6;
    case gemmi::Laue::L3:
        return !rhombohedral_lattice ? 7 : hexagonal_axes ? 9 : 8;
    case gemmi::Laue::L3m:
        return !rhombohedral_lattice ? 12 : hexagonal_axes ? 11 : 10;
    case gemmi::Laue::L6m:
        return 13;
    case gemmi::Laue::L6mmm:
        return 14;
    case gemmi::Laue::Lm3:
        return 15;
    case gemmi::Laue::Lm3m:
        return 16;
    }
    throw std::logic_error("unknown Laue class");
}

bool equal_up_to_centring(const GroupOps &group, const Op &p, const Op &q) {
    return std::any_of(group.cen_ops.begin(), group.cen_ops.end(),
                       [&](const Op::Tran &c) { return p.add_centering(c) == Op(q).wrap(); });
}

// -R, -t: the operation that the centrosymmetry flag adds.
Op inverted(const Op &op) {
    return Op{op.negated_rot(), {-op.tran[0], -op.tran[1], -op.tran[2]}};
}

bool has_inversion_at_origin(const GroupOps &group) {
    return std::any_of(group.sym_ops.begin(), group.sym_ops.end(), [&](const Op &op) {
        return equal_up_to_centring(group, inverted(op), Op::identity());
    });
}

// Without the centring; of each pair related by an inversion at the origin only the first.
std::vector<Op> listed_operations(const GroupOps &group, bool centric) {
    std::vector<Op> listed;
    for (const Op &op : group.sym_ops) {
        if (!centric || std::none_of(listed.begin(), listed.end(), [&](const Op &other) {
                return equal_up_to_centring(group, inverted(op), other);
            })) {
            listed.push_back(op);
        }
    }
    return listed;
}

} // namespace

const SpaceGroup &tabulated_setting(int k) {
    return gemmi::spacegroup_tables::main[k - 1];
}

int spg_table_number(int k) {
    const SpaceGroup &sg = tabulated_setting(k);
    return sg.is_reference_setting() ? sg.number : 1000 + k;
}

std::string spg_table_entry(int k) {
    const SpaceGroup &sg = tabulated_setting(k);
    const GroupOps group = sg.operations();
    const bool centric = has_inversion_at_origin(group);
    const std::vector<Op> listed = listed_operations(group, centric);
    std::string text = "# " + std::to_string(sg.number) + "  " + sg.xhm() + "  (" + sg.hall + ")\n";
    text += std::to_string(listed.size()) + " " + (centric ? "1 " : "0 ") +
            std::to_string(spg_table_number(k)) + " " + std::to_string(setting_code(sg)) + " " +
            sg.hm[0] + "\n";
    for (const Op &op : listed) {
        text += operator_line(op) + "\n";
    }
    return text;
}

std::string spg_table() {
    std::string text = head;
    for (const bool standard : {true, false}) {
        for (int k = 1; k <= tabulated_settings; ++k) {
            if (tabulated_setting(k).is_reference_setting() == standard) {
                text += spg_table_entry(k);
            }
        }
    }
    return text;
}

std::string spg_settings_list() {
    std::string text = "| number | space group | symbol | Hall symbol |\n|---|---|---|---|\n";
    for (int k = 1; k <= tabulated_settings; ++k) {
        const SpaceGroup &sg = tabulated_setting(k);
        if (!sg.is_reference_setting()) {
            text += "| " + std::to_string(spg_table_number(k)) + " | " + std::to_string(sg.number) +
                    " | " + sg.xhm() + " | " + sg.hall + " |\n";
        }
    }
    return text;
}

} // namespace orvel
