// Catching the end of a run inside a test: while a FatalGuard lives, end_run throws RunEnded
// instead of leaving the process.
#pragma once

#include "app/mb_mpi.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <string>

namespace orvel::test {

struct RunEnded {
    int status;
};

class FatalGuard {
public:
    FatalGuard() : before_(set_run_ending([](int status) { throw RunEnded{status}; })) {}
    ~FatalGuard() { set_run_ending(before_); }
    FatalGuard(const FatalGuard &) = delete;
    FatalGuard &operator=(const FatalGuard &) = delete;

private:
    RunEnding before_;
};

// What a call left behind: exit status (-1: it returned) and what it wrote.
struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the call with its output captured and its end caught.
inline Outcome outcome_of(const std::function<void()> &call) {
    const FatalGuard guard;
    Outcome o;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    try {
        call();
    } catch (const RunEnded &end) {
        o.status = end.status;
    }
    o.out = testing::internal::GetCapturedStdout();
    o.err = testing::internal::GetCapturedStderr();
    return o;
}

} // namespace orvel::test
