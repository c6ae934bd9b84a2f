// Ranks over MPI, used from the main thread of each.
#pragma once

#include "app/ranks.hpp"

#include <deque>
#include <mpi.h>

namespace orvel {

class MpiRanks : public Ranks {
public:
    // MPI_Init_thread. A rank other than 0 keeps back what it writes to its standard streams.
    MpiRanks(int *argc, char ***argv);
    // MPI_Finalize, when all ranks have come to their ends.
    ~MpiRanks() override;

    int rank() const override { return rank_; }
    int size() const override { return size_; }
    int on_machine() const override { return on_machine_; }
    std::string share(const std::string &text) override;
    void assign(int to, std::span<const double> message) override;
    std::vector<double> assigned() override;
    void pass_on_words() override;
    void note_last_words(const std::string &why) override;
    void send(std::vector<double> &&message) override;
    void flush() override;
    bool receive(std::vector<double> &message) override;

    // The end of a run that cannot go on: in rank 0 that of all ranks, status 1; in another it
    // hands its last words to rank 0 and waits for that end.
    [[noreturn]] void end(int status);

private:
    struct Sending {
        std::vector<double> message;
        MPI_Request request = MPI_REQUEST_NULL;
    };
    void finalize();
    // Ends the run of rank 0 where another rank could not go on.
    void chk_last_words();
    // Between two looks at what rank 0 waits for: ends its run as chk_last_words and, unless all is
    // done, chk_interrupt do.
    void listen();
    // Waits for a message to be taken, or to come; listens meanwhile.
    void wait_for(MPI_Request &request);
    MPI_Status wait_for_message(int from, int tag);
    // Forgets what has arrived; waits until at most `left` are on their way.
    void wait_for_sent(std::size_t left);

    int rank_ = 0;
    int size_ = 1;
    int on_machine_ = 1;
    bool finalizing_ = false;
    std::deque<Sending> sending_;
    std::string last_words_;
    long assigned_at_ = 0; // in the text that is kept back
};

} // namespace orvel
