#pragma once

#include "ORQBasExport.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// A model as a view of its record: a handle, free to copy. Each getter costs one lookup and
/// returns null for what the model lacks. Throws as ORQSimPosition does: Usage when the database is
/// closed, Damaged or Io when the catalogue cannot be read.
class ORQ_EXPORT ORQObjModel {
  public:
    ORQObjModel() = default;
    ORQObjModel(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    ORQSimPosition GetMesh() const;
    ORQSimPosition GetRegionCollection() const;
    /// The step of a name, null when there is none.
    ORQSimPosition GetStep(const ORQString& name) const;
    /// The steps (ORQObjStep) in the order of the analysis.
    ORQSimVector GetStepSequence() const;

  private:
    ORQSimPosition m_position;
};
