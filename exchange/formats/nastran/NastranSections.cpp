#include "formats/nastran/NastranSections.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace orq::exchange {
namespace {

constexpr int kOwnSide = -1;  // instead of a coordinate system

bool AllEqual(const std::vector<double>& values) {
    return std::ranges::adjacent_find(values, std::not_equal_to()) == values.end();
}

}  // namespace

NastranSections::NastranSections(const NastranMaterials& materials,
                                 const NastranProperties& properties,
                                 const NastranElements& elements, NastranCoordinates& coordinates,
                                 ORQExcReport& losses)
    : m_materials(materials), m_elements(elements), m_coordinates(coordinates), m_losses(losses) {
    m_layup.materials = materials.Materials();
    AddOrientations();
    int first = 0;
    for (const NastranElements::Block& block : elements.Blocks()) {
        if (block.property != nullptr && block.property->IsSection()) {
            AddBlock(block, first);
        }
        first += block.NumElements();
    }
    for (const BulkProperty* property : properties.Sections()) {
        AddSections(*property);
    }
}

void NastranSections::AddOrientations() {
    for (const int number : m_coordinates.Numbers()) {
        const auto* const system = m_coordinates.Find(number);
        const std::string name = m_coordinates.NameOf(number);
        if (system == nullptr) {
            continue;  // it has been reported
        }
        if (system->kind != NastranCoordinates::Kind::Rectangular) {
            continue;  // an orientation is rectangular; the card is kept
        }
        m_placesOfOrientations[number] = static_cast<int>(m_layup.orientations.size());
        m_layup.orientations.push_back({name, number, system->axes[0], system->axes[1]});
    }
}

void NastranSections::AddBlock(const NastranElements::Block& block, int first) {
    const std::vector<double>* const systems = block.Column("MCID");
    const std::vector<double>* const turns = block.Column("THETA");
    std::map<int, std::pair<std::vector<int>, std::vector<double>>> byDirection;
    for (std::size_t row = 0; row < block.labels.size(); ++row) {
        const bool hasSystem = systems != nullptr && !std::isnan((*systems)[row]);
        const bool hasTurn = turns != nullptr && !std::isnan((*turns)[row]);
        const int direction = hasSystem ? static_cast<int>((*systems)[row]) : kOwnSide;
        if (hasSystem && m_coordinates.Find(direction) == nullptr) {
            m_elements.Complain(block, row, block.card->fields[0].field,
                                fmt::format("coordinate system {} is missing or wrong", direction));
        }
        auto& [elements, angles] = byDirection[direction];
        elements.push_back(first + static_cast<int>(row));
        angles.push_back(hasTurn ? (*turns)[row] : 0.0);
    }
    const std::string blockName = m_elements.Described(block).name;
    if (block.Column("T1") != nullptr) {
        m_losses.Change("element block", blockName, block.NumElements(),
                        "the elements' own thicknesses stay attributes; layers have those of the "
                        "property");
    }
    for (auto& [direction, members] : byDirection) {
        auto& [elements, angles] = members;
        std::string name = blockName;
        // A block of one direction is the element set of its section itself.
        if (byDirection.size() > 1) {
            name += direction == kOwnSide ? " THETA" : fmt::format(" MCID {}", direction);
            m_sets.push_back({name, block.propertyNumber, std::move(elements)});
        }
        m_regions[block.property][direction].push_back({name, std::move(angles)});
    }
}

void NastranSections::AddSections(const BulkProperty& property) {
    const auto found = m_regions.find(&property);
    if (found == m_regions.end()) {
        AddSection(property, property.Name(), kOwnSide, {});
        return;
    }
    for (const auto& [direction, regions] : found->second) {
        const bool isOneOfSeveral = found->second.size() > 1 && direction != kOwnSide;
        AddSection(property,
                   isOneOfSeveral ? fmt::format("{} MCID {}", property.Name(), direction)
                                  : property.Name(),
                   direction, regions);
    }
}

void NastranSections::AddSection(const BulkProperty& property, const std::string& name,
                                 int direction, const std::vector<Region>& regions) {
    ORQExcLayup::Section section{name, property.number, {}, property.card, property.constants};
    std::int64_t nTurned = 0;
    for (const Region& region : regions) {
        nTurned += std::ranges::count_if(region.turns, [](double turn) { return turn != 0; });
    }
    for (const BulkProperty::Ply& ply : property.plies) {
        section.layers.push_back(LayerOf(ply, direction, regions));
        if (nTurned > 0) {
            section.layers.back().nominalAngle = ply.angle;
        }
    }
    if (nTurned > 0) {
        m_losses.Change("section", name, nTurned,
                        "the angles of its layers contain THETA of its elements");
    }
    const auto* const system = direction == kOwnSide ? nullptr : m_coordinates.Find(direction);
    if (system != nullptr && system->kind != NastranCoordinates::Kind::Rectangular) {
        m_losses.Change("section", name, 1,
                        fmt::format("its layers have no orientation: that of its elements is {}, "
                                    "which is not rectangular",
                                    m_coordinates.NameOf(direction)));
    }
    for (const Region& region : regions) {
        m_layup.assignments.push_back(
            {region.elementSet, static_cast<int>(m_layup.sections.size())});
    }
    m_layup.sections.push_back(std::move(section));
}

ORQExcLayup::Layer NastranSections::LayerOf(const BulkProperty::Ply& ply, int direction,
                                            const std::vector<Region>& regions) {
    ORQExcLayup::Layer layer;
    layer.material = m_materials.PlaceOf(ply.material);
    layer.ply = PlaceOfPly(ply.globalNumber);
    layer.thickness = ply.thickness;
    // The basic system becomes an orientation only where a layer lies in it.
    if (direction == 0 && !m_placesOfOrientations.contains(0)) {
        m_placesOfOrientations[0] = static_cast<int>(m_layup.orientations.size());
        m_layup.orientations.push_back({m_coordinates.NameOf(0), 0, {1, 0, 0}, {0, 1, 0}});
    }
    if (const auto found = m_placesOfOrientations.find(direction);
        found != m_placesOfOrientations.end()) {
        layer.orientation = found->second;
    }
    std::vector<double> turns;
    for (const Region& region : regions) {
        turns.insert(turns.end(), region.turns.begin(), region.turns.end());
    }
    // One angle for all elements is a number of the layer; only angles that differ take a field.
    if (AllEqual(turns)) {
        layer.angle = ply.angle + (turns.empty() ? 0.0 : turns[0]);
        return layer;
    }
    for (const Region& region : regions) {
        ORQExcLayup::Field& field =
            layer.angles.emplace_back(ORQExcLayup::Field{region.elementSet, {}});
        for (const double turn : region.turns) {
            field.values.push_back(ply.angle + turn);
        }
    }
    return layer;
}

int NastranSections::PlaceOfPly(int globalNumber) {
    if (globalNumber == 0) {
        return ORQExcLayup::kNone;
    }
    const auto [at, isNew] =
        m_placesOfPlies.try_emplace(globalNumber, static_cast<int>(m_layup.plies.size()));
    if (isNew) {
        m_layup.plies.push_back({fmt::format("ply {}", globalNumber), globalNumber});
    }
    return at->second;
}

}  // namespace orq::exchange
