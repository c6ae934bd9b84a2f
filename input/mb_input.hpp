// Readers of the parameter file, from which every block reader is built.
//
// A parameter file is read strictly in sequence, one element (a physical line) at a time. Comments
// ("#" or "%" in the first column, "COMMENT{" .. "}COMMENT") are skipped wherever an element is
// expected; blank lines are elements. Tokens are cut at blanks, commas and tabs. Numbers are read
// with the standard decimal conversions, so a field that is not a number reads as 0, and one that
// does not fit an int as the nearest bound. A file that ends inside a typed reader ends the run
// with one "$$" line that says what was being read.
#pragma once

#include "input/utils.hpp"

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace orvel {

// Length limit of an element, with the closing zero; longer lines are split into several elements.
inline constexpr int element_limit = 256;

// --- Lines and tokens ----------------------------------------------------------------------------

// As fgets, with CR LF read as the one character LF: for every file that is read by lines. A zero
// byte, of a device or of a file that is no text, ends the run.
char *fgets_lf(int limit, char *buf, std::FILE *stream);

// The next element into buf (at most limit - 1 characters, line end kept, CR LF read as LF);
// null at the end of the file. A comment block that is never closed ends the run.
char *comment_skip_fgets(int limit, char *buf, std::FILE *stream);

// If str contains a line feed, removes its last character; returns str.
char *rm_cr(char *str);

// The next element without its line end. At the end of the file the run ends with a message that
// names `what`.
std::string fget_line(std::FILE *stream, const char *what, int limit = element_limit);

// The tokens of a line; a line end at its end belongs to none.
std::vector<std::string> tokens_of(const char *line);

// What warnings that can be many are about.
enum class Told { line, site, structure_factor, constraint, num_kinds };

// Whether one more warning of the kind may be written: ten of them are, "$$ Warning: ..." on the
// console, in each run.
bool may_warn(Told kind);
// A run begins.
void restart_warnings();

// Warns of a line that holds fewer numbers than the least it needs, or another one behind the most
// that are read, or a unit there that no field has; they begin with token number `first`.
void chk_number_count(int least, int most, const std::string &line, int first = 0);

// The end of a file that has been read as far as it counts. Warns of a line that is left in it.
void close_input(InputFile &stream);

// Standard decimal conversions of a token: what is not a number gives 0. Told where the token is
// more than its number.
double to_double(const std::string &token);
int to_int(const std::string &token);

// A double truncated toward zero, as every integer field of the numeric lines is: the nearest int
// bound when it does not fit, 0 for nan.
int truncate_to_int(double value);

// The same, with a warning for a fraction or nan.
int cut_to_int(double value);

// The value, which must be finite: nan and infinity end the run with a "$$" line that says what was
// expected.
double chk_finite(double value, const char *what);

// Second token of a line; 0 when there is none.
bool has_second(const char *line);
int second_int(const char *line);
double second_double(const char *line);

// Sets out[0 .. n-1] to 0, then converts up to n leading tokens; returns how many there were.
int str_to_fs(int n, const char *line, double *out);

// --- Words and block keywords --------------------------------------------------------------------

// First token of the next element, line end removed; empty for a blank line. At the end of the
// file the run ends with a message that names `what`.
std::string fget_1s(std::FILE *stream, const char *what = "a word", int limit = element_limit);
// The same for element symbols.
std::string fget_element(std::FILE *stream);
// First two tokens; a missing one is empty.
std::array<std::string, 2> fget_2s(std::FILE *stream);

// Requires the first token of the next element to equal keyword; else
// "$$ Data format error has been found at %s.\n$$ Abort.\n" (keyword), "$$ buf=%s\n" (token, empty
// at the end of the file), status 1. On a match, with chk_data_dump_flag 1:
// "$$ chk_data: %s ok.\n".
void chk_data(const char *keyword, std::FILE *stream);
// The same check on the whole element; a mismatch adds the line "$$%s\n" with the hint.
void chk_data_info(const char *keyword, const char *info, std::FILE *stream);

// --- Typed readers: one element each -------------------------------------------------------------
// `what` names the quantity in the message of a file that ends too early.

// The first token of the line; 0 on a blank line.
double fget_d(std::FILE *stream, const char *what = "a number");
int fget_i(std::FILE *stream, const char *what = "an integer"); // integer conversion
// Fields beyond the tokens present are 0.
std::array<double, 2> fget_2d(std::FILE *stream);
std::array<double, 3> fget_3d(std::FILE *stream);
std::array<double, 4> fget_4d(std::FILE *stream);
std::array<double, 5> fget_5d(std::FILE *stream);
std::array<double, 6> fget_6d(std::FILE *stream);
std::array<int, 2> fget_2i(std::FILE *stream); // truncated
std::array<int, 3> fget_3i(std::FILE *stream);

struct ThreeIntsOneDouble {
    std::array<int, 3> i = {};
    double d = 0.0;
};
ThreeIntsOneDouble fget_3i1d(std::FILE *stream);

// A number, returned, and an integer (truncated), stored.
double fget_d_and_i(std::FILE *stream, int &i);

// A word and what follows it, integers by integer conversion; missing numbers are 0.
struct WordAndNumbers {
    std::string word;
    double d = 0.0;
    int i1 = 0;
    int i2 = 0;
};
WordAndNumbers fget_str_and_i(std::FILE *stream);   // word, i1
WordAndNumbers fget_str_and_dii(std::FILE *stream); // word, d, i1, i2
// Word, number, integer, integer, number: stores those present and returns their count; missing
// fields keep their value.
int fget_str_diid(std::FILE *stream, std::string &word, double &d1, int &i1, int &i2, double &d2);

// --- Indices -------------------------------------------------------------------------------------

// Reflection indices, and a direct-lattice direction: 32-bit signed integers.
struct Hkl {
    int h = 0;
    int k = 0;
    int l = 0;
    friend bool operator==(const Hkl &, const Hkl &) = default;
};
struct Uvw {
    int u = 0;
    int v = 0;
    int w = 0;
    friend bool operator==(const Uvw &, const Uvw &) = default;
};
// The same in doubles, where fractional.
struct RealHkl {
    double h = 0.0;
    double k = 0.0;
    double l = 0.0;
};
struct RealUvw {
    double u = 0.0;
    double v = 0.0;
    double w = 0.0;
};

// Largest index of a reflection or direction that is taken from a file: sums of products of them
// fit 32 bits. A larger one ends the run with a "$$" line.
inline constexpr int index_limit = 20000;
// Ends the run when one of the three is larger.
void chk_index_limit(int h, int k, int l);

Hkl fget_hkl(std::FILE *stream); // truncated
Uvw fget_uvw(std::FILE *stream);
RealHkl fget_r_hkl(std::FILE *stream);

struct HklWeight {
    Hkl hkl;
    double weight = 1.0; // also when the fourth token is absent or begins with "%"
};
// h k l and an optional weight. Fewer than three tokens:
// "$$(fget_hkl_weight) Format error. Abort. buf=%s.", status 1.
HklWeight fget_hkl_weight(std::FILE *stream);

// --- Fit-parameter lines -------------------------------------------------------------------------

// One refinable structure quantity as its line gave it. Only `value`, and `value_text` where
// flag is -1, matter to the calculations; the rest serves a refinement.
struct FitPar {
    int flag = 0;           // 0 fixed, 1 restrained, 2 adjusted, -1 constrained
    int spare = 0;          // cleared
    double restraint = 0.0; // flag 1 only
    double value = 0.0;     // 0 for flag -1 until the constraint is resolved
    std::string name;       // at most 31 characters; "id%d" for lines without a flag
    std::string value_text; // first token as written; the expression for flag -1
};

// Value, flag ("FIX"/"0", "RST"/"1", "ADJ"/"2", "CST"/"-1"; absent or anything else: fixed), name
// and, for a restrained parameter, its target. Lines without a flag are named "id%d", counted from
// 0 over the run. A missing required token:
// "$$ (fget_fitpar) Input data error. Abort.\n" and "$$ buf=%s" with the line, status 1.
FitPar fget_fitpar(std::FILE *stream);

// Lines without a flag count from id0 again: the start of a run.
void restart_unnamed();

} // namespace orvel
