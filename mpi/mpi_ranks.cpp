#include "mpi/mpi_ranks.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"

#include <algorithm>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

namespace orvel {

namespace {

enum Tag { assignment, result, words, last_words };

// Messages of a rank that may be on their way at a time.
constexpr std::size_t most_sending = 16;

// A rank that waits leaves the processor to others.
void pause_briefly() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// Standard output and error to one nameless file, in memory: a disk can be full.
void keep_back_streams() {
    const int file = memfd_create("kept_back", 0);
    if (file >= 0) {
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // lines of both in their order
        dup2(file, STDOUT_FILENO);
        dup2(file, STDERR_FILENO);
        close(file);
    } else if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        std::fclose(stdout);
    }
}

// Length of the text that was kept back.
long kept_back_length() {
    std::fflush(stdout);
    return std::max(0L, static_cast<long>(lseek(STDOUT_FILENO, 0, SEEK_END)));
}

// That text from `start` on.
std::string kept_back_text(long start) {
    std::string text(static_cast<std::size_t>(std::max(0L, kept_back_length() - start)), '\0');
    const ssize_t count = pread(STDOUT_FILENO, text.data(), text.size(), start);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
}

// Its last line.
std::string last_line() {
    constexpr long most = 1000;
    std::string text = kept_back_text(std::max(0L, kept_back_length() - most));
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text.substr(text.rfind('\n') + 1);
}

// A message that is there.
template <class Message> Message received(const MPI_Status &status, MPI_Datatype type) {
    int count = 0;
    MPI_Get_count(&status, type, &count);
    Message message(static_cast<std::size_t>(count), {});
    MPI_Recv(message.data(), count, type, status.MPI_SOURCE, status.MPI_TAG, MPI_COMM_WORLD,
             MPI_STATUS_IGNORE);
    return message;
}
std::string received_text(const MPI_Status &status) {
    return received<std::string>(status, MPI_CHAR);
}
std::vector<double> received_numbers(const MPI_Status &status) {
    return received<std::vector<double>>(status, MPI_DOUBLE);
}

// Waits until the launcher has taken what was written, for it drops the rest of an aborted run; a
// second at most.
void wait_for_launcher() {
    std::fflush(nullptr);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        int unread = 0;
        for (int i = 0; i < 500 && ioctl(stream, FIONREAD, &unread) == 0 && unread > 0; ++i) {
            pause_briefly();
        }
    }
}

// How long MPI_Finalize may take, in seconds.
constexpr unsigned patience = 10;

extern "C" void leave(int /*signal*/) {
    _exit(0);
}

MpiRanks *mpi = nullptr;

} // namespace

MpiRanks::MpiRanks(int *argc, char ***argv) {
    int provided = 0;
    MPI_Init_thread(argc, argv, MPI_THREAD_FUNNELED, &provided);
    MPI_Comm_rank(MPI_COMM_WORLD, &rank_);
    MPI_Comm_size(MPI_COMM_WORLD, &size_);
    MPI_Comm machine = MPI_COMM_NULL;
    MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, rank_, MPI_INFO_NULL, &machine);
    MPI_Comm_size(machine, &on_machine_);
    MPI_Comm_free(&machine);
    mpi = this;
    set_run_ending([](int status) { mpi->end(status); });
    if (rank_ != 0) {
        keep_back_streams();
    }
}

MpiRanks::~MpiRanks() {
    finalize();
}

// A rank that could not go on does not come here: rank 0 listens to it while it waits.
void MpiRanks::finalize() {
    finalizing_ = true;
    wait_for_sent(0);
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Ibarrier(MPI_COMM_WORLD, &request);
    wait_for(request);
    // All is done and written: a library that does not find its own end (MPICH 4.0 over TCP) must
    // not hold up the run for ever.
    std::fflush(nullptr);
    std::signal(SIGALRM, leave);
    alarm(patience);
    MPI_Finalize();
    alarm(0);
}

// A rank that could not go on, or was stopped, takes nothing any more.
void MpiRanks::listen() {
    if (rank_ == 0) {
        chk_last_words();
        if (!finalizing_) {
            chk_interrupt();
        }
    }
}

void MpiRanks::wait_for(MPI_Request &request) {
    int done = 0;
    MPI_Test(&request, &done, MPI_STATUS_IGNORE);
    while (done == 0) {
        listen();
        pause_briefly();
        MPI_Test(&request, &done, MPI_STATUS_IGNORE);
    }
}

MPI_Status MpiRanks::wait_for_message(int from, int tag) {
    int there = 0;
    MPI_Status status;
    MPI_Iprobe(from, tag, MPI_COMM_WORLD, &there, &status);
    while (there == 0) {
        listen();
        pause_briefly();
        MPI_Iprobe(from, tag, MPI_COMM_WORLD, &there, &status);
    }
    return status;
}

std::string MpiRanks::share(const std::string &text) {
    int length = static_cast<int>(text.size());
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Ibcast(&length, 1, MPI_INT, 0, MPI_COMM_WORLD, &request);
    wait_for(request);
    std::string shared = text;
    shared.resize(static_cast<std::size_t>(length));
    MPI_Ibcast(shared.data(), length, MPI_CHAR, 0, MPI_COMM_WORLD, &request);
    wait_for(request);
    return shared;
}

void MpiRanks::assign(int to, std::span<const double> message) {
    if (message.size() > INT_MAX) {
        input_exit("$$ The tilts of a rank are too many for one message. Abort.");
    }
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Isend(message.data(), static_cast<int>(message.size()), MPI_DOUBLE, to, assignment,
              MPI_COMM_WORLD, &request);
    wait_for(request);
}

std::vector<double> MpiRanks::assigned() {
    std::vector<double> message = received_numbers(wait_for_message(0, assignment));
    assigned_at_ = kept_back_length();
    return message;
}

void MpiRanks::pass_on_words() {
    if (rank_ != 0) {
        const std::string text = kept_back_text(assigned_at_);
        MPI_Request request = MPI_REQUEST_NULL;
        MPI_Isend(text.data(), static_cast<int>(text.size()), MPI_CHAR, 0, words, MPI_COMM_WORLD,
                  &request);
        wait_for(request);
    }
    for (int from = 1; rank_ == 0 && from < size_; ++from) {
        mb_fprintf(stdout, "%s", received_text(wait_for_message(from, words)).c_str());
    }
}

void MpiRanks::wait_for_sent(std::size_t left) {
    while (!sending_.empty()) {
        int arrived = 0;
        MPI_Test(&sending_.front().request, &arrived, MPI_STATUS_IGNORE);
        if (arrived != 0) {
            sending_.pop_front();
        } else if (sending_.size() > left) {
            pause_briefly();
        } else {
            return;
        }
    }
}

void MpiRanks::send(std::vector<double> &&message) {
    wait_for_sent(most_sending - 1);
    Sending &s = sending_.emplace_back();
    s.message = std::move(message);
    MPI_Isend(s.message.data(), static_cast<int>(s.message.size()), MPI_DOUBLE, 0, result,
              MPI_COMM_WORLD, &s.request);
}

void MpiRanks::flush() {
    wait_for_sent(0);
}

void MpiRanks::chk_last_words() {
    int there = 0;
    MPI_Status status;
    MPI_Iprobe(MPI_ANY_SOURCE, last_words, MPI_COMM_WORLD, &there, &status);
    if (there != 0) {
        input_exit("\n$$ Rank %d: %s", status.MPI_SOURCE, received_text(status).c_str());
    }
}

bool MpiRanks::receive(std::vector<double> &message) {
    chk_last_words();
    int there = 0;
    MPI_Status status;
    MPI_Iprobe(MPI_ANY_SOURCE, result, MPI_COMM_WORLD, &there, &status);
    if (there == 0) {
        return false;
    }
    message = received_numbers(status);
    return true;
}

// Noted at once, for other threads may go on speaking until they see the end.
void MpiRanks::note_last_words(const std::string &why) {
    if (rank_ != 0 && last_words_.empty()) {
        try {
            last_words_ = why.empty() ? last_line() : why.substr(why.front() == '\n' ? 1 : 0);
        } catch (const std::bad_alloc &) {
            last_words_ = "no memory"; // short enough to need none
        }
    }
}

void MpiRanks::end(int status) {
    if (status == 0) { // every rank comes here
        finalize();
        std::exit(0);
    }
    if (rank_ == 0) {
        wait_for_launcher();
        MPI_Abort(MPI_COMM_WORLD, status);
        std::abort();
    }
    // What ended this rank, a signal or a file that is not there, may be about to end rank 0, which
    // can tell more.
    constexpr std::chrono::milliseconds precedence(500);
    std::this_thread::sleep_for(precedence);
    MPI_Send(last_words_.data(), static_cast<int>(last_words_.size()), MPI_CHAR, 0, last_words,
             MPI_COMM_WORLD);
    for (;;) {
        pause();
    }
}

} // namespace orvel
