// Another program that runs beside this one.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace storage_benchmark {

class ChildProcess {
  public:
    explicit ChildProcess(std::vector<std::string> command);
    // Closes its input and waits for its end.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void Say(const std::string& line);
    // The next line of its output, without the end of line; empty when there is none.
    std::string Hear();
    // Waits for its end; throws unless its status is 0.
    void Finish();
    // The same, looking every half millisecond; the most anonymous memory that it was seen to have
    // resident, in MiB.
    double FinishAndWatchMemory();

  private:
    void CheckStatus(int status) const;

    std::string m_name;
    pid_t m_process = -1;  // -1 once it has been waited for
    std::FILE* m_input = nullptr;
    std::FILE* m_output = nullptr;
};

}  // namespace storage_benchmark
