#include "formats/nastran/NastranKeptCards.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "formats/nastran/NastranCards.h"

namespace orq::exchange {
namespace {

/// Compares exactly; NaN stands for a blank field.
bool AreEqual(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

bool AreEqual(std::span<const double> a, std::span<const double> b) {
    return std::ranges::equal(a, b, [](double x, double y) { return AreEqual(x, y); });
}

bool AreEqual(const ORQExcMaterialTable& a, const ORQExcMaterialTable& b) {
    const auto isSameColumn = [](const ORQExcMaterialTable::Column& x,
                                 const ORQExcMaterialTable::Column& y) {
        return x.name == y.name && x.number == y.number;
    };
    return a.property == b.property &&
           std::ranges::equal(a.components, b.components, isSameColumn) &&
           a.fieldVariables.size() == b.fieldVariables.size() && AreEqual(a.values, b.values) &&
           AreEqual(a.temperatures, b.temperatures);
}

bool AreEqual(const std::optional<double>& a, const std::optional<double>& b) {
    return a.has_value() == b.has_value() && (!a || AreEqual(*a, *b));
}

}  // namespace

NastranKeptCards::NastranKeptCards(std::string text, const LabelIndex& nodes,
                                   const LabelIndex& elements, const Position& position)
    : m_text(std::move(text)),
      m_deck(std::make_unique<NastranDeck>(std::string_view(m_text), m_problems)) {
    BulkCard card;
    while (m_deck->Next(card)) {
        Add(card, m_part.Add(card));
    }
    NastranKept kept;
    // Coordinate systems may stand on nodes whose cards are not kept; the model has their
    // positions.
    m_part.nodes.SetOthers([&](int label) -> std::optional<NastranCoordinates::GivenPoint> {
        const auto node = nodes.Find(label);
        return node ? std::optional(NastranCoordinates::GivenPoint{0, position(*node)})
                    : std::nullopt;
    });
    m_part.nodes.Resolve(m_part.coordinates, kept, m_losses);
    m_part.materials.Resolve();
    // Missing members were findings of the import, so all labels pass as scalar points here.
    m_part.sets.Resolve(nodes, elements, [](int) { return true; });
    for (const auto take : {&NastranSets::TakeNodeSets, &NastranSets::TakeElementSets}) {
        for (NastranSets::Set& set : (m_part.sets.*take)()) {
            m_sets[set.described.name] = std::move(set);
        }
    }
}

void NastranKeptCards::Add(const BulkCard& card, BulkTaken taken) {
    if (card.Name() == "GRID") {
        return;
    }
    if (FindNastranElementCard(card.Name()) != nullptr) {
        if (card.IsInt(1)) {
            m_elementCards.emplace(*card.Int(1), card.Source());
        }
        return;
    }
    const bool isSet = taken != BulkTaken::No &&
                       (card.Name() == "SET1" || card.Name() == "SPC1" || card.Name() == "RBE2" ||
                        card.Name() == "RBE3" || card.Name() == "RBAR");
    const auto numbered = [&](int field) {
        return fmt::format("{} {}", card.Name(), card.IsInt(field) ? *card.Int(field) : 0);
    };
    std::string object = isSet ? m_part.sets.NameOfLast() : numbered(1);
    ++m_objects[object];
    // A card of this kind defines two systems, the second from its fifth field on.
    if (constexpr int kSecondSystem = 5;
        card.Name().starts_with("CORD1") && card.IsInt(kSecondSystem)) {
        ++m_objects[numbered(kSecondSystem)];
    }
    m_cards.push_back({std::move(object), std::string(card.Source())});
}

void NastranKeptCards::Write(const std::function<bool(const std::string& object)>& isGood,
                             const std::function<void(std::string_view line)>& write) const {
    for (const Card& card : m_cards) {
        if (isGood(card.object)) {
            write(card.source);
        }
    }
}

bool NastranKeptCards::HasProperty(std::string_view family, int number) const {
    return m_part.properties.Find(family, number) != nullptr || m_part.properties.IsKnown(number);
}

std::optional<std::string_view> NastranKeptCards::NodeCard(int label,
                                                           const NastranCoordinates::Point& at,
                                                           int constraints) const {
    const auto found = m_part.nodes.Index().Find(label);
    if (!found) {
        return std::nullopt;
    }
    const auto place = static_cast<std::size_t>(*found);
    const double* const said = &m_part.nodes.Coordinates()[3 * place];
    // Both positions come from the same conversion, so they are equal to the last bit unless one
    // was changed.
    const bool isGood =
        std::equal(at.begin(), at.end(), said) && m_part.nodes.Constraints()[place] == constraints;
    return isGood ? std::optional(m_part.nodes.Sources()[place]) : std::nullopt;
}

std::optional<std::string_view> NastranKeptCards::ElementCard(int label) const {
    const auto found = m_elementCards.find(label);
    return found == m_elementCards.end() ? std::nullopt : std::optional(found->second);
}

bool NastranKeptCards::SaysMaterial(const ORQExcLayup::Material& material) const {
    const int place = m_part.materials.PlaceOf(material.number);
    if (place == ORQExcLayup::kNone) {
        return true;
    }
    const auto& said = m_part.materials.Materials()[static_cast<std::size_t>(place)];
    return said.kind == material.kind &&
           std::ranges::equal(said.tables, material.tables,
                              [](const auto& a, const auto& b) { return AreEqual(a, b); });
}

bool NastranKeptCards::SaysOrientation(const ORQExcLayup::Orientation& orientation) const {
    const auto* const system = m_part.coordinates.Found(orientation.number);
    return system == nullptr ||
           (system->axes[0] == orientation.axis1 && system->axes[1] == orientation.axis2);
}

bool NastranKeptCards::SaysSection(const ORQExcLayup::Section& section, const ORQExcLayup& layup,
                                   std::span<const std::optional<double>> angles) const {
    const BulkProperty* const said = m_part.properties.Find("shell", section.number);
    if (said == nullptr) {
        return true;
    }
    const std::size_t nConstants = said->constants.size();
    if (said->card != section.kind || said->plies.size() != section.layers.size() ||
        section.constants.size() < nConstants ||
        !AreEqual(std::span(section.constants).first(nConstants), said->constants)) {
        return false;
    }
    for (std::size_t i = 0; i < said->plies.size(); ++i) {
        const BulkProperty::Ply& ply = said->plies[i];
        const ORQExcLayup::Layer& layer = section.layers[i];
        // A material that the model lacks has a number on the card alone.
        const bool isSameMaterial =
            layer.material == ORQExcLayup::kNone ||
            layup.materials[static_cast<std::size_t>(layer.material)].number == ply.material;
        const int number = layer.ply == ORQExcLayup::kNone
                               ? 0
                               : layup.plies[static_cast<std::size_t>(layer.ply)].number;
        if (!isSameMaterial || !AreEqual(layer.thickness, ply.thickness) ||
            !AreEqual(angles[i], ply.angle) || number != ply.globalNumber) {
            return false;
        }
    }
    return true;
}

bool NastranKeptCards::SaysSet(const std::string& name, const ORQExcModel::Set& set) const {
    const auto said = m_sets.find(name);
    if (said == m_sets.end()) {
        return true;
    }
    std::vector<int> members(static_cast<std::size_t>(set.members.Size()));
    set.members.OrderedMembers(members.data());
    std::vector<int> wanted = said->second.members;
    for (std::vector<int>* const list : {&members, &wanted}) {
        std::ranges::sort(*list);
        list->erase(std::unique(list->begin(), list->end()), list->end());
    }
    return members == wanted;
}

}  // namespace orq::exchange
