#include "input/heap_sort.hpp"
#include "input/utils.hpp"

#include "numeric/vecmat.hpp"
#include "support/program.hpp"
#include "support/run_end.hpp"

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

namespace orvel::test {
namespace {

TEST(RemoveExtention, IsTheFirstRunWithoutDots) {
    const struct {
        const char *name;
        const char *base;
    } cases[] = {
        {"data.run.txt", "data"},
        {"plain", "plain"},
        {"..hidden.txt", "hidden"},
        // A path that begins with dots loses them: the cut knows nothing of folders.
        {"../x/y.txt", "/x/y"},
        {"a.b/c.txt", "a"},
        {"...", ""},
        {"", ""},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(remove_extention(c.name), c.base) << c.name;
    }
}

TEST(OpenChecked, TellsWhatCannotBeOpened) {
    const TemporaryFolder folder;
    const std::string there = folder.path().string();
    const std::string missing = there + "/none/x";
    const Outcome absent = outcome_of([&] { fopen_chk_rmode(missing); });
    EXPECT_EQ(absent.status, 1);
    EXPECT_EQ(absent.err, "$$ (fopen_chk_rmode) Cannot open " + missing + ". Abort.\n");
    // Directories open on some systems, but cannot be read.
    const Outcome directory = outcome_of([&] { fopen_chk_rmode(there); });
    EXPECT_EQ(directory.err, "$$ (fopen_chk_rmode) Cannot open " + there + ". Abort.\n");
    const Outcome unwritable = outcome_of([&] { fopen_chk_wmode(missing); });
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_EQ(unwritable.err, "$$ (fopen_chk_wmode) Cannot open " + missing + ". Abort.\n");

    // The look at the first character loses nothing, in an empty file either.
    write_file(folder.path() / "x", "\xff");
    EXPECT_EQ(std::fgetc(fopen_chk_rmode(there + "/x")), 0xff);
    write_file(folder.path() / "x", "");
    EXPECT_EQ(std::fgetc(fopen_chk_rmode(there + "/x")), EOF);
}

TEST(Strings, ChangeCase) {
    char text[] = "aZ 9\xe9";
    str2upper(text);
    EXPECT_STREQ(text, "AZ 9\xe9");
    str2lower(text);
    EXPECT_STREQ(text, "az 9\xe9");
}

TEST(Extrema, FollowTheirScans) {
    double max = 0.0;
    double min = 0.0;
    const double flat[] = {2, -7, 5, 5};
    findmaxmin(4, flat, max, min);
    EXPECT_EQ(max, 5);
    EXPECT_EQ(min, -7);

    // 100 and -100 stand where the two-dimensional scan does not look.
    Matrix<double> m(3, 3);
    const double values[3][3] = {{1, 100, -100}, {100, 4, 2}, {-100, 3, 0}};
    for (std::size_t i = 0; i < 3; ++i) {
        std::copy_n(values[i], 3, m[i]);
    }
    findmaxmin2(3, 3, m.get(), max, min);
    EXPECT_EQ(max, 4);
    EXPECT_EQ(min, 0);
    findmaxmin2(1, 3, m.get(), max, min);
    EXPECT_EQ(max, 1);
    EXPECT_EQ(min, 1);
}

TEST(MachineEps, IsTheSpacingAtOne) {
    EXPECT_EQ(machine_eps(), std::numeric_limits<double>::epsilon());
}

TEST(QuadraticInterpol, IsExactForParabolasAndPicksItsPoints) {
    const double x[] = {0, 1, 3, 4, 7};
    double y[5];
    for (int i = 0; i < 5; ++i) {
        y[i] = 2 * x[i] * x[i] - 3 * x[i] + 1;
    }
    // Inside, below the first and beyond the last abscissa.
    for (const double d : {0.5, 2.5, 9.0, -2.0}) {
        const double at = x[4] - d;
        EXPECT_NEAR(quadratic_interpol(4, d, y, 5, x), 2 * at * at - 3 * at + 1, 1e-12) << at;
    }
    // A kink tells which points were used: 3.5 lies at or below x[3], so 1, 2 and 3.
    const double kink[] = {1e6, 1, 3, 4, 1e6};
    EXPECT_NEAR(quadratic_interpol(3, 0.5, kink, 5, x), 3.5, 1e-12);
}

template <class T, class Sort, class Before> void expect_sorted(Sort sort, Before before) {
    std::mt19937 random(7);
    for (const int n : {0, 1, 2, 3, 10, 257}) {
        std::vector<T> given(static_cast<std::size_t>(n));
        for (T &v : given) {
            v = static_cast<T>(random() % 50) - static_cast<T>(25);
        }
        std::vector<T> sorted = given;
        std::vector<int> index(given.size(), -1);
        sort(n, sorted.data(), index.data());

        std::vector<T> expected = given;
        std::sort(expected.begin(), expected.end(), before);
        EXPECT_EQ(sorted, expected) << n;
        for (std::size_t i = 0; i < sorted.size(); ++i) {
            EXPECT_EQ(sorted[i], given.at(static_cast<std::size_t>(index[i]))) << n;
        }
        std::sort(index.begin(), index.end());
        EXPECT_EQ(std::adjacent_find(index.begin(), index.end()), index.end()) << n;
    }
}

TEST(HeapSort, SortsAndTellsTheOldPlaces) {
    expect_sorted<double>(d_heapsort, std::greater<double>());
    expect_sorted<double>(d_heapsort_ascend, std::less<double>());
    expect_sorted<int>(i_heapsort, std::greater<int>());
    expect_sorted<int>(i_heapsort_ascend, std::less<int>());
}

} // namespace
} // namespace orvel::test
