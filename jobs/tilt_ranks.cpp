#include "jobs/tilt_ranks.hpp"

#include "app/mb_debug.hpp"
#include "app/ranks.hpp"

#include <chrono>
#include <thread>

namespace orvel {

std::vector<int> TiltRanks::share_out(const std::vector<int> &open, bool sharing,
                                      const std::function<int(int)> &tilts) {
    count_ = sharing ? ranks().size() : 1;
    if (ranks().rank() != 0) {
        return ranks().assigned();
    }
    std::vector<std::vector<int>> shares(static_cast<std::size_t>(ranks().size()));
    for (std::size_t i = 0; i < open.size(); ++i) {
        const std::size_t rank = i % static_cast<std::size_t>(count_);
        shares[rank].push_back(open[i]);
        awaited_ += rank == 0 ? 0 : tilts(open[i]);
    }
    for (int rank = 1; rank < ranks().size(); ++rank) {
        ranks().assign(rank, shares[rank]);
    }
    return shares[0];
}

void TiltRanks::give(int tilt, int kept, std::span<const double> values) {
    std::vector<double> message = {static_cast<double>(tilt), static_cast<double>(kept)};
    message.insert(message.end(), values.begin(), values.end());
    const std::lock_guard<std::mutex> lock(mutex_);
    given_.push_back(std::move(message));
}

void TiltRanks::exchange(const Take &take) {
    if (ranks().rank() != 0) {
        std::vector<std::vector<double>> given;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            given.swap(given_);
        }
        for (std::vector<double> &message : given) {
            ranks().send(std::move(message));
        }
        return;
    }
    std::vector<double> message;
    while (ranks().receive(message)) {
        ++arrived_;
        take(static_cast<int>(message[0]), static_cast<int>(message[1]),
             std::span(message).subspan(2));
    }
}

void TiltRanks::gather(const Take &take) {
    exchange(take);
    while (arrived_ < awaited_) {
        chk_interrupt(arrived_, awaited_);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        exchange(take);
    }
    ranks().flush();
}

} // namespace orvel
