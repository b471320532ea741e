#pragma once

#include "ORQExcReport.h"
#include "ORQObjDocument.h"
#include "ORQObjMeshedField.h"
#include "ORQSimPosition.h"
#include "ORQSimReferences.h"

namespace orq::exchange {

/// Takes records of the standard model away with what is their own: values, sets, tables,
/// properties. Who uses them is for the caller to ask before. REQUIRES: an open transaction.
class Removal {
  public:
    explicit Removal(const ORQObjDocument& document)
        : m_document(document), m_references(document.ContextID()) {}

    /// Removes a set or a surface, with its row of nodal areas.
    void Region(const ORQSimPosition& region) const;
    /// Layers too. REQUIRES: no assignment has it.
    void Section(const ORQSimPosition& section) const;
    void Material(const ORQSimPosition& material) const;
    void Field(const ORQObjMeshedField& field) const;
    /// Removes a step with its results and conditions.
    void Step(const ORQSimPosition& step) const;
    /// A record alone.
    void Object(const ORQSimPosition& object) const { m_references.Delete(object.ID()); }

  private:
    void Child(const ORQSimPosition& object, int slot) const;
    void AllOf(const ORQSimPosition& object, int vectorSlot) const;
    void Set(const ORQSimPosition& set) const;
    void AreasOf(const ORQSimPosition& region) const;
    void LayersOf(const ORQSimPosition& section) const;

    const ORQObjDocument& m_document;
    ORQSimReferences m_references;
};

}  // namespace orq::exchange
