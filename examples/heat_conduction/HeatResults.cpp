#include "HeatResults.h"

#include "ORQObjMesh.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ads_ComponentSymbolsEnm.h"

namespace heat {

HeatResults::HeatResults(const ORQObjDocument& document, const ORQString& step,
                         const ORQSimCSet& nodes)
    : m_document(document), m_builder(document), m_nodes(nodes) {
    ORQSimTransaction transaction(document.ContextID());
    const ORQSimPosition collection = ORQObjMesh(document.GetMesh()).GetNodeCollection();
    m_step = m_builder.AddStep(step, ORQSimSchema::Step_General);
    m_temperature = m_builder.AddFieldResult(m_step, {"NT",
                                                      m_builder.StandardFieldType("NT"),
                                                      ORQSimSchema::Field_Nodal,
                                                      collection,
                                                      {{ads_ComponentNone, "NT"}}});
    // Averages at nodes are no place where the table of output variables has heat fluxes.
    m_flux = m_builder.AddFieldResult(
        m_step, {"HFL",
                 m_builder.UserFieldType("HFL"),
                 ORQSimSchema::Field_Nodal,
                 collection,
                 {{ads_Component1, "HFL1"}, {ads_Component2, "HFL2"}, {ads_Component3, "HFL3"}}});
    transaction.Commit();
}

void HeatResults::Write(double time, const Eigen::VectorXd& temperatures,
                        const Eigen::Matrix3Xd& fluxes) const {
    ORQSimTransaction transaction(m_document.ContextID());
    const ORQSimCSetID added = m_builder.AddTimes(m_step, {&time, 1});
    m_temperature.Write(added, m_nodes, temperatures.data());
    m_flux.Write(added, m_nodes, fluxes.data());
    transaction.Commit();
}

}  // namespace heat
