#include "crystal/constraint.hpp"

#include "app/mb_mpi.hpp"
#include "crystal/csd_parameters.hpp"

#include <cstdio>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orvel {

namespace {

constexpr std::size_t max_token = 255;

[[noreturn]] void end_invalid_lof_type(int lof_type) {
    if (lof_type == 5) {
        mb_error_exit(stdout, "lof_type=5 not available");
    }
    mb_error_exit(stdout, "(fget_low_g_cst) invalid lof_type(=%d)", lof_type);
}

// The records of a crystal by name, so that resolving thousands of constraints stays linear. Of
// equal names the first in resolution order counts.
class NameIndex {
public:
    explicit NameIndex(const Csd &csd) : lof_type_(csd.lof_type) {
        const auto add = [this](const FitPar &par, const double &) {
            by_name_.try_emplace(par.name, &par);
        };
        visit_cell_parameters(csd, add);
        sites_valid_ = visit_site_parameters(csd, add);
        entries_valid_ = sites_valid_ && visit_low_order_parameters(csd, add);
    }

    double value(const std::string &name) const {
        const auto found = by_name_.find(name);
        if (found != by_name_.end()) {
            return found->second->value;
        }
        if (!sites_valid_) {
            mb_error_exit(stdout, "Invalid bf");
        }
        if (!entries_valid_) {
            end_invalid_lof_type(lof_type_);
        }
        mb_error_exit(stdout, "$$ (val_search_csd) constraint %s not found", name.c_str());
    }

private:
    std::unordered_map<std::string_view, const FitPar *> by_name_;
    int lof_type_;
    bool sites_valid_ = false;
    bool entries_valid_ = false;
};

bool is_name(const std::string &token) {
    return !token.empty() && !(token[0] >= '0' && token[0] <= '9');
}

double token_value(const std::string &token, const NameIndex &names) {
    if (token.empty()) {
        return 0.0;
    }
    if (token.size() > max_token) {
        mb_error_exit(stdout, "%s too long", token.c_str());
    }
    return is_name(token) ? names.value(token) : to_double(token);
}

// Calls visit(token, operation) for each token and the "*", "+" or "-" after it, 0 after the last.
template <class Visit> void for_each_token(const std::string &expression, Visit visit) {
    std::string token;
    for (const char c : expression) {
        if (c == '*' || c == '+' || c == '-') {
            visit(token, c);
            token.clear();
        } else if (c != ' ' && c != '=') {
            token += c;
        }
    }
    visit(token, '\0');
}

double expression_value(const std::string &expression, const NameIndex &names) {
    double sum = 0.0;
    double factor = 1.0;
    for_each_token(expression, [&](const std::string &token, char operation) {
        const double value = token_value(token, names);
        if (operation == '*') {
            factor *= value;
        } else {
            sum += value * factor;
            factor = operation == '+' ? 1.0 : -1.0;
        }
    });
    return sum;
}

// The visitor that gives each constrained parameter its value.
auto resolver(const NameIndex &names) {
    return [&names](FitPar &par, double &value) {
        if (par.flag == -1) {
            value = par.value = expression_value(par.value_text, names);
        }
    };
}

} // namespace

void constraint_csd(Csd &csd) {
    constraint_csd_lp(csd);
    constraint_csd_atm(csd);
    constraint_csd_lofg(csd);
}

void constraint_csd_lp(Csd &csd) {
    const NameIndex names(csd);
    visit_cell_parameters(csd, resolver(names));
}

void constraint_csd_atm(Csd &csd) {
    const NameIndex names(csd);
    if (!visit_site_parameters(csd, resolver(names))) {
        mb_error_exit(stdout, "invalid bf");
    }
}

void constraint_csd_lofg(Csd &csd) {
    const NameIndex names(csd);
    if (!visit_low_order_parameters(csd, resolver(names))) {
        end_invalid_lof_type(csd.lof_type);
    }
}

double constraint_value_csd(const std::string &expression, const Csd &csd) {
    return expression_value(expression, NameIndex(csd));
}

bool is_complete(const std::string &expression) {
    bool complete = true;
    bool is_first = true;
    for_each_token(expression, [&](const std::string &token, char operation) {
        const bool is_sign = is_first && (operation == '+' || operation == '-');
        complete = complete && (!token.empty() || is_sign);
        is_first = false;
    });
    return complete;
}

std::vector<std::string> constraint_names(const std::string &expression) {
    std::vector<std::string> names;
    for_each_token(expression, [&](const std::string &token, char) {
        if (is_name(token)) {
            names.push_back(token);
        }
    });
    return names;
}

double val_trans_csd(const std::string &token, const Csd &csd) {
    return token_value(token, NameIndex(csd));
}

double val_search_csd(const std::string &name, const Csd &csd) {
    return NameIndex(csd).value(name);
}

} // namespace orvel
