#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcMeshSource.h"
#include "ORQExcReport.h"
#include "formats/nastran/NastranCard.h"
#include "model/LabelIndex.h"

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

    /// Takes the card if it is one of these and can be read.
    BulkTaken Add(const BulkCard& card);
    /// The name of the set to which the card that was taken last belongs.
    const std::string& NameOfLast() const { return m_nameOfLast; }
    /// `isScalar` returns whether a label without a node is that of a scalar point. To be
    /// called once.
    void Resolve(const LabelIndex& nodes, const LabelIndex& elements,
                 const std::function<bool(int)>& isScalar);

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
        std::set<int> excluded = {};  // labels
    };

    bool AddList(const BulkCard& card, int firstField, Listed list);
    static void ReadRanges(const BulkCard& card, int field, Listed& list);
    bool AddRigid(const BulkCard& card);
    static Listed NewRigid(const BulkCard& card, int number);
    static void AddNode(const BulkCard& card, int field, Listed& list);
    static void AddProperty(const BulkCard& card, int field, const char* name, Listed& list);
    static Listed ReadStar(const BulkCard& card, int number);
    static Listed ReadBar(const BulkCard& card, int number);
    static Listed ReadSpider(const BulkCard& card, int number);
    static bool Has(const LabelIndex& index, const Listed& list);
    std::vector<int> Members(const LabelIndex& index, const Listed& list,
                             const std::function<bool(int)>& isScalar) const;

    NastranProblems& m_problems;
    ORQExcReport& m_losses;
    std::vector<Listed> m_lists;
    std::map<std::string, std::size_t> m_placesOfLists;  // by name
    std::map<int, BulkPlace> m_placesOfRigid;            // by label
    std::map<std::string, int> m_nRigid;                 // by card
    std::string m_nameOfLast;
    std::vector<Set> m_nodeSets;
    std::vector<Set> m_elementSets;
};

}  // namespace orq::exchange
