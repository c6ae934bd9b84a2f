#include "jobs/tilt_share.hpp"

namespace orvel {

namespace {

// Number that the grid point gets.
int add_tilt(TiltShare &share, int point, std::span<const RealHkl> K_t, const complex *phase) {
    share.points.push_back(point);
    share.K_t.push_back(K_t[point]);
    if (phase != nullptr) {
        share.phase.push_back(phase[point]);
    }
    return static_cast<int>(share.points.size()) - 1;
}

// Takes the numbers of a message one after the other.
class Numbers {
public:
    explicit Numbers(std::span<const double> message) : message_(message) {}
    double real() { return message_[next_++]; }
    int integer() { return static_cast<int>(real()); }
    std::size_t count() { return static_cast<std::size_t>(real()); }

private:
    std::span<const double> message_;
    std::size_t next_ = 0;
};

} // namespace

void add_orbit(TiltShare &share, const TiltOrbit &orbit, std::span<const RealHkl> K_t,
               const complex *phase) {
    TiltOrbit &own = share.orbits.emplace_back();
    own.first = add_tilt(share, orbit.first, K_t, phase);
    own.others.reserve(orbit.others.size());
    for (const ImageTilt &image : orbit.others) {
        own.others.push_back({add_tilt(share, image.point, K_t, phase), image.operation});
    }
}

std::vector<double> pack_share(const TiltShare &share) {
    std::vector<double> message = {
        static_cast<double>(share.block_size), static_cast<double>(share.points.size()),
        static_cast<double>(share.phase.size()), static_cast<double>(share.orbits.size())};
    for (std::size_t i = 0; i < share.points.size(); ++i) {
        const RealHkl &K_t = share.K_t[i];
        message.insert(message.end(), {static_cast<double>(share.points[i]), K_t.h, K_t.k, K_t.l});
    }
    for (const complex &phase : share.phase) {
        message.insert(message.end(), {phase.re, phase.im});
    }
    for (const TiltOrbit &orbit : share.orbits) {
        message.push_back(static_cast<double>(orbit.others.size()));
        for (const ImageTilt &image : orbit.others) {
            message.push_back(image.operation);
        }
    }
    return message;
}

TiltShare unpack_share(std::span<const double> message) {
    Numbers numbers(message);
    TiltShare share;
    share.block_size = numbers.count();
    share.points.resize(numbers.count());
    share.K_t.resize(share.points.size());
    share.phase.resize(numbers.count());
    share.orbits.resize(numbers.count());
    for (std::size_t i = 0; i < share.points.size(); ++i) {
        share.points[i] = numbers.integer();
        share.K_t[i] = {.h = numbers.real(), .k = numbers.real(), .l = numbers.real()};
    }
    for (complex &phase : share.phase) {
        phase = {.re = numbers.real(), .im = numbers.real()};
    }
    int next = 0;
    for (TiltOrbit &orbit : share.orbits) {
        orbit.first = next++;
        orbit.others.resize(numbers.count());
        for (ImageTilt &image : orbit.others) {
            image = {.point = next++, .operation = numbers.integer()};
        }
    }
    return share;
}

} // namespace orvel
