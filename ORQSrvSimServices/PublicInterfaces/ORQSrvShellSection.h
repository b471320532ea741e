#pragma once

#include <vector>

#include "ORQBasExport.h"
#include "ORQBasVector.h"
#include "ORQSimCSet.h"
#include "ORQSimDatabase.h"
#include "ORQSimPosition.h"
#include "ORQSrvShellLayerTable.h"

class ORQSrvSectionReader;

/// A shell section, read layer by layer from the bottom. Vectors have one entry per layer; a
/// reference stays valid for the life of the object.
///
/// Thicknesses and angles are read by the constructor, everything else by the first call of its
/// getter. What the database gains afterwards is not seen. A missing link is no error: references
/// are null then, counts 0, thicknesses and angles the most negative double. All throw
/// ORQBasFailure: Usage when the database is closed, Damaged or Io when values cannot be read.
/// Outside of transactions the layers of neighbouring sections are read together, and kept for the
/// section that is read next: of many sections in the order of their numbers each costs a few
/// microseconds and a copy of its values, and for distributed ones an intersection of element sets
/// for each drawer. ORQSrvShellLayerTable reads all sections at once.
class ORQ_EXPORT ORQSrvShellSection {
  public:
    /// How a layer's thickness or angle is given.
    enum VariationEnm {
        VariationUndefined = 0,   ///< not at all
        VariationConstant = 1,    ///< one value for the layer; goes before a distributed one
        VariationDistributed = 2  ///< a field over all elements of the section
    };

    /// Throws ORQBasAssertException ("layer.Size() == 1") when a drawer of a distributed field
    /// covers several layers.
    explicit ORQSrvShellSection(const ORQSimPosition& section);
    ~ORQSrvShellSection();
    ORQSrvShellSection(const ORQSrvShellSection&) = delete;
    ORQSrvShellSection& operator=(const ORQSrvShellSection&) = delete;

    int GetNumLayers() const { return m_layerCount; }
    /// Records of the document's materials, the model's orientations and the model's plies.
    const ORQBasVector<ORQSimPosition>& GetMaterials() const;
    const ORQBasVector<ORQSimPosition>& GetOrientations() const;
    const ORQBasVector<ORQSimPosition>& GetPlies() const;
    /// Points through the thickness of each layer.
    const ORQBasVector<int>& GetSectionPoints() const;
    /// Thicknesses in the model's length unit, angles in degrees. Empty for a section without
    /// layers.
    const ORQBasVector<double>& GetConstThicknesses() const { return m_thicknesses; }
    const ORQBasVector<double>& GetConstRotationAngles() const { return m_rotationAngles; }
    const ORQBasVector<VariationEnm>& GetThicknessVariations() const {
        return m_thicknessVariations;
    }
    const ORQBasVector<VariationEnm>& GetRotationAngleVariations() const {
        return m_rotationAngleVariations;
    }

  private:
    template <class T>
    struct Cache {
        ORQBasVector<T> values;
        bool isFilled = false;
    };

    template <class T>
    using Column = const std::vector<T>& (ORQSrvShellLayerTable::*)() const;

    ORQSimCSet SectionElements() const;
    template <class T>
    void ReadLayers(ORQSrvSectionReader& reader, Column<T> column, ORQBasVector<T>& values) const;
    void ReadReferences(int kind, Column<int> column, Cache<ORQSimPosition>& cache) const;
    void UpdateValues(ORQSrvSectionReader& reader, const ORQSimPosition& field,
                      Column<double> constants, int line, ORQBasVector<double>& values,
                      ORQBasVector<VariationEnm>& variations) const;

    ORQSimPosition m_section;
    ORQSimDatabase m_database;
    int m_layerCount;
    int m_member = -1;  // of the model's sections
    mutable Cache<ORQSimPosition> m_materials;
    mutable Cache<ORQSimPosition> m_orientations;
    mutable Cache<ORQSimPosition> m_plies;
    mutable Cache<int> m_sectionPoints;
    ORQBasVector<double> m_thicknesses;
    ORQBasVector<double> m_rotationAngles;
    ORQBasVector<VariationEnm> m_thicknessVariations;
    ORQBasVector<VariationEnm> m_rotationAngleVariations;
};
