#include "Proxy.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

struct Proxy::Control {
    std::atomic<int> answersLeft{-1};  // before the cut; none is wanted below 0
    std::atomic<bool> waits{true};
    std::atomic<bool> hasCut{false};
    std::atomic<bool> blocks{false};
    std::atomic<bool> holds{false};
    std::atomic<int> nRoundTrips{0};
    std::atomic<pid_t> victim{0};
    std::atomic<int> delay{0};
    std::atomic<std::int64_t> nBytes{0};
};

namespace {

sockaddr_un AddressIn(const std::string& folder) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (folder + "/.s.PGSQL.5432").c_str(),
                 sizeof address.sun_path - 1);
    return address;
}

struct Line {
    int client;
    int server;
    bool hasAsked = false;  // since the last answer
};

// Hands over what has come, and counts it; false at the end of the line.
bool HandOver(int from, int to, std::atomic<std::int64_t>* count = nullptr) {
    std::array<char, 1 << 16> bytes{};
    const ssize_t n = read(from, bytes.data(), bytes.size());
    for (ssize_t done = 0; done < n;) {
        const ssize_t written =
            send(to, bytes.data() + done, static_cast<std::size_t>(n - done), MSG_NOSIGNAL);
        if (written <= 0) {
            return false;
        }
        done += written;
        if (count != nullptr) {
            *count += written;
        }
    }
    return n > 0;
}

}  // namespace

Proxy::Proxy(const std::string& serverFolder) {
    std::string name = (std::filesystem::temp_directory_path() / "orq-proxy-XXXXXX").string();
    void* shared =
        mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (mkdtemp(name.data()) == nullptr || shared == MAP_FAILED || listening < 0) {
        throw std::runtime_error("no proxy");
    }
    m_folder = name;
    m_control = new (shared) Control;
    const sockaddr_un address = AddressIn(m_folder);
    if (bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listening, 16) != 0) {
        throw std::runtime_error("the proxy cannot listen");
    }
    m_process = fork();
    if (m_process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        Serve(listening, serverFolder, *m_control);
    }
    close(listening);
}

Proxy::~Proxy() {
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
    munmap(m_control, sizeof(Control));
    std::filesystem::remove_all(m_folder);
}

void Proxy::CutBeforeAnswer(int n, When when) {
    m_control->waits = when == When::Answered;
    m_control->hasCut = false;
    m_control->victim = 0;
    m_control->answersLeft = n;
}

void Proxy::KillBeforeAnswer(int n, pid_t process) {
    CutBeforeAnswer(n);
    m_control->victim = process;
}

void Proxy::HoldBeforeAnswer(int n) {
    m_control->holds = true;
    CutBeforeAnswer(n);
}

void Proxy::Release() {
    m_control->holds = false;
}

bool Proxy::HasCut() const {
    return m_control->hasCut;
}

void Proxy::Block(bool blocks) {
    m_control->blocks = blocks;
}

void Proxy::Delay(int milliseconds) {
    m_control->delay = milliseconds;
}

std::int64_t Proxy::TakeBytes() {
    return m_control->nBytes.exchange(0);
}

int Proxy::TakeRoundTrips() {
    return m_control->nRoundTrips.exchange(0);
}

void Proxy::Serve(int listening, const std::string& server, Control& control) {
    std::vector<Line> lines;
    const auto end = [&](Line& line) {
        close(line.client);
        close(line.server);
        line.client = -1;
    };
    for (;;) {
        std::vector<pollfd> waits{{listening, POLLIN, 0}};
        for (const Line& line : lines) {
            waits.push_back({line.client, POLLIN, 0});
            waits.push_back({line.server, POLLIN, 0});
        }
        poll(waits.data(), waits.size(), -1);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            Line& line = lines[i];
            bool lives = true;
            if (waits[1 + 2 * i].revents != 0) {
                lives = HandOver(line.client, line.server);
                const bool begins = !std::exchange(line.hasAsked, true);
                if (begins && !control.waits && control.answersLeft == 0) {
                    control.answersLeft = -1;
                    control.hasCut = true;
                    lives = false;
                }
            }
            if (lives && waits[2 + 2 * i].revents != 0) {
                char first = 0;  // of the answer; none where the server ends the line
                const bool answers = recv(line.server, &first, 1, MSG_PEEK) == 1;
                if (answers && std::exchange(line.hasAsked, false)) {
                    ++control.nRoundTrips;
                    usleep(static_cast<useconds_t>(1000 * control.delay));
                    if (control.answersLeft >= 0 && control.answersLeft-- == 0) {
                        if (const pid_t victim = control.victim; victim != 0) {
                            kill(victim, SIGKILL);
                        }
                        lives = control.holds;
                        // The server goes on until its answer is there, and longer.
                        usleep(20'000);
                        control.hasCut = true;
                        while (control.holds) {
                            usleep(1000);
                        }
                    }
                }
                lives = lives && HandOver(line.server, line.client, &control.nBytes);
            }
            if (!lives) {
                end(line);
            }
        }
        std::erase_if(lines, [](const Line& line) { return line.client < 0; });
        if (waits[0].revents != 0) {
            const int client = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
            const int onward = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
            const sockaddr_un address = AddressIn(server);
            if (control.blocks ||
                connect(onward, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
                close(client);
                close(onward);
            } else {
                lines.push_back({client, onward});
            }
        }
    }
}
