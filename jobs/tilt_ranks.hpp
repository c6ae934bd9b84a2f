// The tilts of a pattern shared among the ranks of a run: of the steps that are left to do each
// rank takes every size-th one, and rank 0 puts all tilts in their places.
#pragma once

#include <functional>
#include <mutex>
#include <span>
#include <vector>

namespace orvel {

class TiltRanks {
public:
    // What take() is told of a tilt: its number, its count of kept branches, its values.
    using Take = std::function<void(int, int, std::span<const double>)>;

    // Rank 0 gives the others their shares of the steps that are open, which only it knows; returns
    // that of this rank. Without `sharing` rank 0 takes them all. tilts: of each step.
    std::vector<int> share_out(const std::vector<int> &open, bool sharing,
                               const std::function<int(int)> &tilts);
    // Ranks that take part.
    int count() const { return count_; }

    // In a rank other than 0: a solved tilt, from any thread, which goes to rank 0 at the next
    // exchange.
    void give(int tilt, int kept, std::span<const double> values);
    // From the main thread, between its tilts. Rank 0: take() of each tilt that has arrived.
    void exchange(const Take &take);
    // The same until every tilt that is not of this rank has arrived, or has been sent.
    void gather(const Take &take);

private:
    int count_ = 1;
    int awaited_ = 0; // tilts of other ranks
    int arrived_ = 0;
    std::mutex mutex_;
    std::vector<std::vector<double>> given_;
};

} // namespace orvel
