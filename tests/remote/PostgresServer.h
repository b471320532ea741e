// A PostgreSQL of the test program's own: a cluster in a scratch folder that listens on a socket in
// it, of a user that is not root.
#pragma once

#include <string>

class PostgresServer {
  public:
    /// Whether its commits outlive a loss of power, which tests do without.
    enum class Durable { No, Yes };
    /// The one of this program, started at first use and ended with it; null, with a line that says
    /// so, where PostgreSQL is not installed.
    static PostgresServer* Get(Durable durable = Durable::No);

    ~PostgresServer();
    PostgresServer(const PostgresServer&) = delete;
    PostgresServer& operator=(const PostgresServer&) = delete;

    /// The folder of its socket.
    const std::string& Folder() const { return m_folder; }
    /// The URL of a model in it; of the store itself for an empty name. `folder` may be that of a
    /// socket that leads to it.
    std::string Url(const std::string& model, const std::string& folder = "") const;
    /// Runs SQL as the owner; the rows, columns apart by '|'.
    std::string Ask(const std::string& sql) const;

    /// Ends all its processes in the middle of whatever they do, as a crash would, and starts it
    /// again. The machine goes on, so nothing has to be on the disk for that.
    void CrashAndRestart();

  private:
    explicit PostgresServer(Durable durable);
    void Start();
    void Stop();
    int Spawn(const std::string& program, const std::string& arguments) const;

    Durable m_durable;
    std::string m_folder;
    int m_process = 0;
};
