// How much memory the process holds through the C allocator, which everything in it goes through.
#pragma once

#include <cstdint>
#include <functional>

namespace storage_benchmark {

// Remembers what is allocated now; Growth answers by how much more it was at most since then, in
// bytes as the allocator rounds them.
class AllocationPeak {
  public:
    AllocationPeak();
    std::int64_t Growth() const;

  private:
    std::int64_t m_before;
};

// The growth while `f` runs.
double PeakMebibytes(const std::function<void()>& f);

}  // namespace storage_benchmark
