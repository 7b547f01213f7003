// audatoms: the command-line tool of the AudAtoms library. It runs the library's main
// job for real: reading audio files, metering, equalising, applying level automation,
// mixing through the mixer state and writing the mix back to a file.
// Exit status: 0 success, 1 failure while writing results (or a failed benchmark
// limit), 2 bad input (usage, files, session entries).
#include "tools/Commands.h"
#include "tools/ToolError.h"

#include "AudAtoms/core/Aud__Util_AudAtoms.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

int main(int argc, char** argv) {
    using namespace audtool;
    GlobalOptions global;
    Action action;
    CLI::App app("audatoms: render, meter, equalise and mix audio with the AudAtoms library", "audatoms");
    app.set_version_flag("--version", std::string("audatoms (AudAtoms ") + audAtomsDllVersionStr() + ")");
    app.require_subcommand(1);
    app.fallthrough();
    app.add_flag("-q,--quiet", global.quiet, "No progress bar and no status lines on standard error");
    app.add_flag("--json", global.json, "Results as JSON on standard output (info, render, demo, eq, cadence, bench)");
    app.footer("Run 'audatoms COMMAND --help' for the options of a command. Start with 'audatoms demo'.");
    addDemoCommand(app, global, action);
    addRenderCommand(app, global, action);
    addInfoCommand(app, global, action);
    addEqCommand(app, global, action);
    addCadenceCommand(app, global, action);
    addMixstateCommand(app, global, action);
    addBenchCommand(app, global, action);

    // The first word that is not an option names the command.
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word.empty() || word[0] == '-') continue;
        bool known = false;
        std::string names;
        for (const CLI::App* sub : app.get_subcommands({})) {
            known = known || sub->get_name() == word;
            names += (names.empty() ? "" : ", ") + sub->get_name();
        }
        if (!known) {
            std::fprintf(stderr, "audatoms: unknown command '%s' (commands: %s; see audatoms --help)\n", word.c_str(),
                         names.c_str());
            return kExitBadInput;
        }
        break;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& e) {
        return app.exit(e);  // --help, --version
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return kExitBadInput;
    }
    if (!action) return kExitBadInput;
    try {
        const std::unique_ptr<Result> result = action();
        printResult(*result, global.json);
        if (!global.quiet && !result->note.empty()) std::fputs(result->note.c_str(), stderr);
        if (!result->failure.empty()) {
            std::fprintf(stderr, "audatoms: %s\n", result->failure.c_str());
            return kExitFailure;
        }
        return kExitOk;
    } catch (const InputError& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "audatoms: %s\n", e.what());
        return kExitBadInput;
    } catch (const OutputError& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "audatoms: %s\n", e.what());
        return kExitFailure;
    } catch (const std::exception& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "audatoms: internal error: %s\n", e.what());
        return kExitFailure;
    }
}
