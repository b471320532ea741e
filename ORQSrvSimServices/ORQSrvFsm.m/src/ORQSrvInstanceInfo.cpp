#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQSimArray.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSrvFunctions.h"

namespace {

ORQObjMesh MeshOf(const ORQSimPosition& root) {
    return ORQObjModel(root.GetPosition(ads_CoreFragmentTypeIndex(28, 29))).GetMesh();
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
    const ORQSimCollection instances(MeshOf(root).GetInstanceCollection().GetCollection());
    for (int index = 0; index < instances.Space(); ++index) {
        if (instances.GetMember(index).Name() == name) {
            return ORQSrvGetInstanceInfo(root, index);
        }
    }
    return {};
}

ORQSrvInstanceInfo ORQSrvGetInstanceInfo(const ORQSimPosition& root, int index) {
    const ORQObjMesh mesh = MeshOf(root);
    const ORQSimPosition instance =
        ORQSimCollection(mesh.GetInstanceCollection().GetCollection()).GetMember(index);
    if (instance.IsNull()) {
        return {};
    }
    return {instance, instance.Name(), index, MembersLabelledBy(index, mesh.GetNodeLabels()),
            MembersLabelledBy(index, mesh.GetElementLabels())};
}

ORQSimCSetID ORQSrvGetPointSetFromElementSpec(const ORQSimPosition& elementSpec) {
    return elementSpec.GetPosition(ORQSimSchema::ElementSpec_points).GetCSet();
}
