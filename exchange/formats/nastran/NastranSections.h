#pragma once

#include <map>
#include <string>
#include <vector>

#include "ORQExcLayup.h"
#include "ORQExcReport.h"
#include "formats/nastran/NastranCoordinates.h"
#include "formats/nastran/NastranElements.h"
#include "formats/nastran/NastranProperties.h"

namespace orq::exchange {

/// Makes the sections of a deck from its properties and from the material directions of the
/// elements that have them.
///
/// Layers lie in the coordinate system that an element names as its material direction, or else on
/// the element's first side, turned by its angle THETA. A property whose elements name several
/// systems becomes a section for each; angles THETA are added to those of the layers.
class NastranSections {
  public:
    /// Elements of one block that have the same material direction, where that differs within the
    /// block: an element set.
    struct DirectionSet {
        std::string name;
        int number;                 ///< of the property
        std::vector<int> elements;  ///< ordinals
    };

    NastranSections(const NastranMaterials& materials, const NastranProperties& properties,
                    const NastranElements& elements, NastranCoordinates& coordinates,
                    ORQExcReport& losses);

    ORQExcLayup TakeLayup() { return std::move(m_layup); }
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
    void AddBlock(const NastranElements::Block& block, int first);
    void AddSections(const BulkProperty& property);
    void AddSection(const BulkProperty& property, const std::string& name, int direction,
                    const std::vector<Region>& regions);
    ORQExcLayup::Layer LayerOf(const BulkProperty::Ply& ply, int direction,
                               const std::vector<Region>& regions);
    int PlaceOfPly(int globalNumber);

    const NastranMaterials& m_materials;
    const NastranElements& m_elements;
    NastranCoordinates& m_coordinates;
    ORQExcReport& m_losses;
    ORQExcLayup m_layup;
    std::vector<DirectionSet> m_sets;
    std::map<const BulkProperty*, RegionsByDirection> m_regions;
    std::map<int, int> m_placesOfOrientations;  // by number of the system
    std::map<int, int> m_placesOfPlies;         // by global number
};

}  // namespace orq::exchange
