// The commands of the tool. Each adds itself to the command line: its options, its help, and what it runs.
#pragma once

#include <CLI/CLI.hpp>

void AddInfoCommand(CLI::App& app);
void AddLoadCommand(CLI::App& app);
void AddFormatsCommand(CLI::App& app);
