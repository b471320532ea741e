#pragma once

#include <map>

#include "ORQBasExport.h"
#include "ORQObjMesh.h"
#include "ORQSimCSet.h"
#include "ORQSimPosition.h"

/// One class of a classification of elements, as a view of its record: a handle, free to copy.
/// Throws as ORQSimPosition does: Usage when the database is closed, Damaged or Io when rows cannot
/// be read.
class ORQ_EXPORT ORQObjElementClass {
  public:
    ORQObjElementClass() = default;
    ORQObjElementClass(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    /// The elements that the membership of its classification gives to the class; empty when it is
    /// in none. Costs a pass over the classification; for all classes use GetElementCSets there.
    ORQSimCSet GetElementCSet() const;
    /// Makes a record for the elements of a spec, a member of the mesh's collection of element
    /// classes, and views it. REQUIRES: an open transaction. Throws Usage, with nothing made, when
    /// the mesh has no such collection.
    void Register(const ORQObjMesh& mesh, const ORQSimPosition& elementSpec);

  private:
    ORQSimPosition m_position;
};

/// A division of a mesh into element classes, as a view of its record.
class ORQ_EXPORT ORQObjElementClassification {
  public:
    ORQObjElementClassification(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    /// The mesh that it divides; a view of nothing when none refers to it.
    ORQObjMesh GetMesh() const;
    /// The elements of every class that has any, by the class's member number: what
    /// ORQObjElementClass::GetElementCSet returns for each of them, read at once.
    std::map<int, ORQSimCSet> GetElementCSets() const;
    /// Both REQUIRE an open transaction.
    void AppendElementClass(const ORQObjElementClass& elementClass) const;
    /// The data set of (class, elements) compartments.
    void SetMembership(const ORQSimPosition& dataSet) const;

  private:
    ORQSimPosition m_position;
};
