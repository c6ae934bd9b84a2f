#include "input/mb_input_beams.hpp"
#include "input/mb_input_debug.hpp"

#include "app/run_settings.hpp"
#include "support/program.hpp"
#include "support/run_end.hpp"
#include "support/text_stream.hpp"

#include <algorithm>

namespace orvel::test {
namespace {

TEST(IncidentWave, IsFourElements) {
    const IncidentWave wave = fget_inc_wave(stream_of("100\n1 1 1\n1 1 2\n0.5 -0.5 0\n"));
    EXPECT_EQ(wave.voltage, 100.0);
    EXPECT_EQ(wave.inc_uvw, (Uvw{1, 1, 1}));
    EXPECT_EQ(wave.nor_uvw, (Uvw{1, 1, 2}));
    EXPECT_EQ(wave.base_g1.k, -0.5);
}

TEST(BeamSearchReaders, FillTheirOwnFields) {
    const std::string range = "50.9 2.5 -1.5 3\n";
    for (const char *code : {"1", "11", "2", "12", "3", "13"}) {
        BeamSearch s;
        BeamList beams;
        // Zones 0 to 3 of the third method; the others stop after the first of these lines.
        fget_ed_beams(
            stream_of(std::string(code) + "\n" +
                      (code[std::string(code).size() - 1] == '3' ? "50.9 2.5 0 3 77\n" : range) +
                      "1 2 3\n4 5 6\n7 8 9\n10 11 12\n"),
            s, beams);
        EXPECT_EQ(s.flag_bs, std::stoi(code));
        EXPECT_EQ(s.num_g_limit, 50);
        EXPECT_EQ(s.g_max, 2.5);
        EXPECT_EQ(s.lz_max, 3);
        const int method = s.flag_bs % 10;
        EXPECT_EQ(s.lz_min, method == 3 ? 0 : -1);
        EXPECT_EQ(s.wgbmin, method == 1 ? 1 : 0);
        EXPECT_EQ(s.wgmax, method == 1 ? 2 : 0);
        EXPECT_EQ(s.sgbmin, method == 2 ? 1 : 0);
        EXPECT_EQ(s.sgmax, method == 2 ? 2 : 0);
        EXPECT_EQ(s.xigmax, method == 3 ? 0 : 3);
        EXPECT_EQ(s.sgbmin_lz[3], method == 3 ? 10 : 0);
        EXPECT_EQ(s.sgmax_lz[1], method == 3 ? 5 : 0);
        EXPECT_EQ(s.xigmax_lz[0], method == 3 ? 3 : 0);
    }
    BeamSearch both;
    fget_beam_search(stream_of(range + "1 2 3\n4 5 6\n"), both);
    EXPECT_EQ(both.wgbmin, 1);
    EXPECT_EQ(both.sgmax, 5);
    EXPECT_EQ(both.xigmax, 6);
}

TEST(BeamSearchReaders, RefuseWhatTheyCannotHold) {
    const struct {
        const char *text;
        const char *out;
        const char *err;
    } cases[] = {
        {"4\n", "", "Invalid flag_bs 4\n"},
        {"-1\n", "", "Invalid flag_bs -1\n"},
        {"3\n1 2 3 \n", "$$ Invalid format for beam_search. Abort.\n", ""},
        {"3\n1 2 -1 0\n", "$$ Laue zones -1 to 0: the zones of this search are 0 to 99. Abort.\n",
         ""},
        {"13\n1 2 0 100\n",
         "$$ Laue zones 0 to 100: the zones of this search are 0 to 99. Abort.\n", ""},
        {"1\n1 2 0 0\n", "$$ End of file while reading a beam-search line. Abort.\n", ""},
    };
    for (const auto &c : cases) {
        BeamSearch s;
        BeamList beams;
        const Outcome o = outcome_of([&] { fget_ed_beams(stream_of(c.text), s, beams); });
        EXPECT_EQ(o.status, 1) << c.text;
        EXPECT_EQ(o.out, c.out) << c.text;
        EXPECT_EQ(o.err, c.err) << c.text;
    }
}

TEST(ManualBeams, AreTakenAsGivenAndSwitchTheSelectionOff) {
    epsilon = EpsilonSettings{};
    BeamSearch s;
    BeamList beams;
    const Outcome o =
        outcome_of([&] { fget_ed_beams(stream_of("10\n2 1\n2 2 0\n0 0 0\n-1 1 1\n"), s, beams); });
    EXPECT_EQ(o.status, -1);
    EXPECT_EQ(o.out, "Exact = 2, Bethe = 1\n$$ vg_select_flag is set to 0.\n");
    EXPECT_EQ(epsilon.vg_select_flag, 0);
    epsilon = EpsilonSettings{};
    EXPECT_EQ(beams.hkl, (std::vector<Hkl>{{2, 2, 0}, {0, 0, 0}, {-1, 1, 1}}));
    EXPECT_EQ(beams.num_exact_beam, 2);

    EXPECT_EQ(outcome_of([] { fget_beam_list(1, 2, stream_of("0 0 0\n1 0 0\n0 0 0\n")); }).out,
              "$$ Warning: 0 0 0 occurs more than once in the beam list.\n");

    // Output reflections are looked up among the exact beams only.
    EXPECT_EQ(fget_cal_g(2, beams, stream_of("0 0 0\n2 2 0\n")), (std::vector<int>{1, 0}));
    const Outcome bethe = outcome_of([&] { fget_cal_g(1, beams, stream_of("-1 1 1\n")); });
    EXPECT_EQ(bethe.status, 1);
    EXPECT_EQ(bethe.out, "$$ cal_g: -1 1 1 is not found in the exact beams. Abort.\n");
}

TEST(Counts, ThatCannotBeMeantEndTheRun) {
    for (const char *counts : {"0 1", "-1 0", "1 -1", "2e9 2e9", "1e300 inf", "5 0", "nan 0"}) {
        const Outcome o =
            outcome_of([&] { fget_manual_beams(stream_of(std::string(counts) + "\n0 0 0\n")); });
        EXPECT_EQ(o.status, 1) << counts;
        const std::string message = o.out.substr(o.out.find('\n', o.out.find("Exact")) + 1);
        EXPECT_EQ(message.rfind("$$ ", 0), 0u) << o.out;
        EXPECT_EQ(std::count(message.begin(), message.end(), '\n'), 1) << o.out;
    }
    EXPECT_EQ(fget_count(stream_of("3\n"), "thicknesses", 8), 3);
    EXPECT_EQ(fget_cal_thick(2, stream_of("100\n2e2\n")), (std::vector<double>{100, 200}));
    EXPECT_EQ(outcome_of([] { fget_count(stream_of("-3\n"), "thicknesses", 8); }).out,
              "$$ The number of thicknesses is negative: -3. Abort.\n");
    EXPECT_EQ(outcome_of([] { chk_count(2000000000, "thicknesses", 1e9); }).status, 1);
}

TEST(ListHelpers, KeepTheirOrder) {
    const std::vector<Hkl> exact{{0, 0, 0}, {1, 0, 0}};
    const std::vector<Hkl> bethe{{2, 0, 0}};
    EXPECT_EQ(beam_merge(exact, bethe), (std::vector<Hkl>{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}));
    const std::vector<int> g{3, 1};
    const std::vector<double> t{10, 20};
    const ReflectionThicknessPairs pairs = marge_cal_gt(g, t);
    EXPECT_EQ(pairs.g, (std::vector<int>{3, 1, 3, 1}));
    EXPECT_EQ(pairs.t, (std::vector<double>{10, 10, 20, 20}));
}

TEST(DebugLists, ReadTheirFile) {
    const TemporaryFolder folder;
    const std::string base = (folder.path() / "x").string();
    const std::string opened = "$$ g read from " + base + ".ggi\n";
    const auto read = [&](const std::string &text) {
        write_file(base + ".ggi", text);
        return outcome_of([&] { dbg_g_filein(base, 2); });
    };
    EXPECT_EQ(read("1 1\n0 0 0 0 0\n1 1 1 0 0\nRFE\n").out, opened);
    write_file(base + ".ggi", "1 1\n0 0 0 13.5 0.1\n1 1 1 -4 0.2\nRFE\n");
    BeamsWithVg beams;
    outcome_of([&] { beams = dbg_vg_filein(base, 2); });
    EXPECT_EQ(beams.beams.hkl[1], (Hkl{1, 1, 1}));
    EXPECT_EQ(beams.vg[1].re, -4);
    EXPECT_EQ(beams.vg[1].im, 0.2);

    EXPECT_EQ(read("0 0\nRFE\n").out,
              opened + "$$ Error: Num. of reflections in GFILE is 0. Abort.\n");
    EXPECT_EQ(read("3 0\n").out,
              opened + "$$ Error: Num. of reflections in GFILE is greater than nglim. Abort.\n"
                       "$$ Input bigger nglim.\n");
    EXPECT_EQ(read("1 0\n0 0 0\n").status, 1);
}

} // namespace
} // namespace orvel::test
