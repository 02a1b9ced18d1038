// How a kelvo-pde subcommand that lives in its own file joins the tool.
#pragma once

#include <functional>
#include <vector>

#include <CLI/CLI.hpp>

namespace kelvo::tool {

/// A subcommand (or a subcommand of one) and what to run when the command
/// line chose it. `run` returns the exit code (see ExitCode in Commands.h).
struct Command {
    CLI::App* app = nullptr;
    std::function<int()> run;
};

/// Each of these adds its subcommands to `app` and appends one Command per
/// runnable (sub)subcommand to `out`. main() runs the first whose app was
/// parsed. Options and values are captured by the functions themselves
/// (shared_ptr state), so nothing needs declaring here but the function.
void AddAuthCommands(CLI::App& app, std::vector<Command>& out);
void AddTicketCommands(CLI::App& app, std::vector<Command>& out);
void AddApplyCommands(CLI::App& app, std::vector<Command>& out);
void AddJobCommands(CLI::App& app, std::vector<Command>& out);
void AddQueueCommands(CLI::App& app, std::vector<Command>& out);
void AddPrintCommands(CLI::App& app, std::vector<Command>& out);
void AddPanelCommands(CLI::App& app, std::vector<Command>& out);

} // namespace kelvo::tool
