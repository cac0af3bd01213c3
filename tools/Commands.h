// Sub-commands of reminderctl that live in their own sources.
#ifndef REMINDERCTL_COMMANDS_H
#define REMINDERCTL_COMMANDS_H

#include <CLI/CLI.hpp>

// `watch [--count N] [--timeout S]`: prints each change event as it arrives.
void AddWatchCommand(CLI::App& app);

#endif
