#include "ORQObjModel.h"
#include "ORQSimArray.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSrvFunctions.h"

namespace {

ORQSimPosition MeshOf(const ORQSimPosition& root) {
    return ORQObjModel(root.GetPosition(ORQSimSchema::Focus_model)).GetMesh();
}

ORQSimCollectionID InstancesOf(const ORQSimPosition& mesh) {
    return mesh.GetPosition(ORQSimSchema::Mesh_instances).GetCollection();
}

ORQSimCSetID MembersLabelledBy(int instance, const ORQSimPosition& labels) {
    for (const ORQSimPersistentDrawerDesc& drawer :
         ORQSimDistribution(labels.GetDistribution()).QueryDrawers()) {
        if (ORQSimCSet(drawer.CSet(0)).SeekMember(instance) >= 0) {
            return drawer.CSet(1);
        }
    }
    return {};
}

}  // namespace

ORQSrvInstanceInfo ORQSrvGetInstanceInfo(const ORQSimPosition& root, const ORQString& name) {
    const ORQSimCollection instances(InstancesOf(MeshOf(root)));
    for (int index = 0; index < instances.Space(); ++index) {
        if (root.Context().GetRecord(instances.ID(), index).Name() == name) {
            return ORQSrvGetInstanceInfo(root, index);
        }
    }
    return {};
}

ORQSrvInstanceInfo ORQSrvGetInstanceInfo(const ORQSimPosition& root, int index) {
    const ORQSimPosition mesh = MeshOf(root);
    const ORQSimPosition instance = root.Context().GetRecord(InstancesOf(mesh), index);
    if (instance.IsNull()) {
        return {};
    }
    return {instance, instance.Name(), index,
            MembersLabelledBy(index, mesh.GetPosition(ORQSimSchema::Mesh_nodeLabels)),
            MembersLabelledBy(index, mesh.GetPosition(ORQSimSchema::Mesh_elementLabels))};
}

ORQSimCSetID ORQSrvGetPointSetFromElementSpec(const ORQSimPosition& elementSpec) {
    return elementSpec.GetPosition(ORQSimSchema::ElementSpec_points).GetCSet();
}
