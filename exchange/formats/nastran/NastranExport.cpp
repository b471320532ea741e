#include "formats/nastran/NastranExport.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcExportError.h"
#include "ORQExcLayup.h"
#include "ORQExcTexts.h"
#include "formats/nastran/NastranCards.h"
#include "formats/nastran/NastranMaterialCards.h"
#include "formats/nastran/NastranText.h"
#include "model/Numbering.h"

namespace orq::exchange {
namespace {

constexpr int kSlice = 1 << 16;  // nodes or elements at a time

std::optional<int> PropertyOf(const ORQExcModel::Properties& properties, std::string_view name) {
    const auto found =
        std::ranges::find(properties, name, [](const auto& property) { return property.first; });
    return found == properties.end() ? std::nullopt : std::optional(found->second);
}

/// Labels from 1, each once; what has none gets a new one.
std::vector<int> UsableLabels(std::vector<int> labels, std::string_view what,
                              ORQExcReport& report) {
    CompleteLabels(labels, what, report);
    std::vector<int> sorted = labels;
    std::ranges::sort(sorted);
    const auto twice = std::ranges::adjacent_find(sorted);
    if (twice != sorted.end()) {
        throw ORQExcExportError(
            fmt::format("{} label {} is given twice, in several instances; bulk data "
                        "have one numbering",
                        what, *twice));
    }
    return labels;
}

class Deck {
  public:
    Deck(const ORQExcModel& model, const std::filesystem::path& file, ORQExcReport& report)
        : m_model(model),
          m_report(report),
          m_layup(ORQExcReadLayup(model.Document())),
          m_text(file),
          m_nodeLabels(UsableLabels(model.NodeLabels(), "node", report)),
          m_elementLabels(UsableLabels(model.ElementLabels(), "element", report)) {}

    void Write() {
        if (const std::string title = m_model.Title(); !title.empty()) {
            Comment(title);
        }
        m_text.Line("BEGIN BULK");
        m_materialNumbers = WriteMaterialCards(m_layup.materials, m_text, m_report);
        WriteOrientations();
        ORQExcWriteSections();
        WriteNodes();
        WriteElements();
        WriteNodeSets();
        WriteElementSets();
        for (const ORQExcModel::Surface& surface : m_model.Surfaces()) {
            m_report.Drop("side set", surface.name, static_cast<std::int64_t>(surface.faces.size()),
                          "bulk data have no card for it");
        }
        m_text.Line("ENDDATA");
        m_text.Close();
    }

  private:
    void Comment(std::string_view text) { m_text.Line("$ " + ORQExcPrintable(text)); }

    /// Sets `field` and those behind it; NaN leaves one blank.
    static void SetReals(BulkFields& fields, int field, const std::vector<double>& values,
                         std::size_t count) {
        for (std::size_t i = 0; i < std::min(count, values.size()); ++i) {
            if (!std::isnan(values[i])) {
                fields.Set(field + static_cast<int>(i), values[i]);
            }
        }
    }

    /// Spells some of the fields that SetReals set as integers.
    static void SetIntegers(BulkFields& fields, int first, const std::vector<double>& values,
                            std::span<const int> integers) {
        for (const int field : integers) {
            if (field >= first && !fields.IsBlank(field)) {
                fields.Set(field,
                           static_cast<int>(values[static_cast<std::size_t>(field - first)]));
            }
        }
    }

    // --- Orientations ----------------------------------------------------------------------------

    void WriteOrientations() {
        Numbers numbers;
        for (const ORQExcLayup::Orientation& orientation : m_layup.orientations) {
            const auto& [x, y] = std::pair(orientation.axis1, orientation.axis2);
            const bool isBasic = orientation.number == 0 && x == std::array<double, 3>{1, 0, 0} &&
                                 y == std::array<double, 3>{0, 1, 0};
            m_orientationNumbers.push_back(isBasic ? 0 : numbers.Unique(orientation.number));
            if (isBasic) {
                continue;
            }
            const std::array<double, 9> points = {0,
                                                  0,
                                                  0,
                                                  x[1] * y[2] - x[2] * y[1],
                                                  x[2] * y[0] - x[0] * y[2],
                                                  x[0] * y[1] - x[1] * y[0],
                                                  x[0],
                                                  x[1],
                                                  x[2]};
            BulkFields fields;
            fields.Set(1, m_orientationNumbers.back());
            for (std::size_t i = 0; i < points.size(); ++i) {
                fields.Set(3 + static_cast<int>(i), points[i]);
            }
            m_text.Card("CORD2R", fields);
            m_report.Keep("orientation", orientation.name, 1);
        }
    }

    // --- Sections --------------------------------------------------------------------------------

    void ORQExcWriteSections() {
        Numbers numbers;
        std::set<std::pair<std::string, int>> written;
        for (const ORQExcLayup::Section& section : m_layup.sections) {
            const bool isPlate = section.kind == "PSHELL";
            const bool isOfDeck = isPlate || section.kind == "PCOMP" || section.kind == "PCOMPG";
            // Sections that differ in their material direction alone are one property.
            const bool isWritten =
                isOfDeck && !written.emplace(section.kind, section.number).second;
            m_sectionNumbers.push_back(isWritten ? section.number : numbers.Unique(section.number));
            if (!isWritten && isPlate) {
                WritePlate(section, m_sectionNumbers.back());
            } else if (!isWritten) {
                WriteLaminate(section, isOfDeck ? section.kind : "PCOMP", m_sectionNumbers.back());
            }
            m_report.Keep("section", section.name, std::ssize(section.layers));
        }
        m_propertyNumbers = numbers;
        m_sectionOf.assign(static_cast<std::size_t>(m_model.NumElements()), ORQExcLayup::kNone);
        for (const ORQExcLayup::Assignment& assignment : m_layup.assignments) {
            m_setsOfSections.insert(assignment.elementSet);
            const auto set = std::ranges::find(m_model.ElementSets(), assignment.elementSet,
                                               &ORQExcModel::Set::name);
            for (ORQSimCSetIterator element(set->members); !element.IsDone(); element.Next()) {
                int& section = m_sectionOf[static_cast<std::size_t>(element.CurrentValue())];
                section = section == ORQExcLayup::kNone ? assignment.section : section;
            }
        }
    }

    void SetMaterial(BulkFields& fields, int field, int place) const {
        if (place != ORQExcLayup::kNone) {
            fields.Set(field, m_materialNumbers[static_cast<std::size_t>(place)]);
        }
    }

    void WritePlate(const ORQExcLayup::Section& section, int number) {
        BulkFields fields;
        fields.Set(1, number);
        SetReals(fields, kFirstShellConstant, section.constants, kNumShellConstants);
        SetIntegers(fields, kFirstShellConstant, section.constants, kOtherMaterialFields);
        SetMaterial(fields, 2, section.layers.at(0).material);
        if (section.layers[0].thickness) {
            fields.Set(3, *section.layers[0].thickness);
        }
        m_text.Card(section.kind, fields);
    }

    void WriteLaminate(const ORQExcLayup::Section& section, const std::string& card, int number) {
        BulkFields fields;
        fields.Set(1, number);
        SetReals(fields, kFirstLaminateConstant, section.constants, kNumLaminateConstants);
        for (const int field : {kFailureField, kOptionsField}) {
            if (!fields.IsBlank(field)) {
                const double word =
                    section.constants[static_cast<std::size_t>(field - kFirstLaminateConstant)];
                if (!(word >= 1 && word <= static_cast<double>(NastranWords().size()))) {
                    throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                        fmt::format("section \"{}\": field {} is no word: {}",
                                                    section.name, field, word));
                }
                fields.Set(field, std::string(NastranWords()[static_cast<std::size_t>(word) - 1]));
            }
        }
        const bool isGlobal = card == "PCOMPG";
        int field = kFirstPlyField;
        std::int64_t nIncomplete = 0;
        for (std::size_t i = 0; i < section.layers.size(); ++i) {
            const ORQExcLayup::Layer& layer = section.layers[i];
            if (isGlobal && layer.ply != ORQExcLayup::kNone) {
                fields.Set(field, m_layup.plies[static_cast<std::size_t>(layer.ply)].number);
            }
            const int first = isGlobal ? field + 1 : field;
            const std::optional<double> angle = OwnAngle(section, i);
            SetMaterial(fields, first, layer.material);
            if (layer.thickness) {
                fields.Set(first + 1, *layer.thickness);
            }
            fields.Set(first + 2, angle.value_or(0));
            nIncomplete += layer.thickness && angle ? 0 : 1;
            field += isGlobal ? kGlobalPlyFields : kPlyFields;
        }
        m_text.Card(card, fields);
        if (nIncomplete > 0) {
            m_report.Drop("section", section.name, nIncomplete,
                          "thicknesses or angles of its layers that vary over elements, or lack");
        }
    }

    /// A layer's angle without those that elements add to it.
    static std::optional<double> OwnAngle(const ORQExcLayup::Section& section, std::size_t layer) {
        const std::size_t place = kNumLaminateConstants + layer;
        return place < section.constants.size() ? section.constants[place]
                                                : section.layers[layer].angle;
    }

    // --- Nodes -----------------------------------------------------------------------------------

    void WriteNodes() {
        std::map<int, int> constraints;  // by node
        for (const ORQExcModel::Set& set : m_model.NodeSets()) {
            if (IsConstraints(set)) {
                for (ORQSimCSetIterator node(set.members); !node.IsDone(); node.Next()) {
                    constraints[node.CurrentValue()] = set.number;
                }
            }
        }
        const int nNodes = m_model.NumNodes();
        const auto dimension = static_cast<std::size_t>(m_model.Dimension());
        if (dimension == 0) {
            m_report.Change("nodes", "", nNodes, "they have no coordinates and stand at 0");
        }
        std::vector<double> values;
        for (int begin = 0; begin < nNodes; begin += kSlice) {
            const int end = std::min(begin + kSlice, nNodes);
            values.resize(static_cast<std::size_t>(end - begin) * dimension);
            if (dimension > 0) {
                m_model.ReadCoordinates(begin, end, values);
            }
            for (int node = begin; node < end; ++node) {
                BulkFields fields;
                fields.Set(1, m_nodeLabels[static_cast<std::size_t>(node)]);
                for (std::size_t axis = 0; axis < dimension; ++axis) {
                    fields.Set(3 + static_cast<int>(axis),
                               values[static_cast<std::size_t>(node - begin) * dimension + axis]);
                }
                if (const auto found = constraints.find(node); found != constraints.end()) {
                    fields.Set(7, found->second);
                }
                m_text.Card("GRID", fields);
            }
        }
        m_report.Keep("nodes", "", nNodes);
    }

    // --- Elements --------------------------------------------------------------------------------

    void WriteElements() {
        std::int64_t nInBlocks = 0;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            nInBlocks += block.elements.Size();
            const NastranElementCard* card = FindNastranElementCard(block.shapeName);
            if (card == nullptr ||
                std::ranges::find(card->shapes, block.shape) == card->shapes.end()) {
                card = FindNastranElementCardFor(*block.shape);
            }
            if (card == nullptr) {
                m_report.Drop("element block", block.name, block.elements.Size(),
                              fmt::format("{} has no card", block.shape->name));
            } else {
                WriteBlock(block, *card);
            }
        }
        if (const auto missing = m_model.NumElements() - nInBlocks; missing > 0) {
            m_report.Drop("elements", "", missing, "they are in no block");
        }
    }

    void WriteBlock(const ORQExcModel::Block& block, const NastranElementCard& card) {
        const int property = PropertyFor(block, card);
        const std::map<std::size_t, NastranElementField> fieldsOfAttributes =
            FieldsOfAttributes(block, card);
        const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
        const std::size_t nAttributes = block.attributes.size();
        std::vector<int> nodes;
        std::vector<double> attributes;
        for (int begin = 0; begin < block.elements.Size(); begin += kSlice) {
            const int end = std::min(begin + kSlice, block.elements.Size());
            const auto n = static_cast<std::size_t>(end - begin);
            nodes.resize(n * nNodes);
            attributes.resize(n * nAttributes);
            m_model.ReadConnectivity(block, begin, end, nodes);
            if (nAttributes > 0) {
                m_model.ReadAttributes(block, begin, end, attributes);
            }
            for (std::size_t row = 0; row < n; ++row) {
                const auto element =
                    static_cast<std::size_t>(block.elements[begin + static_cast<int>(row)]);
                BulkFields fields;
                fields.Set(1, m_elementLabels[element]);
                SetAttributes(fields, fieldsOfAttributes,
                              std::span(attributes).subspan(row * nAttributes, nAttributes));
                SetProperty(fields, card, element, property);
                SetNodes(fields, card, std::span(nodes).subspan(row * nNodes, nNodes));
                m_text.Card(card.name, fields);
            }
        }
        if (block.shapeName == card.name || block.shape->dimension > 1) {
            m_report.Keep("element block", block.name, block.elements.Size());
        } else {
            m_report.Change("element block", block.name, block.elements.Size(),
                            fmt::format("its elements became {}", card.name));
        }
    }

    /// The property of the elements that have no section.
    int PropertyFor(const ORQExcModel::Block& block, const NastranElementCard& card) {
        const bool hasSections = std::ranges::all_of(MembersOf(block.elements), [&](int element) {
            return m_sectionOf[static_cast<std::size_t>(element)] != ORQExcLayup::kNone;
        });
        if (card.family == nullptr || hasSections) {
            return 0;
        }
        const bool isOfDeck = block.shapeName == card.name;
        const int number = isOfDeck ? block.number : m_propertyNumbers.Unique(block.number);
        if (block.definition.empty()) {
            m_report.Drop(
                "property", block.name, 1,
                fmt::format("the model does not hold property {}; elements name it", number));
        } else if (m_definitions.insert(block.definition).second) {
            WriteDefinition(block.definition);
        }
        return number;
    }

    /// A card as text, its name and fields with commas between them.
    void WriteDefinition(std::string_view definition) {
        BulkFields fields;
        std::size_t begin = definition.find(',');
        const std::string_view name = definition.substr(0, begin);
        for (int field = 1; begin < definition.size(); ++field) {
            const std::size_t end = std::min(definition.find(',', begin + 1), definition.size());
            fields.Set(field, std::string(definition.substr(begin + 1, end - begin - 1)));
            begin = end;
        }
        m_text.Card(name, fields);
    }

    static std::vector<int> MembersOf(const ORQSimCSet& set) {
        std::vector<int> members(static_cast<std::size_t>(set.Size()));
        set.OrderedMembers(members.data());
        return members;
    }

    /// By the place of the attribute; those that the card has no field for are reported.
    std::map<std::size_t, NastranElementField> FieldsOfAttributes(const ORQExcModel::Block& block,
                                                                  const NastranElementCard& card) {
        std::map<std::size_t, NastranElementField> fields;
        for (std::size_t i = 0; i < block.attributes.size(); ++i) {
            const std::string& name = block.attributes[i];
            for (const NastranElementField& field : card.fields) {
                if (field.real != nullptr && name == field.real) {
                    fields[i] = {field.field, field.real, nullptr};
                } else if (field.integer != nullptr && name == field.integer) {
                    fields[i] = {field.field, nullptr, field.integer};
                }
            }
            if (!fields.contains(i)) {
                m_report.Drop("attribute", name, block.elements.Size(),
                              fmt::format("{} has no field for it", card.name));
            }
        }
        return fields;
    }

    static void SetAttributes(BulkFields& fields,
                              const std::map<std::size_t, NastranElementField>& fieldsOfAttributes,
                              std::span<const double> values) {
        for (const auto& [place, field] : fieldsOfAttributes) {
            const double value = values[place];
            if (std::isnan(value)) {
                continue;
            }
            if (field.real != nullptr) {
                fields.Set(field.field, value);
            } else {
                fields.Set(field.field, static_cast<int>(value));
            }
        }
    }

    void SetProperty(BulkFields& fields, const NastranElementCard& card, std::size_t element,
                     int property) const {
        const int section = m_sectionOf[element];
        if (section == ORQExcLayup::kNone || !card.IsShell()) {
            if (card.family != nullptr) {
                fields.Set(kNastranPropertyField, property);
            }
            return;
        }
        const auto place = static_cast<std::size_t>(section);
        fields.Set(kNastranPropertyField, m_sectionNumbers[place]);
        const auto& layers = m_layup.sections[place].layers;
        const int orientation = layers.empty() ? ORQExcLayup::kNone : layers[0].orientation;
        const int direction = card.fields[0].field;
        if (orientation != ORQExcLayup::kNone && fields.IsBlank(direction)) {
            fields.Set(direction, m_orientationNumbers[static_cast<std::size_t>(orientation)]);
        }
    }

    void SetNodes(BulkFields& fields, const NastranElementCard& card,
                  std::span<const int> nodes) const {
        const std::vector<int>& places = card.nodeFields;
        // A spring that stands on the ground with its first end has a component at the second.
        const bool isAtSecond = nodes.size() == 1 && places.size() == 2 &&
                                places[1] == places[0] + 2 && fields.IsBlank(places[0] + 1) &&
                                !fields.IsBlank(places[1] + 1);
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            fields.Set(places[isAtSecond ? 1 : i],
                       m_nodeLabels[static_cast<std::size_t>(nodes[i])]);
        }
    }

    // --- Sets ------------------------------------------------------------------------------------

    static bool IsConstraints(const ORQExcModel::Set& set) {
        return PropertyOf(set.properties, "C") && set.name == fmt::format("PS {}", set.number);
    }

    static void Append(BulkFields& fields, const ORQSimCSet& set, const std::vector<int>& labels,
                       std::size_t first = 0) {
        const std::vector<int> members = MembersOf(set);
        for (std::size_t i = first; i < members.size(); ++i) {
            fields.Append(labels[static_cast<std::size_t>(members[i])]);
        }
    }

    void WriteNodeSets() {
        for (const ORQExcModel::Set& set : m_model.NodeSets()) {
            if (!IsConstraints(set) && !WriteConstraint(set) && !WriteRigid(set)) {
                WriteList(set, m_nodeLabels);
            }
            m_report.Keep("node set", set.name, set.members.Size());
        }
    }

    bool WriteConstraint(const ORQExcModel::Set& set) {
        const auto components = PropertyOf(set.properties, "C");
        if (!components || set.name != fmt::format("SPC1 {} {}", set.number, *components)) {
            return false;
        }
        BulkFields fields;
        fields.Set(1, set.number);
        fields.Set(2, *components);
        Append(fields, set.members, m_nodeLabels);
        m_text.Card("SPC1", fields);
        return true;
    }

    bool WriteRigid(const ORQExcModel::Set& set) {
        const auto is = [&](std::string_view card) {
            return set.name == fmt::format("{} {}", card, set.number) && set.members.Size() > 0;
        };
        BulkFields fields;
        fields.Set(1, set.number);
        const auto setProperty = [&](int field, std::string_view name) {
            if (const auto value = PropertyOf(set.properties, name)) {
                fields.Set(field, *value);
            }
        };
        const int reference = set.members.Size() > 0 ? MembersOf(set.members)[0] : 0;
        const int label = m_nodeLabels[static_cast<std::size_t>(reference)];
        if (is("RBE2")) {
            fields.Set(2, label);
            fields.Set(3, std::string());
            setProperty(3, "CM");
            Append(fields, set.members, m_nodeLabels, 1);
            m_text.Card("RBE2", fields);
        } else if (is("RBAR") && set.members.Size() == 2) {
            Append(fields, set.members, m_nodeLabels);
            setProperty(4, "CNA");
            setProperty(5, "CNB");
            setProperty(6, "CMA");
            setProperty(7, "CMB");
            m_text.Card("RBAR", fields);
        } else if (is("RBE3") && PropertyOf(set.properties, "WT")) {
            fields.Set(3, label);
            setProperty(4, "REFC");
            fields.Set(5, static_cast<double>(*PropertyOf(set.properties, "WT")));
            setProperty(6, "C");
            Append(fields, set.members, m_nodeLabels, 1);
            m_text.Card("RBE3", fields);
        } else {
            return false;
        }
        return true;
    }

    /// A list of labels, under its name where the deck would not give the same.
    void WriteList(const ORQExcModel::Set& set, const std::vector<int>& labels) {
        const int number = m_setNumbers.Unique(set.number);
        if (set.name != fmt::format("SET1 {}", number)) {
            Comment(set.name);
            m_report.Change("set", set.name, 1, fmt::format("its name became SET1 {}", number));
        }
        BulkFields fields;
        fields.Set(1, number);
        Append(fields, set.members, labels);
        m_text.Card("SET1", fields);
    }

    void WriteElementSets() {
        for (const ORQExcModel::Set* set : m_model.ElementSetsBesideBlocks()) {
            if (!m_setsOfSections.contains(set->name)) {
                WriteList(*set, m_elementLabels);
                m_report.Keep("element set", set->name, set->members.Size());
            }
        }
    }

    const ORQExcModel& m_model;
    ORQExcReport& m_report;
    ORQExcLayup m_layup;
    NastranText m_text;
    std::vector<int> m_nodeLabels;  // by ordinal
    std::vector<int> m_elementLabels;
    std::vector<int> m_materialNumbers;  // in the file, by place in the layup
    std::vector<int> m_orientationNumbers;
    std::vector<int> m_sectionNumbers;
    std::vector<int> m_sectionOf;            // place in the layup, by element
    std::set<std::string> m_setsOfSections;  // which follow from the elements
    Numbers m_propertyNumbers;
    Numbers m_setNumbers;
    std::set<std::string> m_definitions;  // that are written
};

}  // namespace

void WriteNastran(const ORQExcModel& model, const ORQExcResults& results,
                  const std::filesystem::path& file, ORQExcReport& report) {
    Deck(model, file, report).Write();
    if (!results.Frames().empty()) {
        report.Drop("times", "", std::ssize(results.Frames()), "bulk data has no results");
    }
}

}  // namespace orq::exchange
