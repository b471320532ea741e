#pragma once

#include <cstdint>

#include "ORQBasExport.h"
#include "ORQSimCSet.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// A field over members of a mesh, or over the whole model, as a view of its record.
///
/// The fields of a step have values by time, member and component; those of the whole model by time
/// and component. A value is in the model's units; members without a value read as what the buffer
/// held.
class ORQ_EXPORT ORQObjMeshedField {
  public:
    ORQObjMeshedField() = default;
    ORQObjMeshedField(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    ORQString GetName() const { return m_position.Name(); }
    /// Null when the field holds no values yet.
    ORQSimDistributionID GetDistribution() const;
    /// The type index that says where the values live, for example Field_Nodal; 0 when unknown.
    int GetGridType() const;
    /// The identifier of the field's type in the table of output variables; empty for a field type
    /// that the model defines.
    ORQString GetIdentifier() const;

    /// Component codes (ads_ComponentSymbolsEnm) in the order in which values are given: members of
    /// the document's collection of components. One, ads_ComponentNone, for a scalar.
    ORQSimCSet GetComponents() const;
    /// The label of the component at a place of that order, as its file or program spells it.
    ORQString GetComponentLabel(int place) const;
    /// Members of the step's collection of times at which some member has values.
    ORQSimCSet GetTimes() const;
    /// Whether values belong to nodes or elements; those of the whole model do not.
    bool HasMembers() const;

    /// Writes values[times][members][components]; the members take no part in a field of the whole
    /// model. Members that are written together stay in one drawer, which grows along time, so that
    /// adding a time costs what it adds. REQUIRES: a field of a step, and an open transaction.
    void Write(const ORQSimCSetID& times, const ORQSimCSet& members, const double* values) const;
    /// Reads the values [members][components] at one time, a member of the step's times. Returns
    /// how many of them there are.
    std::int64_t Read(int time, const ORQSimCSet& members, double* values) const;

    /// For ORQObjStepBuilder: stores what the getters return. REQUIRES: an open transaction.
    void SetGridType(int gridType) const;
    void SetComponents(const ORQSimCSetID& codes) const;
    void SetComponentLabel(int place, const ORQString& label) const;

  private:
    ORQSimPosition m_position;
};
