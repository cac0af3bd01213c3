#include "ReliabilitySupport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

namespace reliability {

Child::Child(const std::vector<std::string>& args, const Env& env) {
    std::vector<char*> argv;
    for (const auto& s : args) argv.push_back(const_cast<char*>(s.c_str()));
    argv.push_back(nullptr);
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0) return;
    if (pipe2(out, O_CLOEXEC) != 0) {
        close(in[0]);
        close(in[1]);
        return;
    }
    m_pid = fork();
    if (m_pid == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        for (const auto& kv : env) setenv(kv.first.c_str(), kv.second.c_str(), 1);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    m_in = in[1];
    m_out = out[0];
}

Child::~Child() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    if (m_in >= 0) close(m_in);
    if (m_out >= 0) close(m_out);
}

bool Child::Fill(int timeoutMs) {
    pollfd fd = {m_out, POLLIN, 0};
    if (m_out < 0 || poll(&fd, 1, timeoutMs) <= 0) return false;
    char chunk[4096];
    const ssize_t n = read(m_out, chunk, sizeof chunk);
    if (n <= 0) return false;
    m_buffer.append(chunk, static_cast<size_t>(n));
    return true;
}

std::string Child::ReadLine(int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (true) {
        const size_t end = m_buffer.find('\n');
        if (end != std::string::npos) {
            std::string line = m_buffer.substr(0, end);
            m_buffer.erase(0, end + 1);
            return line;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                              deadline - std::chrono::steady_clock::now())
                              .count();
        if (left <= 0 || !Fill(static_cast<int>(left))) return "";
    }
}

std::vector<std::string> Child::ReadAvailable() {
    while (Fill(0)) {
    }
    std::vector<std::string> lines;
    size_t end;
    while ((end = m_buffer.find('\n')) != std::string::npos) {
        lines.push_back(m_buffer.substr(0, end));
        m_buffer.erase(0, end + 1);
    }
    return lines;
}

void Child::WriteLine(const std::string& line) {
    const std::string text = line + "\n";
    if (m_in >= 0 && write(m_in, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        ADD_FAILURE() << "could not write to the child";
    }
}

void Child::Signal(int signal) const {
    if (m_pid > 0) kill(m_pid, signal);
}

int Child::Wait(int timeoutMs) {
    if (m_pid <= 0) return -1;
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    pid_t done = 0;
    while ((done = waitpid(m_pid, &status, WNOHANG)) == 0 &&
           std::chrono::steady_clock::now() < deadline) {
        // Keep draining, so a child blocked on a full pipe can finish.
        if (!Fill(20)) usleep(20000);
    }
    if (done == 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, &status, 0);
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::vector<std::string> Worker(const std::vector<std::string>& args) {
    std::vector<std::string> command{RELIABILITY_WORKER};
    command.insert(command.end(), args.begin(), args.end());
    return command;
}

std::string DatabasePath() {
    const char* path = std::getenv("REMINDER_DB_PATH");
    return path != nullptr ? path : "";
}

std::string TempDatabase(const std::string& name) {
    const char* tmp = std::getenv("TMPDIR");
    const std::string path = std::string(tmp != nullptr ? tmp : "/tmp") + "/reminder-reliab-" +
                             std::to_string(getpid()) + "-" + name;
    std::remove(path.c_str());
    std::remove((path + "-journal").c_str());
    return path;
}

namespace {
struct DbClose {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using Db = std::unique_ptr<sqlite3, DbClose>;

Db Open(const std::string& path, int flags) {
    sqlite3* raw = nullptr;
    sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
    Db db(raw);
    if (db) sqlite3_busy_timeout(db.get(), 10000);
    return db;
}
}  // namespace

// Read-write, as any next user of the file: a writer killed mid-transaction leaves a journal
// that the next connection rolls back, which a read-only connection cannot do.
std::string IntegrityCheck(const std::string& path) {
    const Db db = Open(path, SQLITE_OPEN_READWRITE);
    char** table = nullptr;
    int rows = 0;
    int columns = 0;
    std::string result = "<failed>";
    if (sqlite3_get_table(db.get(), "PRAGMA integrity_check", &table, &rows, &columns, nullptr) ==
            SQLITE_OK &&
        rows > 0) {
        result = table[columns] != nullptr ? table[columns] : "<null>";
    }
    sqlite3_free_table(table);
    return result;
}

bool StoredTitles(const std::string& path, std::multiset<std::string>* titles) {
    const Db db = Open(path, SQLITE_OPEN_READWRITE);
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db.get(), "SELECT Title FROM Items", -1, &statement, nullptr) !=
        SQLITE_OK) {
        return false;
    }
    int result;
    while ((result = sqlite3_step(statement)) == SQLITE_ROW) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
        titles->insert(text != nullptr ? text : "");
    }
    sqlite3_finalize(statement);
    return result == SQLITE_DONE;
}

bool ExecSql(const std::string& path, const std::string& sql) {
    const Db db = Open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    return db && sqlite3_exec(db.get(), sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

void Figure(const std::string& name, const std::string& value) {
    std::cout << "FIGURE " << ::testing::UnitTest::GetInstance()->current_test_info()->name() << " "
              << name << " " << value << std::endl;
    ::testing::Test::RecordProperty(name, value);
}

void Figure(const std::string& name, long value) {
    Figure(name, std::to_string(value));
}

RestartableBus::RestartableBus() {
    char dir[] = "/tmp/reminder-reliab-bus-XXXXXX";
    if (mkdtemp(dir) == nullptr) return;
    m_dir = dir;
    std::ifstream in(std::string(REMINDER_SOURCE_DIR) + "/tests/support/test-bus.conf");
    std::stringstream text;
    text << in.rdbuf();
    std::string config = text.str();
    config.replace(config.find("@BUS_DIR@"), 9, m_dir);
    std::ofstream(m_dir + "/bus.conf") << config;
    m_address = "unix:path=" + m_dir + "/system_bus_socket";
}

RestartableBus::~RestartableBus() {
    Kill();
    if (!m_dir.empty()) std::filesystem::remove_all(m_dir);
}

bool RestartableBus::Start() {
    Kill();
    std::remove((m_dir + "/system_bus_socket").c_str());
    m_daemon = std::make_unique<Child>(
        std::vector<std::string>{"/usr/bin/dbus-daemon", "--config-file=" + m_dir + "/bus.conf",
                                 "--nofork", "--nosyslog", "--print-address=1"});
    return !m_daemon->ReadLine(5000).empty();
}

void RestartableBus::Kill() {
    if (m_daemon) {
        m_daemon->Signal(SIGCONT);
        m_daemon.reset();  // SIGKILL and reap
    }
}

void RestartableBus::Signal(int signal) const {
    if (m_daemon) m_daemon->Signal(signal);
}

}  // namespace reliability
