#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ORQBasExport.h"

/// Stores that hold models for many machines. A model in one has a URL for its name,
/// postgresql://USER\@HOST/DB?model=NAME, which ORQSimDatabase takes wherever it takes a directory;
/// with \@GENERATION behind it, an earlier state of the model, which can only be read.
///
/// One handle writes to a model at a time, or with the parameter writers=many in each of their URLs
/// several do. Then a commit goes on top of what others have committed since this handle last did,
/// and from there on the handle sees it. Where both changed the same, the commit is undone and
/// throws Busy, which names what they met in; the handle sees the others' commits then, and the
/// transaction can be made anew. docs/many-machines.md says what meets.
///
/// Failures are ORQBasFailure: Usage for a URL that is not well-formed or has a password in it, and
/// where this library was built without libpq; Io where the store cannot be reached or refuses;
/// Damaged for what it gives and cannot have been given. Their texts name the model.
class ORQ_EXPORT ORQSimModelStore {
  public:
    /// Whether a name is meant as a URL.
    static bool IsUrl(std::string_view name);

    /// Makes the tables and roles in a store; `url` needs no model. What is there stays. Returns
    /// what this user may not make and a store can do without, one text each.
    static std::vector<std::string> Prepare(const std::string& url);

    /// Whether there is a model of the name. Cost: one round trip.
    static bool Has(const std::string& url);
    /// The name of the model, for example "wing". The store is not asked.
    static std::string NameOf(const std::string& url);

    /// One committed state.
    struct State {
        std::int64_t generation;
        std::string time;             // of the commit, by the store's clock
        std::int64_t ageSeconds;      // since then
        std::string who;              // process and host
        std::string summary;          // rows added (+), changed (~) and removed (-), by table
        std::int64_t changesetBytes;  // of rows
        std::int64_t pieceBytes;      // of bulk data
    };
    /// The states that can be read, newest first. Cost: two round trips.
    static std::vector<State> Log(const std::string& url);

    /// Drops the states before a generation, and bulk data that only they have. Later states stay
    /// as they are. Returns how many pieces of bulk data were dropped.
    static std::int64_t DropBefore(const std::string& url, std::int64_t generation);
};
