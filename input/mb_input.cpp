#include "input/mb_input.hpp"

#include "app/mb_mpi.hpp"
#include "app/run_settings.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sys/stat.h>

namespace orvel {

namespace {

constexpr const char *delimiters = " ,\t";
constexpr std::size_t comment_mark_length = 8; // of "COMMENT{" and "}COMMENT"

bool begins_with(const char *line, const char *mark) {
    return std::strncmp(line, mark, comment_mark_length) == 0;
}

void skip_comment_block(int limit, char *buf, std::FILE *stream) {
    do {
        if (fgets_lf(limit, buf, stream) == nullptr) {
            input_exit("$$ End of file while reading a COMMENT{ block: no }COMMENT. Abort.");
        }
    } while (!begins_with(buf, "}COMMENT"));
}

// Warnings of this run that may_warn let through, and one more when some were kept back.
constexpr int most_told = 10;
std::array<int, static_cast<std::size_t>(Told::num_kinds)> num_told = {};

// The number that a token begins with, and whether it is nothing but that.
struct LeadingNumber {
    double value = 0.0;
    bool is_all = false;
};

LeadingNumber leading_number(const std::string &token) {
    char *end = nullptr;
    const double value = std::strtod(token.c_str(), &end);
    return {value, end != token.c_str() && *end == '\0'};
}

// Whether a token behind a number begins with a unit, perhaps in brackets, that no field has.
bool is_other_unit(const std::string &token) {
    const auto is_bracket = [](char c) { return c == '(' || c == '['; };
    const auto is_letter = [](unsigned char c) { return std::isalpha(c) != 0; };
    const auto first = std::find_if_not(token.begin(), token.end(), is_bracket);
    const std::string word(first, std::find_if_not(first, token.end(), is_letter));
    return word == "nm" || word == "pm" || word == "um" || word == "mrad" || word == "rad";
}

template <std::size_t N> std::array<double, N> fget_fields(std::FILE *stream, const char *what) {
    std::array<double, N> numbers = {};
    const std::string line = fget_line(stream, what);
    chk_number_count(N, N, line);
    str_to_fs(static_cast<int>(N), line.c_str(), numbers.data());
    return numbers;
}

template <std::size_t N> std::array<double, N> fget_numbers(std::FILE *stream, const char *what) {
    const std::array<double, N> numbers = fget_fields<N>(stream, what);
    for (const double number : numbers) {
        chk_finite(number, what);
    }
    return numbers;
}

template <std::size_t N> std::array<int, N> fget_integers(std::FILE *stream, const char *what) {
    const std::array<double, N> numbers = fget_fields<N>(stream, what);
    std::array<int, N> integers = {};
    for (std::size_t i = 0; i < N; ++i) {
        integers[i] = cut_to_int(numbers[i]);
    }
    return integers;
}

// Token number i, empty when the line has fewer.
std::string token_or_empty(const std::vector<std::string> &tokens, std::size_t i) {
    return i < tokens.size() ? tokens[i] : std::string();
}

// Ends the run unless what was found is the keyword; info may be null.
void chk_keyword(const char *keyword, const std::string &found, const char *info) {
    if (found != keyword) {
        mb_fprintf(stdout, "$$ Data format error has been found at %s.\n$$ Abort.\n", keyword);
        mb_fprintf(stdout, "$$ buf=%s\n", found.c_str());
        if (tokens_of(found.c_str()) == std::vector<std::string>{keyword}) {
            mb_fprintf(stdout, "$$ A blank, tab or comma stands before or behind the keyword.\n");
        }
        if (info != nullptr) {
            mb_fprintf(stdout, "$$%s\n", info);
        }
        end_run(1);
    }
    if (dbg.chk_data_dump_flag == 1) {
        mb_fprintf(stdout, "$$ chk_data: %s ok.\n", keyword);
    }
}

} // namespace

char *fgets_lf(int limit, char *buf, std::FILE *stream) {
    int length = 0;
    while (length < limit - 1) {
        int c = std::fgetc(stream);
        if (c == '\r') {
            const int next = std::fgetc(stream);
            if (next == '\n') {
                c = next;
            } else {
                std::ungetc(next, stream);
            }
        }
        if (c == EOF) {
            if (std::ferror(stream) != 0) {
                input_exit("$$ A file could not be read to its end: %s. Abort.",
                           std::strerror(errno));
            }
            break;
        }
        if (c == '\0') {
            input_exit("$$ Found a zero byte in a file to be read: it is no text file. Abort.");
        }
        buf[length++] = static_cast<char>(c);
        if (c == '\n') {
            break;
        }
    }
    buf[length] = '\0';
    return length > 0 ? buf : nullptr;
}

// The limit cuts a line, and what is behind it is an element, in a comment too.
void warn_split(int limit, const char *buf, std::FILE *stream) {
    const std::size_t length = std::strlen(buf);
    if (length + 1 < static_cast<std::size_t>(limit) || buf[length - 1] == '\n') {
        return;
    }
    const int next = std::fgetc(stream);
    std::ungetc(next, stream);
    if (next != EOF && may_warn(Told::line)) {
        mb_fprintf(stdout,
                   "$$ Warning: a line and its end have more than %d characters: the rest is "
                   "read as the next one.\n",
                   limit - 1);
    }
}

char *comment_skip_fgets(int limit, char *buf, std::FILE *stream) {
    while (fgets_lf(limit, buf, stream) != nullptr) {
        warn_split(limit, buf, stream);
        if (begins_with(buf, "COMMENT{")) {
            skip_comment_block(limit, buf, stream);
        } else if (buf[0] != '#' && buf[0] != '%') {
            return buf;
        }
    }
    return nullptr;
}

char *rm_cr(char *str) {
    if (std::strchr(str, '\n') != nullptr) {
        str[std::strlen(str) - 1] = '\0';
    }
    return str;
}

std::string fget_line(std::FILE *stream, const char *what, int limit) {
    std::vector<char> buf(static_cast<std::size_t>(limit));
    if (comment_skip_fgets(limit, buf.data(), stream) == nullptr) {
        input_exit("$$ End of file while reading %s. Abort.", what);
    }
    return rm_cr(buf.data());
}

std::vector<std::string> tokens_of(const char *line) {
    std::size_t end = std::strlen(line);
    if (end > 0 && line[end - 1] == '\n') {
        --end;
    }
    const std::string text(line, end);
    std::vector<std::string> tokens;
    std::size_t first = text.find_first_not_of(delimiters);
    while (first != std::string::npos) {
        const std::size_t next = text.find_first_of(delimiters, first);
        tokens.push_back(text.substr(first, next - first));
        first = text.find_first_not_of(delimiters, next);
    }
    return tokens;
}

bool may_warn(Told kind) {
    int &told = num_told[static_cast<std::size_t>(kind)];
    if (told == most_told) {
        mb_fprintf(stdout, "$$ Warning: further ones of this kind are not told.\n");
    }
    told = std::min(told, most_told) + 1;
    return told <= most_told;
}

void restart_warnings() {
    num_told = {};
}

void chk_number_count(int least, int most, const std::string &line, int first) {
    const std::vector<std::string> tokens = tokens_of(line.c_str());
    const int present = static_cast<int>(tokens.size()) - first;
    if (present < least && may_warn(Told::line)) {
        mb_fprintf(stdout, "$$ Warning: \"%s\" holds %d of %d numbers; what is missing is 0.\n",
                   line.c_str(), present, least);
    }
    if (present <= most) {
        return;
    }
    // What begins with a word is a remark.
    const std::string &next = tokens[static_cast<std::size_t>(first) + most];
    if (leading_number(next).is_all && may_warn(Told::line)) {
        mb_fprintf(stdout,
                   "$$ Warning: \"%s\" holds more than %d number%s; the rest is not read.\n",
                   line.c_str(), most, most == 1 ? "" : "s");
    }
    if (is_other_unit(next) && may_warn(Told::line)) {
        mb_fprintf(stdout,
                   "$$ Warning: \"%s\": the unit is not read; the number counts in that of its "
                   "field.\n",
                   line.c_str());
    }
}

void close_input(InputFile &stream) {
    struct stat status = {};
    const bool is_file = fstat(fileno(stream), &status) == 0 && S_ISREG(status.st_mode);
    char line[element_limit];
    // A pipe may have no end, and a comment needs none here.
    while (is_file && fgets_lf(element_limit, line, stream) != nullptr &&
           !begins_with(line, "COMMENT{")) {
        const std::vector<std::string> tokens = tokens_of(line);
        if (!tokens.empty() && tokens[0][0] != '#' && tokens[0][0] != '%') {
            mb_fprintf(stdout, "$$ Warning: \"%s\" and what follows it is not read.\n",
                       rm_cr(line));
            break;
        }
    }
    stream.close();
}

double to_double(const std::string &token) {
    const LeadingNumber number = leading_number(token);
    if (!number.is_all && !token.empty() && may_warn(Told::line)) {
        mb_fprintf(stdout, "$$ Warning: \"%s\" is read as %g.\n", token.c_str(), number.value);
    }
    return number.value;
}

int to_int(const std::string &token) {
    const long number = std::strtol(token.c_str(), nullptr, 10);
    const auto value = static_cast<int>(
        std::clamp<long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    const LeadingNumber leading = leading_number(token);
    const bool is_read_whole = leading.is_all && value == leading.value;
    if (!is_read_whole && !token.empty() && may_warn(Told::line)) {
        mb_fprintf(stdout, "$$ Warning: \"%s\" is read as %d.\n", token.c_str(), value);
    }
    return value;
}

int truncate_to_int(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= std::numeric_limits<int>::max()) {
        return std::numeric_limits<int>::max();
    }
    if (value <= std::numeric_limits<int>::min()) {
        return std::numeric_limits<int>::min();
    }
    return static_cast<int>(value);
}

int cut_to_int(double value) {
    const int integer = truncate_to_int(value);
    // What no int can hold is refused as a count or an index.
    const bool is_changed =
        std::isnan(value) || (value != integer && std::fabs(value - integer) < 1.0);
    if (is_changed && may_warn(Told::line)) {
        mb_fprintf(stdout, "$$ Warning: %g is cut to the integer %d.\n", value, integer);
    }
    return integer;
}

double chk_finite(double value, const char *what) {
    if (!std::isfinite(value)) {
        input_exit("$$ Found %g, expected %s: only finite numbers can be used. Abort.", value,
                   what);
    }
    return value;
}

bool has_second(const char *line) {
    return tokens_of(line).size() > 1;
}

int second_int(const char *line) {
    return to_int(token_or_empty(tokens_of(line), 1));
}

double second_double(const char *line) {
    return to_double(token_or_empty(tokens_of(line), 1));
}

int str_to_fs(int n, const char *line, double *out) {
    const std::vector<std::string> tokens = tokens_of(line);
    const int present = static_cast<int>(tokens.size());
    for (int i = 0; i < n; ++i) {
        out[i] = i < present ? to_double(tokens[static_cast<std::size_t>(i)]) : 0.0;
    }
    return present < n ? present : n;
}

std::string fget_1s(std::FILE *stream, const char *what, int limit) {
    return token_or_empty(tokens_of(fget_line(stream, what, limit).c_str()), 0);
}

std::string fget_element(std::FILE *stream) {
    return fget_1s(stream, "an element symbol");
}

std::array<std::string, 2> fget_2s(std::FILE *stream) {
    const std::vector<std::string> tokens = tokens_of(fget_line(stream, "two words").c_str());
    return {token_or_empty(tokens, 0), token_or_empty(tokens, 1)};
}

void chk_data(const char *keyword, std::FILE *stream) {
    char buf[element_limit] = "";
    comment_skip_fgets(element_limit, buf, stream);
    chk_keyword(keyword, token_or_empty(tokens_of(buf), 0), nullptr);
}

void chk_data_info(const char *keyword, const char *info, std::FILE *stream) {
    char buf[element_limit] = "";
    comment_skip_fgets(element_limit, buf, stream);
    chk_keyword(keyword, rm_cr(buf), info);
}

double fget_d(std::FILE *stream, const char *what) {
    return fget_numbers<1>(stream, what)[0];
}

int fget_i(std::FILE *stream, const char *what) {
    const std::string line = fget_line(stream, what);
    chk_number_count(1, 1, line);
    return to_int(token_or_empty(tokens_of(line.c_str()), 0));
}

std::array<double, 2> fget_2d(std::FILE *stream) {
    return fget_numbers<2>(stream, "two numbers");
}

std::array<double, 3> fget_3d(std::FILE *stream) {
    return fget_numbers<3>(stream, "three numbers");
}

std::array<double, 4> fget_4d(std::FILE *stream) {
    return fget_numbers<4>(stream, "four numbers");
}

std::array<double, 5> fget_5d(std::FILE *stream) {
    return fget_numbers<5>(stream, "five numbers");
}

std::array<double, 6> fget_6d(std::FILE *stream) {
    return fget_numbers<6>(stream, "six numbers");
}

std::array<int, 2> fget_2i(std::FILE *stream) {
    return fget_integers<2>(stream, "two integers");
}

std::array<int, 3> fget_3i(std::FILE *stream) {
    return fget_integers<3>(stream, "three integers");
}

ThreeIntsOneDouble fget_3i1d(std::FILE *stream) {
    const auto v = fget_numbers<4>(stream, "three integers and a number");
    return {{cut_to_int(v[0]), cut_to_int(v[1]), cut_to_int(v[2])}, v[3]};
}

double fget_d_and_i(std::FILE *stream, int &i) {
    const auto v = fget_numbers<2>(stream, "a number and an integer");
    i = cut_to_int(v[1]);
    return v[0];
}

WordAndNumbers fget_str_and_i(std::FILE *stream) {
    const auto tokens = tokens_of(fget_line(stream, "a word and an integer").c_str());
    WordAndNumbers fields;
    fields.word = token_or_empty(tokens, 0);
    fields.i1 = to_int(token_or_empty(tokens, 1));
    return fields;
}

WordAndNumbers fget_str_and_dii(std::FILE *stream) {
    WordAndNumbers fields;
    double ignored = 0.0;
    fget_str_diid(stream, fields.word, fields.d, fields.i1, fields.i2, ignored);
    return fields;
}

int fget_str_diid(std::FILE *stream, std::string &word, double &d1, int &i1, int &i2, double &d2) {
    const auto tokens = tokens_of(fget_line(stream, "a word and numbers").c_str());
    const int present = tokens.size() < 5 ? static_cast<int>(tokens.size()) : 5;
    if (present > 0) {
        word = tokens[0];
    }
    if (present > 1) {
        d1 = to_double(tokens[1]);
    }
    if (present > 2) {
        i1 = to_int(tokens[2]);
    }
    if (present > 3) {
        i2 = to_int(tokens[3]);
    }
    if (present > 4) {
        d2 = to_double(tokens[4]);
    }
    return present;
}

void chk_index_limit(int h, int k, int l) {
    for (const int index : {h, k, l}) {
        if (index > index_limit || index < -index_limit) {
            input_exit("$$ Indices %d %d %d: none may exceed %d. Abort.", h, k, l, index_limit);
        }
    }
}

Hkl fget_hkl(std::FILE *stream) {
    const auto i = fget_integers<3>(stream, "the indices h k l of a reflection");
    chk_index_limit(i[0], i[1], i[2]);
    return {i[0], i[1], i[2]};
}

Uvw fget_uvw(std::FILE *stream) {
    const auto i = fget_integers<3>(stream, "the indices u v w of a direction");
    chk_index_limit(i[0], i[1], i[2]);
    return {i[0], i[1], i[2]};
}

RealHkl fget_r_hkl(std::FILE *stream) {
    const auto v = fget_numbers<3>(stream, "three real indices");
    return {v[0], v[1], v[2]};
}

HklWeight fget_hkl_weight(std::FILE *stream) {
    const std::string line = fget_line(stream, "the indices h k l of a reflection");
    const std::vector<std::string> tokens = tokens_of(line.c_str());
    if (tokens.size() < 3) {
        mb_fprintf(stdout, "$$(fget_hkl_weight) Format error. Abort. buf=%s.", line.c_str());
        end_run(1);
    }
    HklWeight g{{to_int(tokens[0]), to_int(tokens[1]), to_int(tokens[2])}};
    chk_index_limit(g.hkl.h, g.hkl.k, g.hkl.l);
    if (tokens.size() > 3 && tokens[3][0] != '%') {
        g.weight = to_double(tokens[3]);
    }
    return g;
}

} // namespace orvel
