#include "ORQObjLabeler.h"

#include <algorithm>
#include <string>

#include "ORQBasFailure.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransfer.h"

ORQObjLabeler::ORQObjLabeler(const ORQObjDocument& document, ORQObjLabelerType type)
    : m_document(document), m_type(type) {}

ORQObjLabeler::ORQObjLabeler(const ORQSimPosition& position, ORQObjLabelerType type)
    : ORQObjLabeler(ORQObjDocument(position), type) {}

void ORQObjLabeler::Read() {
    m_instances.clear();
    m_places.clear();
    const ORQObjMesh mesh(m_document.GetMesh());
    const ORQSimCollection instances(mesh.GetInstanceCollection().GetCollection());
    for (int i = 0; i < instances.Space(); ++i) {
        const ORQString name = instances.GetMember(i).Name();
        m_places.emplace(name, m_instances.size());
        m_instances.push_back({name, {}, {}});
    }
    const ORQSimDistribution labels(
        (m_type == ORQObjLabelerType::Node ? mesh.GetNodeLabels() : mesh.GetElementLabels())
            .GetDistribution());
    const int members =
        ORQSimCollection((m_type == ORQObjLabelerType::Node ? mesh.GetNodeCollection()
                                                            : mesh.GetElementCollection())
                             .GetCollection())
            .Space();
    for (const ORQSimDrawerDescription& drawer : labels.QueryDrawers()) {
        const ORQSimCSet of(drawer.CSet(0));
        const auto place = static_cast<std::size_t>(of[0]);
        // Labels of an instance without a record have no name by which they could be found.
        if (place >= m_instances.size()) {
            continue;
        }
        Instance& instance = m_instances[place];
        instance.ordinals = ORQSimCSet(drawer.CSet(1));
        const int last = instance.ordinals.IsEmpty() ? -1 : instance.ordinals.Bounds().Last();
        if (last >= members) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                "instance \"" + instance.name.UTF8() + "\": labels the member " +
                                    std::to_string(last) + " of " + std::to_string(members));
        }
        instance.labels.resize(static_cast<std::size_t>(instance.ordinals.Size()));
        ORQSimTransfer(labels)
            .SetRead()
            .SetDrawer(drawer.DrawerID())
            .SetDim(0, of)
            .SetDim(1, instance.ordinals)
            .SetBuffer(ORQSimbufMain, instance.labels.data(),
                       static_cast<std::int64_t>(instance.labels.size() * sizeof(int)))
            .ExecRead();
    }
}

const ORQObjLabeler::Instance* ORQObjLabeler::Find(const ORQString& name) const {
    const auto found = m_places.find(name);
    return found == m_places.end() ? nullptr : &m_instances[found->second];
}

ORQSimArray<ORQString> ORQObjLabeler::Occurrences() const {
    ORQSimArray<ORQString> names(static_cast<int>(m_instances.size()));
    std::ranges::transform(m_instances, names.begin(), &Instance::name);
    return names;
}

bool ORQObjLabeler::IsInstanceValid(const ORQString& name) const {
    const Instance* instance = Find(name);
    return instance != nullptr && !instance->labels.empty();
}

int ORQObjLabeler::GetInstanceLabel(const ORQString& name, int ordinal) const {
    const Instance* instance = Find(name);
    const int location = instance == nullptr ? -1 : instance->ordinals.SeekMember(ordinal);
    return location < 0 ? -1 : instance->labels[static_cast<std::size_t>(location)];
}

int ORQObjLabeler::GetInstanceOrdinal(const ORQString& name, int label) const {
    const Instance* instance = Find(name);
    if (instance == nullptr) {
        return -1;
    }
    // Tables are stored in ascending order of labels; see ORQObjModelBuilder::SetLabels.
    const auto found = std::ranges::lower_bound(instance->labels, label);
    return found != instance->labels.end() && *found == label
               ? instance->ordinals[static_cast<int>(found - instance->labels.begin())]
               : -1;
}

void ORQObjLabeler::GetInstanceLabelsAndOrdinals(const ORQString& name, ORQSimArray<int>& labels,
                                                 ORQSimArray<int>& ordinals) const {
    const Instance* instance = Find(name);
    const int n = instance == nullptr ? 0 : instance->ordinals.Size();
    labels.SetSize(n);
    ordinals.SetSize(n);
    if (n > 0) {
        std::ranges::copy(instance->labels, labels.begin());
        instance->ordinals.OrderedMembers(ordinals.Ptr());
    }
}

bool ORQObjLabeler::GetOccurrenceForFlatMeshOrdinal(int ordinal, ORQString& name) const {
    const auto found = std::ranges::find_if(m_instances, [&](const Instance& instance) {
        return instance.ordinals.SeekMember(ordinal) >= 0;
    });
    if (found == m_instances.end()) {
        return false;
    }
    name = found->name;
    return true;
}
