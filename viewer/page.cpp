#include "viewer/page.hpp"

#include "app/mb_mpi.hpp"
#include "viewer/colour_map.hpp"
#include "viewer/layout.hpp"
#include "viewer/page_data.hpp"
#include "viewer/page_files.hpp"

#include <cmath>
#include <cstdint>

namespace orvel {

namespace {

std::string json_hkl(const Hkl &g) {
    return json_list({json_number(g.h), json_number(g.k), json_number(g.l)});
}

template <class T> std::string json_numbers(const std::vector<T> &values) {
    std::vector<std::string> texts;
    texts.reserve(values.size());
    for (const T value : values) {
        texts.push_back(json_number(static_cast<double>(value)));
    }
    return json_list(texts);
}

std::string json_reflections(const std::vector<Hkl> &reflections) {
    std::vector<std::string> texts;
    texts.reserve(reflections.size());
    for (const Hkl &g : reflections) {
        texts.push_back(json_hkl(g));
    }
    return json_list(texts);
}

std::string json_facts(const Facts &facts) {
    std::vector<std::string> lines;
    lines.reserve(facts.lines.size());
    for (const auto &[label, value] : facts.lines) {
        lines.push_back(json_list({json_string(label), json_string(value)}));
    }
    return json_list(lines);
}

// Six hexadecimal digits a colour.
std::string json_colours(const ColourTable &table) {
    std::string text;
    for (const Rgb &c : table) {
        char digits[8];
        std::snprintf(digits, sizeof digits, "%02x%02x%02x", unsigned{c.r}, unsigned{c.g},
                      unsigned{c.b});
        text += digits;
    }
    return json_string(text);
}

// What every page holds.
std::vector<JsonField> common_fields(const char *kind, const Facts &facts) {
    std::vector<JsonField> maps;
    for (const ColourMap &map : amount_maps()) {
        maps.push_back({map.name.c_str(), json_colours(map.colours)});
    }
    return {{"kind", json_string(kind)},
            {"title", json_string(facts.title)},
            {"facts", json_facts(facts)},
            {"wavelength", json_number(facts.wavelength.value_or(NAN))},
            {"g1", json_number(facts.g1_length.value_or(NAN))},
            {"maps", json_object(maps)},
            {"phaseMap", json_colours(phase_map())}};
}

void append(std::vector<JsonField> &fields, std::vector<JsonField> more) {
    for (JsonField &field : more) {
        fields.push_back(std::move(field));
    }
}

// Fills the template: "{{name}}" stands for a part of the page.
void write_page(const std::string &path, const Facts &facts, const std::vector<JsonField> &fields,
                const std::vector<PageBlock> &blocks) {
    OutputFile file = mb_fopen_chk_wmode(path);
    const auto put = [&](std::string_view text) { std::fwrite(text.data(), 1, text.size(), file); };
    std::string_view rest = page_html;
    for (std::size_t open = rest.find("{{"); open != std::string_view::npos;
         open = rest.find("{{")) {
        const std::size_t close = rest.find("}}", open);
        put(rest.substr(0, open));
        const std::string_view name = rest.substr(open + 2, close - open - 2);
        rest.remove_prefix(close + 2);
        if (name == "title") {
            put(html_text(facts.title));
        } else if (name == "style") {
            put(page_css);
        } else if (name == "program") {
            put(page_js);
        } else if (name == "data") {
            put(json_object(fields));
        } else if (name == "blocks") {
            for (const PageBlock &block : blocks) {
                put("<script type=\"text/plain\" id=\"block-" + block.name + "\">");
                put(block.base64);
                put("</script>\n");
            }
        }
    }
    put(rest);
    mb_fclose(file);
}

// Values of the points inside the disc, in their order: the others hold nothing.
std::vector<float> inside_values(const TiltGrid &grid, const std::vector<float> &values) {
    std::vector<float> out;
    out.reserve(values.size());
    for (std::size_t first = 0; first < values.size(); first += grid.points.size()) {
        for (std::size_t p = 0; p < grid.points.size(); ++p) {
            if (grid.points[p].inside) {
                out.push_back(values[first + p]);
            }
        }
    }
    return out;
}

std::vector<PageBlock> cbed_blocks(const CbedRun &run) {
    const TiltGrid &grid = run.pattern.grid;
    std::vector<float> H;
    std::vector<float> G;
    std::vector<std::uint8_t> inside;
    for (const TiltPoint &point : grid.points) {
        H.push_back(static_cast<float>(point.H));
        G.push_back(static_cast<float>(point.G));
        inside.push_back(point.inside ? 1 : 0);
    }
    std::vector<PageBlock> blocks = {page_block("H", H), page_block("G", G),
                                     page_block("inside", inside)};
    for (std::size_t t = 0; t < run.images.size(); ++t) {
        const std::string number = std::to_string(t);
        blocks.push_back(page_block("re" + number, inside_values(grid, run.images[t].values)));
        if (run.pattern.coherent) {
            blocks.push_back(
                page_block("im" + number, inside_values(grid, run.images[t].imaginary)));
        }
    }
    return blocks;
}

std::string json_images(const CbedRun &run) {
    std::vector<std::string> images;
    for (const CbedImage &image : run.images) {
        images.push_back(json_object({{"thickness", json_number(image.thickness)},
                                      {"max", json_number(image.max)},
                                      {"min", json_number(image.min)},
                                      {"gamma", json_number(image.gamma)},
                                      {"magnification", json_number(image.magnification)},
                                      {"reversed", image.reversed ? "true" : "false"},
                                      {"file", json_string(image.file)}}));
    }
    return json_list(images);
}

} // namespace

void write_cbed_page(const std::string &path, const CbedRun &run, const Facts &facts) {
    const CbedPattern &pattern = run.pattern;
    std::vector<Hkl> reflections;
    for (const OutputReflection &r : pattern.reflections) {
        reflections.push_back(r.hkl);
    }
    static constexpr const char *shapes[] = {"point", "line", "area"};
    std::vector<JsonField> fields = common_fields(pattern.coherent ? "coherent" : "cbed", facts);
    append(fields, {{"shape", json_string(shapes[static_cast<int>(pattern.grid.shape)])},
                    {"side", json_number(pattern.grid.side)},
                    {"tilt", json_list({json_number(pattern.H_tilt), json_number(pattern.G_tilt)})},
                    {"reflections", json_reflections(reflections)},
                    {"images", json_images(run)}});
    if (pattern.grid.shape == TiltShape::area) {
        const DiscLayout layout = lay_out_discs(run);
        std::vector<double> xs;
        std::vector<double> ys;
        for (const Place &centre : layout.centres) {
            xs.push_back(centre.x);
            ys.push_back(centre.y);
        }
        append(fields,
               {{"xs", json_numbers(xs)},
                {"ys", json_numbers(ys)},
                {"low", json_list({json_number(layout.low.x), json_number(layout.low.y)})},
                {"high", json_list({json_number(layout.high.x), json_number(layout.high.y)})},
                {"sample", json_number(layout.sample_per_A)}});
    }
    write_page(path, facts, fields, cbed_blocks(run));
}

void write_dispsurf_page(const std::string &path, const DispsurfRun &run, const Facts &facts) {
    std::vector<JsonField> fields = common_fields("dispsurf", facts);
    append(fields, {{"branchBegin", json_number(run.branch_begin)},
                    {"branches", json_number(run.branches)},
                    {"side", json_number(run.side)},
                    {"points", json_number(static_cast<double>(run.H.size()))},
                    {"reflections", json_reflections(run.reflections)},
                    {"thicknesses", json_numbers(run.thicknesses)}});
    write_page(path, facts, fields,
               {page_block("H", run.H), page_block("G", run.G), page_block("Kn", run.K_n),
                page_block("kn", run.k_n), page_block("kn-im", run.k_n_im),
                page_block("gamma", run.gamma), page_block("gamma-im", run.gamma_im),
                page_block("excitation", run.excitation), page_block("amplitude", run.amplitude),
                page_block("phase", run.phase), page_block("intensity", run.intensity)});
}

void write_bloch_page(const std::string &path, const BlochRun &run, const Facts &facts) {
    std::vector<JsonField> fields = common_fields("bloch", facts);
    std::vector<PageBlock> blocks = {page_block("potential-re", run.potential_re),
                                     page_block("potential-im", run.potential_im)};
    std::vector<std::string> states;
    for (const BlochState &state : run.states) {
        states.push_back(json_object({{"branch", json_number(state.branch)},
                                      {"eigenvalue", json_number(state.eigenvalue)},
                                      {"excitation", json_number(state.excitation)}}));
        const std::string number = std::to_string(state.branch);
        blocks.push_back(page_block("density" + number, state.density));
        blocks.push_back(page_block("phase" + number, state.phase));
    }
    std::vector<std::string> branches;
    for (const BranchRecord &b : run.branches) {
        branches.push_back(json_list({json_number(b.branch), json_number(b.eigenvalue_re),
                                      json_number(b.eigenvalue_im), json_number(b.excitation)}));
    }
    append(fields, {{"nx", json_number(static_cast<double>(run.nx))},
                    {"ny", json_number(static_cast<double>(run.ny))},
                    {"x", json_numbers(std::vector<double>{run.x_min, run.x_max})},
                    {"y", json_numbers(std::vector<double>{run.y_min, run.y_max})},
                    {"states", json_list(states)},
                    {"list", json_list(branches)}});
    write_page(path, facts, fields, blocks);
}

} // namespace orvel
