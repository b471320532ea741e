#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "ORQExcDifference.h"
#include "ORQObjLabeler.h"
#include "ORQSrvGlobalLabelMap.h"

namespace orq::exchange {

/// The nodes, or the elements, that two models have in common, and their labels.
class Matching {
  public:
    static constexpr int kNone = -1;

    /// `instances` names those that members refer to; grows by the ones that it lacks.
    Matching(const ORQObjDocument& before, int nBefore, const ORQObjDocument& after, int nAfter,
             ORQObjLabelerType type, std::vector<std::string>& instances);

    /// Ordinals in the first model that have an image, and their images.
    struct Pairs {
        std::vector<int> before;
        std::vector<int> after;
    };

    /// The ordinal in the second model of an ordinal in the first; kNone for one that was removed.
    int ImageOf(int before) const { return m_images[static_cast<std::size_t>(before)]; }
    /// The pairs of some ordinals of the first model.
    Pairs PairsOf(std::span<const int> before) const;
    Pairs PairsOf(int begin, int end) const;
    /// Ordinals in the second model that are nobody's image, ascending.
    const std::vector<int>& Added() const { return m_added; }
    /// Ordinals in the first model without an image, ascending.
    const std::vector<int>& Removed() const { return m_removed; }

    ORQExcDifference::Member Before(int ordinal) { return Member(m_namesBefore, ordinal); }
    ORQExcDifference::Member After(int ordinal) { return Member(m_namesAfter, ordinal); }

  private:
    void Match(const ORQObjLabeler& before, const ORQObjLabeler& after, std::size_t nAfter);
    ORQExcDifference::Member Member(ORQSrvGlobalLabelMap& names, int ordinal);

    ORQObjLabelerType m_type;
    std::vector<std::string>& m_instances;
    std::vector<int> m_images;
    std::vector<int> m_removed;
    std::vector<int> m_added;
    // Read their tables when the first difference is named.
    ORQSrvGlobalLabelMap m_namesBefore;
    ORQSrvGlobalLabelMap m_namesAfter;
};

}  // namespace orq::exchange
