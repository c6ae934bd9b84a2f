#include "jobs/mb_sim_input.hpp"

#include "app/mb_mpi.hpp"
#include "input/mb_input.hpp"
#include "jobs/condition_blocks.hpp"

namespace orvel {

namespace {

constexpr TiltRangeTexts tilt_range_texts = {
    "$$ Caution!!! CALC_KXY_RANGE must be before BEAM_SEARCH. $$", [](int type) {
        mb_fprintf(stdout, "$$ Invalid calc_type(=%d)x. Abort.\n", type);
        end_run(1);
    }};

void read_output_reflex(Sd &sd, std::FILE *stream) {
    chk_data("OUTPUT_REFLEX{", stream);
    const int n = fget_i(stream, "the number of output reflections");
    if (n >= 1) {
        read_output_reflections(sd, n, stream);
    } else if (n == 0) {
        take_all_exact_beams(sd);
    } else {
        mb_fprintf(stdout, "$$ Warning: with %d output reflections none is written.\n", n);
    }
    if (sd.grid.calc_type > 3) {
        mb_fprintf(stdout, "$$ invalid calc_type=%d. Abort. (input_sim_data)\n", sd.grid.calc_type);
        end_run(1);
    }
    chk_data("}OUTPUT_REFLEX", stream);
}

} // namespace

void input_sim_data(Sd &sd, const Csd &csd, const std::string &base_name, std::FILE *stream) {
    chk_data("SIM_CALCULATION_CONDITION{", stream);
    sd.beam = read_incident_beam(stream);
    read_tilt_range(sd, tilt_range_texts, stream);
    read_beam_search(sd, csd, base_name, stream);
    read_output_reflex(sd, stream);
    read_output_thicknesses(sd, stream);
    sd.result_bytes = 8;
    chk_data("}SIM_CALCULATION_CONDITION", stream);
}

} // namespace orvel
