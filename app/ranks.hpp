// The processes that share one run. orvel is a single one; orvel_mpi puts MPI in its place.
//
// Every rank reads the input and makes the same problem of it. Rank 0 speaks and writes: the files
// of the others go nowhere, and what they say is kept back but for what only one of them can know.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace orvel {

// A single process.
class Ranks {
public:
    Ranks() = default;
    virtual ~Ranks() = default;
    Ranks(const Ranks &) = delete;
    Ranks &operator=(const Ranks &) = delete;

    virtual int rank() const { return 0; }
    virtual int size() const { return 1; }
    // Those that share the memory of this one's machine, itself among them.
    virtual int on_machine() const { return 1; }
    // The text of rank 0, in every rank.
    virtual std::string share(const std::string &text) { return text; }
    // Rank 0 to another, and what that one waits for.
    virtual void assign(int, std::span<const double>) {}
    virtual std::vector<double> assigned() { return {}; }
    // Every rank, when its assignment is done: rank 0 writes to standard output what the others
    // have written there since they were assigned something.
    virtual void pass_on_words() {}
    // A rank that cannot go on, from any thread: why. The first ones count; empty ones stand for
    // the last line that was written.
    virtual void note_last_words(const std::string &) {}
    // Another rank to rank 0. Returns before it has arrived, unless many are still on their way.
    virtual void send(std::vector<double> &&) {}
    // Waits until all that was sent has arrived.
    virtual void flush() {}
    // Rank 0: takes the next message that has arrived; false when there is none. A rank that could
    // not go on ends the run, with its message.
    virtual bool receive(std::vector<double> &) { return false; }
};

// Those of this run.
Ranks &ranks();
// Every rank calls it at the same step: one whose text is not that of rank 0 ends the run, which
// would wait for it in vain: "$$ %s is not that of rank 0. Abort.\n", status 1.
void chk_same_as_rank_0(const std::string &own, const char *what);
// Puts others in their place; null restores the single process.
void set_ranks(Ranks *others);

} // namespace orvel
