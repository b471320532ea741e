#pragma once

#include <map>
#include <string>
#include <vector>

#include "LossReport.h"
#include "import/BulkDataCoordinates.h"
#include "import/BulkDataElements.h"
#include "import/BulkDataProperties.h"
#include "mesh/Layup.h"

namespace orqmodel {

/// Makes the sections of a deck from its properties and from the material directions of the
/// elements that have them.
///
/// Layers lie in the coordinate system that an element names as its material direction, or else on
/// the element's first side, turned by its angle THETA. A property whose elements name several
/// systems becomes a section for each; angles THETA are added to those of the layers.
class BulkDataSections {
  public:
    /// Elements of one block that have the same material direction, where that differs within the
    /// block: an element set.
    struct DirectionSet {
        std::string name;
        int number;                 ///< of the property
        std::vector<int> elements;  ///< ordinals
    };

    BulkDataSections(const BulkDataMaterials& materials, const BulkDataProperties& properties,
                     const BulkDataElements& elements, BulkDataCoordinates& coordinates,
                     LossReport& losses);

    Layup TakeLayup() { return std::move(m_layup); }
    std::vector<DirectionSet> TakeSets() { return std::move(m_sets); }

  private:
    /// Elements of one section, and the angles of their material directions, in degrees; none where
    /// all are 0.
    struct Region {
        std::string elementSet;
        std::vector<double> turns;
    };
    using RegionsByDirection = std::map<int, std::vector<Region>>;

    void AddOrientations();
    void AddBlock(const BulkDataElements::Block& block, int first);
    void AddSections(const BulkProperty& property);
    void AddSection(const BulkProperty& property, const std::string& name, int direction,
                    const std::vector<Region>& regions);
    Layup::Layer LayerOf(const BulkProperty::Ply& ply, int direction,
                         const std::vector<Region>& regions);
    int PlaceOfPly(int globalNumber);

    const BulkDataMaterials& m_materials;
    const BulkDataElements& m_elements;
    BulkDataCoordinates& m_coordinates;
    LossReport& m_losses;
    Layup m_layup;
    std::vector<DirectionSet> m_sets;
    std::map<const BulkProperty*, RegionsByDirection> m_regions;
    std::map<int, int> m_placesOfOrientations;  // by number of the system
    std::map<int, int> m_placesOfPlies;         // by global number
};

}  // namespace orqmodel
