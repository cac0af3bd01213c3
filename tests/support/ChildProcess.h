// Other processes of a test: a child with its standard input and output on pipes, and a bus
// daemon of the test's own that can be killed and started again at the same address.
#ifndef REMINDER_TEST_CHILD_PROCESS_H
#define REMINDER_TEST_CHILD_PROCESS_H

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace testsupport {

// `env` adds to or replaces our environment; `mergeErrors` sends standard error to the output
// pipe too. Killed when destroyed.
class CChild {
public:
    explicit CChild(std::vector<std::string> args,
                    const std::map<std::string, std::string>& env = {}, bool mergeErrors = false) {
        std::vector<char*> argv(args.size() + 1, nullptr);
        std::transform(args.begin(), args.end(), argv.begin(), [](auto& s) { return s.data(); });
        int in[2], out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) return;
        if ((m_pid = fork()) == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            if (mergeErrors) dup2(out[1], STDERR_FILENO);
            for (const auto& [name, value] : env) setenv(name.c_str(), value.c_str(), 1);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        m_in = in[1];
        m_out = out[0];
    }
    CChild(const CChild&) = delete;
    CChild& operator=(const CChild&) = delete;
    ~CChild() {
        Wait(0);
        close(m_in);
        close(m_out);
    }

    // The next line of output without its end; empty at end of output or after `timeoutMs`.
    std::string ReadLine(int timeoutMs) {
        const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        size_t end;
        while ((end = m_buffer.find('\n')) == std::string::npos) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
            if (!Fill(static_cast<int>(std::max<long>(left.count(), 0)))) return "";
        }
        std::string line = m_buffer.substr(0, end);
        m_buffer.erase(0, end + 1);
        return line;
    }
    // Every complete line that can be read without waiting.
    std::vector<std::string> ReadAvailable() {
        std::vector<std::string> lines;
        for (std::string line; !(line = ReadLine(0)).empty();) lines.push_back(line);
        return lines;
    }
    bool WriteLine(const std::string& line) {
        const std::string text = line + "\n";
        return write(m_in, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    }
    void Signal(int signal) const {
        if (m_pid > 0) kill(m_pid, signal);
    }
    // Its exit code, or 128 + the signal that ended it; still running after `timeoutMs`, it is
    // killed with SIGKILL. Output is drained meanwhile (a child may block on a full pipe) and
    // stays readable.
    int Wait(int timeoutMs) {
        if (m_pid <= 0) return -1;
        const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        int status = 0;
        pid_t done = 0;
        while ((done = waitpid(m_pid, &status, WNOHANG)) == 0 && Clock::now() < deadline) {
            if (!Fill(20)) usleep(20000);
        }
        if (done == 0 && kill(m_pid, SIGKILL) == 0) waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    using Clock = std::chrono::steady_clock;
    bool Fill(int timeoutMs) {
        pollfd fd = {m_out, POLLIN, 0};
        char chunk[4096];
        if (m_out < 0 || poll(&fd, 1, timeoutMs) <= 0) return false;
        const ssize_t n = read(m_out, chunk, sizeof chunk);
        if (n > 0) m_buffer.append(chunk, static_cast<size_t>(n));
        return n > 0;
    }

    pid_t m_pid = -1;
    int m_in = -1, m_out = -1;
    std::string m_buffer;
};

// A dbus-daemon on a fixed socket of the test's own; started when made, killed when destroyed.
class CTestBus {
public:
    CTestBus() { Start(); }
    ~CTestBus() { Kill(); }
    std::string Address() const { return "unix:path=" + m_socket; }
    // False when the daemon did not come up.
    bool Start() {
        Kill();
        m_daemon.reset(new CChild({"dbus-daemon", "--session", "--nofork", "--nosyslog",
                                   "--print-address=1", "--address=" + Address()}));
        return !m_daemon->ReadLine(5000).empty();
    }
    void Kill() {
        Signal(SIGCONT);
        m_daemon.reset();
        std::remove(m_socket.c_str());
    }
    void Signal(int signal) const {
        if (m_daemon) m_daemon->Signal(signal);
    }

private:
    std::string m_socket = "/tmp/reminder-bus-" + std::to_string(getpid()) + "-" +
                           std::to_string(reinterpret_cast<uintptr_t>(this));
    std::unique_ptr<CChild> m_daemon;
};

}  // namespace testsupport

#endif
