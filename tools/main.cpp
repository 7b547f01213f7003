// audatoms: the command-line tool of the AudAtoms library. It runs the library's main
// job for real: reading audio files, metering, equalising, applying level automation,
// mixing through the mixer state and writing the mix back to a file.
// This file alone decides the exit status (the table is in ToolError.h): 0 done, 1 a
// result that could not be written, a system failure or a failed check, 2 bad input,
// 130 interrupted (128 + the signal for SIGTERM and SIGHUP).
#include "tools/AtomicOutput.h"
#include "tools/Commands.h"
#include "tools/ToolError.h"

#include "AudAtoms/core/Aud__Util_AudAtoms.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <unistd.h>

namespace {

// A stop signal: the temporaries of unfinished outputs are removed, and the run ends
// with the signal's status. Only async-signal-safe calls.
extern "C" void stopOnSignal(int sig) {
    audtool::removeLiveTemporaries();
    const char* what = sig == SIGINT ? "audatoms: interrupted\n" : "audatoms: stopped by a signal\n";
    const ssize_t ignored = ::write(STDERR_FILENO, what, std::strlen(what));
    (void)ignored;
    ::_exit(audtool::exitStatusForSignal(sig));
}

void installStopHandlers() {
    struct sigaction sa {};
    sa.sa_handler = stopOnSignal;
    sigemptyset(&sa.sa_mask);
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(sig, &sa, nullptr);
}

int fail(int status, const std::string& message) {
    std::fflush(stdout);
    std::fprintf(stderr, "audatoms: %s\n", message.c_str());
    return status;
}

// Runs the chosen command and prints its result; every error becomes its status here.
int run(const audtool::Action& action, const audtool::GlobalOptions& global) {
    using namespace audtool;
    try {
        const std::unique_ptr<Result> result = action();
        printResult(*result, global.json);
        if (!global.quiet && !result->note.empty()) std::fputs(result->note.c_str(), stderr);
        if (!result->failure.empty()) return fail(kExitFailure, result->failure);
        return kExitOk;
    } catch (const InputError& e) {
        return fail(kExitBadInput, e.what());
    } catch (const OutputError& e) {
        return fail(kExitFailure, e.what());
    } catch (const std::bad_alloc&) {
        return fail(kExitFailure, "out of memory");
    } catch (const std::filesystem::filesystem_error& e) {
        return fail(kExitFailure, e.what());
    } catch (const std::exception& e) {
        return fail(kExitFailure, std::string("internal error: ") + e.what());
    }
}

}  // namespace

int main(int argc, char** argv) {
    using namespace audtool;
    installStopHandlers();
    GlobalOptions global;
    Action action;
    CLI::App app("audatoms: render, meter, equalise and mix audio with the AudAtoms library", "audatoms");
    app.set_version_flag("--version", std::string("audatoms (AudAtoms ") + audAtomsDllVersionStr() + ")");
    app.require_subcommand(1);
    app.fallthrough();
    app.add_flag("-q,--quiet", global.quiet, "No progress bar and no status lines on standard error");
    app.add_flag("--json", global.json, "Results as JSON on standard output");
    app.footer("Run 'audatoms COMMAND --help' for the options of a command. Start with 'audatoms demo'.\n"
               "Exit status: 0 done, 1 output or system failure, 2 bad input, 130 interrupted.");
    addDemoCommand(app, global, action);
    addRenderCommand(app, global, action);
    addInfoCommand(app, global, action);
    addEqCommand(app, global, action);
    addCadenceCommand(app, global, action);
    addMixstateCommand(app, global, action);
    addBenchCommand(app, global, action);
    addPlayCommand(app, global, action);
    addResampleCommand(app, global, action);
    addLoudnessCommand(app, global, action);

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
        if (!known)
            return fail(kExitBadInput, "unknown command '" + word + "' (commands: " + names + "; see audatoms --help)");
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
    return run(action, global);
}
