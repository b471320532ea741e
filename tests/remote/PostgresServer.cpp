#include "PostgresServer.h"

#include <grp.h>
#include <libpq-fe.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace {

constexpr const char* kPrograms = "/usr/lib/postgresql/15/bin/";

// Who the server runs as: it refuses to run as root.
const passwd* ServerUser() {
    return geteuid() == 0 ? getpwnam("postgres") : getpwuid(geteuid());
}

using Connection = std::unique_ptr<PGconn, decltype(&PQfinish)>;

}  // namespace

PostgresServer* PostgresServer::Get(Durable durable) {
    static const bool isThere = [] {
        const bool found =
            std::filesystem::exists(std::string(kPrograms) + "initdb") && ServerUser() != nullptr;
        if (!found) {
            std::cout << "PostgreSQL 15 is not installed: models in stores are not tested\n";
        }
        return found;
    }();
    if (!isThere) {
        return nullptr;
    }
    static const std::unique_ptr<PostgresServer> server(new PostgresServer(durable));
    return server.get();
}

PostgresServer::PostgresServer(Durable durable) : m_durable(durable) {
    std::string name = (std::filesystem::temp_directory_path() / "orq-pg-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no folder for the server");
    }
    m_folder = name;
    const passwd* user = ServerUser();
    if (chown(m_folder.c_str(), user->pw_uid, user->pw_gid) != 0) {
        throw std::runtime_error("no folder for the server's user");
    }
    // The others of the test program reach its socket.
    std::filesystem::permissions(m_folder, std::filesystem::perms(0755));
    int status = 0;
    waitpid(Spawn("initdb", "-D " + m_folder + "/data -A trust -U orq --no-sync -E UTF8"), &status,
            0);
    if (status != 0) {
        throw std::runtime_error("initdb failed");
    }
    Start();
}

PostgresServer::~PostgresServer() {
    Stop();
    std::filesystem::remove_all(m_folder);
}

// A program of the server's as its user; it ends with this process, however that ends.
int PostgresServer::Spawn(const std::string& program, const std::string& arguments) const {
    std::vector<std::string> words{std::string(kPrograms) + program};
    std::istringstream all(arguments);
    for (std::string word; all >> word;) {
        words.push_back(word);
    }
    std::vector<char*> given;
    for (std::string& word : words) {
        given.push_back(word.data());
    }
    given.push_back(nullptr);
    const passwd* user = ServerUser();
    const std::string log = m_folder + "/log";
    const int process = fork();
    if (process == 0) {
        const bool isUser =
            geteuid() != 0 ||
            (setgroups(0, nullptr) == 0 && setgid(user->pw_gid) == 0 && setuid(user->pw_uid) == 0);
        prctl(PR_SET_PDEATHSIG, SIGQUIT);
        if (isUser && chdir(m_folder.c_str()) == 0 &&
            std::freopen(log.c_str(), "a", stdout) != nullptr &&
            std::freopen(log.c_str(), "a", stderr) != nullptr) {
            execv(given[0], given.data());
        }
        _exit(127);
    }
    return process;
}

void PostgresServer::Start() {
    m_process =
        Spawn("postgres", "-D " + m_folder + "/data -k " + m_folder + " -c listen_addresses=" +
                              (m_durable == Durable::Yes ? "" : " -c fsync=off"));
    for (int attempt = 0; attempt < 600; ++attempt) {
        const Connection connection(PQconnectdb(Url("").c_str()), PQfinish);
        if (PQstatus(connection.get()) == CONNECTION_OK) {
            return;
        }
        usleep(20'000);
    }
    throw std::runtime_error("the server does not start");
}

void PostgresServer::Stop() {
    if (m_process > 0) {
        kill(m_process, SIGQUIT);  // its "immediate" end: no checkpoint, no answers
        waitpid(m_process, nullptr, 0);
        m_process = 0;
    }
}

void PostgresServer::CrashAndRestart() {
    Stop();
    Start();
}

std::string PostgresServer::Url(const std::string& model, const std::string& folder) const {
    return "postgresql://orq@/postgres?host=" + (folder.empty() ? m_folder : folder) +
           (model.empty() ? "" : "&model=" + model);
}

std::string PostgresServer::Ask(const std::string& sql) const {
    const Connection connection(PQconnectdb(Url("").c_str()), PQfinish);
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(
        PQexec(connection.get(), sql.c_str()), PQclear);
    const ExecStatusType status = PQresultStatus(result.get());
    if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
        throw std::runtime_error(sql + ": " + PQerrorMessage(connection.get()));
    }
    std::string text;
    for (int row = 0; row < PQntuples(result.get()); ++row) {
        text += row == 0 ? "" : "\n";
        for (int column = 0; column < PQnfields(result.get()); ++column) {
            text += (column == 0 ? "" : "|") + std::string(PQgetvalue(result.get(), row, column));
        }
    }
    return text;
}
