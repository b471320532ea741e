#pragma once

#include "ORQBasExport.h"
#include "ORQSimCSet.h"
#include "ORQSimPosition.h"

class ORQObjMesh;

/// One class of a classification of elements, as a view of its record.
class ORQ_EXPORT ORQObjElementClass {
  public:
    ORQObjElementClass() = default;
    ORQObjElementClass(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    /// The elements that the membership of its classification gives to the class; empty when it is
    /// in none.
    ORQSimCSet GetElementCSet() const;
    /// Makes a record for the elements of a spec, a member of the mesh's collection of element
    /// classes, and views it. REQUIRES: an open transaction, and that the collection exists.
    void Register(const ORQObjMesh& mesh, const ORQSimPosition& elementSpec);

  private:
    ORQSimPosition m_position;
};

/// A division of a mesh into element classes, as a view of its record.
class ORQ_EXPORT ORQObjElementClassification {
  public:
    ORQObjElementClassification(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    /// Both REQUIRE an open transaction.
    void AppendElementClass(const ORQObjElementClass& elementClass) const;
    /// The data set of (class, elements) compartments.
    void SetMembership(const ORQSimPosition& dataSet) const;

  private:
    ORQSimPosition m_position;
};
