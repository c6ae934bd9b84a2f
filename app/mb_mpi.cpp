#include "app/mb_mpi.hpp"

#include "app/ranks.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

namespace orvel {

namespace {

void program_exit(int status) {
    std::exit(status);
}

RunEnding run_ending = program_exit;

// Held by the thread that ends the run, through the message, the removal and the exit: another one
// that fails at the same time waits. Recursive, since an exit destroys output files.
std::recursive_mutex ending_mutex;

// Whether it was said why the run ends, which threads that end it together say once. Under
// ending_mutex.
bool end_told = false;

// Never destroyed, since an exit destroys files after it.
template <class T> std::vector<T> &new_list() {
    return *std::make_unique<std::vector<T>>().release();
}

// Results that are being written: an exit destroys no local OutputFile. Changed under ending_mutex.
std::vector<std::string> &temporaries() {
    static std::vector<std::string> &names = new_list<std::string>();
    return names;
}

// Open files that are written in place: the log, selections, devices. Changed under ending_mutex.
std::vector<std::FILE *> &written_in_place() {
    static std::vector<std::FILE *> &streams = new_list<std::FILE *>();
    return streams;
}

// Of what is still open.
bool all_is_written() {
    const std::vector<std::FILE *> &open = written_in_place();
    return std::fflush(nullptr) == 0 &&
           std::all_of(open.begin(), open.end(),
                       [](std::FILE *stream) { return std::ferror(stream) == 0; });
}

// A file that was opened for reading, and which one it was.
struct InputId {
    std::string path;
    dev_t device = 0;
    ino_t inode = 0;

    bool is(const struct stat &found) const {
        return found.st_dev == device && found.st_ino == inode;
    }
};

std::vector<InputId> &protected_inputs() {
    static std::vector<InputId> inputs;
    return inputs;
}

// The stream that is left for a message where the other one, standard output or error, is written
// to that file; null where neither is.
std::FILE *console_beside(const std::string &path) {
    struct stat found = {};
    if (stat(path.c_str(), &found) != 0 || !S_ISREG(found.st_mode)) {
        return nullptr;
    }
    const InputId file = {path, found.st_dev, found.st_ino};
    for (const auto &[console, other] :
         {std::pair{STDOUT_FILENO, stderr}, {STDERR_FILENO, stdout}}) {
        struct stat now = {};
        if (fstat(console, &now) == 0 && file.is(now)) {
            return other;
        }
    }
    return nullptr;
}

// What the console writes into a file that the run reads or goes on writing would be read or lost.
void chk_no_console(const std::string &path) {
    if (std::FILE *other = console_beside(path)) {
        mb_fprintf(other, "$$ The console is written to %s, which this run uses. Abort.\n",
                   path.c_str());
        end_run(1);
    }
}

void remove_temporaries() {
    for (const std::string &name : temporaries()) {
        std::remove(name.c_str());
    }
    temporaries().clear();
}

// The name that a chain of links leads to, whether there is such a file or not; empty where the
// system does not tell.
std::filesystem::path follow_links(std::filesystem::path path) {
    constexpr int most_links = 40;
    std::error_code failed;
    for (int links = 0; links < most_links; ++links) {
        const std::filesystem::file_type type =
            std::filesystem::symlink_status(path, failed).type();
        if (type == std::filesystem::file_type::none) {
            return {};
        }
        if (type != std::filesystem::file_type::symlink) {
            return path;
        }
        const std::filesystem::path next = std::filesystem::read_symlink(path, failed);
        if (failed) {
            return {};
        }
        path = path.parent_path() / next;
    }
    return {};
}

// The name with a suffix, cut at its front where it would be too long for a file.
std::filesystem::path name_beside(const std::filesystem::path &target, const std::string &suffix) {
    constexpr long usual = 255; // where a system tells more, it counts letters otherwise
    const std::string folder = target.has_parent_path() ? target.parent_path().string() : ".";
    const long told = pathconf(folder.c_str(), _PC_NAME_MAX);
    const auto longest = static_cast<std::size_t>(told > 0 ? std::min(told, usual) : usual);
    const std::string name = target.filename().string() + suffix;
    const std::size_t cut = name.size() > longest ? name.size() - longest : 0;
    return target.parent_path() / name.substr(cut);
}

// Where the console writes to a file of this name, the file gets another one that is free, for a
// result is worth as much as what the console tells. False where that fails.
bool set_console_aside(const std::filesystem::path &name) {
    std::FILE *other = console_beside(name.string());
    if (other == nullptr) {
        return true;
    }
    std::filesystem::path aside = name_beside(name, ".console");
    std::error_code ignored;
    for (int i = 1; exists(std::filesystem::symlink_status(aside, ignored)); ++i) {
        aside = name_beside(name, ".console" + std::to_string(i));
    }
    if (std::rename(name.c_str(), aside.c_str()) != 0) {
        return false;
    }
    mb_fprintf(other, "$$ Warning: %s is to hold a result: the console goes on in %s.\n",
               name.c_str(), aside.c_str());
    return true;
}

// Opening does not truncate.
bool is_writable(const std::filesystem::path &path) {
    std::FILE *stream = std::fopen(path.c_str(), "r+");
    if (stream == nullptr) {
        return false;
    }
    std::fclose(stream);
    return true;
}

// As far as the run may: others than root give files to none but their own groups.
void keep_owner(std::FILE *file, const std::filesystem::path &replaced) {
    struct stat found = {};
    if (stat(replaced.c_str(), &found) == 0 &&
        fchown(fileno(file), found.st_uid, found.st_gid) != 0) {
        std::ignore = fchown(fileno(file), static_cast<uid_t>(-1), found.st_gid);
    }
}

OutputFile open_beside(const std::string &path, const std::filesystem::path &target,
                       const std::filesystem::file_status &status) {
    const bool exists = std::filesystem::exists(status);
    if (exists && !is_writable(target)) {
        return {};
    }
    const std::filesystem::path temporary = name_beside(target, ".part");
    chk_no_input(temporary);
    if (!set_console_aside(temporary)) {
        return {};
    }
    const std::vector<std::string> &open = temporaries();
    if (std::find(open.begin(), open.end(), target.string()) != open.end()) {
        return {}; // a link to where another result of this run is being written
    }
    OutputFile file(path, target.string(), temporary.string());
    if (file != nullptr && exists) {
        std::error_code ignored;
        std::filesystem::permissions(temporary, status.permissions(), ignored);
        keep_owner(file, target); // last: who gives a file away may not change it any more
    }
    return file;
}

[[noreturn]] void exit_with_message(std::FILE *stream, const char *prefix, const char *format,
                                    std::va_list args) {
    const std::lock_guard lock(ending_mutex);
    std::va_list again;
    va_copy(again, args);
    std::string message(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    std::vsnprintf(message.data(), message.size() + 1, format, args);
    if (!std::exchange(end_told, true)) {
        ranks().note_last_words(prefix + message);
        std::fprintf(stream, "%s%s\n", prefix, message.c_str());
    }
    end_run(1);
}

} // namespace

RunEnding set_run_ending(RunEnding ending) {
    end_told = false;
    return std::exchange(run_ending, ending != nullptr ? ending : program_exit);
}

void end_run(int status) {
    const std::lock_guard lock(ending_mutex);
    remove_temporaries();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fputs("$$ Cannot write standard output. Abort.\n", stderr);
        status = 1;
    }
    if (status != 0) {
        ranks().note_last_words("");
    }
    // A run that is done early leaves its log to be written here.
    if (status == 0 && !all_is_written()) {
        std::fputs("$$ Cannot write the log. Abort.\n", stderr);
        status = 1;
    }
    run_ending(status);
    std::abort(); // an ending that returns is a programmer's error
}

OutputFile::OutputFile(std::string path, std::string target, std::string temporary)
    : path_(std::move(path)), target_(std::move(target)), temporary_(std::move(temporary)) {
    if (temporary_.empty()) {
        stream_ = std::fopen(target_.c_str(), "w");
        if (stream_ != nullptr) {
            const std::lock_guard lock(ending_mutex);
            written_in_place().push_back(stream_);
        }
        return;
    }
    const std::lock_guard lock(ending_mutex);
    temporaries().push_back(temporary_);
    // What stands there, of a run that was killed or a link to elsewhere, is not written into.
    unlink(temporary_.c_str());
    stream_ = std::fopen(temporary_.c_str(), "wx");
    if (stream_ == nullptr) {
        std::erase(temporaries(), temporary_);
    }
}

OutputFile::~OutputFile() {
    if (stream_ != nullptr) {
        close();
        discard_temporary();
    }
}

OutputFile::OutputFile(OutputFile &&other) noexcept
    : stream_(std::exchange(other.stream_, nullptr)), path_(std::move(other.path_)),
      target_(std::move(other.target_)), temporary_(std::move(other.temporary_)) {}

OutputFile &OutputFile::operator=(OutputFile &&other) noexcept {
    std::swap(stream_, other.stream_);
    std::swap(path_, other.path_);
    std::swap(target_, other.target_);
    std::swap(temporary_, other.temporary_);
    return *this;
}

void OutputFile::discard_temporary() {
    const std::lock_guard lock(ending_mutex);
    if (std::erase(temporaries(), temporary_) > 0) {
        std::remove(temporary_.c_str());
    }
}

bool OutputFile::close() {
    {
        const std::lock_guard lock(ending_mutex);
        std::erase(written_in_place(), stream_);
    }
    const bool failed = std::ferror(stream_) != 0;
    return std::fclose(std::exchange(stream_, nullptr)) == 0 && !failed;
}

bool OutputFile::finish() {
    if (!close()) {
        discard_temporary();
        return false;
    }
    if (temporary_.empty()) {
        return true;
    }
    const std::lock_guard lock(ending_mutex);
    const bool in_place = std::rename(temporary_.c_str(), target_.c_str()) == 0;
    if (in_place) {
        std::erase(temporaries(), temporary_);
    }
    discard_temporary();
    return in_place;
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

void protect_input(const std::string &path) {
    struct stat found = {};
    if (stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode)) {
        chk_no_console(path);
        std::erase_if(protected_inputs(), [&](const InputId &i) { return i.path == path; });
        protected_inputs().push_back({path, found.st_dev, found.st_ino});
    }
}

void chk_no_input(const std::string &path) {
    struct stat found = {};
    if (stat(path.c_str(), &found) != 0) {
        return;
    }
    for (const InputId &input : protected_inputs()) {
        struct stat now = {};
        if (input.is(found) && stat(input.path.c_str(), &now) == 0 && input.is(now)) {
            input_exit("$$ %s is %s, which this run reads or writes. Abort.", path.c_str(),
                       input.path.c_str());
        }
    }
}

OutputFile open_output(const std::string &path, Writing writing) {
    if (ranks().rank() != 0) {
        return {path, "/dev/null", {}};
    }
    const std::filesystem::path target = follow_links(path);
    if (target.empty()) {
        return {};
    }
    chk_no_input(path);
    if (writing == Writing::in_place) {
        chk_no_console(path);
    } else if (!set_console_aside(target)) {
        return {};
    }
    std::error_code failed;
    const std::filesystem::file_status status = std::filesystem::status(target, failed);
    switch (status.type()) {
    case std::filesystem::file_type::none: // a name that is too long, say
        return {};
    case std::filesystem::file_type::regular:
    case std::filesystem::file_type::not_found:
        if (writing == Writing::beside) {
            return open_beside(path, target, status);
        }
        [[fallthrough]];
    default:
        return {path, target.string(), {}};
    }
}

OutputFile mb_fopen_chk_wmode(const std::string &path, Writing writing) {
    OutputFile file = open_output(path, writing);
    if (file == nullptr) {
        mb_fprintf(stderr, "$$ Cannot open %s. Abort.\n", path.c_str());
        end_run(1);
    }
    return file;
}

void mb_fclose(OutputFile &file) {
    if (!file.finish()) {
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
