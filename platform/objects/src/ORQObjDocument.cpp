#include "ORQObjDocument.h"

#include "ORQObjModel.h"
#include "ORQSimContext.h"
#include "ORQSimSchema.h"
#include "ORQSimSymbols.h"

ORQSimPosition ORQObjDocument::GetModel() const {
    return Focus().GetPosition(ORQSimSchema::Focus_model);
}

ORQSimPosition ORQObjDocument::GetMesh() const {
    return ORQObjModel(GetModel()).GetMesh();
}

ORQSimPosition ORQObjDocument::GetResults() const {
    return Focus().GetPosition(ORQSimSchema::Focus_results);
}

void ORQObjDocument::SetResults(const ORQSimPosition& results) const {
    Focus().SetPosition(ORQSimSchema::Focus_results, results);
}

ORQSimPosition ORQObjDocument::Library(int slot) const {
    return Focus().GetPosition(ORQSimSchema::Focus_libraries).GetPosition(slot);
}

ORQSimPosition ORQObjDocument::GetComponentCollection() const {
    return Library(ORQSimSchema::Libraries_components);
}
ORQSimPosition ORQObjDocument::GetDofTypeCollection() const {
    return Library(ORQSimSchema::Libraries_dofTypes);
}
ORQSimPosition ORQObjDocument::GetElementSpecCollection() const {
    return Library(ORQSimSchema::Libraries_elementSpecs);
}
ORQSimPosition ORQObjDocument::GetMaterialCollection() const {
    return Library(ORQSimSchema::Libraries_materials);
}
ORQSimPosition ORQObjDocument::GetPointCollection() const {
    return Library(ORQSimSchema::Libraries_points);
}

ORQSimPosition ORQObjDocument::GetRecord(const ORQSimCollectionID& collection, int member) const {
    return ORQSimContext(ContextID()).GetRecord(collection, member);
}

ORQSimDynamicID ORQObjDocument::GetSymbol(int type, const ORQString& name,
                                          const ORQSimCollectionID& collection) const {
    return ORQSimSymbols(ContextID()).Find(ORQSimTypeID(type), name, collection);
}

int ORQObjDocument::GetCMemberIndex(const ORQSimPosition& object) const {
    return ORQSimContext(ContextID()).GetCMemberIndex(object.ID());
}

ORQSimDataRecord ORQObjDocument::CreateDataRecord(int type) const {
    return Focus().CreateDataRecord(type);
}

ORQSimDistributionID ORQObjDocument::CreateDistribution(const ORQSimGrid& grid,
                                                        const ORQSimRangeType& range,
                                                        ORQSimTypeID type) const {
    return ORQSimContext(ContextID()).CreateDistribution(grid, range, type);
}

ORQSimPosition ORQObjDocument::CreateTypedDistribution(const ORQSimGrid& grid, int type,
                                                       const ORQSimRangeType& range) const {
    return Focus().CreateTypedDistribution(grid, type, range);
}
