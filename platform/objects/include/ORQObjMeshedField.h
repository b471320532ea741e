#pragma once

#include <cstdint>
#include <vector>

#include "ORQBasExport.h"
#include "ORQSimCSet.h"
#include "ORQSimIDs.h"
#include "ORQSimIntRange.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// Some values of a field at a time: those of all layers, section points and points that it names,
/// in all members that it names. Numbers count from 0, layers and section points from the bottom.
/// What the field does not have stays empty.
struct ORQObjFieldView {
    ORQSimCSet members = {};
    ORQSimIntRange layers = {};
    ORQSimIntRange sectionPoints = {};
    ORQSimIntRange points = {};
};

/// What a field has values for: every part of the view at each of the times.
struct ORQObjFieldBlock {
    ORQSimCSet times;
    ORQObjFieldView view;
};

/// The axes along which the components of a vector or tensor stand. Stored by name, do not change.
enum class ORQObjAxes {
    Unknown,  ///< as the field's program has it
    Layer,    ///< of each layer: the first along its fibres, the third along the normal
    Element,  ///< those from which the angles of layers are counted
    Model
};

/// A field over members of a mesh, or over the whole model, as a view of its record.
///
/// The fields of a step have values by time, member and component; those of the whole model by time
/// and component. Each member has several values where the field has points (integration points,
/// nodes or faces of an element, as its grid type says), and where it has layers with section
/// points, or both:
///
///   two quadrilaterals {4, 7} of 4 points and two components, in 3 layers of 2 section points
///   buffer   [layer 0..2][section point 0..1][element 4, 7][point 0..3][component 0..1]
///
/// so that the values of one layer of a time lie together. Classes of elements may have different
/// numbers of points and layers: each is written by itself. A value is in the model's units; what
/// has no value reads as what the buffer held.
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
    bool HasMembers() const { return !GetMemberCollection().IsNull(); }
    /// The collection of nodes or elements; null for a field of the whole model.
    ORQSimCollectionID GetMemberCollection() const;
    /// Whether members have several points, or layers with section points.
    bool HasPoints() const;
    bool HasLayers() const;
    /// The axes of the components. A name that this library does not know reads as Unknown.
    ORQObjAxes GetAxes() const;
    /// How files name the arrays of a field with points or layers, one for each of a component; for
    /// readers and writers of files to say. Empty for none.
    ORQString GetArrayNames() const;
    /// What there are values for, in the order in which it was first written; where blocks overlap,
    /// the later one has the values. No values are read.
    std::vector<ORQObjFieldBlock> GetBlocks() const;

    /// Writes values[times][layers][section points][members][points][components], without the
    /// dimensions that the field lacks. What is written together stays in one drawer, which grows
    /// along time, so that adding a time costs what it adds. So a large field is written in pieces,
    /// the same ones at every time; one transfer takes up to 2^31 - 1 bytes. REQUIRES: a field of a
    /// step, and an open transaction. Throws Usage for a view without the points or layers that the
    /// field has, or with some that it does not have; nothing is written then.
    void WriteView(const ORQSimCSetID& times, const ORQObjFieldView& view,
                   const double* values) const;
    /// The same for a field without points and layers.
    void Write(const ORQSimCSetID& times, const ORQSimCSet& members, const double* values) const {
        WriteView(times, {members}, values);
    }
    /// Reads values of one time, a member of the step's times, in the same order. Returns how many
    /// of them there are. Costs what it reads: of a drawer with many layers, only the layers of the
    /// view. Throws Usage as WriteView does.
    std::int64_t ReadView(int time, const ORQObjFieldView& view, double* values) const;
    /// The same for a field without points and layers.
    std::int64_t Read(int time, const ORQSimCSet& members, double* values) const {
        return ReadView(time, {members}, values);
    }

    /// For ORQObjStepBuilder: stores what the getters return. REQUIRES: an open transaction.
    void SetGridType(int gridType) const;
    void SetComponents(const ORQSimCSetID& codes) const;
    void SetComponentLabel(int place, const ORQString& label) const;
    void SetAxes(ORQObjAxes axes) const;
    void SetArrayNames(const ORQString& names) const;

  private:
    ORQSimPosition m_position;
};
