#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "DatabaseState.h"
#include "storage/Salvage.h"

namespace orq::database {

/// Something in which rows contradict one another.
struct Flaw {
    std::string text;
    /// Takes it away, alone; that may leave flaws in what refers to it. Does nothing where it is
    /// gone already or goes with another flaw.
    std::function<void()> remove;
    /// Where it is a drawer: its distribution and number.
    std::int64_t distribution = 0;
    int drawer = 0;
    /// Whether it mostly follows from another flaw, and goes with that.
    bool isLastResort = false;
};

/// The flaws that were found so far, and what the search for them needs all along. With a salvage
/// from which the rows came, partly recovered data is a flaw even if it looks complete.
class FlawReport {
  public:
    using Remove = std::function<void()>;
    /// An unknown size.
    static constexpr std::int64_t kUnknown = std::numeric_limits<std::int64_t>::max();

    /// `goOn` is called all along; what it throws ends the search. Both must outlive this.
    FlawReport(DatabaseState& state, const storage::Salvage* salvage,
               const std::function<void()>& goOn)
        : m_state(state), m_salvage(salvage), m_goOn(goOn) {}

    DatabaseState& State() { return m_state; }
    /// Every loop of a search looks rows up, so here it can be ended.
    storage::RowStore& Rows() {
        m_goOn();
        return m_state.Rows();
    }
    std::vector<Flaw>& Flaws() { return m_flaws; }

    void Add(std::string text, Remove remove);
    void AddObject(std::int64_t object, const std::string& text);
    void AddSet(std::int64_t collection, int set, const std::string& text);
    void AddDrawer(std::int64_t distribution, int drawer, const std::string& text);
    /// A row of which the object or the row of another table that it belongs to is missing; its
    /// key begins with that and a second number.
    void AddPart(storage::Table table, std::int64_t owner, int second);

    /// Erases the rows whose key begins so.
    template <class... Keys>
    Remove RemoveRow(storage::Table table, Keys... keys) {
        return [state = &m_state, table, keys...] { state->Rows().Erase(table, keys...); };
    }

    /// What an object, or what a link leads to, is called.
    std::string Show(std::int64_t object);
    std::string ShowTarget(const ORQSimDynamicID& id);
    bool Exists(const ORQSimDynamicID& id);

    template <class... Keys>
    bool MayHaveLost(storage::Table table, Keys... keys) const {
        return m_salvage != nullptr && m_salvage->MayHaveLost(table, keys...);
    }
    bool MayHaveLostAbove(storage::Table table, std::int64_t key0, std::int64_t key1) const {
        return m_salvage != nullptr && m_salvage->MayHaveLostAbove(table, key0, key1);
    }
    /// What a store's data has lost, in words; empty where it is whole, as far as a salvage knows.
    /// `size` is what it would be if no chunk were missing.
    std::string Loss(std::int64_t store, std::int64_t size);
    std::string Loss(const storage::StoredMembers& members) {
        return Loss(members.store, std::int64_t{members.count} * 4);
    }
    std::int64_t StoredBytes(std::int64_t store);
    /// Calls f(number, length) for each chunk of a store, whatever its part.
    template <class F>
    void ForEachChunk(std::int64_t store, F&& f) {
        for (const storage::SmallChunkRow& row : Rows().Find<storage::SmallChunkRow>(store)) {
            f(std::int64_t{0}, std::ssize(row.bytes));
        }
        for (const storage::ExtentRow& row : Rows().Find<storage::ExtentRow>(store)) {
            f(row.chunk, row.length);
        }
    }

    /// Notes that a store of bulk data has an owner; a flaw where it has one already. `remove`
    /// removes the new owner.
    void Own(std::int64_t store, Remove remove);
    bool IsOwned(std::int64_t store) const { return m_stores.contains(store); }

  private:
    DatabaseState& m_state;
    const storage::Salvage* m_salvage;
    const std::function<void()>& m_goOn;
    std::vector<Flaw> m_flaws;
    std::set<std::int64_t> m_stores;
};

}  // namespace orq::database
