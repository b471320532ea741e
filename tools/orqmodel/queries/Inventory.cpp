#include "queries/Inventory.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <optional>

#include "ORQExcMaterials.h"
#include "ORQExcResults.h"
#include "ORQExcSections.h"
#include "ORQExcTexts.h"
#include "ORQObjMesh.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "queries/PlaceName.h"

namespace orqmodel {
namespace {

using nlohmann::json;

std::string TextOf(const json& cell) {
    if (cell.is_null() || (cell.is_array() && cell.empty())) {
        return "-";
    }
    if (cell.is_string()) {
        return ORQExcPrintable(cell.get_ref<const std::string&>());
    }
    if (cell.is_array()) {
        return ORQExcPrintable(
            fmt::format("{}", fmt::join(cell.get<std::vector<std::string>>(), ", ")));
    }
    if (cell.is_object()) {
        return fmt::format("{} to {}", TextOf(cell["lowest"]), TextOf(cell["highest"]));
    }
    return cell.is_number_float() ? fmt::format("{:g}", cell.get<double>()) : cell.dump();
}

/// The count and the ends of the labels that the instance at a place gives: labels are stored in
/// ascending order. Null where it gives none.
json LabelRange(const ORQSimPosition& stored, int instance) {
    const ORQSimDistribution labels(stored.GetDistribution());
    for (const ORQSimDrawerDescription& drawer : labels.QueryDrawers()) {
        // An instance has one drawer: its labels are given once.
        const ORQSimCSet of(drawer.CSet(0));
        const ORQSimCSet members(drawer.CSet(1));
        if (of.SeekMember(instance) < 0 || members.IsEmpty()) {
            continue;
        }
        const auto labelOf = [&](int member) {
            int label = 0;
            ORQSimTransfer(labels)
                .SetRead()
                .SetDrawer(drawer.DrawerID())
                .SetDim(0, of)
                .SetDim(
                    1,
                    ORQSimCollection(members.CollectionID()).CreateVolatileCSet(&member, 1, true))
                .SetBuffer(ORQSimbufMain, &label, sizeof label)
                .ExecRead();
            return label;
        };
        return {{"count", members.Size()},
                {"lowest", labelOf(members[0])},
                {"highest", labelOf(members[members.Size() - 1])}};
    }
    return nullptr;
}

bool Meet(const ORQSimCSet& a, const ORQSimCSet& b) {
    // Most blocks and sections lie apart, which the bounds show without an intersection.
    if (a.IsEmpty() || b.IsEmpty() || a.Bounds().Last() < b.Bounds().First() ||
        b.Bounds().Last() < a.Bounds().First()) {
        return false;
    }
    return !a.Intersection(b).IsEmpty();
}

/// A number of the model's file; null for what was made without.
json Number(int number) {
    return number == 0 ? json() : json(number);
}

json Text(const std::string& text) {
    return text.empty() ? json() : json(text);
}

/// The first and the last of the times, among those of all steps, at which a field has values.
json TimesOf(const ORQExcResults& results, const ORQExcResults::Field& field) {
    std::optional<double> first;
    double last = 0;
    int step = -1;
    ORQSimCSet times;
    for (const ORQExcResults::Frame& frame : results.Frames()) {
        if (frame.step != step) {
            step = frame.step;
            times = field.ofStep[static_cast<std::size_t>(step)].GetTimes();
        }
        if (times.SeekMember(frame.member) >= 0) {
            first = first.value_or(frame.time);
            last = frame.time;
        }
    }
    return first ? json{{"lowest", *first}, {"highest", last}} : json();
}

}  // namespace

// --- Tables --------------------------------------------------------------------------------------

const std::string& InventoryTable::NameOf(std::size_t row) const {
    return rows[row][0].get_ref<const std::string&>();
}

std::vector<std::string> InventoryTable::Names() const {
    std::vector<std::string> names;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        names.push_back(NameOf(row));
    }
    return names;
}

json InventoryTable::ToJson() const {
    json list = json::array();
    for (const std::vector<json>& row : rows) {
        json& object = list.emplace_back(json::object());
        for (std::size_t i = 0; i < columns.size(); ++i) {
            object[columns[i].member] = row[i];
        }
    }
    return list;
}

std::vector<std::vector<std::string>> InventoryTable::Texts() const {
    std::vector<std::vector<std::string>> texts(1);
    for (const Column& column : columns) {
        texts[0].emplace_back(column.heading);
    }
    for (const std::vector<json>& row : rows) {
        std::ranges::transform(row, std::back_inserter(texts.emplace_back()), TextOf);
    }
    return texts;
}

std::vector<bool> InventoryTable::NumberColumns() const {
    std::vector<bool> are;
    for (const Column& column : columns) {
        are.push_back(column.isNumber);
    }
    return are;
}

// --- The kinds -----------------------------------------------------------------------------------

InventoryTable Inventory::Instances() const {
    InventoryTable table{{{"instance", "name"},
                          {"nodes", "nodes", true},
                          {"labels", "node_labels"},
                          {"elements", "elements", true},
                          {"labels", "element_labels"}},
                         {}};
    const ORQObjMesh mesh(m_document.GetMesh());
    const ORQSimCollection instances(mesh.GetInstanceCollection().GetCollection());
    const auto count = [](const json& range) { return range.is_null() ? json(0) : range["count"]; };
    for (int i = 0; i < instances.Space(); ++i) {
        json nodes = LabelRange(mesh.GetNodeLabels(), i);
        json elements = LabelRange(mesh.GetElementLabels(), i);
        table.rows.push_back(
            {instances.GetMember(i).Name().UTF8(), count(nodes), nodes, count(elements), elements});
    }
    return table;
}

InventoryTable Inventory::Blocks() const {
    InventoryTable table{{{"block", "name"},
                          {"number", "number", true},
                          {"shape", "shape"},
                          {"elements", "elements", true},
                          {"sections", "sections"}},
                         {}};
    const ORQExcSections sections(m_document);
    for (const ORQExcModel::Block& block : m_model.Blocks()) {
        std::vector<std::string> names;
        for (const ORQExcSections::Section& section : sections.Sections()) {
            if (Meet(block.elements, section.elements)) {
                names.push_back(section.name);
            }
        }
        table.rows.push_back(
            {block.name, Number(block.number), block.shape->name, block.elements.Size(), names});
    }
    return table;
}

InventoryTable Inventory::Sets() const {
    InventoryTable table{
        {{"set", "name"}, {"of", "of"}, {"number", "number", true}, {"members", "members", true}},
        {}};
    for (const ORQExcModel::Set& set : m_model.NodeSets()) {
        table.rows.push_back({set.name, "nodes", Number(set.number), set.members.Size()});
    }
    for (const ORQExcModel::Set* set : m_model.ElementSetsBesideBlocks()) {
        table.rows.push_back({set->name, "elements", Number(set->number), set->members.Size()});
    }
    return table;
}

InventoryTable Inventory::Surfaces() const {
    InventoryTable table{
        {{"surface", "name"}, {"number", "number", true}, {"faces", "faces", true}}, {}};
    const ORQSimMap surfaces = m_document.GetModel().GetMap(ORQSimSchema::Model_surfaces);
    for (auto entry = surfaces.Begin(); entry.NotDone(); ++entry) {
        std::int64_t faces = 0;
        // Faces are counted from the sizes of the stored sets; ORQExcModel::Surfaces would list
        // each face.
        const ORQSimCtation parts =
            (*entry).GetPosition(ORQSimSchema::Region_elementsFacesCluster).DSet().GetCtation();
        for (const ORQSimCompartment& part : parts.Compartments()) {
            faces +=
                std::int64_t{ORQSimCSet(part.CSet(0)).Size()} * ORQSimCSet(part.CSet(1)).Size();
        }
        table.rows.push_back(
            {entry.Key().UTF8(),
             Number((*entry).DataRecord().GetInt(ORQSimRecordField::Region_number)), faces});
    }
    // The map is ordered by name; the model's file orders surfaces by number.
    std::ranges::stable_sort(table.rows, {}, [](const auto& row) { return row[1]; });
    return table;
}

InventoryTable Inventory::Sections() const {
    InventoryTable table{{{"section", "name"},
                          {"number", "number", true},
                          {"card", "card"},
                          {"layers", "layers", true},
                          {"elements", "elements", true}},
                         {}};
    const ORQExcSections sections(m_document);
    for (const ORQExcSections::Section& section : sections.Sections()) {
        const ORQSimDataRecord record = section.position.DataRecord();
        table.rows.push_back(
            {section.name, Number(section.number),
             Text(record.ReturnString(ORQSimRecordField::Section_layered_kind).UTF8()),
             record.GetInt(ORQSimRecordField::Section_layered_numLayers), section.elements.Size()});
    }
    return table;
}

InventoryTable Inventory::Materials() const {
    InventoryTable table{{{"material", "name"}, {"number", "number", true}, {"card", "card"}}, {}};
    const ORQExcMaterials materials(m_document);
    for (const ORQExcMaterials::Material& material : materials.Materials()) {
        table.rows.push_back({material.name, Number(material.number), Text(material.kind)});
    }
    return table;
}

InventoryTable Inventory::Orientations() const {
    InventoryTable table{{{"orientation", "name"}, {"number", "number", true}}, {}};
    const ORQSimMap map = m_document.GetModel().GetMap(ORQSimSchema::Model_orientations);
    for (auto entry = map.Begin(); entry.NotDone(); ++entry) {
        table.rows.push_back({entry.Key().UTF8(), Number((*entry).DataRecord().GetInt(
                                                      ORQSimRecordField::Orientation_number))});
    }
    return table;
}

InventoryTable Inventory::Steps() const {
    InventoryTable table{{{"step", "name"},
                          {"times", "times", true},
                          {"from", "first_time", true},
                          {"to", "last_time", true}},
                         {}};
    const ORQExcResults results(m_document);
    for (const std::string& step : results.Steps()) {
        table.rows.push_back({step, 0, nullptr, nullptr});
    }
    for (const ORQExcResults::Frame& frame : results.Frames()) {
        std::vector<json>& row = table.rows[static_cast<std::size_t>(frame.step)];
        row[2] = row[1] == 0 ? json(frame.time) : row[2];
        row[1] = row[1].get<int>() + 1;
        row[3] = frame.time;
    }
    return table;
}

InventoryTable Inventory::Fields() const {
    InventoryTable table{{{"field", "name"},
                          {"of", "place"},
                          {"within", "within"},
                          {"members", "members", true},
                          {"times", "times", true},
                          {"from to", "time_range"},
                          {"type", "identifier"},
                          {"components", "components"}},
                         {}};
    const ORQExcResults results(m_document);
    for (const ORQExcResults::Field& field : results.Fields()) {
        std::vector<std::string> components;
        for (const ORQExcResults::Component& component : field.components) {
            components.push_back(component.label);
        }
        table.rows.push_back(
            {field.name, PlaceName(field.place), Text(WithinText(results, field)),
             field.place == ORQExcResultArray::Place::Model ? json()
                                                            : json(results.MembersOf(field).Size()),
             results.NumTimes(field), TimesOf(results, field), Text(field.identifier), components});
    }
    return table;
}

std::span<const InventoryKind> InventoryKinds() {
    static constexpr std::array kKinds = {InventoryKind{"instances", &Inventory::Instances},
                                          InventoryKind{"blocks", &Inventory::Blocks},
                                          InventoryKind{"sets", &Inventory::Sets},
                                          InventoryKind{"surfaces", &Inventory::Surfaces},
                                          InventoryKind{"sections", &Inventory::Sections},
                                          InventoryKind{"materials", &Inventory::Materials},
                                          InventoryKind{"orientations", &Inventory::Orientations},
                                          InventoryKind{"steps", &Inventory::Steps},
                                          InventoryKind{"fields", &Inventory::Fields}};
    return kKinds;
}

}  // namespace orqmodel
