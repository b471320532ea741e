// How a commit of one of several writers is put on top of what others committed first.
//
// The transaction's rows are a changeset on the state that it began on. Where they meet none of the
// others' (see Meetings.h), the transaction is undone, the others' changesets and then its own are
// applied in a new one, and what that records is offered again. So the local catalogue commits once,
// after the store, and whoever is killed before leaves the state of before.
//
// New chunks lie behind the end of the state that the transaction began on, where the others' new
// ones lie too. They move up by what the others' take, rows and bytes; nobody has their places yet.

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <set>

#include "ChangesetWalk.h"
#include "Engine.h"
#include "Meetings.h"
#include "ORQBasFailure.h"

namespace orq::storage {

using Bound = Connection::Bound;

struct Engine::OwnChanges {
    std::vector<std::byte> changeset;      // on the state that the transaction began on
    std::int64_t begin = 0;                // where that state's bulk data ended
    std::int64_t end = 0;                  // and where it ends with what is new
    std::int64_t shift = 0;                // by which what is new was moved so far
    std::vector<BulkFile::Place> written;  // as it lies now
    std::vector<SharedCommit> others;      // since the state that the transaction began on
};

namespace {

struct ChunkKey {
    std::int64_t store;
    int part;
    std::int64_t chunk;
};

// The chunks that a changeset puts behind a place.
std::vector<ChunkKey> ChunksBehind(std::span<const std::byte> changeset, std::int64_t begin) {
    constexpr int kOffset = 3;
    std::vector<ChunkKey> keys;
    for (ChangesetWalk change(changeset); change.Next();) {
        sqlite3_value* offset = change.Table() == "extent" ? change.After(kOffset) : nullptr;
        if (offset != nullptr && sqlite3_value_int64(offset) >= begin) {
            keys.push_back(
                {change.Number(0), static_cast<int>(change.Number(1)), change.Number(2)});
        }
    }
    return keys;
}

}  // namespace

void Engine::HandOver() {
    OwnChanges own;
    own.begin = m_bulkEnds.front();
    own.end = m_chunks->BulkEnd();
    // Only what the rows own now counts: what an inner level wrote and undid may lie where chunks
    // of others are after a rebase.
    own.written = Meet(m_file.TakeNotedWrites(), ChunkPlaces());
    std::vector<SharedCommit> others;
    while (!Offer(own, others)) {
        if (own.others.empty()) {
            const std::span<const std::byte> recorded = m_recorder->Take();
            own.changeset.assign(recorded.begin(), recorded.end());
        }
        Rebase(own, std::move(others));
    }
}

// Returns whether the commit was taken; else the commits that were made first.
bool Engine::Offer(const OwnChanges& own, std::vector<SharedCommit>& others) {
    m_refused = true;  // unless it is known what became of it
    try {
        // What an inner level wrote and undid is no part of the commit.
        others = m_sink->Take({m_generation + 1, m_recorder->Take(),
                               own.written.empty() ? own.written : Meet(own.written, ChunkPlaces()),
                               m_file, NumbersBehindAll()});
    } catch (const OutcomeUnknown&) {
        throw;
    } catch (...) {
        m_refused = false;
        throw;
    }
    m_refused = false;
    return others.empty();
}

void Engine::Rebase(OwnChanges& own, std::vector<SharedCommit> others) {
    CheckDoNotMeet(own.changeset, others);
    std::ranges::move(others, std::back_inserter(own.others));
    m_catalogue->LeaveRows();
    m_catalogue->DropPending();  // with what is known of names
    m_recorder.reset();
    m_connection->Do(Bound::Rollback);
    m_connection->Do(Bound::BeginToWrite);
    const State state = ApplyOthers(own);
    if (state.bulkEnd < own.begin) {
        m_connection->FailDamaged("in state " + std::to_string(state.generation) +
                                  " the bulk data of a shared model ends before that of earlier "
                                  "states");
    }
    m_generation = state.generation;
    ReserveNumbers(state.next);
    RecordChanges();
    Replay(own, state.bulkEnd - own.begin);
    m_chunks->Forget();
    m_space->Reload();
    PutState(m_generation + 1);
    m_catalogue->LeaveRows();
    NoteFold();
    m_file.Extend(m_chunks->BulkEnd());
}

// Names what both changed by what a row belongs to.
void Engine::CheckDoNotMeet(std::span<const std::byte> changeset,
                            std::span<const SharedCommit> others) {
    constexpr std::size_t kMostNamed = 8;
    ChangedRows rows;
    for (const SharedCommit& other : others) {
        rows.Add(other.changeset, other.generation);
    }
    std::set<std::int64_t> objects;
    std::set<std::int64_t> stores;  // of chunks, whose owners are looked for at the end
    std::int64_t last = 0;
    rows.ForEachMeeting(changeset, [&](std::int64_t generation, const ChangesetWalk& change) {
        last = std::max(last, generation);
        const bool isChunk = change.Table() == "extent" || change.Table() == "small_chunk";
        std::set<std::int64_t>& met = isChunk ? stores : objects;
        if (met.size() < kMostNamed) {
            met.insert(OwnerOf(change));
        }
    });
    if (last == 0) {
        return;
    }
    for (const std::int64_t store : stores) {
        objects.merge(OwnersOfStore(store));
    }
    const SharedCommit& other = *std::ranges::find(others, last, &SharedCommit::generation);
    throw ChangesMeet(other.who + " has meanwhile committed state " + std::to_string(last) + " (" +
                          other.time +
                          "), which changes what this transaction changes, so it was "
                          "undone: ",
                      {objects.begin(), objects.end()});
}

// A look at every row of four tables.
std::set<std::int64_t> Engine::OwnersOfStore(std::int64_t store) {
    std::set<std::int64_t> owners;
    for (const char* owner : {"distribution FROM drawer", "distribution FROM drawer_segment",
                              "object FROM f_table", "collection FROM component_set"}) {
        m_connection->ForEachRow(
            ("SELECT " + std::string(owner) + " WHERE store = " + std::to_string(store)).c_str(),
            [&](const std::vector<Value>& row) { owners.insert(std::get<std::int64_t>(row[0])); });
    }
    return owners;
}

Engine::State Engine::ApplyOthers(const OwnChanges& own) {
    State state;
    std::int64_t generation = own.others.front().generation;
    for (const SharedCommit& other : own.others) {
        state = ApplyNext(other.changeset, generation++);
    }
    return state;
}

// Moves what is new up to behind the others' end.
void Engine::Replay(OwnChanges& own, std::int64_t shift) {
    std::vector<DrawerCount> counts;
    for (ChangesetWalk change(own.changeset); change.Next();) {
        if (const std::optional<DrawerCount> count = DrawerCountOf(change)) {
            counts.push_back(*count);
        }
    }
    // Rows have to be as the changeset says; drawers that others added count in the end.
    std::vector<std::int64_t> theirs;
    for (const DrawerCount& count : counts) {
        theirs.push_back(ExchangeNumDrawers(count.distribution, count.before));
    }
    ApplyChangeset(*m_connection, own.changeset, ChangedTables::ButBookkeeping);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        ExchangeNumDrawers(counts[i].distribution, theirs[i] + counts[i].after - counts[i].before);
    }
    for (ChangesetWalk change(own.changeset); change.Next();) {
        if (change.Table() == "free_extent" && change.Operation() == SQLITE_INSERT) {
            const std::int64_t offset = change.Number(0);
            m_catalogue->Put(FreeExtentRow{offset + (offset >= own.begin ? shift : 0),
                                           change.Number(1), m_generation + 1});
        }
    }
    MoveChunks(own, shift);
    m_chunks->BulkEnd() = own.end + shift;
}

// Returns what was there.
std::int64_t Engine::ExchangeNumDrawers(std::int64_t distribution, std::int64_t count) {
    const std::string where = " WHERE object = " + std::to_string(distribution);
    std::int64_t before = 0;
    m_connection->ForEachRow(("SELECT n_drawers FROM distribution" + where).c_str(),
                             [&](const std::vector<Value>& row) {
                                 if (const auto* number = std::get_if<std::int64_t>(&row[0])) {
                                     before = *number;
                                 } else {
                                     m_connection->FailDamaged("a number of drawers is none");
                                 }
                             });
    m_connection->Execute(
        ("UPDATE distribution SET n_drawers = " + std::to_string(count) + where).c_str());
    return before;
}

void Engine::MoveChunks(OwnChanges& own, std::int64_t shift) {
    std::vector<BulkFile::Place> moved;  // as they were first
    for (const ChunkKey& key : ChunksBehind(own.changeset, own.begin)) {
        auto row = m_catalogue->Find<ExtentRow>(key.store, key.part, key.chunk);
        if (!row.Next()) {
            m_connection->FailDamaged("a chunk that was just written is not there");
        }
        const std::vector<std::byte> checksums(row->checksums.begin(), row->checksums.end());
        const ExtentRow there{key.store,     key.part,    key.chunk, row->offset + shift,
                              row->capacity, row->length, checksums, {}};
        moved.push_back({row->offset, row->length});
        m_catalogue->Put(there);
    }
    if (shift == own.shift) {
        return;
    }
    // What was written there before is in the others' places now. Notes of neighbours are joined, so
    // one may begin before the end of the state and go on behind it.
    own.written = Meet(std::move(own.written), {{0, own.begin}});
    // Pieces move from the last one on, since they may move up into one another.
    std::ranges::sort(moved, std::ranges::greater(), &BulkFile::Place::offset);
    for (const BulkFile::Place& place : moved) {
        MoveBytes({place.offset + own.shift, place.size}, place.offset + shift);
    }
    std::ranges::move(m_file.TakeNotedWrites(), std::back_inserter(own.written));
    own.shift = shift;
}

void Engine::MoveBytes(const BulkFile::Place& from, std::int64_t to) {
    constexpr std::int64_t kAtOnce = 4 << 20;
    for (std::int64_t end = from.size; end > 0;) {
        const std::int64_t begin = (end - 1) / kAtOnce * kAtOnce;
        // A copy, since both places may overlap and the map shows what is being written.
        const std::byte* bytes = m_file.Map(from.offset + begin, end - begin);
        const std::vector<std::byte> copy(bytes, bytes + (end - begin));
        m_file.Write(to + begin, copy, end == from.size);
        end = begin;
    }
    m_file.Flush();
}

// --- Numbers -------------------------------------------------------------------------------------

void Engine::TakeNumbersFrom(NumberSource* source) {
    m_numbers = source;
    m_next = m_end = {0, 0};  // none, until there is a range
}

void Engine::LeaseNumbers(NumberSource::Of what) {
    if (m_numbers == nullptr) {
        ORQBasThrowUsage(m_directory + ": all numbers of objects or sets are used");
    }
    const NumberSource::Range range = m_numbers->LeaseNumbers(what, m_seen);
    m_leased.push_back(range);
    if (what == NumberSource::Of::Objects) {
        m_next.object = range.begin.object;
        m_end.object = range.end.object;
    } else {
        m_next.set = range.begin.set;
        m_end.set = range.end.set;
    }
}

bool Engine::MayHaveGiven(std::int64_t object, int set) const {
    return m_numbers == nullptr ||
           std::ranges::any_of(m_leased, [&](const NumberSource::Range& range) {
               return (range.begin.object <= object && object < range.end.object) ||
                      (range.begin.set <= set && set < range.end.set);
           });
}

}  // namespace orq::storage
