#pragma once

#include <Eigen/Dense>

#include "ORQObjDocument.h"
#include "ORQObjMeshedField.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimCSet.h"
#include "ORQString.h"

namespace heat {

/// A step of a model database with temperatures (NT) and heat fluxes (HFL) at the nodes.
class HeatResults {
  public:
    /// Makes the step, with fields that hold no values yet. Throws ORQBasFailure (Usage) when the
    /// model has a step of that name.
    HeatResults(const ORQObjDocument& document, const ORQString& step, const ORQSimCSet& nodes);

    /// Adds a time with its results, in one transaction.
    void Write(double time, const Eigen::VectorXd& temperatures,
               const Eigen::Matrix3Xd& fluxes) const;

  private:
    ORQObjDocument m_document;
    ORQObjStepBuilder m_builder;
    ORQSimCSet m_nodes;
    ORQSimPosition m_step;
    ORQObjMeshedField m_temperature;
    ORQObjMeshedField m_flux;
};

}  // namespace heat
