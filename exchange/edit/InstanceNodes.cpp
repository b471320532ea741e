#include "edit/InstanceNodes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransfer.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {

std::vector<LabelledMembers> LabelledMembersOf(const ORQObjDocument& document,
                                               ORQObjLabelerType type) {
    std::vector<LabelledMembers> instances;
    ORQObjLabeler labeler(document, type);
    labeler.Read();
    for (const ORQString& name : labeler.Occurrences()) {
        ORQSimArray<int> labels;
        ORQSimArray<int> ordinals;
        labeler.GetInstanceLabelsAndOrdinals(name, labels, ordinals);
        if (labels.Size() > 0) {
            instances.push_back(
                {name.UTF8(), {labels.begin(), labels.end()}, {ordinals.begin(), ordinals.end()}});
        }
    }
    return instances;
}

std::vector<InstanceLabels> LabelsThatGo(const std::vector<LabelledMembers>& instances,
                                         const MemberNumbering& numbering) {
    std::vector<InstanceLabels> gone;
    for (const LabelledMembers& of : instances) {
        InstanceLabels& labels = gone.emplace_back(InstanceLabels{of.instance, {}});
        for (std::size_t i = 0; i < of.labels.size(); ++i) {
            const int target = numbering.targets[static_cast<std::size_t>(of.ordinals[i])];
            if (target < 0 || numbering.kept[static_cast<std::size_t>(target)] != of.ordinals[i]) {
                labels.labels.push_back(of.labels[i]);
            }
        }
    }
    return gone;
}

void ForEachConnectivity(const ORQObjDocument& document,
                         const std::function<void(int nNodes, std::span<const int> nodes)>& visit) {
    constexpr int kElementsAtOnce = 100'000;  // about a chunk; some megabytes of nodes
    const ORQSimDistribution rows(
        ORQObjMesh(document.GetMesh()).GetConnectivity().DSet().GetRelationalDistributionID());
    std::vector<int> nodes;
    for (const ORQSimDrawerDescription& drawer : rows.QueryDrawers()) {
        const ORQSimCSet elements(drawer.CSet(0));
        const ORQSimCSet places(drawer.CSet(1));
        std::vector<int> members(static_cast<std::size_t>(elements.Size()));
        elements.OrderedMembers(members.data());
        for (int begin = 0; begin < elements.Size(); begin += kElementsAtOnce) {
            const int count = std::min(kElementsAtOnce, elements.Size() - begin);
            nodes.resize(static_cast<std::size_t>(count) * static_cast<std::size_t>(places.Size()));
            ORQSimTransfer(rows)
                .SetRead()
                .SetDrawer(drawer.DrawerID())
                .SetDim(0, OrdinalSet(ORQSimCollection(elements.CollectionID()),
                                      std::span(members).subspan(static_cast<std::size_t>(begin),
                                                                 static_cast<std::size_t>(count))))
                .SetDim(1, places)
                .SetBuffer(ORQSimbufMain, nodes.data(),
                           static_cast<std::int64_t>(nodes.size() * sizeof(int)))
                .ExecRead();
            visit(places.Size(), nodes);
        }
    }
}

}  // namespace orq::exchange
