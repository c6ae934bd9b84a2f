// A run that was ended early goes on from its checkpoint, to the same files.
#include "support/pattern_runs.hpp"

#include <cstdio>

namespace orvel::test {
namespace {

constexpr const char *key = "checkpoint_seconds 60\n";

std::string disk_at(const char *tilt = "0.1\n0\n", const char *settings = "",
                    const char *thicknesses = "2\n150\n420\n") {
    Conditions c = small_disk();
    c.tilt = tilt;
    c.settings = settings;
    return c.cbed("0\n", thicknesses);
}

// The checkpoint of a run that ends when it has solved all tilts and cannot write its results.
std::string checkpoint_of(const std::string &parameters, const std::string &keys) {
    const ProgramRun run = run_with_keys(parameters, keys, {{"run_rs1.txt/in_the_way", ""}});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.has("run_checkpoint"));
    return run.read("run_checkpoint");
}

TEST(TiltCheckpoint, ARunGoesOnToTheSameFiles) {
    // With the last accuracy some tilts keep the count of branches of the tilt before.
    for (const char *settings : {"", "bc_accuracy 0.9999999999999999\n"}) {
        for (const std::string &parameters :
             {disk_at("0.1\n0\n", settings), coherent(disk_at("0.1\n0\n", settings))}) {
            const ProgramRun whole = run_with_keys(parameters, "");
            ASSERT_EQ(whole.status, 0) << whole.out;
            const std::string three = std::string(key) + "num_threads 3\n";
            for (const std::string &before : {std::string(key), three}) {
                const std::string bytes = checkpoint_of(parameters, before);
                std::string broken = bytes;
                broken[bytes.size() / 3] ^= 1;
                for (const std::string &left : {std::string(), bytes.substr(0, 20), bytes, broken,
                                                bytes.substr(0, bytes.size() / 2)}) {
                    const ProgramRun run = run_with_keys(parameters, before == key ? three : key,
                                                         {{"run_checkpoint", left}});
                    expect_same_results(run, whole, settings);
                    EXPECT_FALSE(run.has("run_checkpoint"));
                    const bool some = left.size() > bytes.size() / 3;
                    EXPECT_EQ(run.out.find(" tilts are taken from") != std::string::npos, some);
                    int taken = -1;
                    int of = 0;
                    const std::size_t at = run.out.find("\nIntensity calculation\n");
                    ASSERT_NE(at, std::string::npos);
                    std::sscanf(run.out.c_str() + at, " Intensity calculation $$ %d of %d tilts",
                                &taken, &of);
                    EXPECT_EQ(taken == of, left == bytes);
                }
            }
        }
    }
}

TEST(TiltCheckpoint, TellsAgainOfTiltsThatWereNotSolved) {
    const std::string parameters = without_eigenvectors().cbed("0\n", "2\n150\n420\n");
    const std::string bytes = checkpoint_of(parameters, key);
    const ProgramRun run = run_with_keys(parameters, key, {{"run_checkpoint", bytes}});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("$$ 1 of 1 tilts are taken from"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("condition of 1 tilts was not solved"), std::string::npos) << run.out;
}

TEST(TiltCheckpoint, IsOfOneInputOnly) {
    const std::string bytes = checkpoint_of(disk_at(), key);
    const std::string other = "$$ run_checkpoint is the checkpoint of another input";
    for (const std::string &parameters :
         {disk_at("0.101\n0\n"), disk_at("0.1\n0\n", "eigen_eps 1e-9\n"),
          disk_at("0.1\n0\n", "general_eps 0.1\n"), coherent(disk_at()),
          disk_at("0.1\n0\n", "", "2\n150\n421\n"), disk_at("0.1\n0\n", "", "1\n150\n")}) {
        const ProgramRun run = run_with_keys(parameters, key, {{"run_checkpoint", bytes}});
        EXPECT_EQ(run.status, 1);
        EXPECT_NE(run.out.find(other), std::string::npos) << run.out;
        EXPECT_EQ(run.read("run_checkpoint"), bytes);
        EXPECT_EQ(run_with_keys(parameters, "", {{"run_checkpoint", bytes}}).status, 0);
    }
    // The same potential, of a group whose operations are others.
    Conditions cubes = small_disk();
    cubes.crystal = srtio3.block();
    cubes.incidence = "0 0 1\n0 0 1\n1 0 0\n";
    const std::string symmetric = std::string(key) + "tilt_symmetry_flag 1\n";
    const std::string of_221 = checkpoint_of(cubes.cbed("0\n", "2\n150\n420\n"), symmetric);
    cubes.crystal.replace(cubes.crystal.find("221"), 3, "195");
    const ProgramRun group =
        run_with_keys(cubes.cbed("0\n", "2\n150\n420\n"), symmetric, {{"run_checkpoint", of_221}});
    EXPECT_NE(group.out.find(other), std::string::npos) << group.out;
    const ProgramRun letter = run_with_keys(disk_at(), key, {{"run_checkpoint", "Dear Sir"}});
    EXPECT_EQ(letter.status, 1);
    EXPECT_NE(letter.out.find("$$ run_checkpoint is not a checkpoint"), std::string::npos);
    EXPECT_EQ(letter.read("run_checkpoint"), "Dear Sir");
    const ProgramRun folder = run_with_keys(disk_at(), key, {{"run_checkpoint/x", ""}});
    EXPECT_EQ(folder.status, 1);
    EXPECT_NE(folder.out.find("$$ run_checkpoint is no file"), std::string::npos);
    EXPECT_EQ(run_with_keys(disk_at(), "checkpoint_seconds -1\n").status, 1);
}

} // namespace
} // namespace orvel::test
