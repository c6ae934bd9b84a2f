// Solved tilts whose values may be wrong.
#pragma once

#include "dynamics/work_cal_int.hpp"

#include <cstdio>

namespace orvel {

// Why, as marks that can be added to a count of branches.
inline constexpr int singular_mark = 1 << 24; // excitations: none, or of dependent eigenvectors
inline constexpr int balanced_mark = 1 << 25; // the eigenvectors are those of a balanced matrix
inline constexpr int unfolded_mark = 1 << 26; // the block of the Bethe beams was singular
inline constexpr int all_marks = singular_mark | balanced_mark | unfolded_mark;

// What a job takes from the branches of a tilt: their sum, or single ones.
enum class Branches { all, single };

// Sums when bc_accuracy keeps them all.
Branches branches_of_waves();

// The marks of the tilt that was solved last. Without absorption the excitations |alpha|^2 add up
// to 1 (of eigenvectors that are orthogonal), with it to more, up to three where branches come near
// each other. Where they coincide, a solution within eigen_eps can give them eigenvectors that
// nearly are one: then they cancel one another, which costs single branches their meaning and in
// the end the sum its digits.
int doubts_of(const WorkCalInt &work, Branches taken);

// Counts of tilts.
struct TiltDoubts {
    int unfolded = 0;
    int singular = 0;
    int balanced = 0;

    // Counts a tilt, one with results that are not finite too: others of it may be.
    void add(int marks);
    // Tells them, after the run.
    void report(std::FILE *log) const;
};

} // namespace orvel
