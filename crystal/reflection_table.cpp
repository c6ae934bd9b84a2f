#include "crystal/reflection_table.hpp"

#include <cstdint>

namespace orvel {

namespace {

void append(const Hkl &hkl, complex F, ReflectionTable &table) {
    table.index.emplace(hkl, table.count());
    table.hkl.push_back(hkl);
    table.F.push_back(F);
}

} // namespace

std::size_t HklHash::operator()(const Hkl &g) const {
    // 21 bits each hold every index in use apart; the product spreads them over the word
    const auto bits = [](int i) { return static_cast<std::uint64_t>(i) & 0x1fffff; };
    const std::uint64_t packed = bits(g.h) << 42 | bits(g.k) << 21 | bits(g.l);
    const std::uint64_t mixed = packed * 0x9e3779b97f4a7c15;
    return static_cast<std::size_t>(mixed ^ mixed >> 32);
}

ReflectionTable::ReflectionTable(int table_capacity) : capacity(table_capacity) {}

int search_g_table(const Hkl &hkl, const ReflectionTable &table) {
    const auto found = table.index.find(hkl);
    return found == table.index.end() ? -1 : found->second;
}

void stock_fg_tbl_sym(const Hkl &hkl, complex F, ReflectionTable &table,
                      std::span<const SymOp> ops) {
    if (table.is_full()) {
        return;
    }
    append(hkl, F, table);
    for (const SymOp &op : ops) {
        if (table.is_full()) {
            return;
        }
        const Hkl equivalent = gen_reflex(hkl, op);
        if (search_g_table(equivalent, table) >= 0) {
            continue;
        }
        const double phase = two_pi * (hkl.h * op[9] + hkl.k * op[10] + hkl.l * op[11]);
        append(equivalent, c_mul(F, c_exp({0.0, phase})), table);
    }
}

} // namespace orvel
