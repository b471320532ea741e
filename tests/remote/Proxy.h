// A line to the server that can be cut and slowed down: a process of its own, between the client's
// socket and the server's.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

class Proxy {
  public:
    /// REQUIRES: no database is open in this process, since an open one cannot be carried into
    /// another.
    explicit Proxy(const std::string& serverFolder);
    ~Proxy();
    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;

    /// The folder of the socket that leads through it.
    const std::string& Folder() const { return m_folder; }

    /// Ends the connection instead of handing over answer number `n` from now on, counted from 0;
    /// the server has got the question. Once: later connections work. Waits until the server has
    /// the answer, or cuts as soon as it has the question.
    enum class When { Answered, Asked };
    void CutBeforeAnswer(int n, When when = When::Answered);
    /// Kills a process where it would cut.
    void KillBeforeAnswer(int n, pid_t process);
    /// Holds that answer back until it is released, and all others with it.
    void HoldBeforeAnswer(int n);
    void Release();
    /// Whether it came to that.
    bool HasCut() const;
    /// Whether nobody gets through.
    void Block(bool blocks);
    /// Holds each answer back for so long.
    void Delay(int milliseconds);
    /// How often a client asked and then waited, since the last call of this.
    int TakeRoundTrips();
    /// What clients were sent, since the last call of this.
    std::int64_t TakeBytes();

  private:
    struct Control;
    [[noreturn]] static void Serve(int listening, const std::string& server, Control& control);

    std::string m_folder;
    Control* m_control;  // memory that both processes see
    int m_process = 0;
};
