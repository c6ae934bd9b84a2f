// Text files read whole, and the elements of their lines. Comment lines (first character "#" or
// "%") and blank lines are no elements; a line may end in CR LF. Every read is linear in the size
// of the file.
#pragma once

#include <cmath>
#include <span>
#include <string>
#include <string_view>

namespace orvel {

// A file being read: its name for messages, its content and the place of the next line.
struct TextFile {
    std::string path;
    std::string content;
    std::size_t position = 0; // of the next line, in bytes
    long line = 0;            // number of the line read last, from 1
};

// Reads the file; one that cannot be read ends the run: "$$ Cannot open %s. Abort.".
TextFile read_text_file(const std::string &path);

// The next line, comment or not, without its end; false at the end of the file.
bool next_line(TextFile &file, std::string_view &line);

// The next element; `what` names it in the message that ends the run at the end of the file.
std::string_view next_element(TextFile &file, const char *what);

// The next element, which must be this keyword alone.
void expect_keyword(TextFile &file, const char *keyword);

// Ends the run when another element follows.
void expect_end(TextFile &file);

// Ends the run when the last line is without its end: a table that was cut inside a number.
void expect_line_end(const TextFile &file);

// Ends the run: "$$ PATH, line N: MESSAGE. Abort.".
[[noreturn]] void file_error(const TextFile &file, const std::string &message);

// Cuts the first token (blanks, tabs and commas delimit) off the line; empty when there is none.
std::string_view cut_token(std::string_view &line);

// The token as a number ("nan" and "inf" are numbers, as they may stand in a result); false when
// it is none.
bool to_number(std::string_view token, double &value);

// Whether two numbers of results were written as the same text, nan included.
inline bool same_number(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}
bool to_integer(std::string_view token, int &value);

// The numbers of the next element, which must hold just as many; a trailing "# ..." is a comment.
void next_numbers(TextFile &file, const char *what, std::span<double> values);
double next_number(TextFile &file, const char *what);
// An integer that is not below the bound.
int next_integer(TextFile &file, const char *what, int smallest);

// The integers and numbers of one line of a listing: reads `integers.size()` integers.
void next_integers(TextFile &file, const char *what, std::span<int> values);

// Pictures hold single precision, which is plenty, but does not reach as far: a value that is
// finite and beyond it ends the run, and so does a largest value that is below it.
void chk_picture_value(const TextFile &file, double value);
void chk_not_all_lost(const TextFile &file, double largest);

// A file that a script names stands beside the script: the folder of `script` with the last
// component of `name`, so that no script reaches another folder. A name that is none ends the run.
std::string beside(const std::string &script, std::string_view name);

} // namespace orvel
