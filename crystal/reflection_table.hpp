// Structure factors of reflections, shared by symmetry equivalents.
#pragma once

#include "crystal/spgroup.hpp"
#include "numeric/complex.hpp"

#include <span>
#include <unordered_map>
#include <vector>

namespace orvel {

struct HklHash {
    std::size_t operator()(const Hkl &g) const;
};

// Up to `capacity` reflections with their structure factors in A, in the order of their coming; a
// reflection occurs at most once and entries are never removed. What comes first stays, so measured
// values stored at the start take precedence over computed ones. A full table takes nothing more.
// The index beside it makes a lookup constant time.
struct ReflectionTable {
    explicit ReflectionTable(int capacity = 1000);
    int capacity = 0;
    std::vector<Hkl> hkl;
    std::vector<complex> F;
    std::unordered_map<Hkl, int, HklHash> index;

    int count() const { return static_cast<int>(hkl.size()); }
    bool is_full() const { return count() >= capacity; }
};

// Position of hkl in the table, or -1.
int search_g_table(const Hkl &hkl, const ReflectionTable &table);

// Stores F of hkl, which the caller has looked up in vain, and then of every symmetry equivalent
// that is not yet there, with F exp(+2 pi i h.t) for the indices h of the reflection given. Stops
// where the table is full.
void stock_fg_tbl_sym(const Hkl &hkl, complex F, ReflectionTable &table,
                      std::span<const SymOp> ops);

} // namespace orvel
