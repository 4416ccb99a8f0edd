// The commands of the tool. Each adds itself to the command line: its options, its help, and what it runs.
#pragma once

#include <CLI/CLI.hpp>

void AddInfoCommand(CLI::App& app);
void AddLoadCommand(CLI::App& app);
void AddSaveCommand(CLI::App& app);
void AddPlanesCommand(CLI::App& app);
void AddStampCommand(CLI::App& app);
void AddDeleteCommand(CLI::App& app);
void AddCompactCommand(CLI::App& app);
void AddTagCommand(CLI::App& app);
void AddCommentCommand(CLI::App& app);
void AddGeoCommand(CLI::App& app);
void AddDumpCommand(CLI::App& app);
void AddFormatsCommand(CLI::App& app);
