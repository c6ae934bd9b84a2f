// The output family: every message and every file of a run goes through here, and every run that
// cannot go on ends here.
//
// Console means standard output. Failures to open or to write a file are the exception: they are
// told on standard error, since standard output may be the very thing that cannot be written.
#pragma once

#include <cstdio>
#include <string>

namespace orvel {

// What happens when a run ends early: the program exits with the status; a test or a fuzzer puts
// its own ending (an exception) in its place. An ending must not return.
using RunEnding = void (*)(int status);

// Replaces the ending and returns the one before; null restores the program's own (std::exit).
RunEnding set_run_ending(RunEnding ending);

// The one place where a run ends before its job is done. Results that are not complete are
// removed. Threads that end the run at the same time do so one after the other; with the program's
// own ending the first one is the only one.
[[noreturn]] void end_run(int status);

// An output file and the name it was asked for by, which a failing close has to tell. A result is
// written beside its place, under the name `temporary`, and put there by mb_fclose, so that a name
// of a result never stands for half of one. Move-only; the destructor closes without a check and
// is only reached open when the run ends early: then it removes the temporary.
class OutputFile {
public:
    OutputFile() = default;
    // Opens the temporary, which shall take the place of target, or target itself where there is
    // none. path: what the user calls the file.
    OutputFile(std::string path, std::string target, std::string temporary);
    ~OutputFile();
    OutputFile(OutputFile &&other) noexcept;
    OutputFile &operator=(OutputFile &&other) noexcept;
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    // The open stream; null when the file was never opened or is closed.
    operator std::FILE *() const { return stream_; }
    const std::string &path() const { return path_; }
    // Flushes, closes and puts the file in its place; false when any of it failed.
    bool finish();

private:
    bool close();
    void discard_temporary();

    std::FILE *stream_ = nullptr;
    std::string path_;
    std::string target_;
    std::string temporary_;
};

// Formatted write to one stream; returns what the underlying write returns.
int mb_fprintf(std::FILE *stream, const char *format, ...) __attribute__((format(printf, 2, 3)));

// The same message to the given stream and then to standard output: for whatever must stand in
// the log and on the screen.
void mb_fprintf_stdo(std::FILE *stream, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

// The same message to two streams, in this order.
void two_fprintf(std::FILE *stream1, std::FILE *stream2, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

void mb_fflush(std::FILE *stream);

// Where a file is written until it is closed. Devices and pipes are always written in place.
enum class Writing { beside, in_place };

// A file that this run reads, or writes as it goes on (log, checkpoint): open_output never opens it
// from here on. Every file that is opened for reading is told here, if it can be before the first
// one is written. The run ends where standard output or error is written to it, exit status 1:
// "$$ The console is written to %s, which this run uses. Abort.\n" on the other of the two.
void protect_input(const std::string &path);

// Ends the run when the path leads to such a file, exit status 1:
// "$$ %s is %s, which this run reads or writes. Abort.\n".
void chk_no_input(const std::string &path);

// Opens a file for writing, truncating it; a link leads to its target. The stream is null on
// failure, also where a file of an earlier run may not be written to. A name that leads to a file
// of protect_input ends the run as chk_no_input does. One of the console that is written in place
// ends it as protect_input does; beside, the console's file is renamed to NAME.console, or the next
// free name, which is told. In a rank other than 0 what is written goes nowhere.
OutputFile open_output(const std::string &path, Writing writing);

// Opens a file for writing. On failure: "$$ Cannot open %s. Abort.\n" on standard error, exit
// status 1. Logs, which shall tell of a run that ended early, are written in place.
OutputFile mb_fopen_chk_wmode(const std::string &path, Writing writing = Writing::beside);

// Flushes and closes. Whatever could not be written (disk full, a closed pipe) is noticed here:
// "$$ Cannot write %s. Abort.\n" on standard error, exit status 1.
void mb_fclose(OutputFile &file);

// Ends a run that cannot go on: "$$error: ", the message and a newline to the stream, status 1.
[[noreturn]] void mb_error_exit(std::FILE *stream, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

// As mb_error_exit, with the prefix "$$ERROR: "; used by the readers of the scattering factors.
[[noreturn]] void error_exit(std::FILE *stream, const char *format, ...)
    __attribute__((format(printf, 2, 3)));

// Ends a run on input that cannot be used: the message and a newline to the console, status 1.
// The message brings its own "$$".
[[noreturn]] void input_exit(const char *format, ...) __attribute__((format(printf, 1, 2)));

} // namespace orvel
