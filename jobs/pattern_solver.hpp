// How the tilts of a pattern are solved: each by its own eigen-solution, or many at once by block
// propagation; the first of an orbit of equal ones.
#pragma once

#include "dynamics/mbfunc_intensity.hpp"
#include "dynamics/work_propagate.hpp"
#include "jobs/tilt_share.hpp"
#include "jobs/tilt_symmetry.hpp"
#include "numeric/vecmat.hpp"

#include <cstdio>
#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace orvel {

// What a pattern holds of each output reflection, thickness and tilt.
struct PatternKind {
    bool coherent = false;          // amplitudes in place of intensities
    const complex *phase = nullptr; // of the coherent probe at each grid point, in rank 0

    // Values of one reflection, thickness and tilt: the intensity times intensity_scaling, or real
    // and imaginary part of the amplitude.
    int components() const { return coherent ? 2 : 1; }
};

// Stands for the count of kept branches of a tilt that did not find its own (limited_branch).
inline constexpr int count_not_found = -1;

// Stands for the count of a tilt that was propagated, which keeps all branches.
inline constexpr int kept_by_propagation = -3;

// Largest block of orbits that is propagated at once.
inline constexpr int most_propagated = 4 * strip;

// Whether the flags and settings of the job ask for symmetry, or for propagation, and can have it.
bool use_symmetry();
bool use_propagation();

// What one thread works with.
struct PatternSlot {
    explicit PatternSlot(WorkCalInt w) : work(std::move(w)) {}

    WorkCalInt work;
    // [solved reflection][thickness] of the tilt solved last: the one that the pattern is of.
    Matrix<double> intensities;
    Matrix<complex> amplitudes;
    Matrix<double> image_intensities; // [output reflection][thickness] of a tilt that follows
    Matrix<complex> image_amplitudes;
    // Of a block that is propagated, for each orbit of it.
    std::unique_ptr<PropagationWork> propagation;
    std::vector<RealHkl> first_K_t;
    std::vector<Matrix<complex>> first_amplitudes; // [solved reflection][thickness]
    std::vector<int> first_exact;                  // beams of the first tilt of an orbit
    std::vector<int> first_bethe;
    std::vector<int> left;      // tilts of an orbit that do not follow from the first
    std::vector<double> values; // [output reflection][thickness, component fastest]
};

class PatternSolver {
public:
    // What take() is told of a solved tilt: its number, its count of kept branches and its values,
    // [output reflection][thickness, component fastest].
    using Take = std::function<void(int, int, std::span<const double>)>;

    // Of all tilts of the grid, whose numbers are those of its points. With tilt_symmetry_flag the
    // operations of the crystal are looked for, and told; flags that cannot be followed are told
    // too.
    PatternSolver(const TiltProblem &problem, std::span<const SymOp> ops, PatternKind kind,
                  std::FILE *log);
    // Of the tilts of a share, by its numbers. It is referred to.
    PatternSolver(const TiltProblem &problem, std::span<const SymOp> ops, bool coherent,
                  const TiltShare &share);
    // The problem that is solved refers to a member.
    PatternSolver(const PatternSolver &) = delete;
    PatternSolver &operator=(const PatternSolver &) = delete;

    PatternSlot alloc_slot() const;
    // Blocks of orbits that are solved together.
    int num_blocks() const;
    std::span<const TiltOrbit> block(int b) const;
    int num_tilts(int b) const;
    // Blocks for another rank.
    TiltShare share_of(std::span<const int> blocks) const;
    // True when blocks are single points, in grid order.
    bool each_by_itself() const { return symmetry_.operations.empty() && block_size_ == 1; }

    // Solves the tilts of a block. kept_before: the count that stands where the first one finds
    // none; for the others it is count_not_found.
    void solve_block(int b, int kept_before, PatternSlot &slot, const Take &take) const;
    // Solves one tilt by its own eigen-solution.
    void solve_point(int p, int kept_before, PatternSlot &slot, const Take &take) const;

private:
    PatternSolver(const TiltProblem &problem, PatternKind kind, std::span<const RealHkl> K_t,
                  TiltSymmetry &&symmetry, std::size_t block_size);

    void solve(int p, int kept_before, PatternSlot &slot) const;
    // The first rows of a table of solved reflections are those of the output reflections.
    void give_intensities(int p, int kept, const double *const *table, PatternSlot &slot,
                          const Take &take) const;
    void give_amplitudes(int p, int kept, const complex *const *table, PatternSlot &slot,
                         const Take &take) const;
    void give_solved(int p, int kept, PatternSlot &slot, const Take &take) const;
    // The first points of a block without their eigen-solutions, to slot.first_amplitudes.
    void propagate(std::span<const TiltOrbit> block, PatternSlot &slot) const;
    // One of them to the tables of the tilt solved last.
    void use_propagated(std::size_t i, int p, PatternSlot &slot) const;
    // The other points of an orbit whose first one is solved and selected in the record.
    void give_others(const TiltOrbit &orbit, int kept, PatternSlot &slot, const Take &take) const;
    void give_image(int first, const ImageTilt &image, int kept, PatternSlot &slot,
                    const Take &take) const;

    const Sd &sd_;
    PatternKind kind_;
    std::span<const RealHkl> K_t_;
    bool propagating_;
    std::size_t block_size_; // orbits
    TiltSymmetry symmetry_;
    Sd solved_sd_; // the conditions, without the grid, for the reflections that are solved
    TiltProblem solved_problem_;
};

} // namespace orvel
