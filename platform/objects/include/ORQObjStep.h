#pragma once

#include <vector>

#include "ORQBasExport.h"
#include "ORQObjMeshedField.h"
#include "ORQSimCSet.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// A step of an analysis, as a view of its record: a handle, free to copy. Throws as ORQSimPosition
/// does: Usage when the database is closed, Damaged or Io when rows or values cannot be read.
class ORQ_EXPORT ORQObjStep {
  public:
    ORQObjStep() = default;
    ORQObjStep(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    ORQString GetName() const { return m_position.Name(); }
    /// Members of the step's collection of times that have results, in their order.
    ORQSimCSet GetTimes() const;
    /// The values of those times, in the model's unit of time.
    std::vector<double> ReadTimes() const;
    /// Views of the step's fields in the order in which they were added, at the cost of a lookup
    /// for each; no values are read.
    std::vector<ORQObjMeshedField> GetFieldResults() const;
    std::vector<ORQObjMeshedField> GetHistoryFields() const;
    /// What the analysis reported in it (ORQObjCondition), in order.
    ORQSimVector GetConditions() const;

  private:
    ORQSimPosition m_position;
};
