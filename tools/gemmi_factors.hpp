// The scattering factors of gemmi, alike in the versions of Debian 12 and 13.
#pragma once

#include <cstdint> // what formfact.hpp of gemmi 0.6 uses without it
#include <gemmi/c4322.hpp>
#include <gemmi/it92.hpp>

namespace orvel {

// Coefficients of a neutral atom. Table: gemmi::IT92<double> (X-rays, International Tables C,
// 6.1.1.4) or gemmi::C4322<double> (electrons, 4.3.2.2). Tables that have ions too ask for a
// charge.
template <class Table> const auto &neutral_atom(gemmi::El element) {
    if constexpr (requires { Table::get(element, 0); }) {
        return Table::get(element, 0);
    } else {
        return Table::get(element);
    }
}

} // namespace orvel
