#include "crystal/atom_tables.hpp"

#include "app/mb_mpi.hpp"
#include "crystal/data_tables.hpp"
#include "input/mb_input.hpp"
#include "input/utils.hpp"

#include <array>
#include <cstdlib>
#include <cstring>
#include <span>

namespace orvel {

namespace {

constexpr const char *delimiters = " ,\t\r\n";

// Reads numbers, per_line to a line, until out is full; the run ends where the file does.
void read_numbers(std::FILE *stream, int per_line, std::span<double> out) {
    char line[element_limit];
    std::array<double, 13> numbers = {};
    for (std::size_t done = 0; done < out.size(); done += static_cast<std::size_t>(per_line)) {
        if (comment_skip_fgets(element_limit, line, stream) == nullptr) {
            input_exit("$$ %s ends inside a block of numbers. Abort.", electron_table);
        }
        chk_number_count(per_line, per_line, rm_cr(line));
        str_to_fs(per_line, line, numbers.data());
        for (int i = 0; i < per_line; ++i) {
            out[done + static_cast<std::size_t>(i)] = numbers[static_cast<std::size_t>(i)];
        }
    }
}

// Consumes one line; true when it begins with the section header.
bool section_follows(std::FILE *stream, const char *header) {
    char line[element_limit];
    return comment_skip_fgets(element_limit, line, stream) != nullptr &&
           std::strncmp(line, header, std::strlen(header)) == 0;
}

// Goes to the element's block: its name line, then nine lines for every block passed over.
void find_element(std::FILE *stream, const std::string &element) {
    constexpr int lines_after_name = 9;
    char line[element_limit];
    while (comment_skip_fgets(element_limit, line, stream) != nullptr) {
        line[std::strcspn(line, "\r\n")] = '\0';
        if (element == line) {
            return;
        }
        for (int i = 0; i < lines_after_name; ++i) {
            comment_skip_fgets(element_limit, line, stream);
        }
    }
    error_exit(stderr, "Element %s was not found in %s", element.c_str(), electron_table);
}

} // namespace

BkTable read_atom_dat_table(const std::string &element) {
    InputFile file = fopen_chk_rmode(data_file(electron_table));
    BkTable table;
    if (section_follows(file, "DTS")) {
        read_numbers(file, 9, table.dts);
    }
    if (section_follows(file, "GM")) {
        read_numbers(file, 6, table.gm);
    }
    if (section_follows(file, "GMS2")) {
        read_numbers(file, 5, table.gms2);
    }

    find_element(file, element.substr(0, element.find_first_of("\r\n")));
    std::array<double, 2> scales = {};
    read_numbers(file, 2, scales);
    table.mlt_fct = scales[0];
    table.add_fct = scales[1];
    read_numbers(file, 9, table.dt);
    std::array<double, 60> grid = {};
    read_numbers(file, 13, std::span(grid).first(52));
    read_numbers(file, 8, std::span(grid).last(8));
    // Column by column of the grid: the six rows of B for each B s^2.
    for (std::size_t n = 0; n < grid.size(); ++n) {
        table.f[n % 6][n / 6] = grid[n];
    }
    return table;
}

XrayFactors read_xdt_table(const std::string &element) {
    constexpr int line_limit = 101;
    const std::size_t start = element.find_first_not_of(" ,\t");
    const std::string name =
        start == std::string::npos
            ? std::string()
            : element.substr(start, element.find_first_of(" ,\t", start) - start);
    InputFile file = fopen_chk_rmode(data_file(xray_table));
    char line[line_limit];
    while (comment_skip_fgets(line_limit, line, file) != nullptr) {
        const std::string whole = rm_cr(line);
        char *rest = nullptr;
        const char *token = strtok_r(line, delimiters, &rest);
        if (token == nullptr || name != token) {
            continue;
        }
        // Z, then a1 b1 .. a4 b4, then c.
        std::array<double, 10> numbers = {};
        for (double &number : numbers) {
            token = strtok_r(nullptr, delimiters, &rest);
            if (token == nullptr) {
                input_exit("$$ The line of %s in %s is cut short. Abort.", name.c_str(),
                           xray_table);
            }
            number = to_double(token);
        }
        XrayFactors x;
        x.Z = numbers[0];
        for (std::size_t i = 0; i < x.gauss.size(); ++i) {
            x.gauss[i] = {numbers[1 + 2 * i], numbers[2 + 2 * i]};
        }
        x.c = numbers[9];
        chk_number_count(static_cast<int>(numbers.size()), static_cast<int>(numbers.size()), whole,
                         1);
        return x;
    }
    error_exit(stdout, "not found the element (%s) in read_xdt_table", name.c_str());
}

} // namespace orvel
