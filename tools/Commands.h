// The audatoms commands. Each add*Command registers its subcommand, options and help
// text on the application; when the subcommand is chosen, `action` is set to the work
// to run after parsing. The work returns the command's Result (see Result.h), which
// main.cpp prints; errors are thrown as InputError / OutputError (see ToolError.h), and
// main.cpp alone turns results and errors into exit statuses.
#pragma once

#include "tools/Result.h"

#include <functional>
#include <memory>

namespace CLI {
class App;
}

namespace audtool {

struct GlobalOptions {
    bool quiet = false;  // no progress bar and no status lines on standard error
    bool json = false;   // machine-readable results on standard output
};

using Action = std::function<std::unique_ptr<Result>()>;

void addDemoCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addRenderCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addInfoCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addEqCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addCadenceCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addMixstateCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addBenchCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addPlayCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addResampleCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addLoudnessCommand(CLI::App& app, const GlobalOptions& global, Action& action);

}  // namespace audtool
