#include "ORQSrvGlobalLabelMap.h"

#include <algorithm>
#include <cstddef>

#include "ORQObjDocument.h"
#include "ORQSrvAssert.h"

// --- One table -----------------------------------------------------------------------------------

ORQSrvGlobalLabelMap::Table::Table(const ORQSimPosition& focus, ORQObjLabelerType type)
    : m_labeler(focus, type) {
    m_labeler.Read();
    m_instances = m_labeler.Occurrences();
    ORQSimArray<int> labels;
    ORQSimArray<int> ordinals;
    for (int instance = 0; instance < m_instances.Size(); ++instance) {
        m_labeler.GetInstanceLabelsAndOrdinals(m_instances.ConstGet(instance), labels, ordinals);
        if (labels.Size() == 0) {
            continue;
        }
        const auto end = static_cast<std::size_t>(*std::ranges::max_element(ordinals)) + 1;
        m_places.resize(std::max(m_places.size(), end));
        for (int i = 0; i < labels.Size(); ++i) {
            Place& place = m_places[static_cast<std::size_t>(ordinals.ConstGet(i))];
            // A member of several instances is known by the first.
            if (place.instance < 0) {
                place = {instance, labels.ConstGet(i)};
            }
        }
    }
}

int ORQSrvGlobalLabelMap::Table::Ordinal(const ORQString& instance, int label) const {
    return m_labeler.GetInstanceOrdinal(instance, label);
}

ORQSimArray<int> ORQSrvGlobalLabelMap::Table::Ordinals(int label) const {
    ORQSimArray<int> found;
    for (const ORQString& instance : m_instances) {
        if (const int ordinal = Ordinal(instance, label); ordinal >= 0) {
            found.SetSize(found.Size() + 1);
            found.Get(found.Size() - 1) = ordinal;
        }
    }
    return found;
}

ORQSrvGlobalLabelMap::Table::Place ORQSrvGlobalLabelMap::Table::PlaceOf(int ordinal) const {
    const auto at = static_cast<std::size_t>(ordinal);  // a negative one lies beyond the end
    return at < m_places.size() ? m_places[at] : Place{};
}

int ORQSrvGlobalLabelMap::Table::Label(int ordinal) const {
    return PlaceOf(ordinal).label;
}

const ORQString& ORQSrvGlobalLabelMap::Table::InstanceName(int ordinal) const {
    static const ORQString none;
    const int instance = PlaceOf(ordinal).instance;
    return instance < 0 ? none : m_instances.ConstGet(instance);
}

// --- The map -------------------------------------------------------------------------------------

ORQSrvGlobalLabelMap::ORQSrvGlobalLabelMap(const ORQSimPosition& position)
    : m_focus(position.Focus()) {
    ORQSrvAssertFatal(!m_focus.IsNull(), "m_focus.IsNull() == false",
                      ORQ_SRV_SOURCE("ORQSrvGlobalLabelMap"), 75);
}

const ORQSrvGlobalLabelMap::Table& ORQSrvGlobalLabelMap::Nodes() {
    if (!m_nodes.has_value()) {
        m_nodes.emplace(m_focus, ORQObjLabelerType::Node);
    }
    return *m_nodes;
}

const ORQSrvGlobalLabelMap::Table& ORQSrvGlobalLabelMap::Elements() {
    if (!m_elements.has_value()) {
        m_elements.emplace(m_focus, ORQObjLabelerType::Element);
    }
    return *m_elements;
}

ORQSimArray<ORQString> ORQSrvGlobalLabelMap::InstanceNames() {
    return Nodes().InstanceNames();
}

int ORQSrvGlobalLabelMap::GetNodeOrdinal(const ORQString& instance, int label) {
    return Nodes().Ordinal(instance, label);
}
int ORQSrvGlobalLabelMap::GetElementOrdinal(const ORQString& instance, int label) {
    return Elements().Ordinal(instance, label);
}

ORQSimArray<int> ORQSrvGlobalLabelMap::GetNodeOrdinals(int label) {
    return Nodes().Ordinals(label);
}
ORQSimArray<int> ORQSrvGlobalLabelMap::GetElementOrdinals(int label) {
    return Elements().Ordinals(label);
}

int ORQSrvGlobalLabelMap::GetNodeLabel(int ordinal) {
    return Nodes().Label(ordinal);
}
int ORQSrvGlobalLabelMap::GetElementLabel(int ordinal) {
    return Elements().Label(ordinal);
}

const ORQString& ORQSrvGlobalLabelMap::GetNodeInstanceName(int ordinal) {
    return Nodes().InstanceName(ordinal);
}
const ORQString& ORQSrvGlobalLabelMap::GetElementInstanceName(int ordinal) {
    return Elements().InstanceName(ordinal);
}
