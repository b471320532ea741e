// Which process something belongs to. A child of fork() has all of its parent's memory, and with it
// handles whose locks and files are the parent's.
#pragma once

namespace orq::storage {

class ProcessMark {
  public:
    // Marks this process.
    ProcessMark();

    int Number() const { return m_process; }
    // Whether this is another process now: a comparison that knows of every fork() that runs the
    // handlers of pthread_atfork.
    bool IsForked() const { return m_nForks != s_nForks; }
    // The same for any other way to become another process, for the price of a system call.
    bool IsOther() const;

  private:
    static int s_nForks;  // from the first process on to this one

    int m_process;
    int m_nForks;
};

}  // namespace orq::storage
