#include "jobs/tilt_ranks.hpp"

#include "app/mb_debug.hpp"
#include "app/ranks.hpp"

#include <thread>

namespace orvel {

namespace {

// Solved tilts go to rank 0 together, so that it takes a few messages of many ranks, but soon
// enough for its checkpoint.
constexpr std::size_t worth_sending = 8192; // numbers
constexpr std::chrono::milliseconds longest_held(20);

} // namespace

std::vector<int> TiltRanks::share_out(const PatternSolver &solver, const std::vector<int> &open,
                                      bool sharing) {
    count_ = sharing ? ranks().size() : 1;
    const auto blocks_of = [&](int rank) {
        std::vector<int> blocks;
        for (auto i = static_cast<std::size_t>(rank); i < open.size() && rank < count_;
             i += static_cast<std::size_t>(count_)) {
            blocks.push_back(open[i]);
        }
        return blocks;
    };
    for (int rank = 1; rank < ranks().size(); ++rank) {
        const TiltShare share = solver.share_of(blocks_of(rank));
        awaited_ += static_cast<int>(share.points.size());
        ranks().assign(rank, pack_share(share));
    }
    return blocks_of(0);
}

TiltShare TiltRanks::receive_share() {
    return unpack_share(ranks().assigned());
}

void TiltRanks::give(int point, int kept, std::span<const double> values) {
    const std::lock_guard<std::mutex> lock(mutex_);
    given_.insert(given_.end(), {static_cast<double>(point), static_cast<double>(kept)});
    given_.insert(given_.end(), values.begin(), values.end());
}

void TiltRanks::send(std::size_t least) {
    using clock = std::chrono::steady_clock;
    std::vector<double> message;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (given_.size() < least && clock::now() - sent_ < longest_held) {
            return;
        }
        message.swap(given_);
    }
    sent_ = clock::now();
    if (!message.empty()) {
        ranks().send(std::move(message));
    }
}

void TiltRanks::send_given() {
    send(worth_sending);
}

void TiltRanks::take_arrived(std::size_t num_values, const Take &take) {
    std::vector<double> message;
    while (ranks().receive(message)) {
        std::span<const double> left = message;
        while (!left.empty()) {
            take(static_cast<int>(left[0]), static_cast<int>(left[1]), left.subspan(2, num_values));
            left = left.subspan(2 + num_values);
            ++arrived_;
        }
    }
}

void TiltRanks::gather(std::size_t num_values, int tilts, const Take &take) {
    take_arrived(num_values, take);
    while (arrived_ < awaited_) {
        chk_interrupt(tilts - (awaited_ - arrived_), tilts);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        take_arrived(num_values, take);
    }
}

void TiltRanks::flush() {
    send(0);
    ranks().flush();
}

} // namespace orvel
