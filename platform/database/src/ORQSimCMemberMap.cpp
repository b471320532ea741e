#include "ORQSimCMemberMap.h"

#include <memory>

ORQBasSharedPtr<ORQSimCMemberMap> ORQSimCMemberMap::Create(const ORQSimCSet& source,
                                                           const ORQSimCSet& target) {
    return std::make_shared<ORQSimCMemberMap>(source, target);
}

namespace {

int Translate(const ORQSimCSet& from, const ORQSimCSet& to, int member) {
    const int location = from.SeekMember(member);
    return location >= 0 && location < to.Size() ? to[location] : -1;
}

}  // namespace

int ORQSimCMemberMap::Map(int sourceMember) const {
    return Translate(m_source, m_target, sourceMember);
}

int ORQSimCMemberMap::MapBack(int targetMember) const {
    return Translate(m_target, m_source, targetMember);
}
