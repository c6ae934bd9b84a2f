#include "app/surroundings.hpp"

#include "app/mb_mpi.hpp"
#include "numeric/vecmat.hpp"

#include <array>
#include <csignal>
#include <cstdio>
#include <new>

namespace orvel {

namespace {

// A file opened in the place of a closed standard stream would get its text, so those places are
// taken first, before anything else opens one. Opened for reading: what is written to a closed
// output still fails.
void occupy_standard_streams() {
    static const std::array<std::FILE *, 3> held = {
        std::fopen("/dev/null", "r"), std::fopen("/dev/null", "r"), std::fopen("/dev/null", "r")};
    static_cast<void>(held);
}

// A write to a closed pipe, or beyond the size that a file may have, becomes a failed write, which
// the end of the run tells.
void let_writes_fail() {
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);
#endif
#ifdef SIGXFSZ
    std::signal(SIGXFSZ, SIG_IGN);
#endif
}

// Memory that runs out in any container ends the run as the allocators' own checks do.
void end_when_memory_is_out() {
    std::set_new_handler([] {
        // What the end of the run itself needs, it can do without.
        std::set_new_handler([] { throw std::bad_alloc(); });
        chk_vector(nullptr);
    });
}

} // namespace

void settle_surroundings() {
    occupy_standard_streams();
    let_writes_fail();
    end_when_memory_is_out();
}

void chk_standard_output() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        end_run(1); // which tells so
    }
}

} // namespace orvel
