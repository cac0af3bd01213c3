// The bus the benchmarks send on: the one the environment names when it answers, otherwise a
// private dbus-daemon, as every television has a system bus to send change events on.
#include "BenchBus.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace benchbus {

bool SocketAnswers(const std::string& address) {
    const std::string prefix = "unix:path=";
    if (address.rfind(prefix, 0) != 0) return !address.empty();  // other transports: trust them
    std::string path = address.substr(prefix.size());
    path = path.substr(0, path.find(','));
    sockaddr_un addr{};
    if (path.size() >= sizeof addr.sun_path) return false;
    addr.sun_family = AF_UNIX;
    std::strcpy(addr.sun_path, path.c_str());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool ok = fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    if (fd >= 0) close(fd);
    return ok;
}

// Starts dbus-daemon on a socket in a fresh directory and points the system bus at it.
bool StartPrivateBus(SPrivateBus& bus) {
    char dir[] = "/tmp/bench-bus-XXXXXX";
    if (mkdtemp(dir) == nullptr) return false;
    bus.dir = dir;
    std::ofstream(bus.dir + "/bus.conf")
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>system</type><listen>unix:path="
        << bus.dir
        << "/system_bus_socket</listen><auth>EXTERNAL</auth><policy context=\"default\">"
           "<allow user=\"*\"/><allow own=\"*\"/><allow send_type=\"signal\"/>"
           "<allow receive_type=\"signal\"/><allow send_type=\"method_call\"/>"
           "<allow send_type=\"method_return\"/><allow send_type=\"error\"/>"
           "<allow receive_type=\"method_return\"/><allow receive_type=\"error\"/>"
           "</policy></busconfig>\n";
    int out[2];
    if (pipe(out) != 0) return false;
    bus.pid = fork();
    if (bus.pid == 0) {
        dup2(out[1], STDOUT_FILENO);
        const std::string config = "--config-file=" + bus.dir + "/bus.conf";
        execlp("dbus-daemon", "dbus-daemon", config.c_str(), "--nofork", "--nosyslog",
               "--print-address=1", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(out[1]);
    std::string address;
    char c = 0;
    while (read(out[0], &c, 1) == 1 && c != '\n') address += c;
    close(out[0]);
    if (address.empty()) return false;
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    return true;
}

void StopPrivateBus(SPrivateBus& bus) {
    if (bus.pid <= 0) return;
    kill(bus.pid, SIGTERM);
    waitpid(bus.pid, nullptr, 0);
    std::remove((bus.dir + "/bus.conf").c_str());
    std::remove((bus.dir + "/system_bus_socket").c_str());
    rmdir(bus.dir.c_str());
}

bool EnsureBus(SPrivateBus& bus) {
    const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    if (address != nullptr && SocketAnswers(address)) return true;
    return StartPrivateBus(bus);
}

}  // namespace benchbus
