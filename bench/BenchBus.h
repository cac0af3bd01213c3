#pragma once

#include <sys/types.h>

#include <string>

namespace benchbus {

struct SPrivateBus {
    pid_t pid = -1;
    std::string dir;
};

// Whether something listens at a D-Bus address (a transport other than a Unix path is trusted).
bool SocketAnswers(const std::string& address);
// Starts dbus-daemon on a socket in a fresh directory and points the system bus at it.
bool StartPrivateBus(SPrivateBus& bus);
// Keeps the bus DBUS_SYSTEM_BUS_ADDRESS names when it answers; otherwise starts a private one.
bool EnsureBus(SPrivateBus& bus);
void StopPrivateBus(SPrivateBus& bus);

}  // namespace benchbus
