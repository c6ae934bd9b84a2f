#include "samples.hpp"
#include "support/run_end.hpp"
#include "viewer/facts.hpp"
#include "viewer/kavun.hpp"
#include "viewer/layout.hpp"
#include "viewer/run_info.hpp"

#include <algorithm>
#include <cmath>

namespace orvel::test {

namespace {

Outcome kavun_on(std::vector<std::string> words) {
    words.insert(words.begin(), "kavun");
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    return outcome_of([&] { run_kavun(static_cast<int>(argv.size()), argv.data()); });
}

CbedRun cbed_run(const std::string &script_path) {
    const KavScript script = read_kav_script(script_path);
    return read_cbed_run(script, script.pages.front());
}

void expect_one_line(const Outcome &o, const std::string &what) {
    EXPECT_EQ(o.status, 1) << what;
    EXPECT_EQ(o.out.rfind("$$ ", 0), 0U) << what << ": " << o.out;
    EXPECT_EQ(std::count(o.out.begin(), o.out.end(), '\n'), 1) << what << ": " << o.out;
}

// The files of each sample that its script names.
const std::pair<const char *, std::vector<const char *>> named_files[] = {
    {"cbed", {"_kav.txt", "_rs0.txt", "_rs1.txt"}},
    {"coherent", {"_rs0.txt"}},
    {"line", {"_rs1.txt"}},
    {"point", {"_rs0.txt"}},
    {"surface", {"_ds.txt", "_amp.txt", "_int.txt"}},
    {"area", {"_amp.txt"}},
    {"bloch", {"_kav.txt", "_pp.txt", "_b2.txt"}}};

} // namespace

TEST(Kavun, WritesThePageOfEverySample) {
    for (const auto &[base, suffixes] : named_files) {
        const SampleFolder folder(base);
        const Outcome o = kavun_on({folder.file(std::string(base) + "_kav.txt")});
        EXPECT_EQ(o.status, -1) << o.out;
        const std::string page = read_file(folder.file(std::string(base) + "_.html"));
        EXPECT_NE(page.find("</html>"), std::string::npos) << base;
        EXPECT_EQ(page.find("://"), std::string::npos) << base << ": a page names no network";
    }
}

TEST(Kavun, MissingFilesEndTheRun) {
    expect_one_line(kavun_on({sample("none_kav.txt")}), "no script");
    expect_one_line(kavun_on({KAVUN_SAMPLES}), "a folder");
    for (const auto &[base, suffixes] : named_files) {
        for (const char *suffix : suffixes) {
            const SampleFolder folder(base);
            std::filesystem::remove(folder.file(base + std::string(suffix)));
            const Outcome o = kavun_on({folder.file(std::string(base) + "_kav.txt")});
            expect_one_line(o, base + std::string(suffix));
            EXPECT_NE(o.out.find(base + std::string(suffix)), std::string::npos) << o.out;
        }
    }
}

// Cut at places all over the file, the last one in its last line: no cut may pass as a whole file.
TEST(Kavun, TruncatedFilesEndTheRun) {
    for (const auto &[base, suffixes] : named_files) {
        for (const char *suffix : suffixes) {
            const SampleFolder folder(base);
            const std::string path = folder.file(base + std::string(suffix));
            const std::string whole = read_file(path);
            const std::size_t last_line = whole.find_last_of('\n', whole.find_last_not_of('\n'));
            std::vector<std::size_t> sizes = {whole.find_last_not_of('\n')};
            for (int i = 0; i < 40; ++i) {
                sizes.push_back(last_line * static_cast<std::size_t>(i) / 40);
            }
            for (const std::size_t size : sizes) {
                write_file(path, whole.substr(0, size));
                const Outcome o = kavun_on({folder.file(std::string(base) + "_kav.txt")});
                expect_one_line(o, path + " cut at " + std::to_string(size));
            }
        }
    }
}

TEST(Kavun, DisagreeingFilesEndTheRun) {
    const struct {
        const char *base;
        const char *file;
        const char *from;
        const char *to;
        const char *message;
    } cases[] = {
        {"cbed", "cbed_rs1.txt", "5.4309", "5.43", "differ in crystal"},
        {"cbed", "cbed_rs1.txt", "2\t0\t-2\t", "2\t0\t-4\t", "not the one that RF_INDEX"},
        {"cbed", "cbed_rs0.txt", "625 25 ", "625 24 ", "do not make a grid"},
        {"cbed", "cbed_rs0.txt", "625 25 ", "2000000000 25 ", "more than the file holds"},
        {"cbed", "cbed_rs0.txt", "\n7\n", "\n-7\n", "below 1"},
        {"cbed", "cbed_rs0.txt", "\n7\n", "\n2000000000\n", "more than the file holds"},
        {"cbed", "cbed_rs0.txt", "2\t-2\t0\n# tilt", "0\t0\t0\n# tilt", "give no length"},
        {"cbed", "cbed_rs0.txt", "0\t0\t0\t0\t0\n", "0\t0\t0\tinf\t0\n", "differ in crystal"},
        {"cbed", "cbed_rs0.txt", "SIM_RESULT", "SIM_COHERENT_RESULT", "SIM_RESULT expected"},
        {"cbed", "cbed_rs0.txt", "}RF\n", "}RF\n}RF\n", "RF{ expected"},
        {"cbed", "cbed_kav.txt", "cbed_.html", "cbed_rs0.txt", "is no .html file"},
        {"surface", "surface_ds.txt", "\n-3\t", "\n-4\t", "differ in their tilts"},
        {"surface", "surface_int.txt", "# thickness 0: 500[A]\n", "", "do not hold"},
        {"surface", "surface_kav.txt", "6  #branch_end", "5  #branch_end", "more than"},
        {"area", "area_amp.txt", "\n-1.5\t-1.25\t", "\n-1.5\t-1.24\t", "tilts"},
        {"bloch", "bloch_b2.txt", "# 31 31", "# 31 30", "the end of the file expected"},
        {"bloch", "bloch_b2.txt", "# 31 31", "# 31 2000000000", "larger than the file"},
        {"bloch", "bloch_b2.txt", "branch:2,", "branch:3,", "not the branch"},
        {"bloch", "bloch_kn.txt", "1: ", "1 ", "eps^2 expected"},
        {"bloch", "bloch_kav.txt", "1    # branch\n0.", "1    # branch\n1.", "not the eps^2"},
        {"bloch", "bloch_kn.txt", "2: ", "3: ", "do not stand in order"},
        {"bloch", "bloch_kn.txt", "1: 0", "1: 1", "does not list branch 1"},
    };
    for (const auto &c : cases) {
        const SampleFolder folder(c.base);
        edit(folder.file(c.file), c.from, c.to);
        const Outcome o = kavun_on({folder.file(std::string(c.base) + "_kav.txt")});
        expect_one_line(o, std::string(c.file) + ": " + c.to);
        EXPECT_NE(o.out.find(c.message), std::string::npos) << c.to << ": " << o.out;
    }
}

TEST(Kavun, APageCannotReplaceWhatALaterOneIsReadFrom) {
    const SampleFolder folder("cbed");
    const std::string result = read_file(folder.file("cbed_rs1.txt"));
    write_file(folder.file("cbed_kav.txt"),
               "KAVUN_SCRIPT\nSIM_VISUAL_MODE\n"
               "HTML_OPEN\np.html\nSIM_VISUALIZE\ncbed_rs0.txt 0.5 1 1\nHTML_CLOSE\n"
               "HTML_OPEN\nq.html\nSIM_VISUALIZE\ncbed_rs1.txt 0.5 1 1\nHTML_CLOSE\n");
    std::filesystem::create_symlink("cbed_rs1.txt", folder.file("p.html"));
    const Outcome o = kavun_on({folder.file("cbed_kav.txt")});
    expect_one_line(o, "p.html");
    EXPECT_NE(o.out.find("cbed_rs1.txt, which this run reads or writes."), std::string::npos);
    EXPECT_EQ(read_file(folder.file("cbed_rs1.txt")), result);
}

TEST(Kavun, ValuesThatAreNoNumbersAreKept) {
    const SampleFolder folder("cbed");
    const std::string path = folder.file("cbed_rs0.txt");
    std::string text = read_file(path);
    const std::size_t line = text.find('\n', text.find("# hkl\n") + 6) + 1;
    text.replace(line, text.find('\n', line) - line, "-nan");
    write_file(path, text);
    const CbedRun run = cbed_run(folder.file("cbed_kav.txt"));
    EXPECT_TRUE(std::isnan(run.images[0].values[0]));
    EXPECT_EQ(kavun_on({folder.file("cbed_kav.txt")}).status, -1);
}

TEST(Kavun, ValuesThatNoPictureHoldsAreRefused) {
    const std::pair<const char *, const char *> results[] = {
        {"surface", "surface_int.txt"}, {"surface", "surface_ds.txt"}, {"bloch", "bloch_b2.txt"}};
    for (const auto &[base, name] : results) {
        const SampleFolder folder(base);
        std::string text = read_file(folder.file(name));
        text.erase(text.find_last_not_of("\n") + 1);
        text.erase(text.find_last_of("\t") + 1);
        write_file(folder.file(name), text + "1e39\n");
        const Outcome o = kavun_on({folder.file(std::string(base) + "_kav.txt")});
        expect_one_line(o, name);
        EXPECT_NE(o.out.find("a value is beyond what pictures hold"), std::string::npos) << o.out;
    }
}

// A disc of no size: the jobs write positions that are no numbers, and tilts where one point makes
// a line. Only a pattern of discs needs positions.
TEST(Kavun, RunsWithoutAnExtentKeepTheirValues) {
    const SampleFolder line("line");
    for (const char *name : {"line_rs0.txt", "line_rs1.txt"}) {
        edit(line.file(name), "\n0\t0\t0\t0\t0\n", "\n0\t0\t0\t-nan\t-nan\n");
    }
    EXPECT_EQ(kavun_on({line.file("line_kav.txt")}).status, -1);
    const SampleFolder surface("surface");
    for (const char *suffix : {"ds", "amp", "int"}) {
        const std::string path = surface.file("surface_" + std::string(suffix) + ".txt");
        std::string text = read_file(path);
        const std::size_t row = text.find("\n-3\t") + 1;
        text = text.substr(0, text.find('\n', row) + 1);
        write_file(path, text.replace(row, 2, "-nan"));
    }
    const Outcome o = kavun_on({surface.file("surface_kav.txt")});
    EXPECT_EQ(o.status, -1) << o.out;
}

TEST(Kavun, HostileNamesStayText) {
    const SampleFolder folder("point");
    const std::string evil = "<img src=x onerror=alert(1)>";
    edit(folder.file("point.par"), "\nSi\n", "\n</script>" + evil + "\n");
    std::filesystem::rename(folder.file("point_kav.txt"), folder.file(evil + "_kav.txt"));
    std::filesystem::rename(folder.file("point_log.txt"), folder.file(evil + "_log.txt"));
    ASSERT_EQ(kavun_on({folder.file(evil + "_kav.txt")}).status, -1);
    const std::string page = read_file(folder.file("point_.html"));
    EXPECT_EQ(page.find("<img"), std::string::npos);
    EXPECT_NE(page.find("&lt;img src=x"), std::string::npos);
    EXPECT_NE(page.find("\\u003c/script\\u003e"), std::string::npos);
}

// The voltage is never guessed: it is given, or read from a parameter file that still describes
// the incidence.
TEST(Kavun, VoltageOfTheRun) {
    const SampleFolder folder("cbed");
    const KavScript script = read_kav_script(folder.file("cbed_kav.txt"));
    const CbedRun run = read_cbed_run(script, script.pages.front());
    const auto wavelength_of = [&](std::optional<double> given) {
        return facts_of(script, &run.pattern, given).wavelength;
    };
    EXPECT_NEAR(wavelength_of({}).value(), 0.02508, 1e-5); // 200 kV
    EXPECT_NEAR(wavelength_of(100.0).value(), 0.03701, 1e-5);
    edit(folder.file("cbed.par"), "2 -2 0", "2 0 -2");
    EXPECT_FALSE(wavelength_of({}).has_value());
    edit(folder.file("cbed.par"), "2 0 -2", "2 -2 0"); // numbers as orvel reads them
    edit(folder.file("cbed.par"), "200", "+0xc8");
    EXPECT_NEAR(wavelength_of({}).value(), 0.02508, 1e-5);
    EXPECT_EQ(outcome_of([&] { warn_unfinished_run(script.path); }).out, "");
    edit(folder.file("cbed_log.txt"), "See you again!!!", "");
    EXPECT_NE(outcome_of([&] { warn_unfinished_run(script.path); }).out.find("has no end"),
              std::string::npos);
    std::filesystem::remove(folder.file("cbed_log.txt"));
    EXPECT_FALSE(wavelength_of({}).has_value());
    std::filesystem::create_symlink("cbed_log.txt", folder.file("cbed_log.txt")); // a loop
    EXPECT_FALSE(wavelength_of({}).has_value());
    expect_one_line(kavun_on({"--voltage", "-200", script.path}), "negative voltage");
}

// Discs stand where their reflections are: a distance in samples times the length of a sample is
// the length of g, sqrt(8) / a for the six reflections of the ring.
TEST(Layout, DistancesAreThoseOfTheReciprocalLattice) {
    for (const char *base : {"cbed", "coherent"}) {
        const CbedRun run = cbed_run(sample(base + std::string("_kav.txt")));
        const DiscLayout layout = lay_out_discs(run);
        EXPECT_EQ(layout.centres[0].x, 0.0);
        for (std::size_t r = 1; r < layout.centres.size(); ++r) {
            const Place &p = layout.centres[r];
            EXPECT_NEAR(std::hypot(p.x, p.y) * layout.sample_per_A, std::sqrt(8.0) / 5.4309, 1e-5);
        }
        CbedRun without = run; // 000 is the origin where it is not listed too
        without.pattern.reflections.erase(without.pattern.reflections.begin());
        EXPECT_EQ(lay_out_discs(without).centres[0].x, layout.centres[1].x);
        EXPECT_GT(lay_out_discs(without).high.x - lay_out_discs(without).low.x,
                  run.pattern.grid.side);
        // Tilt H = 1 is half of base_g1 away from the centre.
        const TiltPoint &last = run.pattern.grid.points.back();
        EXPECT_NEAR(last.H, run.pattern.grid.half_width, 1e-5);
        EXPECT_NEAR(0.5 * (run.pattern.grid.side - 1) * layout.sample_per_A,
                    last.H * std::sqrt(2.0) / 5.4309, 1e-5);
    }
}

// Numbers as orvel reads them; a constant that a constraint gives is not in its line.
TEST(RunInfo, CellOfTheParameterFile) {
    const SampleFolder folder;
    write_file(folder.file("run_log.txt"), "parameter_file: run.dat\n");
    for (const auto &[line, known] : {std::pair{"3.905", true},
                                      {"+0x4 ADJ a", true},
                                      {"1*b CST a", false},
                                      {"1*b -1 a", false},
                                      {"=b CST a", false},
                                      {"3.905 CSTR", true}}) {
        write_file(folder.file("run.dat"), std::string("LATTICE{\n221\n") + line +
                                               "\n4 FIX b\n4\n90\n90\n90\n}LATTICE\n"
                                               "INCIDENT_BEAM{\n0 0 1\n1 -1 1\n2 0 0\n0\n0\n100\n");
        const std::optional<RunInfo> info = read_run_info(folder.file("run_kav.txt"));
        ASSERT_TRUE(info.has_value()) << line;
        EXPECT_EQ(info->cell.has_value(), known) << line;
        EXPECT_EQ(info->acc_voltage, 100.0);
    }
}

// Two discs of amplitude 1 that overlap by half: in phase 4, in antiphase 0, a quarter
// of a turn apart 2, alone 1.
TEST(Layout, SumOfOverlappingDiscs) {
    CbedRun run;
    run.pattern.coherent = true;
    run.pattern.cell = {4.0, 4.0, 4.0, 90.0, 90.0, 90.0};
    run.pattern.base_g1 = {1.0, 0.0, 0.0};
    run.pattern.grid = {TiltShape::area, 5, 2.0, {}};
    for (int p = 0; p < 25; ++p) {
        run.pattern.grid.points.push_back({p % 5 - 2.0, p / 5 - 2.0, p % 5, p / 5, true});
    }
    // Two samples apart: position (in files) x (n - 1) / n.
    run.pattern.reflections = {{{0, 0, 0}, 0.0, 0.0}, {{1, 0, 0}, 2.5, 0.0}};
    CbedImage image;
    image.values.assign(50, 1.0F);
    image.imaginary.assign(50, 0.0F);
    const struct {
        float re;
        float im;
        float expected;
    } cases[] = {{1.0F, 0.0F, 4.0F}, {-1.0F, 0.0F, 0.0F}, {0.0F, 1.0F, 2.0F}};
    for (const auto &[re, im, expected] : cases) {
        std::fill(image.values.begin() + 25, image.values.end(), re);
        std::fill(image.imaginary.begin() + 25, image.imaginary.end(), im);
        run.images = {image};
        const OverlapSum sum = sum_overlap(run, run.images[0], lay_out_discs(run));
        ASSERT_EQ(sum.width, 7);
        ASSERT_EQ(sum.height, 5);
        EXPECT_EQ(sum.low.x, -2.0);
        EXPECT_NEAR(sum.rounding, 0.0, 1e-12);
        for (std::size_t i = 0; i < 35; ++i) {
            const bool both = i % 7 >= 2 && i % 7 < 5;
            EXPECT_EQ(sum.discs[i], both ? 2 : 1);
            EXPECT_EQ(sum.intensity[i], both ? expected : 1.0F);
        }
    }
}

} // namespace orvel::test
