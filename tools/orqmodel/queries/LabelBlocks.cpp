#include "queries/LabelBlocks.h"

#include <algorithm>

#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimTransfer.h"

namespace orqmodel {

LabelBlocks::LabelBlocks(const ORQObjDocument& document, ORQObjLabelerType type) {
    const ORQObjMesh mesh(document.GetMesh());
    const bool isNode = type == ORQObjLabelerType::Node;
    m_labels = ORQSimDistribution(
        (isNode ? mesh.GetNodeLabels() : mesh.GetElementLabels()).GetDistribution());
    m_members = (isNode ? mesh.GetNodeCollection() : mesh.GetElementCollection()).GetCollection();
    m_instanceCollection = mesh.GetInstanceCollection().GetCollection();
    const ORQSimCollection instances(m_instanceCollection);
    for (int i = 0; i < instances.Space(); ++i) {
        m_instances.push_back(instances.GetMember(i).Name().UTF8());
    }
    for (const ORQSimDrawerDescription& drawer : m_labels.QueryDrawers()) {
        const ORQSimCSet of(drawer.CSet(0));
        // Labels of an instance without a record have no name by which they could be shown.
        if (!of.IsEmpty() && of[0] >= 0 && static_cast<std::size_t>(of[0]) < m_instances.size()) {
            m_drawers.push_back({of[0], ORQSimCSet(drawer.CSet(1)), drawer.DrawerID()});
        }
    }
}

LabelBlocks::Labels LabelBlocks::Read(const ORQSimCSet& members) const {
    const auto nMembers = static_cast<std::size_t>(members.Size());
    Labels read{std::vector<int>(nMembers), std::vector<int>(nMembers, -1)};
    std::vector<int> values;
    for (const Drawer& drawer : m_drawers) {
        const ORQSimCSet common = members.Intersection(drawer.members);
        if (common.IsEmpty()) {
            continue;
        }
        values.assign(static_cast<std::size_t>(common.Size()), 0);
        ORQSimTransfer(m_labels)
            .SetRead()
            .SetDrawer(drawer.id)
            .SetDim(0, ORQSimCollection(m_instanceCollection)
                           .CreateVolatileCSet(&drawer.instance, 1, true))
            .SetDim(1, common)
            .SetBuffer(ORQSimbufMain, values.data(),
                       static_cast<std::int64_t>(values.size() * sizeof(int)))
            .ExecRead();
        // Most blocks of members lie within one instance, where no lookup of places is needed.
        const bool isWhole = common.Size() == members.Size();
        for (std::size_t i = 0; i < values.size(); ++i) {
            const auto at =
                isWhole ? i
                        : static_cast<std::size_t>(members.SeekMember(common[static_cast<int>(i)]));
            read.labels[at] = values[i];
            read.instances[at] = drawer.instance;
        }
    }
    return read;
}

std::vector<int> LabelBlocks::LabelsOf(std::span<const int> members) const {
    // A node belongs to several elements: its label is read once.
    std::vector<int> unique(members.begin(), members.end());
    std::ranges::sort(unique);
    unique.erase(std::unique(unique.begin(), unique.end()), unique.end());
    const Labels read = Read(ORQSimCollection(m_members).CreateVolatileCSet(
        unique.data(), static_cast<int>(unique.size()), true));
    std::vector<int> labels;
    for (const int member : members) {
        labels.push_back(read.labels[static_cast<std::size_t>(
            std::ranges::lower_bound(unique, member) - unique.begin())]);
    }
    return labels;
}

}  // namespace orqmodel
