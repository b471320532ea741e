#include "import/LayupFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "NearNames.h"
#include "import/ImportError.h"
#include "mesh/BulkDataCards.h"
#include "mesh/Point.h"

namespace orqmodel {
namespace {

using nlohmann::json;
using Pointer = json::json_pointer;

constexpr std::size_t kMostErrors = 20;
constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

/// The card of bulk data whose properties and components a material may have.
constexpr const char* kMaterialKind = "MAT8";
constexpr const char* kTemperature = "temperature";
constexpr std::string_view kFieldPrefix = "field_";

/// Of the column of a field variable: "field_1", "field_2", ...
bool IsFieldVariable(std::string_view name) {
    if (!name.starts_with(kFieldPrefix)) {
        return false;
    }
    name.remove_prefix(kFieldPrefix.size());
    return !name.empty() && name.size() <= 6 && name.front() != '0' &&
           name.find_first_not_of("0123456789") == std::string_view::npos;
}

/// A member that an object may have.
struct Key {
    std::string name;
    bool isNeeded = false;
};

/// What a number has to be.
struct Range {
    const char* text;
    double low;
    double high;
    bool hasLow = true;
    bool Contains(double number) const {
        return (number > low || (hasLow && number == low)) && number <= high;
    }
};
constexpr double kLargest = std::numeric_limits<double>::max();
constexpr Range kAnyNumber{"a number", -kLargest, kLargest};
constexpr Range kThickness{"a number greater than 0", 0, kLargest, false};
constexpr Range kAngle{"a number of degrees from -360 to 360", -360, 360};
constexpr Range kSectionPoints{"a whole number from 1 to 1000", 1, 1000};

std::string Shown(const json& value) {
    constexpr std::size_t kMost = 40;
    if (value.is_object() || value.is_array()) {
        return fmt::format("{} of {}", value.is_object() ? "an object" : "an array", value.size());
    }
    const std::string text = value.dump(-1, ' ', true, json::error_handler_t::replace);
    return text.size() <= kMost ? text : text.substr(0, kMost) + "...";
}

/// Makes a layup of a file's value, gathering what is wrong on the way.
class Resolver {
  public:
    Resolver(const std::filesystem::path& file, const JsonText& text, const ModelReader& mesh)
        : m_file(file), m_text(text), m_mesh(mesh) {
        for (const ModelReader::Set& set : mesh.ElementSets()) {
            m_sets[set.name] = &set;
        }
    }

    Layup Resolve() {
        for (const Pointer& pointer : m_text.repeated) {
            Report(pointer, "stands here for the second time");
        }
        const json& root = m_text.value;
        if (IsObject(root, Pointer(),
                     {{"version", true},
                      {"materials"},
                      {"orientations"},
                      {"plies"},
                      {"sections", true},
                      {"assignments", true}})) {
            ReadAll(root);
        }
        if (!m_errors.empty()) {
            if (m_nErrors > kMostErrors) {
                m_errors.emplace_back(
                    ImportError(m_file, "file", fmt::format("and {} more", m_nErrors - kMostErrors))
                        .what());
            }
            throw ImportError(std::move(m_errors));
        }
        return std::move(m_layup);
    }

  private:
    using Places = std::map<std::string, int>;  // in a list, by name
    using Sets = std::vector<const ModelReader::Set*>;

    // --- What is wrong ---------------------------------------------------------------------------

    void Report(const Pointer& at, const std::string& message) {
        if (++m_nErrors <= kMostErrors) {
            m_errors.emplace_back(
                ImportError(m_file, at.empty() ? "/" : at.to_string(), message).what());
        }
    }
    void ReportValue(const Pointer& at, const json& value, const std::string& expected) {
        Report(at, fmt::format("is {}; expected is {}", Shown(value), expected));
    }
    void ReportUnknown(const Pointer& at, const std::string& name, const char* kind,
                       const std::vector<std::string>& known) {
        Report(at, fmt::format("there is no {} \"{}\"{}", kind, name, NearNames(name, known)));
    }
    template <class Value>
    static std::vector<std::string> NamesOf(const std::map<std::string, Value>& map) {
        std::vector<std::string> names;
        for (const auto& [name, value] : map) {
            names.push_back(name);
        }
        return names;
    }

    // --- Values of one kind ----------------------------------------------------------------------

    bool IsObject(const json& value, const Pointer& at, const std::vector<Key>& keys) {
        if (!value.is_object()) {
            ReportValue(at, value, "an object");
            return false;
        }
        std::vector<std::string> names;
        for (const Key& key : keys) {
            names.push_back(key.name);
            if (key.isNeeded && !value.contains(key.name)) {
                Report(at, fmt::format("\"{}\" is missing", key.name));
            }
        }
        for (const auto& [name, member] : value.items()) {
            if (std::ranges::find(names, name) == names.end()) {
                ReportUnknown(at / name, name, "key", names);
            }
        }
        return true;
    }

    /// Calls use(member, pointer) if there is such a member.
    template <class Use>
    static void With(const json& object, const Pointer& at, const char* key, const Use& use) {
        if (const auto found = object.find(key); found != object.end()) {
            use(*found, at / key);
        }
    }
    template <class Use>
    void ForEach(const json& value, const Pointer& at, const Use& use) {
        if (!value.is_array()) {
            return ReportValue(at, value, "an array");
        }
        for (std::size_t i = 0; i < value.size(); ++i) {
            use(value[i], at / i);
        }
    }
    std::optional<double> Number(const json& value, const Pointer& at, const Range& range) {
        if (!value.is_number() || !range.Contains(value.get<double>())) {
            ReportValue(at, value, range.text);
            return std::nullopt;
        }
        return value.get<double>();
    }
    std::string Text(const json& value, const Pointer& at) {
        if (!value.is_string() || value.get_ref<const std::string&>().empty()) {
            ReportValue(at, value, "a text that is not empty");
            return {};
        }
        return value.get<std::string>();
    }

    // --- The file --------------------------------------------------------------------------------

    void ReadAll(const json& root) {
        With(root, Pointer(), "version", [&](const json& value, const Pointer& at) {
            if (value != 1) {
                ReportValue(at, value, "1");
            }
        });
        ReadNamed(root, "materials", {{"constants"}, {"properties"}, {"units"}}, m_layup.materials,
                  m_materials,
                  [&](const json& value, const Pointer& at, Layup::Material& material) {
                      ReadMaterial(value, at, material);
                  });
        ReadNamed(root, "orientations", {{"axis1", true}, {"axis2", true}}, m_layup.orientations,
                  m_orientations,
                  [&](const json& value, const Pointer& at, Layup::Orientation& orientation) {
                      ReadAxes(value, at, orientation);
                  });
        ReadNamed(root, "plies", {}, m_layup.plies, m_plies,
                  [](const json&, const Pointer&, Layup::Ply&) {});
        ReadNamed(root, "sections", {{"symmetric"}, {"layers", true}}, m_layup.sections, m_sections,
                  [](const json&, const Pointer&, Layup::Section&) {});
        m_setsOf.resize(m_layup.sections.size());
        With(root, Pointer(), "assignments", [&](const json& assignments, const Pointer& at) {
            ForEach(assignments, at, [&](const json& assignment, const Pointer& assignmentAt) {
                ReadAssignment(assignment, assignmentAt);
            });
        });
        // Layers come last, for their values may vary over the elements that have the section.
        With(root, Pointer(), "sections", [&](const json& sections, const Pointer& at) {
            std::size_t place = 0;
            for (std::size_t i = 0; sections.is_array() && i < sections.size(); ++i) {
                if (sections[i].is_object()) {
                    ReadLayers(sections[i], at / i, place++);
                }
            }
        });
        if (m_errors.empty()) {
            CheckFieldsOnce();
        }
    }

    /// Appends an object for each item that is one, with the number of its place from 1.
    template <class Object, class ReadRest>
    void ReadNamed(const json& root, const char* list, std::vector<Key> keys,
                   std::vector<Object>& objects, Places& places, const ReadRest& readRest) {
        keys.insert(keys.begin(), {"name", true});
        With(root, Pointer(), list, [&](const json& items, const Pointer& listAt) {
            ForEach(items, listAt, [&](const json& item, const Pointer& at) {
                if (!IsObject(item, at, keys)) {
                    return;
                }
                Object object{};
                object.number = static_cast<int>(objects.size()) + 1;
                With(item, at, "name", [&](const json& name, const Pointer& nameAt) {
                    object.name = Text(name, nameAt);
                    if (!object.name.empty() &&
                        !places.try_emplace(object.name, object.number - 1).second) {
                        ReportValue(nameAt, name, "a name that no other of the list has");
                    }
                });
                readRest(item, at, object);
                objects.push_back(std::move(object));
            });
        });
    }

    // --- Materials -------------------------------------------------------------------------------

    static const std::vector<BulkMaterialCard::Constant>& Components() {
        return FindBulkMaterialCard(kMaterialKind)->constants;
    }
    static std::vector<Key> ComponentKeys() {
        std::vector<Key> keys;
        for (const BulkMaterialCard::Constant& component : Components()) {
            keys.push_back({component.name});
        }
        return keys;
    }

    void ReadMaterial(const json& value, const Pointer& at, Layup::Material& material) {
        With(value, at, "constants", [&](const json& constants, const Pointer& constantsAt) {
            ReadConstants(constants, constantsAt, material.tables);
        });
        std::set<std::string> varying;  // columns of the tables but the temperature
        With(value, at, "properties", [&](const json& properties, const Pointer& propertiesAt) {
            ForEach(properties, propertiesAt, [&](const json& property, const Pointer& propertyAt) {
                if (auto table = ReadProperty(property, propertyAt, varying)) {
                    material.tables.push_back(std::move(*table));
                }
            });
        });
        material.kind = material.tables.empty() ? "" : kMaterialKind;
        With(value, at, "units", [&](const json& units, const Pointer& unitsAt) {
            ReadUnits(units, unitsAt, varying, material.tables);
        });
    }

    void ReadConstants(const json& value, const Pointer& at, std::vector<MaterialTable>& tables) {
        if (!IsObject(value, at, ComponentKeys())) {
            return;
        }
        for (const BulkMaterialCard::Constant& constant : Components()) {
            With(value, at, constant.name.c_str(), [&](const json& number, const Pointer& place) {
                auto table = std::ranges::find(tables, constant.property, &MaterialTable::property);
                if (table == tables.end()) {
                    table = tables.insert(table, MaterialTable{constant.property, {}});
                }
                table->components.push_back({constant.name});
                table->values.push_back(Number(number, place, kAnyNumber).value_or(kNoValue));
            });
        }
    }

    /// A property as rows over temperature and field variables. Nothing when its columns are wrong.
    std::optional<MaterialTable> ReadProperty(const json& value, const Pointer& at,
                                              std::set<std::string>& varying) {
        if (!IsObject(value, at, {{"property", true}, {"columns", true}, {"rows", true}})) {
            return std::nullopt;
        }
        const std::size_t nBefore = m_nErrors;
        MaterialTable table;
        With(value, at, "property", [&](const json& name, const Pointer& nameAt) {
            table.property = Text(name, nameAt);
            std::vector<std::string> known;
            for (const BulkMaterialCard::Constant& component : Components()) {
                known.push_back(component.property);
            }
            if (!table.property.empty() &&
                std::ranges::find(known, table.property) == known.end()) {
                ReportUnknown(nameAt, table.property, "property", known);
            }
        });
        std::vector<std::string> columns;
        With(value, at, "columns", [&](const json& names, const Pointer& namesAt) {
            columns = ReadColumns(names, namesAt, table, varying);
        });
        if (m_nErrors != nBefore || columns.empty()) {
            return std::nullopt;
        }
        With(value, at, "rows", [&](const json& rows, const Pointer& rowsAt) {
            if (!rows.is_array() || rows.empty()) {
                return ReportValue(rowsAt, rows, "an array of rows, at least one");
            }
            ForEach(rows, rowsAt, [&](const json& row, const Pointer& rowAt) {
                ReadRow(row, rowAt, columns, table);
            });
        });
        return table;
    }

    std::vector<std::string> ReadColumns(const json& names, const Pointer& at, MaterialTable& table,
                                         std::set<std::string>& varying) {
        std::vector<std::string> known = {kTemperature, std::string(kFieldPrefix) + "1"};
        for (const BulkMaterialCard::Constant& component : Components()) {
            if (component.property == table.property) {
                known.push_back(component.name);
            }
        }
        std::vector<std::string> columns;
        ForEach(names, at, [&](const json& value, const Pointer& nameAt) {
            const std::string name = Text(value, nameAt);
            const bool isKnown = std::ranges::find(known, name) != known.end();
            if (name.empty()) {
                return;
            }
            if (!isKnown && !IsFieldVariable(name)) {
                return ReportUnknown(nameAt, name, "column", known);
            }
            if (std::ranges::find(columns, name) != columns.end()) {
                return ReportValue(nameAt, value, "a column that no other of the table is");
            }
            columns.push_back(name);
            if (name == kTemperature) {
                return;
            }
            const bool isNew = varying.insert(name).second;
            if (IsFieldVariable(name)) {
                table.fieldVariables.push_back({name});
            } else {
                table.components.push_back({name});
                if (!isNew) {
                    ReportValue(nameAt, value, "a component that no other table of it has");
                }
            }
        });
        if (names.is_array() && table.components.empty()) {
            Report(at, fmt::format("names no component of \"{}\"", table.property));
        } else if (columns.size() == table.components.size()) {
            Report(at, "names neither the temperature nor a field variable");
        }
        return columns;
    }

    void ReadRow(const json& row, const Pointer& at, const std::vector<std::string>& columns,
                 MaterialTable& table) {
        if (!row.is_array() || row.size() != columns.size()) {
            return ReportValue(
                at, row, fmt::format("an array of {}, a number for each column", columns.size()));
        }
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const bool isTemperature = columns[i] == kTemperature;
            const bool isVariable = IsFieldVariable(columns[i]);
            std::vector<double>& column = isTemperature ? table.temperatures
                                          : isVariable  ? table.variables
                                                        : table.values;
            const bool isGap = row[i].is_null() && !isTemperature && !isVariable;
            column.push_back(isGap ? kNoValue
                                   : Number(row[i], at / i, kAnyNumber).value_or(kNoValue));
        }
    }

    /// Texts by the names of columns, which all tables of the material take.
    void ReadUnits(const json& value, const Pointer& at, const std::set<std::string>& varying,
                   std::vector<MaterialTable>& tables) {
        std::vector<Key> keys = ComponentKeys();
        keys.push_back({kTemperature});
        for (const std::string& name : varying) {
            if (IsFieldVariable(name)) {
                keys.push_back({name});
            }
        }
        if (!IsObject(value, at, keys)) {
            return;
        }
        for (const auto& [name, text] : value.items()) {
            const std::string units = Text(text, at / name);
            for (MaterialTable& table : tables) {
                if (name == kTemperature && table.HasTemperatures()) {
                    table.temperatureUnits = units;
                }
                for (auto* const columns : {&table.components, &table.fieldVariables}) {
                    for (MaterialTable::Column& column : *columns) {
                        column.units = column.name == name ? units : column.units;
                    }
                }
            }
        }
    }

    // --- Orientations and assignments ------------------------------------------------------------

    void ReadAxes(const json& value, const Pointer& at, Layup::Orientation& orientation) {
        const auto readAxis = [&](const char* key, Point& axis) {
            With(value, at, key, [&](const json& numbers, const Pointer& place) {
                if (!numbers.is_array() || numbers.size() != axis.size()) {
                    return ReportValue(place, numbers, "an array of 3 numbers");
                }
                for (std::size_t i = 0; i < axis.size(); ++i) {
                    axis[i] = Number(numbers[i], place / i, kAnyNumber).value_or(0);
                }
            });
        };
        const std::size_t nBefore = m_nErrors;
        readAxis("axis1", orientation.axis1);
        readAxis("axis2", orientation.axis2);
        constexpr double kParallel = 1e-6;  // sine of the angle between them
        if (m_nErrors == nBefore && value.contains("axis1") && value.contains("axis2") &&
            !(Length(Cross(Normalized(orientation.axis1), Normalized(orientation.axis2))) >
              kParallel)) {
            Report(at, "the axes are parallel or have no length");
        }
    }

    void ReadAssignment(const json& value, const Pointer& at) {
        if (!IsObject(value, at, {{"section", true}, {"elements", true}})) {
            return;
        }
        const int section = Reference(value, at, "section", "section", m_sections);
        With(value, at, "elements", [&](const json& names, const Pointer& namesAt) {
            ForEach(names, namesAt, [&](const json& name, const Pointer& nameAt) {
                const ModelReader::Set* const set = FindSet(Text(name, nameAt), nameAt);
                if (set != nullptr && section != Layup::kNone) {
                    m_layup.assignments.push_back({set->name, section});
                    m_setsOf[static_cast<std::size_t>(section)].push_back(set);
                }
            });
        });
    }

    const ModelReader::Set* FindSet(const std::string& name, const Pointer& at) {
        const auto found = m_sets.find(name);
        if (found != m_sets.end()) {
            return found->second;
        }
        if (!name.empty()) {
            ReportUnknown(at, name, "block or element set in the mesh", NamesOf(m_sets));
        }
        return nullptr;
    }

    int Reference(const json& object, const Pointer& at, const char* key, const char* kind,
                  const Places& places) {
        int place = Layup::kNone;
        With(object, at, key, [&](const json& value, const Pointer& valueAt) {
            const std::string name = Text(value, valueAt);
            const auto found = places.find(name);
            if (found != places.end()) {
                place = found->second;
            } else if (!name.empty()) {
                ReportUnknown(valueAt, name, kind, NamesOf(places));
            }
        });
        return place;
    }

    // --- Layers ----------------------------------------------------------------------------------

    void ReadLayers(const json& value, const Pointer& at, std::size_t place) {
        Layup::Section& section = m_layup.sections[place];
        With(value, at, "layers", [&](const json& layers, const Pointer& layersAt) {
            if (layers.is_array() && layers.empty()) {
                ReportValue(layersAt, layers, "at least one layer");
            }
            ForEach(layers, layersAt, [&](const json& layer, const Pointer& layerAt) {
                section.layers.push_back(ReadLayer(layer, layerAt, m_setsOf[place]));
            });
        });
        With(value, at, "symmetric", [&](const json& symmetric, const Pointer& symmetricAt) {
            if (!symmetric.is_boolean()) {
                return ReportValue(symmetricAt, symmetric, "true or false");
            }
            if (symmetric.get<bool>()) {
                const std::vector<Layup::Layer> lower = section.layers;
                section.layers.insert(section.layers.end(), lower.rbegin(), lower.rend());
            }
        });
    }

    Layup::Layer ReadLayer(const json& value, const Pointer& at, const Sets& sets) {
        Layup::Layer layer;
        if (!IsObject(value, at,
                      {{"material", true},
                       {"thickness", true},
                       {"angle"},
                       {"orientation"},
                       {"ply"},
                       {"section_points"}})) {
            return layer;
        }
        layer.material = Reference(value, at, "material", "material", m_materials);
        layer.orientation = Reference(value, at, "orientation", "orientation", m_orientations);
        layer.ply = Reference(value, at, "ply", "ply", m_plies);
        With(value, at, "section_points", [&](const json& count, const Pointer& countAt) {
            if (!count.is_number_integer()) {
                return ReportValue(countAt, count, kSectionPoints.text);
            }
            layer.sectionPoints =
                static_cast<int>(Number(count, countAt, kSectionPoints).value_or(1));
        });
        ReadValue(value, at, "thickness", kThickness, sets, layer.thickness, layer.thicknesses);
        if (value.contains("angle")) {
            ReadValue(value, at, "angle", kAngle, sets, layer.angle, layer.angles);
        } else {
            layer.angle = 0;
        }
        return layer;
    }

    /// A number for the whole section, or numbers for each of its elements.
    void ReadValue(const json& layer, const Pointer& layerAt, const char* key, const Range& range,
                   const Sets& sets, std::optional<double>& constant,
                   std::vector<Layup::Field>& fields) {
        With(layer, layerAt, key, [&](const json& value, const Pointer& at) {
            if (!value.is_object()) {
                constant = Number(value, at, range);
                return;
            }
            const std::size_t nBefore = m_nErrors;
            const std::vector<double> values = ValuesByElement(value, at, range);
            if (m_nErrors == nBefore) {
                fields = FieldsOver(sets, values, at);
            }
        });
    }

    std::vector<double> ValuesByElement(const json& value, const Pointer& at, const Range& range) {
        std::vector<double> values(static_cast<std::size_t>(m_mesh.NumElements()), kNoValue);
        const auto put = [&](int element, const json& number, const Pointer& numberAt) {
            double& place = values[static_cast<std::size_t>(element)];
            if (!std::isnan(place)) {
                return Report(numberAt,
                              fmt::format("element {} has a value already", LabelOf(element)));
            }
            place = Number(number, numberAt, range).value_or(kNoValue);
        };
        IsObject(value, at, {{"sets"}, {"elements"}});
        With(value, at, "sets", [&](const json& sets, const Pointer& setsAt) {
            if (!sets.is_object()) {
                return ReportValue(setsAt, sets, "an object");
            }
            for (const auto& [name, numbers] : sets.items()) {
                ReadSetValues(name, numbers, setsAt / name, put);
            }
        });
        With(value, at, "elements", [&](const json& elements, const Pointer& elementsAt) {
            if (!elements.is_object()) {
                return ReportValue(elementsAt, elements, "an object");
            }
            for (const auto& [label, number] : elements.items()) {
                const int element = ElementOf(label);
                if (element < 0) {
                    Report(elementsAt / label, "no element of the mesh has this label");
                } else {
                    put(element, number, elementsAt / label);
                }
            }
        });
        return values;
    }

    template <class Put>
    void ReadSetValues(const std::string& name, const json& numbers, const Pointer& at,
                       const Put& put) {
        const ModelReader::Set* const set = FindSet(name, at);
        if (set == nullptr) {
            return;
        }
        const auto nElements = static_cast<std::size_t>(set->members.Size());
        if (!numbers.is_array() || numbers.size() != nElements) {
            return ReportValue(
                at, numbers,
                fmt::format("an array of {}, a number for each element in its order", nElements));
        }
        for (ORQSimCSetIterator i(set->members); !i.IsDone(); i.Next()) {
            const auto place = static_cast<std::size_t>(i.CurrentLocation());
            put(i.CurrentValue(), numbers[place], at / place);
        }
    }

    /// The values as fields over the sets that have the section, each element in one of them.
    std::vector<Layup::Field> FieldsOver(const Sets& sets, const std::vector<double>& values,
                                         const Pointer& at) {
        std::vector<Layup::Field> fields;
        std::vector<bool> isOfSection(values.size(), false);
        for (const ModelReader::Set* const set : sets) {
            Layup::Field field{set->name, {}};
            int firstMissing = -1;
            for (ORQSimCSetIterator i(set->members); !i.IsDone(); i.Next()) {
                const auto element = static_cast<std::size_t>(i.CurrentValue());
                isOfSection[element] = true;
                field.values.push_back(values[element]);
                if (std::isnan(values[element]) && firstMissing < 0) {
                    firstMissing = i.CurrentValue();
                }
            }
            if (firstMissing >= 0) {
                Report(at, fmt::format("element {} of \"{}\" has no value", LabelOf(firstMissing),
                                       set->name));
            }
            fields.push_back(std::move(field));
        }
        for (std::size_t element = 0; element < values.size(); ++element) {
            if (!std::isnan(values[element]) && !isOfSection[element]) {
                Report(at,
                       fmt::format("element {} has a value, but the section is not assigned to it",
                                   LabelOf(static_cast<int>(element))));
                break;
            }
        }
        return fields;
    }

    /// Sections may share elements, of which the first assignment decides; but a model keeps one
    /// value for an element in a layer.
    void CheckFieldsOnce() {
        std::map<std::pair<const char*, std::size_t>, std::vector<std::size_t>> sectionsOf;
        for (std::size_t i = 0; i < m_layup.sections.size(); ++i) {
            const std::vector<Layup::Layer>& layers = m_layup.sections[i].layers;
            for (std::size_t layer = 0; layer < layers.size(); ++layer) {
                CheckOnce(i, layer, "thickness", layers[layer].thicknesses, sectionsOf);
                CheckOnce(i, layer, "angle", layers[layer].angles, sectionsOf);
            }
        }
    }
    template <class SectionsOf>
    void CheckOnce(std::size_t section, std::size_t layer, const char* attribute,
                   const std::vector<Layup::Field>& fields, SectionsOf& sectionsOf) {
        if (fields.empty()) {
            return;
        }
        std::vector<std::size_t>& others = sectionsOf[{attribute, layer}];
        for (const std::size_t other : others) {
            for (const ModelReader::Set* const set : m_setsOf[section]) {
                for (const ModelReader::Set* const otherSet : m_setsOf[other]) {
                    const ORQSimCSet both = set->members.Intersection(otherSet->members);
                    if (!both.IsEmpty()) {
                        return Report(
                            Pointer("/sections") / section,
                            fmt::format("layer {} has a {} for element {}, for which /sections/{} "
                                        "has one too; both vary over the elements",
                                        layer + 1, attribute, LabelOf(both[0]), other));
                    }
                }
            }
        }
        others.push_back(section);
    }

    // --- Labels ----------------------------------------------------------------------------------

    const std::vector<int>& Labels() {
        if (m_labels.empty()) {
            m_labels = m_mesh.ElementLabels();
        }
        return m_labels;
    }
    int LabelOf(int element) { return Labels()[static_cast<std::size_t>(element)]; }
    /// -1 when there is none of the label.
    int ElementOf(const std::string& text) {
        if (m_byLabel.empty()) {
            for (std::size_t i = 0; i < Labels().size(); ++i) {
                m_byLabel.emplace_back(m_labels[i], static_cast<int>(i));
            }
            std::ranges::sort(m_byLabel);
        }
        int label = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), label);
        const auto found = std::ranges::lower_bound(m_byLabel, std::pair(label, 0));
        const bool isThere = error == std::errc() && end == text.data() + text.size() &&
                             found != m_byLabel.end() && found->first == label;
        return isThere ? found->second : -1;
    }

    const std::filesystem::path& m_file;
    const JsonText& m_text;
    const ModelReader& m_mesh;
    Layup m_layup;
    std::map<std::string, const ModelReader::Set*> m_sets;
    Places m_materials;
    Places m_orientations;
    Places m_plies;
    Places m_sections;
    std::vector<Sets> m_setsOf;  // that have a section, by its place
    std::vector<int> m_labels;
    std::vector<std::pair<int, int>> m_byLabel;  // label and element, ascending
    std::vector<std::string> m_errors;
    std::size_t m_nErrors = 0;
};

}  // namespace

LayupFile::LayupFile(std::filesystem::path file)
    : m_file(std::move(file)), m_text(ReadJsonText(m_file)) {}

Layup LayupFile::Over(const ModelReader& mesh) const {
    return Resolver(m_file, m_text, mesh).Resolve();
}

}  // namespace orqmodel
