// Finished tilts of a long run, kept in a file, so that the same command goes on from them when a
// run was ended early.
//
// The file holds a header, which tells the input apart from any other, and then the tilts in the
// order in which they were finished, each with a checksum; what follows the last whole one is
// dropped. Numbers stand in it as the machine holds them.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace orvel {

// A running 64-bit hash of what the values of a pattern depend on (FNV-1a of Fowler, Noll
// and Vo).
class Fingerprint {
public:
    // Plain numbers, or records of them without padding.
    template <class T> void add(const T *first, std::size_t count) {
        static_assert(std::is_trivially_copyable_v<T>);
        add_bytes(reinterpret_cast<const unsigned char *>(first), count * sizeof(T));
    }
    template <class T> void add(const T &value) { add(&value, 1); }
    template <class T> void add(const std::vector<T> &values) { add(values.data(), values.size()); }
    std::uint64_t value() const { return hash_; }

private:
    void add_bytes(const unsigned char *bytes, std::size_t count);

    std::uint64_t hash_ = 0xcbf29ce484222325ULL;
};

// "%s_checkpoint".
std::string checkpoint_path(const std::string &base_name);

// Keeps the checkpoint that an earlier run left from what this one writes before it takes it over,
// where checkpoint_seconds asks for one. A checkpoint that leads to a file that the run reads, or
// is the console's, ends it as chk_no_input and protect_input do.
void protect_checkpoint(const std::string &base_name);

class TiltCheckpoint {
public:
    // What take() is told of a tilt: its number, its count of kept branches, its values.
    using Take = std::function<void(int, int, std::span<const double>)>;

    // Opens the file, or begins it; take() is called for each tilt that it holds. A file that is no
    // checkpoint, or that of another input, ends the run, as one that cannot be opened does.
    void open(const std::string &path, std::uint64_t fingerprint, int num_tilts,
              std::size_t num_values, const Take &take);
    // Adds a tilt; any thread may. Every `seconds` all that was added is handed to the system.
    // Where the file cannot be written the run goes on without it and says so. Does nothing when
    // none was opened.
    void add(int tilt, int kept, std::span<const double> values, double seconds);
    // Removes the file of a run that is complete.
    void remove();

private:
    struct Close {
        void operator()(std::FILE *stream) const { std::fclose(stream); }
    };
    bool write_record();

    std::string path_;
    std::unique_ptr<std::FILE, Close> stream_;
    std::vector<double> record_; // number, kept branches, values: as they stand in the file
    std::chrono::steady_clock::time_point written_;
    std::mutex mutex_;
};

} // namespace orvel
