// Sub-commands of reminderctl that live in their own sources.
#ifndef REMINDERCTL_COMMANDS_H
#define REMINDERCTL_COMMANDS_H

#include <CLI/CLI.hpp>
#include <string>

#include "RemindInfo.h"

// `watch [--count N] [--timeout S]`: prints each change event as it arrives.
void AddWatchCommand(CLI::App& app);
// `expire`: the two housekeeping passes at --now, printing what moved, failed or went.
void AddExpireCommand(CLI::App& app);
// `recorder ready|next|fail|delay|done|current`: a recording's life as the recorder drives it.
void AddRecorderCommand(CLI::App& app);
// "error N", followed by the user text of the failure where the library has one.
std::string FailureReason(const CRemindInfo& item);

#endif
