#include "fuzz/targets.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/orvel.hpp"
#include "app/run_settings.hpp"
#include "app/settings_readers.hpp"
#include "crystal/atom_tables.hpp"
#include "crystal/constraint.hpp"
#include "crystal/spgroup.hpp"
#include "numeric/vecmat.hpp"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <sys/time.h>

namespace orvel::fuzz {

namespace {

namespace fs = std::filesystem;

constexpr const char *param_name = "run.prm";
// Small, so that a run costs milliseconds: some twenty beams, a few tilts.
constexpr double memory_bound = 1 << 18;
constexpr long time_bound = 20000; // microseconds of processor time

fs::path work_folder;

struct RunEnded {};

void write_file(const std::string &name, const std::string &text) {
    std::ofstream(name, std::ios::binary) << text;
}

std::string read_file(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

fs::path corpus_file(const char *name) {
    return fs::path(ORVEL_SOURCE_DIR) / "fuzz/corpus" / name;
}

// The entries of a few space groups, each of which begins with a comment line "#  NUMBER ...": to
// read past the others would take most of the time of a run.
std::string few_space_groups() {
    std::ifstream table(fs::path(ORVEL_SOURCE_DIR) / "data/orvelspg.dat");
    std::string kept;
    bool keep = false;
    for (std::string line; std::getline(table, line);) {
        if (line[0] == '#') {
            const int number = std::atoi(line.c_str() + 1);
            keep = std::set{1, 2, 12, 136, 154, 167, 194, 216, 221, 225, 227}.contains(number);
        }
        kept += keep ? line + "\n" : "";
    }
    return kept;
}

// Puts the input in the place of a data table.
void replace_table(const char *name, const std::string &input) {
    fs::remove(name);
    write_file(name, input);
}

void run_job(const std::string &input) {
    write_file(param_name, input);
    OutputFile log = mb_fopen_chk_wmode("run_log.txt", Writing::in_place);
    mb_job(param_name, "run", log);
    mb_fclose(log);
}

// The flags reach into a whole small run.
void run_ini(const std::string &input) {
    static const std::string job = read_file(corpus_file("sim/small"));
    write_file("orvel.ini", input);
    read_ini_file();
    run_job(job);
}

// Results of arbitrary names would pile up.
void remove_results() {
    for (const fs::directory_entry &file : fs::directory_iterator(work_folder)) {
        if (!file.path().filename().string().starts_with("orvel")) {
            fs::remove(file);
        }
    }
}

// The first line holds arguments, apart by tabs; the rest is typed. Names stay in this folder.
void run_start_up(const std::string &input) {
    remove_results();
    std::istringstream lines(input.find('/') == input.npos ? input : "");
    std::string line;
    std::getline(lines, line);
    std::istringstream arguments(line);
    std::vector<std::string> words = {"orvel"};
    for (std::string word; std::getline(arguments, word, '\t');) {
        words.push_back(word);
    }
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    static const std::string job = read_file(corpus_file("sim/small"));
    write_file(param_name, job);
    write_file("typed", {std::istreambuf_iterator<char>(lines), {}});
    if (std::freopen("typed", "r", stdin) == nullptr) {
        std::abort();
    }
    run_orvel(static_cast<int>(words.size()), argv.data());
}

void run_space_groups(const std::string &input) {
    replace_table("orvelspg.dat", input);
    for (const int number : {2, 167, 225}) {
        read_latt_type(number);
        const SpaceGroup group = read_sp_group_tbl(number);
        for (const SymOp &op : group.ops) {
            gen_reflex({1, -2, 3}, op);
        }
    }
}

void run_bird_king(const std::string &input) {
    replace_table("orvelbk.dat", input);
    const BkTable table = read_atom_dat_table("O");
    for (const double s : {-1.0, 0.0, 0.3, 1.7, 9.0}) {
        for (const double B : {0.0, 0.4, 40.0}) {
            ScatteringFactors factors = {};
            atom_bk(table, s, B, factors, 100.0);
        }
    }
}

void run_xray(const std::string &input) {
    replace_table("orvelxdt.dat", input);
    atomsf_xdt(0.0, read_xdt_table("O"));
    atomsf_xdt(0.5, read_xdt_table("Na1+"));
}

void run_constraint(const std::string &input) {
    Csd csd;
    const char *const names[] = {"a", "b", "c", "alpha", "B_1", "x"};
    for (std::size_t i = 0; i < csd.cell_pars.size(); ++i) {
        csd.cell_pars[i].name = names[i];
    }
    csd.cell = {.a = 4.0, .b = 5.0, .c = 6.0, .alpha = 90.0, .beta = 1e300, .gamma = 0.0};
    constraint_value_csd(input.c_str(), csd);
}

void run_operators(const std::string &input) {
    std::istringstream lines(input);
    for (std::string line; std::getline(lines, line);) {
        const SymOp op = decode_sym_op(line);
        gen_pos({0.1, 0.2, 0.3}, op);
        gen_reflex({1, -2, 3}, inv_sym_op(op));
    }
}

constexpr Target all_targets[] = {
    {"sim", run_job},
    {"coherent", run_job},
    {"dispsurf", run_job},
    {"bloch", run_job},
    {"tfringe", run_job},
    {"density_proj", run_job},
    {"potential_proj", run_job},
    {"density_3d", run_job},
    {"potential_3d", run_job},
    {"ini", run_ini},
    {"start_up", run_start_up},
    {"orvelspg", run_space_groups},
    {"orvelbk", run_bird_king},
    {"orvelxdt", run_xray},
    {"constraint", run_constraint},
    {"operators", run_operators},
};

// The clock of a run; 0 stops it.
void set_clock(long microseconds) {
    std::signal(SIGVTALRM, [](int) { std::raise(SIGTERM); });
    const itimerval once = {{0, 0}, {0, microseconds}};
    setitimer(ITIMER_VIRTUAL, &once, nullptr);
}

} // namespace

std::span<const Target> targets() {
    return all_targets;
}

const Target *find_target(const std::string &name) {
    for (const Target &target : all_targets) {
        if (name == target.name) {
            return &target;
        }
    }
    return nullptr;
}

void enter_work_folder() {
    std::string name = (fs::temp_directory_path() / "orvel_fuzz_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) {
        std::abort();
    }
    work_folder = name;
    fs::current_path(work_folder);
    set_memory_bound(memory_bound);
    set_run_ending([](int) { throw RunEnded{}; });
    write_file("orvelspg.dat", few_space_groups());
    for (const char *table : {"orvelbk.dat", "orvelxdt.dat"}) {
        fs::create_symlink(fs::path(ORVEL_SOURCE_DIR) / "data" / table, table);
    }
}

void leave_work_folder() {
    std::error_code ignored;
    fs::current_path(work_folder.parent_path(), ignored);
    fs::remove_all(work_folder, ignored);
}

void run_input(const Target &target, const std::string &input) {
    const auto on_interrupt = std::signal(SIGINT, SIG_DFL);
    const auto on_end = std::signal(SIGTERM, SIG_DFL);
    catch_interrupts();
    set_clock(time_bound);
    try {
        target.run(input);
    } catch (const RunEnded &) {
    }
    set_clock(0);
    std::signal(SIGINT, on_interrupt);
    std::signal(SIGTERM, on_end);
    dbg = DebugFlags{};
    epsilon = EpsilonSettings{};
}

} // namespace orvel::fuzz
