// The audatoms commands. Each add*Command registers its subcommand, options and help
// text on the application; when the subcommand is chosen, `action` is set to the work
// to run after parsing, which returns the exit status (errors are thrown as
// InputError / OutputError, see ToolError.h).
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace audtool {

struct GlobalOptions {
    bool quiet = false;  // no progress bar and no status lines on standard error
    bool json = false;   // machine-readable results on standard output
};

using Action = std::function<int()>;

void addDemoCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addRenderCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addInfoCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addEqCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addCadenceCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addMixstateCommand(CLI::App& app, const GlobalOptions& global, Action& action);
void addBenchCommand(CLI::App& app, const GlobalOptions& global, Action& action);

} // namespace audtool
