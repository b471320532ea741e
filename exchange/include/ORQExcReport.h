#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "ORQBasExport.h"

/// What became of one object, or of a group of like objects, on the way in or out.
enum class ORQExcOutcome { Kept, Noted, Found, Changed, Dropped };

struct ORQExcReportEntry {
    ORQExcOutcome outcome;
    std::string kind;    // "nodes", "element block", ...
    std::string name;    // Empty for a group without a name.
    std::int64_t count;  // Members: nodes of a set, elements of a block, values of a group.
    std::string reason;  // Of a kept object: what is odd about it, mostly empty.
};

/// The account that an import or export gives of every object it met.
///
/// Entries keep the order in which they were added. Names and reasons may come from foreign files:
/// bytes that are not UTF-8, and control characters, become U+FFFD when an entry is added, so that
/// the report can be printed and parsed.
class ORQ_EXPORT ORQExcReport {
  public:
    void Keep(std::string_view kind, std::string_view name, std::int64_t count);
    /// Enters what is kept as the file has it, and looks wrong.
    void Note(std::string_view kind, std::string_view name, std::int64_t count,
              std::string_view reason);
    /// Enters what is wrong in the file, and kept as far as it can be.
    void Find(std::string_view kind, std::string_view name, std::int64_t count,
              std::string_view reason);
    void Change(std::string_view kind, std::string_view name, std::int64_t count,
                std::string_view reason);
    void Drop(std::string_view kind, std::string_view name, std::int64_t count,
              std::string_view reason);
    /// An entry of any outcome.
    void Add(ORQExcOutcome outcome, std::string_view kind, std::string_view name,
             std::int64_t count, std::string_view reason);
    void Append(const ORQExcReport& other);

    bool HasDrops() const { return Has(ORQExcOutcome::Dropped); }
    bool HasFindings() const { return Has(ORQExcOutcome::Found); }
    const std::vector<ORQExcReportEntry>& Entries() const { return m_entries; }

    /// One line per entry under the headings "kept", "noted", "findings", "changed" and "dropped"; a heading
    /// without entries is left out. For example
    ///
    ///     kept
    ///       nodes: 60
    ///     dropped
    ///       node set "clamp": 20 (sets are not imported)
    void Print(std::ostream& out) const;
    /// The same on one screen: a table of how many objects of each kind had which outcome, in brackets
    /// how many members these have, then what was not just kept, one line for a reason. Of a kind
    /// that has more reasons than a few, the others are counted.
    ///
    ///       kind      kept     dropped
    ///       nodes     60
    ///       node set  1 (8)    2 (20)
    ///     dropped
    ///       node set, 2 of them: 20 (the format has no place for sets)
    void PrintSummary(std::ostream& out) const;

  private:
    bool Has(ORQExcOutcome outcome) const;

    std::vector<ORQExcReportEntry> m_entries;
};
