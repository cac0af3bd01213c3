// Sub-commands of reminderctl that live in their own sources.
#ifndef REMINDERCTL_COMMANDS_H
#define REMINDERCTL_COMMANDS_H

#include <CLI/CLI.hpp>

#include "TVServiceAPI.h"

// `watch [--count N] [--timeout S]`: prints each change event as it arrives.
void AddWatchCommand(CLI::App& app);

// `tune UID [state options]`: accepts a reminder and prints what was launched.
// `monitor [--count N] [--timeout S]`: prints each change of a followed programme.
void AddTuneCommands(CLI::App& app);
// The programme subscriber's callback of every reminderctl process; `monitor` prints what it
// forwards, other commands ignore it.
void ForwardProgramChange(EProgramChangeType type, TCProgramData* program, void* data);

#endif
