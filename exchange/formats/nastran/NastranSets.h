#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcMeshSource.h"
#include "ORQExcReport.h"
#include "formats/nastran/NastranDeck.h"
#include "formats/nastran/NastranElements.h"
#include "formats/nastran/NastranNodes.h"

namespace orq::exchange {

/// The named sets of a deck: SET1, the nodes of SPC1 by set and components, permanent constraints,
/// and rigid elements, each the set of its nodes.
class NastranSets {
  public:
    struct Set {
        ORQExcMeshSource::Set described;
        std::vector<int> members;  // ordinals
    };

    NastranSets(NastranProblems& problems, ORQExcReport& losses)
        : m_problems(problems), m_losses(losses) {}

    /// Takes the card, and answers true, if it is one of these.
    bool Add(const BulkCard& card);
    /// REQUIRES: nodes and elements are resolved. To be called once.
    void Resolve(const NastranNodes& nodes, const NastranElements& elements);

    std::vector<Set> TakeNodeSets() { return std::move(m_nodeSets); }
    std::vector<Set> TakeElementSets() { return std::move(m_elementSets); }

  private:
    /// Labels first, first + step, ..., last; where these are one, it has to exist.
    struct Range {
        int first;
        int last;
        int step;
        BulkPlace place;
        int field;
    };
    struct Listed {
        ORQExcMeshSource::Set described;
        std::vector<Range> ranges;
        bool mayBeElements = false;
    };

    void AddList(const BulkCard& card, int firstField, Listed list);
    std::vector<Range> ReadRanges(const BulkCard& card, int field) const;
    void AddRigid(const BulkCard& card);
    void ReadSpider(const BulkCard& card, Listed& list);
    static bool Has(const LabelIndex& index, const Listed& list);
    std::vector<int> Members(const LabelIndex& index, const Listed& list) const;

    NastranProblems& m_problems;
    ORQExcReport& m_losses;
    std::vector<Listed> m_lists;
    std::map<std::string, std::size_t> m_placesOfLists;  // by name
    std::map<int, BulkPlace> m_placesOfRigid;            // by label
    std::map<std::string, int> m_nRigid;                 // by card
    std::vector<Set> m_nodeSets;
    std::vector<Set> m_elementSets;
};

}  // namespace orq::exchange
