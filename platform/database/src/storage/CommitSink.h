// Who takes the commits of a database over before they take effect in it, and what one of several
// writers needs beside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "BulkFile.h"
#include "Store.h"

namespace orq::storage {

/// One commit.
struct CommittedChange {
    std::int64_t generation = 0;           // of the state that it makes
    std::span<const std::byte> changeset;  // of the catalogue's rows
    std::vector<BulkFile::Place> written;  // of committed bytes only, in the order of the file
    BulkFile& file;
    Numbers next;  // no row of the state has these or later ones
};

/// One that somebody else made.
struct SharedCommit {
    std::int64_t generation = 0;
    std::string who;
    std::string time;
    std::vector<std::byte> changeset;
};

/// Whether a commit was done is not known.
class OutcomeUnknown : public ORQBasFailure {
  public:
    using ORQBasFailure::ORQBasFailure;
};

class CommitSink {
  public:
    /// Returns the commits that others made first: then this one was not taken, and is to be given
    /// again on top of them. What it throws undoes the commit; after OutcomeUnknown the handle also
    /// refuses.
    virtual std::vector<SharedCommit> Take(const CommittedChange& change) = 0;

  protected:
    ~CommitSink() = default;
};

/// Gives numbers of objects and sets to one of several writers: nobody else gets the same.
class NumberSource {
  public:
    /// Numbers from `begin` to before `end`, of objects and of sets; a later range lies behind all
    /// earlier ones. A range that was not asked for is empty.
    struct Range {
        Numbers begin;
        Numbers end;
    };
    enum class Of { Objects, Sets };
    /// `next` is behind all that the rows of this handle have.
    virtual Range LeaseNumbers(Of what, const Numbers& next) = 0;

  protected:
    ~NumberSource() = default;
};

}  // namespace orq::storage
