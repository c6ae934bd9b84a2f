#include "jobs/tilt_checkpoint.hpp"

#include "app/mb_mpi.hpp"
#include "app/ranks.hpp"
#include "app/run_settings.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <unistd.h>

namespace orvel {

namespace {

// Raised when what a tilt gives, or how it stands in the file, changes.
constexpr std::array<char, 24> magic = {"orvel checkpoint 2\n"};

struct Header {
    std::array<char, 24> magic = orvel::magic;
    std::uint64_t fingerprint = 0;
    std::uint64_t num_tilts = 0;
    std::uint64_t num_values = 0;
    double one = 1.0; // tells a machine with another order of bytes
};

std::uint64_t checksum(const std::vector<double> &record) {
    Fingerprint sum;
    sum.add(record);
    return sum.value();
}

bool is_number_below(double x, double limit) {
    return x >= 0.0 && x < limit && x == static_cast<double>(static_cast<int>(x));
}

// The header that a file begins with must be ours; one that was cut short while it was written has
// the same beginning. Returns true when it is whole.
bool chk_header(std::FILE *stream, const std::string &path, const Header &header) {
    Header found;
    const std::size_t count = std::fread(&found, 1, sizeof found, stream);
    const auto *bytes = reinterpret_cast<const char *>(&found);
    const auto *expected = reinterpret_cast<const char *>(&header);
    if (!std::equal(bytes, bytes + std::min(count, sizeof found.magic), expected)) {
        input_exit("$$ %s is not a checkpoint of orvel, or of another version, and stands in the "
                   "place of one. Abort.",
                   path.c_str());
    }
    if (!std::equal(bytes, bytes + count, expected)) {
        input_exit("$$ %s is the checkpoint of another input: with its own input the run goes on; "
                   "without the file it begins anew. Abort.",
                   path.c_str());
    }
    return count == sizeof found;
}

// Reads the whole tilts behind the header. Returns where they end.
std::uintmax_t read_tilts(std::FILE *stream, int num_tilts, std::vector<double> &record,
                          const TiltCheckpoint::Take &take) {
    std::uintmax_t end = sizeof(Header);
    std::uint64_t sum = 0;
    while (std::fread(record.data(), sizeof(double), record.size(), stream) == record.size() &&
           std::fread(&sum, sizeof sum, 1, stream) == 1 && sum == checksum(record) &&
           is_number_below(record[0], num_tilts)) {
        take(static_cast<int>(record[0]), static_cast<int>(record[1]),
             std::span(record).subspan(2));
        end += record.size() * sizeof(double) + sizeof sum;
    }
    return end;
}

// The tilts that the file holds, and the file cut behind the last whole one.
void take_over(const std::string &path, const Header &header, std::vector<double> &record,
               const TiltCheckpoint::Take &take) {
    std::error_code failed;
    const std::filesystem::file_status status = std::filesystem::status(path, failed);
    if (status.type() == std::filesystem::file_type::not_found) {
        return;
    }
    if (!std::filesystem::is_regular_file(status)) {
        input_exit("$$ %s is no file that a checkpoint can be kept in. Abort.", path.c_str());
    }
    std::FILE *stream = std::fopen(path.c_str(), "rb");
    if (stream == nullptr) {
        input_exit("$$ Cannot read the checkpoint %s. Abort.", path.c_str());
    }
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> owner(stream, std::fclose);
    const bool whole = chk_header(stream, path, header);
    const std::uintmax_t end =
        whole ? read_tilts(stream, static_cast<int>(header.num_tilts), record, take) : 0;
    if (std::ferror(stream) != 0) {
        input_exit("$$ Cannot read the checkpoint %s. Abort.", path.c_str());
    }
    std::filesystem::resize_file(path, end, failed);
    if (failed) {
        input_exit("$$ Cannot write the checkpoint %s. Abort.", path.c_str());
    }
}

} // namespace

void Fingerprint::add_bytes(const unsigned char *bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        hash_ = (hash_ ^ bytes[i]) * 0x100000001b3ULL;
    }
}

std::string checkpoint_path(const std::string &base_name) {
    return base_name + "_checkpoint";
}

void protect_checkpoint(const std::string &base_name) {
    if (dbg.checkpoint_seconds != 0 && ranks().rank() == 0) {
        chk_no_input(checkpoint_path(base_name));
        protect_input(checkpoint_path(base_name));
    }
}

void TiltCheckpoint::open(const std::string &path, std::uint64_t fingerprint, int num_tilts,
                          std::size_t num_values, const Take &take) {
    Header header;
    header.fingerprint = fingerprint;
    header.num_tilts = static_cast<std::uint64_t>(num_tilts);
    header.num_values = num_values;
    path_ = path;
    record_.resize(num_values + 2);
    take_over(path, header, record_, take);
    stream_.reset(std::fopen(path.c_str(), "ab"));
    if (stream_ == nullptr) {
        input_exit("$$ Cannot write the checkpoint %s. Abort.", path.c_str());
    }
    std::error_code failed;
    const std::uintmax_t size = std::filesystem::file_size(path, failed);
    if (failed) {
        input_exit("$$ Cannot read the checkpoint %s. Abort.", path.c_str());
    }
    protect_input(path); // one that was not there before
    if (size == 0) {
        std::fwrite(&header, sizeof header, 1, stream_.get());
    }
    written_ = std::chrono::steady_clock::now();
}

bool TiltCheckpoint::write_record() {
    const std::uint64_t sum = checksum(record_);
    return std::fwrite(record_.data(), sizeof(double), record_.size(), stream_.get()) ==
               record_.size() &&
           std::fwrite(&sum, sizeof sum, 1, stream_.get()) == 1;
}

void TiltCheckpoint::add(int tilt, int kept, std::span<const double> values, double seconds) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (stream_ == nullptr) {
        return;
    }
    record_[0] = tilt;
    record_[1] = kept;
    std::copy(values.begin(), values.end(), record_.begin() + 2);
    bool ok = write_record();
    const auto now = std::chrono::steady_clock::now();
    if (now - written_ >= std::chrono::duration<double>(seconds)) {
        ok = std::fflush(stream_.get()) == 0 && ok;
        written_ = now;
    }
    if (!ok) {
        stream_.reset();
        mb_fprintf(stdout,
                   "\n$$ Warning: cannot write the checkpoint %s: the run goes on without "
                   "it.\n",
                   path_.c_str());
    }
}

void TiltCheckpoint::remove() {
    if (!path_.empty()) {
        stream_.reset();
        sync(); // the results are on their disk before what they could be made from goes
        if (std::remove(path_.c_str()) != 0 && errno != ENOENT) {
            mb_fprintf(stdout, "$$ Warning: cannot remove the checkpoint %s.\n", path_.c_str());
        }
    }
}

} // namespace orvel
