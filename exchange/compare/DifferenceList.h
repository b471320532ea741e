#pragma once

#include <string>
#include <vector>

#include "ORQExcDifference.h"

namespace orq::exchange {

using DifferenceKind = ORQExcDifference::Kind;

/// Numbers as differences show them: the shortest text that reads back as the same; "none" for what
/// is no number.
std::string NumberText(double value);

/// The differences found so far, and what counts as one.
class DifferenceList {
  public:
    explicit DifferenceList(const ORQExcComparison& options) : m_options(options) {}

    const ORQExcComparison& Options() const { return m_options; }
    std::vector<ORQExcDifference>& All() { return m_all; }

    /// Equality as ORQExcComparison defines it.
    bool AreEqual(double a, double b) const;
    /// The same for a distance between two places of that distance from the origin.
    bool IsNoDistance(double distance, double a, double b) const;

    ORQExcDifference& Add(DifferenceKind kind, ORQExcDifference::Change change,
                          const std::string& name);
    /// Adds a difference of some members; nothing when there are none.
    void AddMembers(DifferenceKind kind, ORQExcDifference::Change change, const std::string& name,
                    const std::string& what, std::vector<ORQExcDifference::Member> members);
    /// Adds a change when before and after differ.
    void Compare(DifferenceKind kind, const std::string& name, const std::string& what,
                 const std::string& before, const std::string& after);
    void Compare(DifferenceKind kind, const std::string& name, const std::string& what,
                 double before, double after);
    void Compare(DifferenceKind kind, const std::string& name, const std::string& what, int before,
                 int after) {
        Compare(kind, name, what, std::to_string(before), std::to_string(after));
    }

  private:
    const ORQExcComparison& m_options;
    std::vector<ORQExcDifference> m_all;
};

}  // namespace orq::exchange
