#include "viewer/kav_script.hpp"

#include "samples.hpp"
#include "support/run_end.hpp"
#include "viewer/page_data.hpp"
#include "viewer/text_file.hpp"

#include <algorithm>
#include <cstring>

namespace orvel::test {

namespace {

const std::string sim_head =
    "KAVUN_SCRIPT\n# script for kavun.\nSIM_VISUAL_MODE\nHTML_OPEN\np.html\n#\n";

KavScript parsed(const SampleFolder &folder, const std::string &text) {
    write_file(folder.file("x_kav.txt"), text);
    return read_kav_script(folder.file("x_kav.txt"));
}

} // namespace

TEST(KavScript, HoldsWhatTheJobsWrite) {
    const SampleFolder folder;
    const KavScript sim =
        parsed(folder, sim_head + "SIM_VISUALIZE\nmy run_rs0.txt 0.5 2 1\r\n"
                                  "SIM_VISUALIZE\nmy run_rs1.txt 1 1 0\nHTML_CLOSE\n"
                                  "# again\nHTML_OPEN\nq.html\nSIM_VISUALIZE\n"
                                  "z_rs0.txt 1 1 0\nHTML_CLOSE\n");
    ASSERT_EQ(sim.pages.size(), 2U);
    EXPECT_EQ(sim.mode, VisualMode::cbed);
    EXPECT_EQ(sim.pages[0].html_file, "p.html");
    EXPECT_EQ(sim.pages[1].html_file, "q.html");
    ASSERT_EQ(sim.pages[0].cbed.size(), 2U);
    const CbedCommand &first = sim.pages[0].cbed[0];
    EXPECT_EQ(first.result_file, "my run_rs0.txt");
    EXPECT_EQ(first.gamma, 0.5);
    EXPECT_EQ(first.magnification, 2);
    EXPECT_TRUE(first.reversed);

    const KavScript surface = read_kav_script(sample("surface_kav.txt"));
    EXPECT_EQ(surface.pages[0].dispsurf[0].branch_end, 6);
    EXPECT_EQ(surface.pages[0].dispsurf[0].amplitude_file, "surface_amp.txt");
    const KavScript bloch = read_kav_script(sample("bloch_kav.txt"));
    EXPECT_EQ(bloch.pages[0].bloch[0].states.size(), 4U);
    EXPECT_EQ(bloch.pages[0].bloch[0].states[3].file, "bloch_b4.txt");
}

TEST(KavScript, RefusesWhatIsNone) {
    const struct {
        const char *name;
        std::string text;
        const char *message;
    } cases[] = {
        {"empty", "", "KAVUN_SCRIPT"},
        {"other file", "SIM_RESULT\n", "KAVUN_SCRIPT expected, found \"SIM_RESULT\""},
        {"unknown mode", "KAVUN_SCRIPT\nFILM_MODE\n", "unknown mode \"FILM_MODE\""},
        {"no page", "KAVUN_SCRIPT\nSIM_VISUAL_MODE\n", "the file ends where HTML_OPEN"},
        {"not closed", sim_head + "SIM_VISUALIZE\na 1 1 0\n", "where HTML_CLOSE"},
        {"nothing shown", sim_head + "HTML_CLOSE\n", "nothing to show"},
        {"other mode's word", sim_head + "BLOCH_VISUAL\n", "SIM_VISUALIZE or HTML_CLOSE"},
        {"gamma zero", sim_head + "SIM_VISUALIZE\na 0 1 0\nHTML_CLOSE\n", "not above 0"},
        {"gamma nan", sim_head + "SIM_VISUALIZE\na nan 1 0\nHTML_CLOSE\n", "not above 0"},
        {"no numbers", sim_head + "SIM_VISUALIZE\nfile\nHTML_CLOSE\n", "expected"},
        {"many branches",
         "KAVUN_SCRIPT\nBLOCH_VISUAL_MODE\nHTML_OPEN\np\nBLOCH_VISUAL\nb\nb_pp\n1\n2000000000\n",
         "branch_end"},
        {"text behind", sim_head + "SIM_VISUALIZE\na 1 1 0\nHTML_CLOSE\nmore\n", "HTML_OPEN"},
    };
    const SampleFolder folder;
    for (const auto &c : cases) {
        const Outcome o = outcome_of([&] { parsed(folder, c.text); });
        EXPECT_EQ(o.status, 1) << c.name;
        EXPECT_EQ(o.out.rfind("$$ ", 0), 0U) << c.name << ": " << o.out;
        EXPECT_NE(o.out.find(c.message), std::string::npos) << c.name << ": " << o.out;
        EXPECT_EQ(std::count(o.out.begin(), o.out.end(), '\n'), 1) << c.name;
    }
}

TEST(KavScript, FilesStandBesideTheScript) {
    EXPECT_EQ(beside("runs/si_kav.txt", "runs/si_rs0.txt"), "runs/si_rs0.txt");
    EXPECT_EQ(beside("si_kav.txt", "/etc/../etc/hosts"), "hosts");
    EXPECT_EQ(beside("/a/b_kav.txt", "..\\c.html"), "/a/c.html");
    for (const char *name : {"", "..", "a/", "/."}) {
        EXPECT_EQ(outcome_of([&] { beside("s", name); }).status, 1) << name;
    }
    EXPECT_EQ(base_name_of("runs/my.si_kav.txt"), "my.si");
}

TEST(PageData, NothingBreaksOut) {
    const std::string hostile = "</script><script>alert(1)</script>&'\"\\\n\x01";
    const std::string json = json_string(hostile);
    EXPECT_EQ(json.find_first_of("<>&'\n\x01"), std::string::npos);
    EXPECT_EQ(html_text("<a href=\"x\">&'"), "&lt;a href=&quot;x&quot;&gt;&amp;&#39;");
    EXPECT_EQ(json_number(0.0 / 0.0 * 1.0), "null");
    EXPECT_EQ(json_object({{"a", "1"}, {"b", json_list({"2", "3"})}}), "{\"a\":1,\"b\":[2,3]}");
}

// Test vectors of RFC 4648, section 10.
TEST(PageData, Base64) {
    const std::pair<const char *, const char *> vectors[] = {{"", ""},
                                                             {"f", "Zg=="},
                                                             {"fo", "Zm8="},
                                                             {"foo", "Zm9v"},
                                                             {"foob", "Zm9vYg=="},
                                                             {"fooba", "Zm9vYmE="},
                                                             {"foobar", "Zm9vYmFy"}};
    for (const auto &[text, expected] : vectors) {
        EXPECT_EQ(base64(std::as_bytes(std::span(text, std::strlen(text)))), expected);
    }
}

} // namespace orvel::test
