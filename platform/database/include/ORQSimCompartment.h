/// Compartments: blocks of a grid, named by one set per dimension.
#pragma once

#include <utility>
#include <vector>

#include "ORQSimArray.h"
#include "ORQSimIDs.h"

/// One set for each dimension of a grid, for example elements {0..99} x places {0, 1, 2, 3}.
///
/// A value that owns its list of IDs, not the sets: an ID stays valid as its set does. Nothing here
/// reads a database or throws anything but std::bad_alloc; cost grows with the number of
/// dimensions.
class ORQSimCompartment {
  public:
    ORQSimCompartment() = default;
    explicit ORQSimCompartment(const ORQSimArray<ORQSimCSetID>& sets)
        : m_sets(sets.begin(), sets.end()) {}
    explicit ORQSimCompartment(std::vector<ORQSimCSetID> sets) : m_sets(std::move(sets)) {}

    int Size() const { return static_cast<int>(m_sets.size()); }
    /// The dimension whose set belongs to a collection, -1 when none does.
    int Position(const ORQSimCollectionID& collection) const {
        for (std::size_t i = 0; i < m_sets.size(); ++i) {
            if (!collection.IsNull() && m_sets[i].CollectionID() == collection) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }
    /// Null outside [0, Size()).
    ORQSimCSetID CSet(int dimension) const {
        return dimension >= 0 && dimension < Size() ? m_sets[static_cast<std::size_t>(dimension)]
                                                    : ORQSimCSetID();
    }
    /// All of them, by dimension. Valid until the compartment is assigned to or ends.
    const std::vector<ORQSimCSetID>& CSetIDs() const { return m_sets; }

  private:
    std::vector<ORQSimCSetID> m_sets;
};

/// The compartment that a drawer occupies: a description as of when it was queried, which does not
/// follow a drawer that grows.
class ORQSimOCompartment : public ORQSimCompartment {
  public:
    using ORQSimCompartment::ORQSimCompartment;
};

/// A list of compartments: how a data set is divided. A value that owns its compartments; may be
/// empty, and its compartments may overlap.
class ORQSimCtation {
  public:
    ORQSimCtation() = default;
    explicit ORQSimCtation(const ORQSimArray<ORQSimCompartment>& compartments)
        : m_compartments(compartments.begin(), compartments.end()) {}
    explicit ORQSimCtation(std::vector<ORQSimCompartment> compartments)
        : m_compartments(std::move(compartments)) {}

    int Size() const { return static_cast<int>(m_compartments.size()); }
    /// The compartment at a place; one without sets outside [0, Size()).
    ORQSimCompartment Compartment(int place) const {
        return place >= 0 && place < Size() ? m_compartments[static_cast<std::size_t>(place)]
                                            : ORQSimCompartment();
    }
    /// All of them, by place. Valid until the list is assigned to or ends.
    const std::vector<ORQSimCompartment>& Compartments() const { return m_compartments; }

  private:
    std::vector<ORQSimCompartment> m_compartments;
};
