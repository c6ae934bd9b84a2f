// A working directory of a test's own, left and removed at its end.
#pragma once

#include "support/files.hpp"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace orvel::test {

class WorkFolder {
public:
    WorkFolder() : before_(std::filesystem::current_path()) {
        std::string name = (std::filesystem::temp_directory_path() / "orvel_test_XXXXXX").string();
        folder_ = mkdtemp(name.data());
        std::filesystem::current_path(folder_);
    }
    ~WorkFolder() {
        std::error_code ignored;
        std::filesystem::current_path(before_, ignored);
        std::filesystem::remove_all(folder_, ignored);
    }
    WorkFolder(const WorkFolder &) = delete;
    WorkFolder &operator=(const WorkFolder &) = delete;

    // The three data tables of the program, as links.
    void link_tables() const {
        for (const char *table : {"orvelspg.dat", "orvelbk.dat", "orvelxdt.dat"}) {
            std::filesystem::create_symlink(
                std::filesystem::path(ORVEL_SOURCE_DIR) / "data" / table, folder_ / table);
        }
    }

private:
    std::filesystem::path before_;
    std::filesystem::path folder_;
};

} // namespace orvel::test
