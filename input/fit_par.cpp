// The fit-parameter lines of refinable structure quantities.
#include "input/mb_input.hpp"

#include "app/mb_mpi.hpp"

#include <algorithm>
#include <optional>

namespace orvel {

namespace {

constexpr std::size_t max_name_length = 31;

// Empty for a token that is no flag.
std::optional<int> flag_of(const std::string &token) {
    static constexpr struct {
        const char *word;
        const char *number;
        int flag;
    } flags[] = {{"FIX", "0", 0}, {"RST", "1", 1}, {"ADJ", "2", 2}, {"CST", "-1", -1}};
    for (const auto &f : flags) {
        if (token == f.word || token == f.number) {
            return f.flag;
        }
    }
    return std::nullopt;
}

// Lines without a flag that the run has read so far.
int num_unnamed = 0;

void require_token(bool present, const std::string &line) {
    if (!present) {
        mb_fprintf(stdout, "$$ (fget_fitpar) Input data error. Abort.\n$$ buf=%s\n", line.c_str());
        end_run(1);
    }
}

} // namespace

void restart_unnamed() {
    num_unnamed = 0;
}

FitPar fget_fitpar(std::FILE *stream) {
    const std::string line = fget_line(stream, "a structure parameter");
    const std::vector<std::string> tokens = tokens_of(line.c_str());
    require_token(!tokens.empty(), line);

    FitPar par;
    par.value_text = tokens[0];
    const auto flag = tokens.size() > 1 ? flag_of(tokens[1]) : std::nullopt;
    if (!flag) {
        chk_number_count(1, 1, line);
        const auto is_remark = [](const std::string &token) { return token[0] == '#'; };
        const auto remark = std::find_if(tokens.begin(), tokens.end(), is_remark);
        if (std::find(tokens.begin(), remark, "CST") != remark && may_warn(Told::line)) {
            mb_fprintf(stdout,
                       "$$ Warning: \"%s\": only the second word can be CST; this is a remark.\n",
                       line.c_str());
        }
        par.value = to_double(tokens[0]);
        par.name = "id" + std::to_string(num_unnamed++);
        return par;
    }

    par.flag = *flag;
    require_token(tokens.size() > 2, line);
    par.name = tokens[2];
    if (par.name.size() > max_name_length) {
        input_exit("$$ Parameter name %s is longer than %zu characters. Abort.", par.name.c_str(),
                   max_name_length);
    }
    if (flag == 1) {
        require_token(tokens.size() > 3, line);
        par.restraint = to_double(tokens[3]);
    }
    if (flag != -1) {
        par.value = to_double(tokens[0]);
    }
    return par;
}

} // namespace orvel
