// A second process that runs a script step by step, while the test does its own part in between.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"

// REQUIRES: no database is open in the process that makes it, since an open one cannot be carried
// into another process. Every step answers a text.
class Peer {
  public:
    using Step = std::function<std::string()>;

    explicit Peer(const std::vector<Step>& script) {
        int toPeer[2];
        int fromPeer[2];
        if (pipe2(toPeer, O_CLOEXEC) != 0 || pipe2(fromPeer, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        m_process = fork();
        if (m_process == 0) {
            close(toPeer[1]);
            close(fromPeer[0]);
            Play(script, toPeer[0], fromPeer[1]);
        }
        close(toPeer[0]);
        close(fromPeer[1]);
        m_go = toPeer[1];
        m_answer = fromPeer[0];
    }
    // Lets the process end, or ends it.
    ~Peer() {
        close(m_go);
        close(m_answer);
        End();
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // Lets the process make its next step and waits for its answer; what it throws is answered as
    // its text.
    std::string Run() {
        Go();
        return Answer();
    }
    void Go() const { [[maybe_unused]] const auto n = write(m_go, "g", 1); }
    // Empty when the process has died.
    std::string Answer() const {
        std::string answer;
        for (char c = 0; read(m_answer, &c, 1) == 1 && c != '\0';) {
            answer += c;
        }
        return answer;
    }
    int Process() const { return m_process; }
    void Kill() {
        kill(m_process, SIGKILL);
        End();
    }
    // Waits until the process has ended, as it does after its last step.
    void End() {
        if (m_process > 0) {
            waitpid(m_process, nullptr, 0);
            m_process = 0;
        }
    }

  private:
    [[noreturn]] static void Play(const std::vector<Step>& script, int go, int answers) {
        for (const Step& step : script) {
            char c = 0;
            if (read(go, &c, 1) != 1) {
                break;
            }
            std::string answer;
            try {
                answer = step();
            } catch (const ORQBasFailure& failure) {
                answer = failure.Text();
            }
            if (write(answers, answer.c_str(), answer.size() + 1) < 0) {
                break;
            }
        }
        // As a crash would: nothing is closed in order.
        _exit(0);
    }

    int m_process = 0;
    int m_go = -1;
    int m_answer = -1;
};
