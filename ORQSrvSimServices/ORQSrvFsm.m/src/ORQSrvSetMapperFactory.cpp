#include "ORQSrvSetMapperFactory.h"

#include <string>

#include "ORQBasFailure.h"
#include "ORQObjDocument.h"
#include "ORQSimCSet.h"
#include "ORQSimDataRecord.h"
#include "ORQSimSchema.h"
#include "ORQSrvAssert.h"

namespace {

ORQSimPosition Mapper(const ORQSimPosition& position, int slot) {
    return ORQObjDocument(position.Focus().Doc()).GetModel().GetPosition(slot);
}

ORQSimPosition Source(const ORQSimPosition& mapper) {
    return mapper.GetPosition(ORQSimSchema::SetMapper_source);
}

ORQSimPosition Target(const ORQSimPosition& mapper) {
    return mapper.GetPosition(ORQSimSchema::SetMapper_target);
}

ORQSimPosition Mesh(const ORQSimPosition& position) {
    return position.Focus()
        .GetPosition(ORQSimSchema::Focus_model)
        .GetPosition(ORQSimSchema::Model_mesh);
}

// Where a model holds the mapper of a set's collection.
int SlotOf(const ORQSimCSetID& set) {
    const ORQSimPosition type = ORQSimPosition(set.CollectionID()).TypePosition();
    if (type.IsA(ORQSimSchema::NodeCollection)) {
        return ORQSimSchema::Model_nodeMapper;
    }
    if (type.IsA(ORQSimSchema::ElementCollection)) {
        return ORQSimSchema::Model_elementMapper;
    }
    ORQSrvAssertReported(type.IsA(ORQSimSchema::MapperCollection_other), "0");
    return ORQSimSchema::Model_otherMapper;
}

}  // namespace

ORQSimCSetID ORQSrvSetMapperFactory::GetActiveElementOrdinals(ORQSimPosition position) {
    return Mesh(position).GetPosition(ORQSimSchema::Mesh_activeElements).GetCSet();
}

ORQSimCSetID ORQSrvSetMapperFactory::GetActiveNodalOrdinals(ORQSimPosition position) {
    return Mesh(position).GetPosition(ORQSimSchema::Mesh_activeNodes).GetCSet();
}

ORQSimCSetID ORQSrvSetMapperFactory::GetPermutationElements(ORQSimPosition position) {
    return Source(Mapper(position, ORQSimSchema::Model_elementMapper)).GetCSet();
}

ORQSimCSetID ORQSrvSetMapperFactory::GetPermutationNodes(ORQSimPosition position) {
    return Source(Mapper(position, ORQSimSchema::Model_nodeMapper)).GetCSet();
}

ORQBasSharedPtr<ORQSimCMemberMap> ORQSrvSetMapperFactory::NodeMapper(ORQSimPosition position) {
    const ORQSimPosition mapper = Mapper(position, ORQSimSchema::Model_nodeMapper);
    return ORQSimCMemberMap::Create(ORQSimCSet(Source(mapper).GetCSet()),
                                    ORQSimCSet(Target(mapper).GetCSet()));
}

void ORQSrvSetMapperFactory::PersistMapper(const ORQSimPosition& source,
                                           const ORQSimPosition& target) {
    if (source.IsNull() || target.IsNull()) {
        throw ORQBasFailure(ORQBasFailureKind::Usage, std::string("a mapper cannot have a null ") +
                                                          (source.IsNull() ? "source" : "target"));
    }
    const int slot = SlotOf(target.GetCSet());
    const ORQSimPosition record = target.CreateDataRecord(ORQSimSchema::SetMapper).Pos();
    record.SetPosition(ORQSimSchema::SetMapper_target, target);
    record.SetPosition(ORQSimSchema::SetMapper_source, source);
    ORQObjDocument(target.Doc()).GetModel().SetPosition(slot, record);
}
