// Writes the data tables: orvel_tables SOURCES FOLDER
//
// SOURCES is the folder of the transcribed coefficients (tools/sources), FOLDER receives
// orvelspg.dat, orvelxdt.dat and orvelbk.dat. "orvel_tables --settings" lists the settings above
// 1000 as they stand in data/README.md.
#include "tools/bk_table.hpp"
#include "tools/spg_table.hpp"
#include "tools/xdt_table.hpp"

#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

void write_file(const std::string &path, const std::string &text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    if (!out) {
        throw std::runtime_error("cannot write " + path);
    }
}

void write_tables(const std::string &sources, const std::string &folder) {
    write_file(folder + "/orvelspg.dat", orvel::spg_table());
    write_file(folder + "/orvelxdt.dat", orvel::xdt_table(sources));
    write_file(folder + "/orvelbk.dat", orvel::bk_table(sources));
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 2 && std::string(argv[1]) == "--settings") {
        std::fputs(orvel::spg_settings_list().c_str(), stdout);
        return 0;
    }
    if (argc != 3) {
        std::fputs("Usage: orvel_tables SOURCES FOLDER | --settings\n", stderr);
        return 1;
    }
    try {
        write_tables(argv[1], argv[2]);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "orvel_tables: %s\n", e.what());
        return 1;
    }
    return 0;
}
