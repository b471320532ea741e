#include "UndoneNumbers.h"

namespace orq::database {

void UndoneNumbers::Prepare() {
    // One range for each level that may be undone, so that Undo takes no memory.
    m_levelStarts.reserve(m_levelStarts.size() + 1);
    m_objects.ReserveFor(m_levelStarts.size() + 1);
    m_sets.ReserveFor(m_levelStarts.size() + 1);
}

void UndoneNumbers::Undo(int depth, const storage::Numbers& next) noexcept {
    while (static_cast<int>(m_levelStarts.size()) > depth) {
        m_objects.Add(m_levelStarts.back().object, next.object);
        m_sets.Add(m_levelStarts.back().set, next.set);
        m_levelStarts.pop_back();
    }
}

bool UndoneNumbers::Finds(const ORQSimDynamicID& id, const storage::Store& store) const {
    const bool isPart =
        id.Category() == ORQSimCategoryCSet || id.Category() == ORQSimCategoryDrawer;
    return (m_objects.Contains(id.MinorID()) && store.MayHaveGiven(id.MinorID(), 0)) ||
           (isPart && id.Index() > 0 && m_sets.Contains(id.Index()) &&
            store.MayHaveGiven(0, id.Index()));
}

}  // namespace orq::database
