#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

#include "ORQBasExport.h"
#include "ORQSimCollection.h"
#include "ORQSimPosition.h"

/// The layers of many shell sections at once: what they refer to, and their constant thicknesses
/// and angles, as ORQSrvBulkShellLayers writes them.
///
///   const ORQSrvShellLayerTable table(model);
///   table.ConstThicknesses()[table.Place(layer, section)]
///
/// Every array has a value for each layer and each section of the table;
/// sections, materials, orientations and plies are member numbers of the model's collections.
/// Values that vary over the elements are not among them.
///
/// An array is read by the first call of its getter and stays for the life of the object; what the
/// database gains afterwards is not seen. Costs a copy of the values and some half a microsecond
/// for each layer. All throw ORQBasFailure: Usage when the database is closed, Damaged or Io when
/// values cannot be read.
class ORQ_EXPORT ORQSrvShellLayerTable {
  public:
    /// All sections of the model.
    explicit ORQSrvShellLayerTable(const ORQSimPosition& model);
    /// Sections [firstSection, firstSection + nSections), as far as the model has them, and of each
    /// the layers [0, mostLayers), as far as the model has room for them.
    ORQSrvShellLayerTable(const ORQSimPosition& model, int firstSection, int nSections,
                          int mostLayers = std::numeric_limits<int>::max());

    int NumLayers() const { return m_nLayers; }
    int FirstSection() const { return m_firstSection; }
    int NumSections() const { return m_nSections; }
    /// Where the value of a layer, from 0 at the bottom, and a section stands in each array.
    /// REQUIRES: the table has both.
    std::size_t Place(int layer, int section) const {
        return static_cast<std::size_t>(layer) * static_cast<std::size_t>(m_nSections) +
               static_cast<std::size_t>(section - m_firstSection);
    }

    /// -1 where a layer refers to none.
    const std::vector<int>& Materials() const;
    const std::vector<int>& Orientations() const;
    const std::vector<int>& Plies() const;
    /// 0 where nothing is stored.
    const std::vector<int>& SectionPoints() const;
    /// Thicknesses in the model's length unit, angles in degrees; the most negative double where
    /// nothing is stored.
    const std::vector<double>& ConstThicknesses() const;
    const std::vector<double>& ConstAngles() const;

  private:
    template <class T>
    using Column = std::optional<std::vector<T>>;

    template <class T>
    const std::vector<T>& Read(int slot, T none, Column<T>& column) const;
    template <class T>
    void ReadLayers(const ORQSimPosition& stored, int firstLayer, int nLayers, T* values) const;

    ORQSimPosition m_sectionData;
    ORQSimCollection m_layers;
    ORQSimCollection m_sections;
    int m_nLayers;
    int m_firstSection;
    int m_nSections;
    mutable Column<int> m_materials;
    mutable Column<int> m_orientations;
    mutable Column<int> m_plies;
    mutable Column<int> m_sectionPoints;
    mutable Column<double> m_thicknesses;
    mutable Column<double> m_angles;
};
