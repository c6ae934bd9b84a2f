#include "viewer/kavun.hpp"

#include "app/mb_debug.hpp"
#include "app/mb_mpi.hpp"
#include "app/surroundings.hpp"
#include "viewer/page.hpp"
#include "viewer/pictures.hpp"
#include "viewer/run_info.hpp"
#include "viewer/text_file.hpp"

#include <filesystem>
#include <optional>
#include <set>
#include <system_error>

namespace orvel {

namespace {

struct Arguments {
    std::string script;
    std::optional<std::string> png_folder;
    std::optional<double> kvolts;
};

[[noreturn]] void usage() {
    input_exit("Usage: kavun [--voltage KV] [--png FOLDER] SCRIPT\n"
               "  SCRIPT          the script BASE_kav.txt of a run; writes the page that it names\n"
               "  --png FOLDER    writes the pictures as PNG files into the folder instead\n"
               "  --voltage KV    accelerating voltage, for angles in mrad");
}

Arguments read_arguments(int argc, char **argv) {
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--png" && i + 1 < argc) {
            arguments.png_folder = argv[++i];
        } else if (word == "--voltage" && i + 1 < argc) {
            double kvolts = 0.0;
            if (!to_number(argv[++i], kvolts) || !(kvolts > 0.0) || !(kvolts < 1e5)) {
                input_exit("$$ --voltage takes a voltage in kV, found \"%s\". Abort.", argv[i]);
            }
            arguments.kvolts = kvolts;
        } else if (word.starts_with("--") || !arguments.script.empty()) {
            usage();
        } else {
            arguments.script = word;
        }
    }
    if (arguments.script.empty()) {
        usage();
    }
    return arguments;
}

// Two pages of a script may be given the same names.
void chk_new(std::set<std::string> &written, const std::string &path) {
    if (!written.insert(path).second) {
        input_exit("$$ %s would be written twice. Abort.", path.c_str());
    }
}

// draw(take) hands over the pictures one by one.
template <class Draw>
void write_pictures(const std::string &folder, Draw draw, std::set<std::string> &written) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        input_exit("$$ Cannot make the folder %s. Abort.", folder.c_str());
    }
    const std::size_t before = written.size();
    draw([&](const std::string &name, const Picture &picture) {
        const std::string path = folder + "/" + name;
        chk_interrupt();
        chk_new(written, path);
        write_png(path, picture);
        mb_fprintf(stdout, "Picture ==> %s\n", path.c_str());
    });
    if (written.size() == before) {
        mb_fprintf(stdout, "$$ A single tilt has no picture; its page lists the values.\n");
    }
}

// Before the first page is written, which a later one may not be read from.
void protect_results(const KavScript &script) {
    const auto protect = [&](const std::string &name) { protect_input(beside(script.path, name)); };
    for (const KavPage &page : script.pages) {
        for (const CbedCommand &command : page.cbed) {
            protect(command.result_file);
        }
        for (const DispsurfCommand &command : page.dispsurf) {
            protect(command.surface_file);
            protect(command.amplitude_file);
            protect(command.intensity_file);
        }
        for (const BlochCommand &command : page.bloch) {
            protect(command.potential_file);
            protect(command.base_name + "_kn.txt");
            for (const BlochCommand::State &state : command.states) {
                protect(state.file);
            }
        }
    }
}

void show_page(const KavScript &script, const KavPage &page, const Arguments &arguments,
               std::set<std::string> &written) {
    const std::string html = beside(script.path, page.html_file);
    if (!html.ends_with(".html")) { // never a page over a result
        input_exit("$$ %s: the page \"%s\" is no .html file. Abort.", script.path.c_str(),
                   page.html_file.c_str());
    }
    const auto finish = [&](const auto &run, const Facts &facts, const auto &write_page,
                            const auto &draw_pictures) {
        if (arguments.png_folder) {
            write_pictures(
                *arguments.png_folder,
                [&](const TakePicture &take) { draw_pictures(run, facts, take); }, written);
        } else {
            chk_new(written, html);
            write_page(html, run, facts);
            mb_fprintf(stdout, "Page ==> %s\n", html.c_str());
        }
    };
    if (!page.cbed.empty()) {
        const CbedRun run = read_cbed_run(script, page);
        finish(run, facts_of(script, &run.pattern, arguments.kvolts), write_cbed_page,
               cbed_pictures);
    } else if (!page.dispsurf.empty()) {
        finish(read_dispsurf_run(script, page), facts_of(script, nullptr, arguments.kvolts),
               write_dispsurf_page, dispsurf_pictures);
    } else {
        finish(read_bloch_run(script, page), facts_of(script, nullptr, arguments.kvolts),
               write_bloch_page, bloch_pictures);
    }
}

} // namespace

int run_kavun(int argc, char **argv) {
    settle_surroundings();
    catch_interrupts();
    const Arguments arguments = read_arguments(argc, argv);
    const KavScript script = read_kav_script(arguments.script);
    warn_unfinished_run(script.path);
    protect_results(script);
    std::set<std::string> written;
    for (std::size_t i = 0; i < script.pages.size(); ++i) {
        chk_interrupt(static_cast<int>(i), static_cast<int>(script.pages.size()));
        show_page(script, script.pages[i], arguments, written);
    }
    chk_standard_output();
    return 0;
}

} // namespace orvel
