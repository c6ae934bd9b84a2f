// The tilts of a pattern shared among the ranks of a run: of the blocks that are left to solve
// each rank takes every size-th one, and rank 0 puts all tilts in their places. Rank 0 alone holds
// the grid; another knows the tilts of its share.
#pragma once

#include "jobs/pattern_solver.hpp"
#include "jobs/tilt_share.hpp"

#include <chrono>
#include <mutex>
#include <span>
#include <vector>

namespace orvel {

class TiltRanks {
public:
    // What take() is told of a tilt: its grid point, its count of kept branches, its values.
    using Take = PatternSolver::Take;

    // Rank 0 gives the others their shares of the blocks that are open; returns those left to it.
    // Without `sharing` they are all.
    std::vector<int> share_out(const PatternSolver &solver, const std::vector<int> &open,
                               bool sharing);
    // In another rank: its share, which it waits for.
    static TiltShare receive_share();
    // Ranks that take part, in rank 0.
    int count() const { return count_; }

    // Rank 0, in the main thread: take() of each tilt that has arrived, of num_values values.
    void take_arrived(std::size_t num_values, const Take &take);
    // The same until every tilt that is not of this rank has arrived, the others of the pattern's
    // `tilts` being done.
    void gather(std::size_t num_values, int tilts, const Take &take);

    // Another rank: a solved tilt, from any thread, which goes to rank 0 before long.
    void give(int point, int kept, std::span<const double> values);
    // From its main thread, between its tilts: sends what was given, if it is worth a message.
    void send_given();
    // The same until all has been sent and has arrived.
    void flush();

private:
    // Sends what was given when it holds as many numbers, or has waited long.
    void send(std::size_t least);

    int count_ = 1;
    int awaited_ = 0; // tilts of other ranks
    int arrived_ = 0;
    std::mutex mutex_;
    std::vector<double> given_; // for each tilt its point, its count, its values
    std::chrono::steady_clock::time_point sent_;
};

} // namespace orvel
