#pragma once

#include <utility>
#include <vector>

#include "ORQBasExport.h"
#include "ORQBasMap.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "omi_Singleton.h"

/// The process-wide writer of layered shell sections. It collects, layer by layer, what each layer
/// of each section refers to and its thickness and rotation angle, and writes it in one call: one
/// distribution per attribute over (layers, sections), or (layers, elements) where a value varies
/// over the elements, with one drawer per layer. ORQSrvShellSection reads it back.
///
///   auto& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
///   layers.AppendMaterial(0, section, steel);
///   layers.AppendConstThickness(0, section, 0.125);
///   layers.WriteBulkDistributions(model);
///   layers.Clean();  // also after a failure
///
/// Layers count from 0 at the bottom of the section; sections, materials, orientations and plies
/// are member numbers of the model's collections, -1 for a reference to none. Thicknesses are in
/// the model's length unit, angles in degrees. A (layer, section) pair that is given twice keeps
/// the first value; so does an element that two regions of a layer cover.
///
/// Made on first use; ends with the ORQSrvFsm sub-module at the latest.
class ORQ_EXPORT ORQSrvBulkShellLayers : public omi_SingletonBase<ORQSrvBulkShellLayers> {
  public:
    void AppendMaterial(int layer, int section, int material);
    void AppendOrientation(int layer, int section, int orientation);
    void AppendPly(int layer, int section, int ply);
    void AppendNumSectionPoints(int layer, int section, int count);
    void AppendConstThickness(int layer, int section, double thickness);
    void AppendConstAngle(int layer, int section, double angle);
    /// The field's value for each element of the region. The field holds its values in an F-table
    /// of one column, with one row for all elements or one for each in the order of the region's
    /// set, or in a distribution over elements and one component, of any scalar type; elements for
    /// which that stores nothing get no value.
    void AppendDistThickness(int layer, const ORQSimPosition& region, const ORQSimPosition& field);
    void AppendDistAngle(int layer, const ORQSimPosition& region, const ORQSimPosition& field);

    /// Writes everything collected in one transaction of its own, and keeps it until Clean().
    /// Values of a layer that the model has already are added to the layer's drawer; room is made
    /// for layers that no section has had so far. Nothing is written when nothing was collected and
    /// the model has no layered section.
    ///
    /// What throws leaves the model as it was. ORQBasAssertException, with the text, file and line
    /// of the check:
    ///   - the user field "STH" (thickness) or "ANGLE" is missing: "serFields.Size() == 1";
    ///   - a distributed field exists already; editing one is not supported;
    ///   - the values of a field are in neither place ("dids.Size() == 1"), in a table of several
    ///     columns ("ncols == 1") or in a distribution of other than two dimensions
    ///     ("numDim == 2");
    ///   - a drawer that the model has holds several layers: "layerSet.Size() == 1".
    /// ORQBasFailure (Usage), naming the object or number:
    ///   - a reference to a material, orientation or ply is neither -1 nor a member of its
    ///     collection; found before anything is written;
    ///   - a section does not exist, or a layer is below 0;
    ///   - a region has no elements; a field has no values for elements, several for one element,
    ///     or a table of neither one row nor as many as the region has elements.
    void WriteBulkDistributions(const ORQSimPosition& model);
    /// Forgets what was collected.
    void Clean();

  private:
    friend class omi_Singleton<ORQSrvBulkShellLayers>;
    friend class omi_SingletonBase<ORQSrvBulkShellLayers>;

    /// Values by member, flat: a model may have millions.
    template <class T>
    struct Column {
        std::vector<int> members;
        std::vector<T> values;

        void Append(int member, T value) {
            members.push_back(member);
            values.push_back(value);
        }
        /// Brings the members into ascending order, each with its first value.
        void Settle();
    };
    template <class T>
    using Columns = ORQBasMap<int, Column<T>>;  // by layer
    using Fields = ORQBasMap<int, std::vector<std::pair<ORQSimPosition, ORQSimPosition>>>;
    struct Attribute;
    struct FieldAttribute;

    ORQSrvBulkShellLayers() = default;
    ~ORQSrvBulkShellLayers() = default;

    bool IsEmpty() const;
    bool HasLayeredSection() const;
    void Initialize();
    void WriteMaterialDistribution();
    void WriteOrientationDistribution();
    void WritePlyDistribution();
    void WriteSectionPointDistribution();
    void WriteConstThicknessDistribution();
    void WriteConstAngleDistribution();
    void WriteDistThicknessDistribution();
    void WriteDistAngleDistribution();
    template <class T>
    void WriteColumns(Columns<T>& columns, const Attribute& attribute);
    void WriteFields(const Fields& fields, const FieldAttribute& attribute);
    ORQSimPosition CreateDistribution(const Attribute& attribute) const;
    ORQSimPosition UserField(const char* name, int line) const;
    void ReadFieldData(const ORQSimPosition& region, const ORQSimPosition& field,
                       Column<double>& values) const;
    void CheckReferences(const Columns<int>& columns, const char* kind,
                         const ORQSimCollectionID& collection) const;
    ORQSimCollectionID MaterialCollection() const;
    ORQSimCollectionID OrientationCollection() const;
    ORQSimCollectionID PlyCollection() const;
    ORQSimCollectionID LayerCollection() const;
    ORQSimCollectionID SectionCollection() const;

    bool m_active = true;
    ORQSimPosition m_model;
    ORQSimPosition m_sectionData;
    Columns<int> m_materials;
    Columns<int> m_orientations;
    Columns<int> m_plies;
    Columns<int> m_sectionPoints;
    Columns<double> m_constThicknesses;
    Columns<double> m_constAngles;
    Fields m_distThicknesses;
    Fields m_distAngles;
};

extern template class omi_SingletonBase<ORQSrvBulkShellLayers>;
extern template class omi_Singleton<ORQSrvBulkShellLayers>;
