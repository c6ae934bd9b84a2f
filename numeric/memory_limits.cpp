#include "numeric/memory_limits.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <unistd.h>

namespace orvel {

namespace {

constexpr double unlimited = std::numeric_limits<double>::infinity();

double free_memory(const std::string &meminfo) {
    const std::string key = "MemAvailable:";
    std::ifstream in(meminfo);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with(key)) {
            return std::strtod(line.c_str() + key.size(), nullptr) * 1024.0;
        }
    }
    return unlimited;
}

// The smallest number in the files of this name in the folder of a group and of all above it; "max"
// and what is not there are no limit.
double smallest_limit(const std::string &root, std::string group, const std::string &name) {
    double limit = unlimited;
    while (true) {
        std::ifstream in(std::filesystem::path(root + group) / name);
        double bytes = 0.0;
        if (in >> bytes) {
            limit = std::min(limit, bytes);
        }
        if (group.empty()) {
            return limit;
        }
        group.erase(std::min(group.size() - 1, group.rfind('/')));
    }
}

// A line is "number:controllers:group"; without controllers it is of the unified hierarchy.
double group_limit(const std::string &line, const std::string &groups) {
    const std::size_t first = line.find(':');
    const std::size_t second = line.find(':', first + 1);
    if (first == line.npos || second == line.npos) {
        return unlimited;
    }
    const std::string controllers = line.substr(first + 1, second - first - 1);
    const std::string group = line.substr(second + 1);
    if (controllers.empty()) {
        return smallest_limit(groups, group, "memory.max");
    }
    return controllers == "memory"
               ? smallest_limit(groups + "/memory", group, "memory.limit_in_bytes")
               : unlimited;
}

// Bytes of the pages that this process has.
double resident_memory(const std::string &statm) {
    std::ifstream in(statm);
    double pages_in_all = 0.0;
    double resident = 0.0;
    in >> pages_in_all >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

} // namespace

double available_memory(const std::string &proc, const std::string &groups) {
    double bytes = free_memory(proc + "/meminfo");
    const double resident = resident_memory(proc + "/self/statm");
    std::ifstream in(proc + "/self/cgroup");
    for (std::string line; std::getline(in, line);) {
        bytes = std::min(bytes, std::max(0.0, group_limit(line, groups) - resident));
    }
    return bytes;
}

} // namespace orvel
