#include "ORQObjMesh.h"

#include "ORQSimSchema.h"

ORQSimPosition ORQObjMesh::GetNodeCollection() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_nodes);
}
ORQSimPosition ORQObjMesh::GetElementCollection() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_elements);
}
ORQSimPosition ORQObjMesh::GetCoordinates() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_coordinates);
}
ORQSimPosition ORQObjMesh::GetConnectivity() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_connectivity);
}
ORQSimPosition ORQObjMesh::GetUserNodes() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_userNodes);
}
ORQSimPosition ORQObjMesh::GetInstanceCollection() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_instances);
}
ORQSimPosition ORQObjMesh::GetNodeLabels() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_nodeLabels);
}
ORQSimPosition ORQObjMesh::GetElementLabels() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_elementLabels);
}
ORQSimPosition ORQObjMesh::GetElementClassification() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_elementClassification);
}
ORQSimPosition ORQObjMesh::GetElementClassCollection() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_elementClassCollection);
}
ORQSimPosition ORQObjMesh::GetElementSpecAssignment() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_elementSpecAssignment);
}
ORQSimPosition ORQObjMesh::GetShapeFormulationLogicalSectionClassification() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_shapeFormulationLogicalSection);
}
ORQSimPosition ORQObjMesh::GetSurfaceNodalAreas() const {
    return m_position.GetPosition(ORQSimSchema::Mesh_surfaceNodalAreas);
}

void ORQObjMesh::SetElementClassification(const ORQSimPosition& classification) const {
    m_position.SetPosition(ORQSimSchema::Mesh_elementClassification, classification);
}
void ORQObjMesh::SetElementClassCollection(const ORQSimPosition& collection) const {
    m_position.SetPosition(ORQSimSchema::Mesh_elementClassCollection, collection);
}
void ORQObjMesh::SetSurfaceNodalAreas(const ORQSimPosition& areas) const {
    m_position.SetPosition(ORQSimSchema::Mesh_surfaceNodalAreas, areas);
}
