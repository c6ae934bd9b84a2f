#include "input/mb_input.hpp"

#include "app/run_settings.hpp"
#include "support/run_end.hpp"
#include "support/text_stream.hpp"

#include <climits>
#include <cmath>
#include <vector>

namespace orvel::test {
namespace {

std::vector<std::string> elements_of(const std::string &text, int limit) {
    const InputFile stream = stream_of(text);
    std::vector<char> buf(static_cast<std::size_t>(limit));
    std::vector<std::string> elements;
    while (comment_skip_fgets(limit, buf.data(), stream) != nullptr) {
        elements.push_back(buf.data());
    }
    return elements;
}

TEST(Elements, AreLinesWithoutComments) {
    using Elements = std::vector<std::string>;
    const struct {
        const char *name;
        std::string text;
        Elements elements;
    } cases[] = {
        {"empty file", "", {}},
        {"comments", "#a\n%b\nx\nCOMMENT{ why\n1\n#\n}COMMENT so\ny\n", {"x\n", "y\n"}},
        {"blanks before #", " #a\n COMMENT{\n", {" #a\n", " COMMENT{\n"}},
        {"blank line", "\nx", {"\n", "x"}},
        {"CR LF", "a\r\n#b\r\n\r\nc\r\n", {"a\n", "\n", "c\n"}},
        {"CR alone", "a\rb\r", {"a\rb\r"}},
        {"split", "0123456789abcdefgh\nx\n", {"0123456789abcde", "fgh\n", "x\n"}},
        {"CR LF at the split", "0123456789abcde\r\nx\n", {"0123456789abcde", "\n", "x\n"}},
        {"only comments", "#a\n%b", {}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(elements_of(c.text, 16), c.elements) << c.name;
    }
    const Outcome open = outcome_of([] { elements_of("COMMENT{\nx\n", 256); });
    EXPECT_EQ(open.status, 1);
    EXPECT_EQ(open.out, "$$ End of file while reading a COMMENT{ block: no }COMMENT. Abort.\n");
    const Outcome zero = outcome_of([] { elements_of({"a\n#\0b\n", 6}, 256); });
    EXPECT_EQ(zero.status, 1);
    EXPECT_EQ(zero.out, "$$ Found a zero byte in a file to be read: it is no text file. Abort.\n");
    const InputFile folder(std::fopen(".", "r")); // opens, but cannot be read
    char line[16];
    EXPECT_EQ(outcome_of([&] { comment_skip_fgets(sizeof line, line, folder); }).out,
              "$$ A file could not be read to its end: Is a directory. Abort.\n");
}

TEST(Tokens, AreCutAtBlanksCommasAndTabs) {
    using Tokens = std::vector<std::string>;
    EXPECT_EQ(tokens_of(" ,a,\tb c\n"), (Tokens{"a", "b", "c"}));
    // The line end is no token, also after a blank.
    EXPECT_EQ(tokens_of("a \n"), (Tokens{"a"}));
    EXPECT_EQ(tokens_of("\n"), Tokens{});
    EXPECT_EQ(second_int("key,12\n"), 12);
    EXPECT_EQ(second_double("key\t1.5e2"), 150.0);
    EXPECT_EQ(second_int("key=3\n"), 0);
    double out[3] = {9, 9, 9};
    EXPECT_EQ(str_to_fs(3, "1.5 x\n", out), 2);
    EXPECT_EQ(out[0], 1.5);
    EXPECT_EQ(out[1], 0.0);
    EXPECT_EQ(out[2], 0.0);
    char line[] = "ab\n";
    EXPECT_STREQ(rm_cr(line), "ab");
    EXPECT_STREQ(rm_cr(line), "ab");
}

TEST(Integers, AreTruncatedAndBounded) {
    const struct {
        double value;
        int truncated;
    } cases[] = {{2.9, 2},          {-2.9, -2},          {2147483647.5, INT_MAX}, {1e300, INT_MAX},
                 {-1e300, INT_MIN}, {HUGE_VAL, INT_MAX}, {std::nan(""), 0}};
    for (const auto &c : cases) {
        EXPECT_EQ(truncate_to_int(c.value), c.truncated) << c.value;
    }
    EXPECT_EQ(to_int("99999999999999999999"), INT_MAX);
    EXPECT_EQ(to_int("-3000000000"), INT_MIN);
    EXPECT_EQ(to_int("1e1"), 1);
    EXPECT_EQ(to_int("x"), 0);
}

TEST(ChkData, NamesKeywordAndWhatWasFound) {
    const auto message = [](const std::string &found) {
        return "$$ Data format error has been found at KEY{.\n$$ Abort.\n$$ buf=" + found + "\n";
    };
    const struct {
        const char *text;
        const char *first_token; // null: accepted
        const char *whole;
    } cases[] = {
        {"KEY{\n", nullptr, nullptr},
        {" KEY{ more\n", nullptr, " KEY{ more"},
        {"key{ x\n", "key{", "key{ x"},
        {"KEY{x\n", "KEY{x", "KEY{x"},
        {"\n", "", ""},
        {"", "", ""},
    };
    for (const auto &c : cases) {
        const Outcome token = outcome_of([&] { chk_data("KEY{", stream_of(c.text)); });
        EXPECT_EQ(token.status, c.first_token == nullptr ? -1 : 1) << c.text;
        EXPECT_EQ(token.out, c.first_token == nullptr ? "" : message(c.first_token)) << c.text;
        const Outcome line = outcome_of([&] { chk_data_info("KEY{", "hint", stream_of(c.text)); });
        EXPECT_EQ(line.status, c.whole == nullptr ? -1 : 1) << c.text;
        EXPECT_EQ(line.out, c.whole == nullptr ? "" : message(c.whole) + "$$hint\n") << c.text;
    }
    dbg.chk_data_dump_flag = 1;
    EXPECT_EQ(outcome_of([] { chk_data("KEY{", stream_of("KEY{\n")); }).out,
              "$$ chk_data: KEY{ ok.\n");
    dbg.chk_data_dump_flag = 0;
}

TEST(TypedReaders, ReadOneElementEach) {
    EXPECT_EQ(fget_3i(stream_of("3.7 2.2 1\n")), (std::array<int, 3>{3, 2, 1}));
    EXPECT_EQ(fget_2i(stream_of("1e1,-2.9")), (std::array<int, 2>{10, -2}));
    EXPECT_EQ(fget_3d(stream_of("\n5\n")), (std::array<double, 3>{0, 0, 0}));
    EXPECT_EQ(fget_6d(stream_of("1 2 3 4 5 6 7")), (std::array<double, 6>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(fget_d(stream_of("  .5 7\n")), 0.5);
    EXPECT_EQ(fget_d(stream_of("\n")), 0.0);
    EXPECT_EQ(fget_i(stream_of("2.9\n")), 2);
    EXPECT_EQ(fget_1s(stream_of("#no\n  Si rest\r\n")), "Si");
    EXPECT_EQ(fget_2s(stream_of("a b\n")), (std::array<std::string, 2>{"a", "b"}));
    EXPECT_EQ(fget_hkl(stream_of("1 -1 2.9\n")), (Hkl{1, -1, 2}));
    EXPECT_EQ(fget_3i1d(stream_of("1 2 3.9 4.5\n")).i[2], 3);
    EXPECT_EQ(fget_3i1d(stream_of("1 2 3.9 4.5\n")).d, 4.5);

    int i = 0;
    EXPECT_EQ(fget_d_and_i(stream_of("0.5 7\n"), i), 0.5);
    EXPECT_EQ(i, 7);
    EXPECT_EQ(fget_str_and_i(stream_of("Si 1e1\n")).i1, 1);
    const WordAndNumbers w = fget_str_and_dii(stream_of("Si 0.5 1\n"));
    EXPECT_EQ(w.word, "Si");
    EXPECT_EQ(w.d, 0.5);
    EXPECT_EQ(w.i1, 1);
    EXPECT_EQ(w.i2, 0);
    std::string word;
    double d1 = 8;
    double d2 = 9;
    int i2 = 7;
    EXPECT_EQ(fget_str_diid(stream_of("Ga 0.25 2 \n"), word, d1, i, i2, d2), 3);
    EXPECT_EQ(word, "Ga");
    EXPECT_EQ(d1, 0.25);
    EXPECT_EQ(i, 2);
    EXPECT_EQ(i2, 7);
    EXPECT_EQ(d2, 9);
}

TEST(TypedReaders, TellTheEndOfTheFile) {
    const struct {
        void (*read)(std::FILE *);
        const char *what;
    } cases[] = {
        {[](std::FILE *f) { fget_d(f, "the voltage"); }, "the voltage"},
        {[](std::FILE *f) { fget_i(f); }, "an integer"},
        {[](std::FILE *f) { fget_1s(f); }, "a word"},
        {[](std::FILE *f) { fget_4d(f); }, "four numbers"},
        {[](std::FILE *f) { fget_hkl(f); }, "the indices h k l of a reflection"},
        {[](std::FILE *f) { fget_str_and_i(f); }, "a word and an integer"},
        {[](std::FILE *f) { fget_fitpar(f); }, "a structure parameter"},
    };
    for (const auto &c : cases) {
        const Outcome o = outcome_of([&] { c.read(stream_of("# nothing\n")); });
        EXPECT_EQ(o.status, 1) << c.what;
        EXPECT_EQ(o.out, std::string("$$ End of file while reading ") + c.what + ". Abort.\n");
    }
}

TEST(Indices, HaveALimit) {
    EXPECT_EQ(fget_hkl(stream_of("20000 -20000 0\n")).k, -20000);
    for (const char *line : {"20001 0 0\n", "0 -1e300 0\n", "0 0 inf\n"}) {
        const Outcome o = outcome_of([&] { fget_hkl(stream_of(line)); });
        EXPECT_EQ(o.status, 1) << line;
        EXPECT_EQ(o.out.rfind("$$ Indices ", 0), 0u) << o.out;
        EXPECT_EQ(outcome_of([&] { fget_uvw(stream_of(line)); }).status, 1) << line;
    }
    EXPECT_EQ(outcome_of([] { fget_hkl_weight(stream_of("0 0 20001\n")); }).status, 1);
}

TEST(HklWeight, IsOneUnlessGiven) {
    const struct {
        const char *line;
        double weight;
    } cases[] = {{"1 1 1 0.5\n", 0.5}, {"1 1 1\n", 1}, {"1 1 1 \n", 1}, {"1 1 1 %0.5\n", 1}};
    for (const auto &c : cases) {
        EXPECT_EQ(fget_hkl_weight(stream_of(c.line)).weight, c.weight) << c.line;
    }
    const Outcome o = outcome_of([] { fget_hkl_weight(stream_of("1 1\n")); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "$$(fget_hkl_weight) Format error. Abort. buf=1 1.");
}

TEST(FitPar, ReadsEveryFlag) {
    const struct {
        const char *line;
        int flag;
        double value;
        double restraint;
        const char *name;
        const char *text;
    } cases[] = {
        {"0.5 FIX x1\n", 0, 0.5, 0, "x1", "0.5"},     {"0.5,0,x2\n", 0, 0.5, 0, "x2", "0.5"},
        {"0.5 RST x 0.7\n", 1, 0.5, 0.7, "x", "0.5"}, {"2.0 1 B 3\n", 1, 2, 3, "B", "2.0"},
        {".1 ADJ y\r\n", 2, 0.1, 0, "y", ".1"},       {".1\t2\ty", 2, 0.1, 0, "y", ".1"},
        {"x+1/2 CST z\n", -1, 0, 0, "z", "x+1/2"},    {"-x -1 z %why\n", -1, 0, 0, "z", "-x"},
    };
    for (const auto &c : cases) {
        const FitPar par = fget_fitpar(stream_of(c.line));
        EXPECT_EQ(par.flag, c.flag) << c.line;
        EXPECT_EQ(par.value, c.value) << c.line;
        EXPECT_EQ(par.restraint, c.restraint) << c.line;
        EXPECT_EQ(par.name, c.name) << c.line;
        EXPECT_EQ(par.value_text, c.text) << c.line;
    }
}

TEST(FitPar, NumbersTheUnnamedOverTheRun) {
    for (int run = 0; run < 2; ++run) {
        restart_unnamed();
        EXPECT_EQ(fget_fitpar(stream_of("0.25\n")).name, "id0");
        const FitPar other = fget_fitpar(stream_of("0.25 what x\n"));
        EXPECT_EQ(other.name, "id1");
        EXPECT_EQ(other.flag, 0);
        EXPECT_EQ(other.value, 0.25);
        EXPECT_EQ(fget_fitpar(stream_of("1 \n")).name, "id2");
    }
}

TEST(FitPar, RefusesIncompleteLines) {
    for (const char *line : {"0.5 ADJ", "0.5 ADJ ", "0.5 RST x", "x CST", "0 FIX", ""}) {
        const Outcome o =
            outcome_of([&] { fget_fitpar(stream_of(std::string(line) + "\nnext\n")); });
        EXPECT_EQ(o.status, 1) << line;
        EXPECT_EQ(o.out,
                  "$$ (fget_fitpar) Input data error. Abort.\n$$ buf=" + std::string(line) + "\n");
    }
    const std::string name(31, 'n');
    EXPECT_EQ(fget_fitpar(stream_of("1 FIX " + name)).name, name);
    const Outcome o = outcome_of([&] { fget_fitpar(stream_of("1 FIX " + name + "n")); });
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out.rfind("$$ ", 0), 0u);
}

} // namespace
} // namespace orvel::test
