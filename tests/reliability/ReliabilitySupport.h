// Helpers of the reliability suite: child processes, a bus daemon that can be killed and started
// again, and looks at the booking file through a connection of the test's own.
#ifndef RELIABILITY_SUPPORT_H
#define RELIABILITY_SUPPORT_H

#include <sys/types.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace reliability {

using Env = std::map<std::string, std::string>;

// A child process with its standard input and output on pipes; `env` adds to or replaces our
// environment. Killed when destroyed.
class Child {
public:
    Child(const std::vector<std::string>& args, const Env& env = {});
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();

    pid_t Pid() const { return m_pid; }
    int OutputFd() const { return m_out; }
    // The next line of output without its end; empty at end of output or after `timeoutMs`.
    std::string ReadLine(int timeoutMs);
    // Every complete line that can be read without waiting.
    std::vector<std::string> ReadAvailable();
    void WriteLine(const std::string& line);
    void Signal(int signal) const;
    // How the child ended: its exit code, or 128 + the signal that ended it. A child still
    // running after `timeoutMs` is killed with SIGKILL (and reports 128 + 9). Remaining output
    // stays readable with ReadAvailable.
    int Wait(int timeoutMs);

private:
    bool Fill(int timeoutMs);

    pid_t m_pid = -1;
    int m_in = -1;
    int m_out = -1;
    std::string m_buffer;
};

// The worker process of the suite (reliability_worker.cpp).
std::vector<std::string> Worker(const std::vector<std::string>& args);
// The test process's database file.
std::string DatabasePath();
// A fresh database file path in the temporary directory (removed first).
std::string TempDatabase(const std::string& name);

// What SQLite's own check says of the file, read by a connection of its own.
std::string IntegrityCheck(const std::string& path);
// Titles of every row, or false when the file could not be read.
bool StoredTitles(const std::string& path, std::multiset<std::string>* titles);
// Runs statements on the file with a connection of our own; false on any failure.
bool ExecSql(const std::string& path, const std::string& sql);

// Prints one measured figure of the suite ("FIGURE <name> <value>") and records it in the test's
// XML output.
void Figure(const std::string& name, long value);
void Figure(const std::string& name, const std::string& value);

// A dbus-daemon of our own, from the tests' bus configuration, listening on a fixed socket so
// that it can be killed and started again at the same address.
class RestartableBus {
public:
    RestartableBus();
    RestartableBus(const RestartableBus&) = delete;
    RestartableBus& operator=(const RestartableBus&) = delete;
    ~RestartableBus();

    const std::string& Address() const { return m_address; }
    bool Start();
    void Kill();
    void Signal(int signal) const;

private:
    std::string m_dir;
    std::string m_address;
    std::unique_ptr<Child> m_daemon;
};

}  // namespace reliability

#endif
