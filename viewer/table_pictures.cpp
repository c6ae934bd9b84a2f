// Pictures of dispersion surfaces and of Bloch states.
#include "viewer/chart.hpp"
#include "viewer/pictures.hpp"
#include "viewer/value_range.hpp"

#include <numbers>

namespace orvel {

namespace {

// One quantity over the tilts: `name` of the curve or map, value at a point.
struct TiltQuantity {
    std::string name;
    std::function<double(std::size_t point)> value;
    std::function<double(std::size_t point)> weight; // may be empty
};

bool is_line(const DispsurfRun &run) {
    return static_cast<std::size_t>(run.side) == run.H.size();
}

Picture curves_over_tilt(const DispsurfRun &run, const std::vector<TiltQuantity> &quantities,
                         const ChartText &text) {
    std::vector<Curve> curves;
    for (const TiltQuantity &quantity : quantities) {
        Curve curve{quantity.name, run.H, {}, {}};
        for (std::size_t p = 0; p < run.H.size(); ++p) {
            curve.y.push_back(quantity.value(p));
            if (quantity.weight) {
                curve.weight.push_back(quantity.weight(p));
            }
        }
        curves.push_back(std::move(curve));
    }
    return curve_chart(curves, text);
}

Picture map_over_tilt(const DispsurfRun &run, const TiltQuantity &quantity, const ChartText &text) {
    const auto side = static_cast<std::size_t>(run.side);
    const auto at = [side](int column, int row) {
        return static_cast<std::size_t>(row) * side + static_cast<std::size_t>(column);
    };
    std::vector<double> values;
    for (std::size_t p = 0; p < run.H.size(); ++p) {
        values.push_back(quantity.value(p));
    }
    MapData map;
    map.columns = run.side;
    map.rows = static_cast<int>(run.H.size() / side);
    map.x = {run.H.front(), run.H[side - 1]};
    map.y = {run.G.front(), run.G.back()};
    map.range = finite_range(values);
    map.value = [&](int column, int row) { return values[at(column, row)]; };
    map.colours = &amount_maps()[1].colours;
    return map_chart(map, {text.title + ", " + quantity.name, "H", "G"});
}

// A line of tilts gives one chart with all quantities, an area one map each.
void add_pictures(const TakePicture &take, const DispsurfRun &run, const std::string &stem,
                  const std::vector<TiltQuantity> &quantities, const ChartText &text) {
    if (is_line(run)) {
        take(stem + ".png", curves_over_tilt(run, quantities, text));
        return;
    }
    for (std::size_t i = 0; i < quantities.size(); ++i) {
        take(stem + "_" + std::to_string(i) + ".png", map_over_tilt(run, quantities[i], text));
    }
}

std::vector<TiltQuantity> branch_quantities(const DispsurfRun &run,
                                            const std::vector<float> &values, std::size_t stride,
                                            std::size_t offset, bool weighted) {
    std::vector<TiltQuantity> quantities;
    const auto branches = static_cast<std::size_t>(run.branches);
    for (std::size_t j = 0; j < branches; ++j) {
        TiltQuantity quantity;
        quantity.name = "branch " + std::to_string(run.branch_begin + static_cast<int>(j));
        quantity.value = [&values, stride, offset, j](std::size_t p) {
            return static_cast<double>(values[p * stride + offset + j]);
        };
        if (weighted) {
            quantity.weight = [&run, branches, j](std::size_t p) {
                return static_cast<double>(run.excitation[p * branches + j]);
            };
        }
        quantities.push_back(std::move(quantity));
    }
    return quantities;
}

Picture bloch_map(const BlochRun &run, const Facts &facts, const std::vector<float> &values,
                  const std::string &title, bool cyclic) {
    const double scale = facts.g1_length ? 1.0 / *facts.g1_length : 1.0;
    const std::string unit = facts.g1_length ? " (\u00c5)" : "";
    MapData map;
    map.columns = static_cast<int>(run.nx);
    map.rows = static_cast<int>(run.ny);
    map.x = {run.x_min * scale, run.x_max * scale};
    map.y = {run.y_min * scale, run.y_max * scale};
    map.range = cyclic ? std::array{-std::numbers::pi, std::numbers::pi}
                       : finite_range({values.begin(), values.end()});
    map.value = [&](int column, int row) {
        return static_cast<double>(
            values[static_cast<std::size_t>(column) * run.ny + static_cast<std::size_t>(row)]);
    };
    map.colours = cyclic ? &phase_map() : &amount_maps()[1].colours;
    return map_chart(map, {title, "x" + unit, "y" + unit});
}

} // namespace

void dispsurf_pictures(const DispsurfRun &run, const Facts &facts, const TakePicture &take) {
    if (run.H.size() < 2 || (run.side > 1 && !is_line(run) && run.H[0] == run.H[1])) {
        return; // a single tilt has no picture
    }
    const auto branches = static_cast<std::size_t>(run.branches);
    const std::string tilt = "tilt H (half base vectors)";
    add_pictures(take, run, facts.title + "_surface",
                 branch_quantities(run, run.gamma, branches, 0, true),
                 {facts.title, tilt, "\u03b3 (1/\u00c5\u00b2)"});
    const std::size_t reflections = run.reflections.size();
    for (std::size_t o = 0; o < reflections; ++o) {
        const std::string g = hkl_text(run.reflections[o]);
        add_pictures(
            take, run, facts.title + "_amplitude_g" + std::to_string(o),
            branch_quantities(run, run.amplitude, reflections * branches, o * branches, false),
            {facts.title + ", " + g, tilt, "|\u03b1C|"});
    }
    const std::size_t thicknesses = run.thicknesses.size();
    for (std::size_t t = 0; t < thicknesses && reflections > 0; ++t) {
        std::vector<TiltQuantity> quantities;
        for (std::size_t o = 0; o < reflections; ++o) {
            quantities.push_back({hkl_text(run.reflections[o]),
                                  [&run, reflections, thicknesses, o, t](std::size_t p) {
                                      return static_cast<double>(
                                          run.intensity[(p * reflections + o) * thicknesses + t]);
                                  },
                                  {}});
        }
        add_pictures(take, run, facts.title + "_intensity_t" + std::to_string(t), quantities,
                     {facts.title + ", t = " + number_text(run.thicknesses[t]) + " \u00c5", tilt,
                      "intensity"});
    }
}

void bloch_pictures(const BlochRun &run, const Facts &facts, const TakePicture &take) {
    const auto add = [&](const std::string &suffix, const std::vector<float> &values,
                         const std::string &title, bool cyclic) {
        take(facts.title + suffix + ".png",
             bloch_map(run, facts, values, facts.title + ", " + title, cyclic));
    };
    add("_potential_re", run.potential_re, "potential, real part (V)", false);
    add("_potential_im", run.potential_im, "potential, imaginary part (V)", false);
    for (const BlochState &state : run.states) {
        const std::string number = std::to_string(state.branch);
        add("_b" + number + "_density", state.density, "branch " + number + ", density", false);
        add("_b" + number + "_phase", state.phase, "branch " + number + ", phase (rad)", true);
    }
}

} // namespace orvel
