#include "crystal/spgroup.hpp"

#include "app/mb_mpi.hpp"
#include "crystal/data_tables.hpp"
#include "input/utils.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <optional>
#include <string_view>

namespace orvel {

namespace {

constexpr int line_limit = 100; // of the table, with the closing zero
constexpr int max_listed_ops = 192;

// Header line of a table entry.
struct TableHeader {
    int num_ops = 0;
    int centrosymmetric = 0;
    int number = 0;
    int setting = 0; // lattice type R: 9 and 11 mark hexagonal axes
    std::string lattice_type;
};

InputFile open_table() {
    const std::string path = data_file(space_group_table);
    std::error_code ignored;
    InputFile stream(std::filesystem::is_directory(path, ignored) ? nullptr
                                                                  : std::fopen(path.c_str(), "r"));
    if (stream == nullptr) {
        mb_fprintf(stderr, "Cannot open %s.\n", path.c_str());
        end_run(1);
    }
    protect_input(path);
    return stream;
}

TableHeader decode_header(const char *line, const std::vector<std::string> &tokens) {
    TableHeader header;
    if (tokens.size() >= 5) {
        header = {.num_ops = to_int(tokens[0]),
                  .centrosymmetric = to_int(tokens[1]),
                  .number = to_int(tokens[2]),
                  .setting = to_int(tokens[3]),
                  .lattice_type = tokens[4]};
    }
    if (header.num_ops < 1 || header.num_ops > max_listed_ops) {
        std::string text = line;
        rm_cr(text.data());
        input_exit("$$ Invalid header line in %s: %s Abort.", space_group_table, text.c_str());
    }
    return header;
}

// The header of a space group, with its operator lines next in the stream. Blank lines between
// entries are passed over.
std::optional<TableHeader> find_entry(std::FILE *stream, int number) {
    char line[line_limit];
    while (comment_skip_fgets(line_limit, line, stream) != nullptr) {
        const std::vector<std::string> tokens = tokens_of(line);
        if (tokens.empty()) {
            continue;
        }
        TableHeader header = decode_header(line, tokens);
        if (header.number == number) {
            return header;
        }
        for (int i = 0; i < header.num_ops; ++i) {
            if (comment_skip_fgets(line_limit, line, stream) == nullptr) {
                return std::nullopt;
            }
        }
    }
    return std::nullopt;
}

std::vector<SymOp> read_listed_ops(std::FILE *stream, const TableHeader &header) {
    std::vector<SymOp> ops;
    char line[line_limit];
    for (int i = 0; i < header.num_ops; ++i) {
        if (comment_skip_fgets(line_limit, line, stream) == nullptr) {
            input_exit("$$ Space group no. = %d: %s ends after %d of %d operators. Abort.",
                       header.number, space_group_table, i, header.num_ops);
        }
        ops.push_back(decode_sym_op(rm_cr(line)));
    }
    return ops;
}

// Translations that a lattice type adds to every operation.
std::vector<Position> centring_vectors(const TableHeader &header) {
    switch (header.lattice_type[0]) {
    case 'P':
        return {};
    case 'I':
        return {{0.5, 0.5, 0.5}};
    case 'A':
        return {{0.0, 0.5, 0.5}};
    case 'B':
        return {{0.5, 0.0, 0.5}};
    case 'C':
        return {{0.5, 0.5, 0.0}};
    case 'F':
        return {{0.0, 0.5, 0.5}, {0.5, 0.0, 0.5}, {0.5, 0.5, 0.0}};
    case 'R':
        if (header.setting == 9 || header.setting == 11) {
            // seven decimals on purpose, not exact thirds
            return {{0.6666667, 0.3333333, 0.3333333}, {0.3333333, 0.6666667, 0.6666667}};
        }
        return {};
    default:
        mb_fprintf(stderr, "Invalid lattice type in space-group table.\n");
        end_run(1);
    }
}

void add_centring(std::vector<SymOp> &ops, const std::vector<Position> &vectors) {
    const std::size_t num_listed = ops.size();
    for (const Position &v : vectors) {
        for (std::size_t i = 0; i < num_listed; ++i) {
            SymOp op = ops[i];
            op[9] += v[0];
            op[10] += v[1];
            op[11] += v[2];
            ops.push_back(op);
        }
    }
}

void add_inversion(std::vector<SymOp> &ops) {
    const std::size_t num_proper = ops.size();
    for (std::size_t i = 0; i < num_proper; ++i) {
        ops.push_back(inv_sym_op(ops[i]));
    }
}

[[noreturn]] void end_invalid_operator(const std::string &text) {
    input_exit("$$ Invalid operator in %s: %s Abort.", space_group_table, text.c_str());
}

double determinant(const SymOp &op) {
    return op[0] * (op[4] * op[8] - op[7] * op[5]) - op[3] * (op[1] * op[8] - op[7] * op[2]) +
           op[6] * (op[1] * op[5] - op[4] * op[2]);
}

double letter_coefficient(std::string_view component, char letter) {
    if (component.find(letter) == component.npos) {
        return 0.0;
    }
    const std::size_t minus = component.find('-');
    const bool negated =
        minus != component.npos && minus + 1 < component.size() && component[minus + 1] == letter;
    return negated ? -1.0 : 1.0;
}

// Negative when the component holds a "/" that is not between two digits.
double component_translation(std::string_view component) {
    const auto digit = [&](std::size_t i) {
        const bool is_digit =
            i < component.size() && std::isdigit(static_cast<unsigned char>(component[i])) != 0;
        return is_digit ? component[i] - '0' : -1;
    };
    const std::size_t slash = component.find('/');
    if (slash == component.npos) {
        return 0.0;
    }
    const int numerator = slash > 0 ? digit(slash - 1) : -1;
    const int denominator = digit(slash + 1);
    return numerator < 0 || denominator < 1 ? -1.0 : static_cast<double>(numerator) / denominator;
}

// The sign of a fraction is not read: 3/4 is written for -1/4.
void warn_fraction_sign(std::string_view component, const std::string &text) {
    const std::size_t slash = component.find('/');
    if (slash != component.npos && slash >= 2 && component[slash - 2] == '-') {
        mb_fprintf(stdout, "$$ Warning: the minus before the fraction in \"%s\" is not read.\n",
                   text.c_str());
    }
}

// Whether the component has nothing but letters, signs and one fraction of two digits: not Z+0.5,
// Z+1, Z+1/2/3 or a remark.
bool is_well_formed(std::string_view component) {
    const std::size_t slash = component.find('/');
    for (std::size_t i = 0; i < component.size(); ++i) {
        const bool in_fraction =
            slash != component.npos && (i + 1 == slash || i == slash || i == slash + 1);
        if (!in_fraction &&
            std::string_view("XYZ+- \t").find(component[i]) == std::string_view::npos) {
            return false;
        }
    }
    return true;
}

// Of fractional coordinates that are the same.
constexpr double tolerance = 0.0001;

// Positions that are reduced to the cell.
bool coincide(const Position &p, const Position &q) {
    for (std::size_t i = 0; i < 3; ++i) {
        const double d = std::fabs(p[i] - q[i]);
        if (!(d < tolerance || std::fabs(d - 1.0) < tolerance)) {
            return false;
        }
    }
    return true;
}

Position reduced(const Position &p) {
    return {fractional(p[0]), fractional(p[1]), fractional(p[2])};
}

} // namespace

SpaceGroup read_sp_group_tbl(int number) {
    const InputFile stream = open_table();
    const std::optional<TableHeader> header = find_entry(stream, number);
    if (!header) {
        input_exit("$$ Space group no. = %d is not found in the table.", number);
    }
    SpaceGroup group;
    group.number = number;
    group.ops = read_listed_ops(stream, *header);
    group.lattice_type = header->lattice_type;
    const std::vector<Position> centring = centring_vectors(*header);
    add_centring(group.ops, centring);
    group.rhombohedral_flag = header->lattice_type[0] == 'R' && !centring.empty() ? 1 : 0;
    group.centrosymmetric = header->centrosymmetric == 1 ? 1 : 0;
    if (group.centrosymmetric == 1) {
        add_inversion(group.ops);
    }
    return group;
}

std::string read_latt_type(int number) {
    const InputFile stream = open_table();
    const std::optional<TableHeader> header = find_entry(stream, number);
    if (!header) {
        mb_fprintf(stdout, "Not found.\n");
        return {};
    }
    return header->lattice_type;
}

SymOp decode_sym_op(const std::string &text) {
    SymOp op = {};
    std::string_view rest = text;
    for (std::size_t row = 0; row < 3; ++row) {
        const std::size_t comma = rest.find(',');
        if ((comma == rest.npos) != (row == 2)) {
            end_invalid_operator(text);
        }
        const std::string_view component = rest.substr(0, comma);
        rest.remove_prefix(row < 2 ? comma + 1 : 0);
        op[row] = letter_coefficient(component, 'X');
        op[3 + row] = letter_coefficient(component, 'Y');
        op[6 + row] = letter_coefficient(component, 'Z');
        op[9 + row] = component_translation(component);
        warn_fraction_sign(component, text);
        if (op[9 + row] < 0.0 || !is_well_formed(component)) {
            end_invalid_operator(text);
        }
    }
    // An operation maps the lattice onto itself.
    if (std::fabs(determinant(op)) != 1.0) {
        end_invalid_operator(text);
    }
    return op;
}

SymOp inv_sym_op(const SymOp &op) {
    SymOp inverse;
    std::transform(op.begin(), op.end(), inverse.begin(), [](double v) { return -v; });
    return inverse;
}

Position gen_pos(const Position &p, const SymOp &op) {
    Position q;
    for (std::size_t i = 0; i < 3; ++i) {
        q[i] = op[i] * p[0] + op[3 + i] * p[1] + op[6 + i] * p[2] + op[9 + i];
    }
    return q;
}

bool is_group(std::span<const SymOp> ops) {
    constexpr Position general = {0.12345, 0.28712, 0.37191}; // images of it are told apart
    const auto by_x = [](const Position &p, const Position &q) { return p[0] < q[0]; };
    std::vector<Position> orbit;
    for (const SymOp &op : ops) {
        orbit.push_back(reduced(gen_pos(general, op)));
    }
    std::sort(orbit.begin(), orbit.end(), by_x);
    const auto count = [&](const Position &q) {
        const Position from = {q[0] - tolerance, 0.0, 0.0};
        const Position to = {q[0] + tolerance, 0.0, 0.0};
        return std::count_if(std::lower_bound(orbit.begin(), orbit.end(), from, by_x),
                             std::upper_bound(orbit.begin(), orbit.end(), to, by_x),
                             [&](const Position &p) { return coincide(p, q); });
    };
    return std::all_of(ops.begin(), ops.end(), [&](const SymOp &op) {
        return std::all_of(orbit.begin(), orbit.end(),
                           [&](const Position &p) { return count(reduced(gen_pos(p, op))) == 1; });
    });
}

Hkl gen_reflex(const Hkl &hkl, const SymOp &op) {
    const auto index = [&](std::size_t column) {
        return static_cast<int>(op[column]) * hkl.h + static_cast<int>(op[column + 1]) * hkl.k +
               static_cast<int>(op[column + 2]) * hkl.l;
    };
    return {index(0), index(3), index(6)};
}

double fractional(double x) {
    double f = x - std::floor(x);
    // rounding may give 1 for a tiny negative x
    if (f >= 1.0) {
        f -= 1.0;
    }
    return f;
}

int judge_two_atom(const Position &p, const Position &q) {
    return coincide(reduced(p), reduced(q)) ? 1 : 0;
}

int special_pos_check(std::vector<Position> &positions) {
    std::vector<Position> kept; // reduced
    std::size_t count = 0;
    for (const Position &p : positions) {
        const Position r = reduced(p);
        if (std::none_of(kept.begin(), kept.end(),
                         [&](const Position &q) { return coincide(r, q); })) {
            kept.push_back(r);
            positions[count++] = p;
        }
    }
    positions.resize(count);
    return static_cast<int>(count);
}

int ij_to_i(int ij) {
    switch (ij) {
    case 11:
        return 0;
    case 22:
        return 1;
    case 33:
        return 2;
    case 12:
        return 3;
    case 23:
        return 4;
    case 13:
        return 5;
    default:
        input_exit("$$ Invalid ij. Abort.");
    }
}

} // namespace orvel
