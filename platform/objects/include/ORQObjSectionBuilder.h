#pragma once

#include <array>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// Adds sections, and what they refer to, to a model that an ORQObjModelBuilder began: makes the
/// records under the names and in the collections where readers look for them. Layers are written
/// by ORQSrvBulkShellLayers.
///
/// REQUIRES, of every operation: a transaction that the caller opened on the database. Names are
/// unique among objects of a kind; one that is empty or taken throws ORQBasFailure (Usage).
class ORQ_EXPORT ORQObjSectionBuilder {
  public:
    /// Makes the collections that lack, and the user fields "STH" and "ANGLE" by which thicknesses
    /// and angles are typed.
    explicit ORQObjSectionBuilder(const ORQObjDocument& document);

    /// Member number `number` in their collections is what layers refer to; see
    /// ORQObjDocument::GetCMemberIndex. `number` is the object's number in its file.
    ORQSimPosition AddMaterial(const ORQString& name, int number) const;
    ORQSimPosition AddPly(const ORQString& name, int number) const;
    /// Axes 1 and 2 of a rectangular system, in the model's coordinates; axis 3 is normal to both.
    ORQSimPosition AddOrientation(const ORQString& name, int number,
                                  const std::array<double, 3>& axis1,
                                  const std::array<double, 3>& axis2) const;

    /// A shell section of so many layers.
    ORQSimPosition AddShellSection(const ORQString& name, int number, int layers) const;
    /// A layer with a record of its own, behind those that the section has: of a type
    /// (Layer_General, Layer_Beam_Arbitrary), with a ply unless that is null. For what the layers'
    /// distributions do not hold.
    ORQSimPosition AddLayer(const ORQSimPosition& section, int type,
                            const ORQSimPosition& ply) const;
    /// The elements of the region have the section, unless an earlier assignment has them.
    /// ORQSrvEltClassificationBuilder::LinkSections links the element classes to it.
    ORQSimPosition AddSectionAssignment(const ORQSimPosition& region,
                                        const ORQSimPosition& section) const;

  private:
    ORQSimPosition AddNamed(int type, const ORQString& name, int number,
                            const ORQSimPosition& collection) const;

    ORQSimPosition m_model;
    ORQSimPosition m_materials;
};
