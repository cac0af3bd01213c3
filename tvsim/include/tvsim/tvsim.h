// Control interface of the simulated television, for tests and tools. The television's state is
// per process; every platform call of the library reads it.
#ifndef TVSIM_TVSIM_H
#define TVSIM_TVSIM_H

#include <string>
#include <utility>
#include <vector>

#include "TCProgramData.h"

namespace tvsim {

struct LogLine {
    int logId;
    int priority;
    std::string tag;
    std::string text;
};

struct Launch {
    std::string appId;
    std::vector<std::pair<std::string, std::string>> extraData;  // in the order added
};

struct VconfWrite {
    std::string key;
    int value;
};

// Replaces the television with the profile in `jsonText`. On a parse or type error the
// television is left empty, the error is returned (naming the member) and also written to
// standard error; true on success.
bool LoadProfile(const std::string& jsonText, std::string* error = nullptr);
// As LoadProfile, reading the file; errors name the file.
bool LoadProfileFile(const std::string& path, std::string* error = nullptr);
// An empty television: no channels, no guide, no settings, clock following the system.
void Reset();

// Sets the UTC clock; it stays still until set again.
void SetCurrentTime(unsigned long utc);
// Current UTC seconds of the simulated clock.
unsigned long CurrentUtcTime();

// Makes a named platform call fail ("name" or "name:key"), or succeed again.
void SetFailure(const std::string& name, bool failing = true);

// Changes one setting of the running television.
void SetVconfInt(const std::string& key, int value);
void SetSystemInfo(int key, int value);
void SetSystemSetting(int key, int value);

bool FindProgramme(unsigned long long serviceId, unsigned short eventId, TCProgramData& out);

std::vector<LogLine> Logs();
void ClearLogs();
std::vector<Launch> Launches();
std::vector<VconfWrite> VconfWrites();

}  // namespace tvsim

#endif
