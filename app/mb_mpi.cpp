#include "app/mb_mpi.hpp"

#include <cstdarg>
#include <cstdlib>
#include <utility>

namespace orvel {

namespace {

void program_exit(int status) {
    std::exit(status);
}

RunEnding run_ending = program_exit;

[[noreturn]] void exit_with_message(std::FILE *stream, const char *prefix, const char *format,
                                    std::va_list args) {
    std::fputs(prefix, stream);
    std::vfprintf(stream, format, args);
    std::fputc('\n', stream);
    end_run(1);
}

} // namespace

RunEnding set_run_ending(RunEnding ending) {
    return std::exchange(run_ending, ending != nullptr ? ending : program_exit);
}

void end_run(int status) {
    if (std::fflush(stdout) != 0) {
        std::fputs("$$ Cannot write standard output. Abort.\n", stderr);
        status = 1;
    }
    run_ending(status);
    std::abort(); // an ending that returns is a programmer's error
}

OutputFile::OutputFile(std::FILE *stream, std::string path)
    : stream_(stream), path_(std::move(path)) {}

OutputFile::~OutputFile() {
    if (stream_ != nullptr) {
        std::fclose(stream_);
    }
}

OutputFile::OutputFile(OutputFile &&other) noexcept
    : stream_(other.release()), path_(std::move(other.path_)) {}

OutputFile &OutputFile::operator=(OutputFile &&other) noexcept {
    std::swap(stream_, other.stream_);
    std::swap(path_, other.path_);
    return *this;
}

std::FILE *OutputFile::release() {
    return std::exchange(stream_, nullptr);
}

int mb_fprintf(std::FILE *stream, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    const int written = std::vfprintf(stream, format, args);
    va_end(args);
    return written;
}

void mb_fprintf_stdo(std::FILE *stream, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    std::va_list again;
    va_copy(again, args);
    std::vfprintf(stream, format, args);
    std::vfprintf(stdout, format, again);
    va_end(again);
    va_end(args);
}

void two_fprintf(std::FILE *stream1, std::FILE *stream2, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    std::va_list again;
    va_copy(again, args);
    std::vfprintf(stream1, format, args);
    std::vfprintf(stream2, format, again);
    va_end(again);
    va_end(args);
}

void mb_fflush(std::FILE *stream) {
    std::fflush(stream);
}

OutputFile mb_fopen_chk_wmode(const std::string &path) {
    std::FILE *stream = std::fopen(path.c_str(), "w");
    if (stream == nullptr) {
        mb_fprintf(stderr, "$$ Cannot open %s. Abort.\n", path.c_str());
        end_run(1);
    }
    return {stream, path};
}

void mb_fclose(OutputFile &file) {
    std::FILE *stream = file.release();
    const bool failed = std::ferror(stream) != 0;
    if (std::fclose(stream) != 0 || failed) {
        mb_fprintf(stderr, "$$ Cannot write %s. Abort.\n", file.path().c_str());
        end_run(1);
    }
}

void mb_error_exit(std::FILE *stream, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    exit_with_message(stream, "$$error: ", format, args);
}

void error_exit(std::FILE *stream, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    exit_with_message(stream, "$$ERROR: ", format, args);
}

void input_exit(const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    exit_with_message(stdout, "", format, args);
}

} // namespace orvel
