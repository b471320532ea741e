#include "ProcessMark.h"

#include <pthread.h>
#include <unistd.h>

namespace orq::storage {

int ProcessMark::s_nForks = 0;

ProcessMark::ProcessMark() : m_process(getpid()), m_nForks(s_nForks) {
    [[maybe_unused]] static const int registered =
        pthread_atfork(nullptr, nullptr, [] { ++s_nForks; });
}

bool ProcessMark::IsOther() const {
    return IsForked() || getpid() != m_process;
}

}  // namespace orq::storage
