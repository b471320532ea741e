#pragma once

#include <span>
#include <string>
#include <vector>

#include "ORQObjDocument.h"
#include "ORQObjLabeler.h"
#include "ORQSimCSet.h"
#include "ORQSimDistribution.h"

namespace orqmodel {

/// Labels of nodes or elements, read for some members at a time.
class LabelBlocks {
  public:
    LabelBlocks(const ORQObjDocument& document, ORQObjLabelerType type);

    struct Labels {
        std::vector<int> labels;     ///< 0 for what has none
        std::vector<int> instances;  ///< places in Instances(), -1 for none
    };
    /// Reads the labels of ascending members, in their order.
    Labels Read(const ORQSimCSet& members) const;
    /// Labels of members in any order, each as often as it is named.
    std::vector<int> LabelsOf(std::span<const int> members) const;

    const std::vector<std::string>& Instances() const { return m_instances; }

  private:
    struct Drawer {
        int instance;
        ORQSimCSet members;
        ORQSimDrawerID id;
    };

    ORQSimDistribution m_labels;
    ORQSimCollectionID m_instanceCollection;
    ORQSimCollectionID m_members;
    std::vector<std::string> m_instances;
    std::vector<Drawer> m_drawers;
};

}  // namespace orqmodel
