#include "formats/nastran/NastranMeshCards.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "formats/nastran/NastranDeck.h"
#include "formats/nastran/NastranGridFields.h"
#include "formats/nastran/NastranSetCards.h"
#include "model/ShellColumns.h"

namespace orq::exchange {
namespace {

constexpr int kSlice = 1 << 16;     // nodes or elements at a time; bounds the memory
constexpr int kThicknessField = 3;  // of a plate
constexpr std::string_view kOffsetField = "ZOFFS";  // the name of the field

bool IsInteger(double value) {
    return value == std::round(value) && std::abs(value) <= std::numeric_limits<int>::max();
}

void SetAttributes(BulkFields& fields, const std::map<std::size_t, NastranElementField>& places,
                   std::span<const double> values) {
    for (const auto& [place, field] : places) {
        const double value = values[place];
        if (!std::isfinite(value)) {
            continue;
        }
        if (field.real == nullptr && IsInteger(value)) {
            fields.Set(field.field, static_cast<int>(value));
        } else {
            fields.Set(field.field, value);
        }
    }
}

/// The thickness at every corner.
void SetThickness(BulkFields& fields, const NastranElementCard& card, double thickness) {
    for (const NastranElementField& field : card.fields) {
        if (field.real != nullptr && std::string_view(field.real).starts_with('T') &&
            std::string_view(field.real).size() == 2 && std::isfinite(thickness)) {
            fields.Set(field.field, thickness);
        }
    }
}

/// Labels that the node fields of a card hold, without blanks and the ground.
std::vector<int> NodesOf(const BulkCard& card, const NastranElementCard& kind) {
    std::vector<int> nodes;
    for (const int field : kind.nodeFields) {
        if (const int label = BulkInt(card.Text(field)).value_or(0); label != 0) {
            nodes.push_back(label);
        }
    }
    return nodes;
}

/// Whether the fields of a card, except those of nodes, have the values of `fields`. A blank
/// property stands for the default of the format.
bool SaysTheSame(const BulkCard& card, const NastranElementCard& kind, const BulkFields& fields) {
    for (int field = 1; field <= static_cast<int>(fields.Texts().size()); ++field) {
        const std::string& wanted = fields.Texts()[static_cast<std::size_t>(field - 1)];
        const bool isNode = std::ranges::find(kind.nodeFields, field) != kind.nodeFields.end();
        const bool isDefault =
            kind.family != nullptr && field == kNastranPropertyField && card.IsBlank(field);
        if (!wanted.empty() && !isNode && !isDefault &&
            BulkReal(card.Text(field)) != BulkReal(wanted)) {
            return false;
        }
    }
    return true;
}

}  // namespace

// --- Nodes ---------------------------------------------------------------------------------------

/// The components that are constrained for good, by node.
std::map<int, int> NastranMeshCards::Constraints() const {
    std::map<int, int> constraints;
    for (const ORQExcModel::Set& set : m_scope.model.NodeSets()) {
        if (m_scope.HasNamed(set.name) &&
            NastranSetCards::IsConstraints(set, m_scope.OwnName(set.name))) {
            for (ORQSimCSetIterator node(set.members); !node.IsDone(); node.Next()) {
                constraints[node.CurrentValue()] = set.number;
            }
        }
    }
    return constraints;
}

void NastranMeshCards::WriteNodes() {
    const std::map<int, int> constraints = Constraints();
    const int nNodes = m_scope.model.NumNodes();
    const auto dimension = static_cast<std::size_t>(m_scope.model.Dimension());
    std::vector<double> values;
    std::int64_t nWritten = 0;
    std::int64_t nNotFinite = 0;
    for (int begin = 0; begin < nNodes; begin += kSlice) {
        const int end = std::min(begin + kSlice, nNodes);
        values.assign(static_cast<std::size_t>(end - begin) * dimension, 0);
        if (dimension > 0) {
            m_scope.model.ReadCoordinates(begin, end, values);
        }
        for (int node = begin; node < end; ++node) {
            if (!m_scope.HasNode(node)) {
                continue;
            }
            ++nWritten;
            NastranCoordinates::Point point{};
            for (std::size_t axis = 0; axis < dimension; ++axis) {
                const double value =
                    values[static_cast<std::size_t>(node - begin) * dimension + axis];
                // Bulk data cannot spell an infinite value or NaN.
                nNotFinite += std::isfinite(value) ? 0 : 1;
                point[axis] = std::isfinite(value) ? value : 0;
            }
            const int label = m_scope.nodeLabels[static_cast<std::size_t>(node)];
            const auto found = constraints.find(node);
            const int constrained = found == constraints.end() ? 0 : found->second;
            if (const auto card = m_scope.kept.NodeCard(label, point, constrained)) {
                m_scope.text.Line(*card);
                continue;
            }
            BulkFields fields;
            fields.Set(1, label);
            for (std::size_t axis = 0; axis < point.size(); ++axis) {
                fields.Set(grid::kFirstCoordinate + static_cast<int>(axis), point[axis]);
            }
            if (constrained != 0) {
                fields.Set(grid::kConstraints, constrained);
            }
            m_scope.text.Card("GRID", fields);
        }
    }
    m_scope.report.Keep("nodes", "", nWritten);
    if (dimension < 3 && nWritten > 0) {
        m_scope.report.Change("nodes", "", nWritten,
                              dimension == 0 ? "they have no coordinates and stand at 0"
                                             : "their third coordinate became 0");
    }
    if (nNotFinite > 0) {
        m_scope.report.Change("coordinates", "", nNotFinite, "they are not finite and became 0");
    }
}

// --- Elements ------------------------------------------------------------------------------------

void NastranMeshCards::WriteElements() {
    for (const ORQExcModel::Block& block : m_scope.model.Blocks()) {
        if (block.elements.Size() == 0 || !m_scope.HasElement(block.elements[0])) {
            continue;
        }
        const NastranElementCardFor card = FindNastranElementCardFor(*block.shape, block.shapeName);
        if (card.card == nullptr) {
            m_scope.report.Drop("element block", block.name, block.elements.Size(),
                                fmt::format("{} has no card", block.shape->name));
        } else {
            WriteBlock(block, PlanFor(block, card));
        }
    }
}

NastranMeshCards::BlockPlan NastranMeshCards::PlanFor(const ORQExcModel::Block& block,
                                                      const NastranElementCardFor& card) {
    const std::int64_t count = block.elements.Size();
    if (card.shape->nNodes < block.shape->nNodes) {
        m_scope.report.Change("element block", block.name, count,
                              fmt::format("its {} became {} of {} nodes", block.shape->name,
                                          card.card->name, card.shape->nNodes));
    } else if (block.shapeName != card.card->name && block.shape->dimension < 2) {
        m_scope.report.Change(
            "element block", block.name, count,
            block.shape->dimension == 0
                ? fmt::format("its points became {} without mass", card.card->name)
                : fmt::format("its elements became {}", card.card->name));
    } else {
        m_scope.report.Keep("element block", block.name, count);
    }
    BlockPlan plan{card.card, card.shape->nNodes, 0, FieldsOfAttributes(block, *card.card)};
    PutProperty(block, plan);
    return plan;
}

/// The property of elements without a section; a placeholder replaces one that the model does not
/// have. A property that a deck did not have is not made up.
void NastranMeshCards::PutProperty(const ORQExcModel::Block& block, BlockPlan& plan) {
    const NastranElementCard& card = *plan.card;
    std::vector<int> elements(static_cast<std::size_t>(block.elements.Size()));
    block.elements.OrderedMembers(elements.data());
    const bool hasSections = card.IsShell() && std::ranges::all_of(elements, [&](int element) {
                                 return m_sections.SectionOf(element) != ORQExcLayup::kNone;
                             });
    if (card.family == nullptr || hasSections) {
        DropThickness(block, card);
        return;
    }
    if (m_scope.isOfDeck && block.shapeName == card.name) {
        plan.property = block.number;
        return;
    }
    plan.property = m_sections.NewNumber(block.number);
    if (block.definition.empty()) {
        WritePlaceholder(block, plan);
    } else if (m_definitions.insert(block.definition).second) {
        WriteDefinition(block.definition);
    }
}

void NastranMeshCards::WritePlaceholder(const ORQExcModel::Block& block, BlockPlan& plan) {
    const std::string name(NastranPlaceholderCard(plan.card->family));
    BulkFields fields;
    fields.Set(1, plan.property);
    if (const auto thickness = ThicknessOf(block, plan)) {
        fields.Set(kThicknessField, *thickness);
    }
    m_scope.text.Card(name, fields);
    m_scope.report.Note("property", fmt::format("{} {}", name, plan.property), 1,
                        "a placeholder without a material: the model has no section of the block");
}

void NastranMeshCards::DropThickness(const ORQExcModel::Block& block,
                                     const NastranElementCard& card) const {
    for (std::size_t i = 0; i < block.attributes.size(); ++i) {
        if (card.IsShell() && IsThicknessAttribute(block, i)) {
            m_scope.report.Drop("attribute", block.attributes[i], block.elements.Size(),
                                "the sections of the elements have it");
        }
    }
}

/// The thickness of all elements of a block of shells. Where they differ, each has its own.
std::optional<double> NastranMeshCards::ThicknessOf(const ORQExcModel::Block& block,
                                                    BlockPlan& plan) const {
    const std::size_t nAttributes = block.attributes.size();
    std::size_t place = 0;
    while (place < nAttributes && !IsThicknessAttribute(block, place)) {
        ++place;
    }
    if (place == nAttributes || !plan.card->IsShell()) {
        return std::nullopt;
    }
    std::vector<double> values(static_cast<std::size_t>(block.elements.Size()) * nAttributes);
    m_scope.model.ReadAttributes(block, 0, block.elements.Size(), values);
    const double first = values[place];
    for (std::size_t i = place; i < values.size(); i += nAttributes) {
        if (values[i] != first) {
            plan.thickness = place;
            return std::nullopt;
        }
    }
    return std::isfinite(first) ? std::optional(first) : std::nullopt;
}

/// Writes a card that a database of an earlier release keeps with a block: name and fields,
/// separated by commas.
void NastranMeshCards::WriteDefinition(std::string_view definition) {
    BulkFields fields;
    std::size_t begin = definition.find(',');
    const std::string_view name = definition.substr(0, begin);
    for (int field = 1; begin < definition.size(); ++field) {
        const std::size_t end = std::min(definition.find(',', begin + 1), definition.size());
        fields.Set(field, std::string(definition.substr(begin + 1, end - begin - 1)));
        begin = end;
    }
    m_scope.text.Card(name, fields);
}

/// The fields by the place of the attribute; attributes that the card has no field for are
/// reported.
std::map<std::size_t, NastranElementField> NastranMeshCards::FieldsOfAttributes(
    const ORQExcModel::Block& block, const NastranElementCard& card) const {
    std::map<std::size_t, NastranElementField> fields;
    const auto offset = std::ranges::find(block.attributes, kOffsetAttribute);
    for (std::size_t i = 0; i < block.attributes.size(); ++i) {
        if (card.IsShell() && IsThicknessAttribute(block, i)) {
            continue;  // It is the property's.
        }
        // The offset contains the element's own, which therefore gives way.
        const bool isOffset = block.attributes.begin() + static_cast<std::ptrdiff_t>(i) == offset;
        if (offset != block.attributes.end() && block.attributes[i] == kOffsetField) {
            continue;
        }
        const std::string& name = isOffset ? std::string(kOffsetField) : block.attributes[i];
        for (const NastranElementField& field : card.fields) {
            if (field.real != nullptr && name == field.real) {
                fields[i] = {field.field, field.real, nullptr};
            } else if (field.integer != nullptr && name == field.integer) {
                fields[i] = {field.field, nullptr, field.integer};
            }
        }
        if (!fields.contains(i)) {
            m_scope.report.Drop("attribute", name, block.elements.Size(),
                                fmt::format("{} has no field for it", card.name));
        }
    }
    return fields;
}

void NastranMeshCards::WriteBlock(const ORQExcModel::Block& block, const BlockPlan& plan) {
    const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
    const std::size_t nAttributes = block.attributes.size();
    std::vector<int> nodes;
    std::vector<double> attributes;
    for (int begin = 0; begin < block.elements.Size(); begin += kSlice) {
        const int end = std::min(begin + kSlice, block.elements.Size());
        const auto n = static_cast<std::size_t>(end - begin);
        nodes.resize(n * nNodes);
        attributes.resize(n * nAttributes);
        m_scope.model.ReadConnectivity(block, begin, end, nodes);
        if (nAttributes > 0) {
            m_scope.model.ReadAttributes(block, begin, end, attributes);
        }
        for (std::size_t row = 0; row < n; ++row) {
            const int element = block.elements[begin + static_cast<int>(row)];
            const auto own = std::span<const int>(nodes).subspan(
                row * nNodes, static_cast<std::size_t>(plan.nNodes));
            const BulkFields fields = FieldsOf(
                plan, element, own,
                std::span<const double>(attributes).subspan(row * nAttributes, nAttributes));
            if (!WriteKept(fields, plan, element, own)) {
                m_scope.text.Card(plan.card->name, fields);
            }
        }
    }
}

BulkFields NastranMeshCards::FieldsOf(const BlockPlan& plan, int element,
                                      std::span<const int> nodes,
                                      std::span<const double> attributes) const {
    BulkFields fields;
    fields.Set(1, m_scope.elementLabels[static_cast<std::size_t>(element)]);
    SetAttributes(fields, plan.fieldsOfAttributes, attributes);
    if (plan.thickness) {
        SetThickness(fields, *plan.card, attributes[*plan.thickness]);
    }
    // Attributes come first: an element's own direction goes before that of its section, and the
    // components of a spring decide between the fields of its nodes.
    SetProperty(fields, plan, element);
    SetNodes(fields, *plan.card, nodes);
    return fields;
}

void NastranMeshCards::SetProperty(BulkFields& fields, const BlockPlan& plan, int element) const {
    const int section = m_sections.SectionOf(element);
    if (section == ORQExcLayup::kNone || !plan.card->IsShell()) {
        if (plan.card->family != nullptr) {
            fields.Set(kNastranPropertyField, plan.property);
        }
        return;
    }
    fields.Set(kNastranPropertyField, m_sections.NumberOf(section));
    const auto system = m_sections.SystemOf(section);
    if (system && !plan.card->fields.empty() && fields.IsBlank(plan.card->fields[0].field)) {
        fields.Set(plan.card->fields[0].field, *system);
    }
}

void NastranMeshCards::SetNodes(BulkFields& fields, const NastranElementCard& card,
                                std::span<const int> nodes) const {
    const std::vector<int>& places = card.nodeFields;
    // The component of a spring shows which end has the node; the other end is the ground.
    const bool isAtSecond = nodes.size() == 1 && places.size() == 2 && places[1] == places[0] + 2 &&
                            fields.IsBlank(places[0] + 1) && !fields.IsBlank(places[1] + 1);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        fields.Set(places[isAtSecond ? 1 : i],
                   m_scope.nodeLabels[static_cast<std::size_t>(nodes[i])]);
    }
}

/// Writes the kept card of an element, if there is one and it says what the model says.
bool NastranMeshCards::WriteKept(const BulkFields& fields, const BlockPlan& plan, int element,
                                 std::span<const int> nodes) {
    const auto text =
        m_scope.kept.ElementCard(m_scope.elementLabels[static_cast<std::size_t>(element)]);
    if (!text) {
        return false;
    }
    NastranProblems problems;
    NastranDeck deck(*text, problems);
    BulkCard card;
    if (!deck.Next(card) || card.Name() != plan.card->name) {
        return false;
    }
    // The card may name more nodes than the model: an element with some middle nodes is taken by
    // its corners.
    const std::vector<int> said = NodesOf(card, *plan.card);
    const auto isSame = [&](int label, int node) {
        return label == m_scope.nodeLabels[static_cast<std::size_t>(node)];
    };
    if (said.size() < nodes.size() ||
        !std::equal(nodes.begin(), nodes.end(), said.begin(),
                    [&](int node, int label) { return isSame(label, node); })) {
        return false;
    }
    if (!SaysTheSame(card, *plan.card, fields)) {
        return false;
    }
    m_scope.text.Line(*text);
    return true;
}

}  // namespace orq::exchange
