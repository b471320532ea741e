#include "ORQSrvSetMapperFactory.h"

#include <string>

#include "ORQBasFailure.h"
#include "ORQObjDocument.h"
#include "ORQSimCSet.h"
#include "ORQSimDataRecord.h"
#include "ORQSimSchema.h"
#include "ORQSrvAssert.h"

namespace {

// The last numbers of the slots (28, kind) under which a model holds its mappers.
constexpr int kNodes = 82;
constexpr int kElements = 66;
constexpr int kOthers = 64;

ORQSimPosition Mapper(const ORQSimPosition& position, int kind) {
    return ORQObjDocument(position.Focus().Doc())
        .GetModel()
        .GetPosition(ads_CoreFragmentTypeIndex(28, kind));
}

ORQSimPosition Source(const ORQSimPosition& mapper) {
    return mapper.GetPosition(ads_CoreFragmentTypeIndex(19, 2));
}

ORQSimPosition Target(const ORQSimPosition& mapper) {
    return mapper.GetPosition(ads_CoreFragmentTypeIndex(19, 1));
}

ORQSimPosition Mesh(const ORQSimPosition& position) {
    return position.Focus()
        .GetPosition(ads_CoreFragmentTypeIndex(28, 29))
        .GetPosition(ads_CoreFragmentTypeIndex(23, 0));
}

int KindOf(const ORQSimCSetID& set) {
    const ORQSimPosition type = ORQSimPosition(set.CollectionID()).TypePosition();
    if (type.IsA(ads_CoreFragmentTypeIndex(26, 110))) {
        return kNodes;
    }
    if (type.IsA(ads_CoreFragmentTypeIndex(26, 14))) {
        return kElements;
    }
    ORQSrvAssertReported(type.IsA(ads_CoreFragmentTypeIndex(26, 2)), "0");
    return kOthers;
}

}  // namespace

ORQSimCSetID ORQSrvSetMapperFactory::GetActiveElementOrdinals(ORQSimPosition position) {
    return Mesh(position).GetPosition(ads_CoreFragmentTypeIndex(26, 84)).GetCSet();
}

ORQSimCSetID ORQSrvSetMapperFactory::GetActiveNodalOrdinals(ORQSimPosition position) {
    return Mesh(position).GetPosition(ads_CoreFragmentTypeIndex(26, 100)).GetCSet();
}

ORQSimCSetID ORQSrvSetMapperFactory::GetPermutationElements(ORQSimPosition position) {
    return Source(Mapper(position, kElements)).GetCSet();
}

ORQSimCSetID ORQSrvSetMapperFactory::GetPermutationNodes(ORQSimPosition position) {
    return Source(Mapper(position, kNodes)).GetCSet();
}

ORQBasSharedPtr<ORQSimCMemberMap> ORQSrvSetMapperFactory::NodeMapper(ORQSimPosition position) {
    const ORQSimPosition mapper = Mapper(position, kNodes);
    return ORQSimCMemberMap::Create(ORQSimCSet(Source(mapper).GetCSet()),
                                    ORQSimCSet(Target(mapper).GetCSet()));
}

void ORQSrvSetMapperFactory::PersistMapper(const ORQSimPosition& source,
                                           const ORQSimPosition& target) {
    if (source.IsNull() || target.IsNull()) {
        throw ORQBasFailure(ORQBasFailureKind::Usage, std::string("a mapper cannot have a null ") +
                                                          (source.IsNull() ? "source" : "target"));
    }
    const int kind = KindOf(target.GetCSet());
    const ORQSimPosition record = target.CreateDataRecord(ads_CoreFragmentTypeIndex(19, 0)).Pos();
    record.SetPosition(ads_CoreFragmentTypeIndex(19, 1), target);
    record.SetPosition(ads_CoreFragmentTypeIndex(19, 2), source);
    ORQObjDocument(target.Doc())
        .GetModel()
        .SetPosition(ads_CoreFragmentTypeIndex(28, kind), record);
}
