#pragma once

#include "ORQBasExport.h"
#include "ORQBasSharedPtr.h"
#include "ORQSimCSet.h"

/// Maps the members of one set to those of another that stand at the same location. A value that
/// shares the members of both sets; a lookup costs what ORQSimCSet::SeekMember costs.
class ORQ_EXPORT ORQSimCMemberMap {
  public:
    ORQSimCMemberMap(const ORQSimCSet& source, const ORQSimCSet& target)
        : m_source(source), m_target(target) {}
    /// Sets of different sizes map as far as the shorter one reaches. The caller shares the map.
    static ORQBasSharedPtr<ORQSimCMemberMap> Create(const ORQSimCSet& source,
                                                    const ORQSimCSet& target);

    const ORQSimCSet& Source() const { return m_source; }
    const ORQSimCSet& Target() const { return m_target; }
    /// The target member of a source member and back, -1 when there is none.
    int Map(int sourceMember) const;
    int MapBack(int targetMember) const;

  private:
    ORQSimCSet m_source;
    ORQSimCSet m_target;
};
