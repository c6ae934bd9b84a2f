// The three classes of beams and the two thresholds that part them.
#pragma once

namespace orvel {

enum class BeamClass { dropped, exact, bethe };

// Both comparisons are strict; NaN is dropped.
inline BeamClass classify_beam(double quantity, double exact_below, double bethe_below) {
    if (quantity < exact_below) {
        return BeamClass::exact;
    }
    return quantity < bethe_below ? BeamClass::bethe : BeamClass::dropped;
}

} // namespace orvel
