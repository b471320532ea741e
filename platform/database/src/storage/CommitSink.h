// Who takes the commits of a database over before they take effect in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "BulkFile.h"
#include "ORQBasFailure.h"

namespace orq::storage {

/// One commit.
struct CommittedChange {
    std::int64_t generation = 0;           // of the state that it makes
    std::span<const std::byte> changeset;  // of the catalogue's rows
    std::vector<BulkFile::Place> written;  // of committed bytes only, in the order of the file
    BulkFile& file;
};

/// Whether a commit was done is not known.
class OutcomeUnknown : public ORQBasFailure {
  public:
    using ORQBasFailure::ORQBasFailure;
};

class CommitSink {
  public:
    /// What it throws undoes the commit; after OutcomeUnknown the handle also refuses.
    virtual void Take(const CommittedChange& change) = 0;

  protected:
    ~CommitSink() = default;
};

}  // namespace orq::storage
