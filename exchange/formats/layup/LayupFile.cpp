#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcLayupFile.h"
#include "ORQExcPoint.h"
#include "formats/layup/JsonCheck.h"
#include "formats/layup/JsonText.h"
#include "formats/layup/LayupMaterials.h"
#include "model/NoValue.h"

using namespace orq::exchange;

namespace {

using nlohmann::json;
using Pointer = JsonCheck::Pointer;

// Generous: they catch slips of the keyboard, and what would take memory without end.
constexpr JsonRange kThickness{"a number greater than 0", 0, kLargest, false};
constexpr JsonRange kAngle{"a number of degrees from -360 to 360", -360, 360};
constexpr JsonRange kSectionPoints{"a whole number from 1 to 1000", 1, 1000};

/// Makes a layup of the value of a file, and gathers what is wrong with it.
class Resolver {
  public:
    Resolver(const std::filesystem::path& file, const JsonText& text, const ORQExcModel& mesh)
        : m_check(file), m_text(text), m_mesh(mesh) {
        for (const ORQExcModel::Set& set : mesh.ElementSets()) {
            m_sets[set.name] = &set;
        }
    }

    ORQExcLayup Resolve() {
        for (const Pointer& pointer : m_text.repeated) {
            m_check.Report(pointer, "stands here for the second time");
        }
        const json& root = m_text.value;
        if (m_check.IsObject(root, Pointer(),
                             {{"version", true},
                              {"materials"},
                              {"orientations"},
                              {"plies"},
                              {"sections", true},
                              {"assignments", true}})) {
            ReadAll(root);
        }
        m_check.ThrowErrors();
        return std::move(m_layup);
    }

  private:
    using Places = std::map<std::string, int>;  // in a list, by name
    using Sets = std::vector<const ORQExcModel::Set*>;

    template <class Value>
    static std::vector<std::string> NamesOf(const std::map<std::string, Value>& map) {
        std::vector<std::string> names;
        for (const auto& [name, value] : map) {
            names.push_back(name);
        }
        return names;
    }

    // --- The file --------------------------------------------------------------------------------

    void ReadAll(const json& root) {
        JsonCheck::With(root, Pointer(), "version", [&](const json& value, const Pointer& at) {
            if (value != 1) {
                m_check.ReportValue(at, value, "1");
            }
        });
        ReadNamed(root, "materials", {{"constants"}, {"properties"}, {"units"}}, m_layup.materials,
                  m_materials,
                  [&](const json& value, const Pointer& at, ORQExcLayup::Material& material) {
                      ReadLayupMaterial(value, at, m_check, material);
                  });
        ReadNamed(root, "orientations", {{"axis1", true}, {"axis2", true}}, m_layup.orientations,
                  m_orientations,
                  [&](const json& value, const Pointer& at, ORQExcLayup::Orientation& orientation) {
                      ReadAxes(value, at, orientation);
                  });
        ReadNamed(root, "plies", {}, m_layup.plies, m_plies,
                  [](const json&, const Pointer&, ORQExcLayup::Ply&) {});
        ReadNamed(root, "sections", {{"symmetric"}, {"layers", true}}, m_layup.sections, m_sections,
                  [](const json&, const Pointer&, ORQExcLayup::Section&) {});
        m_setsOf.resize(m_layup.sections.size());
        JsonCheck::With(
            root, Pointer(), "assignments", [&](const json& assignments, const Pointer& at) {
                m_check.ForEach(assignments, at,
                                [&](const json& assignment, const Pointer& assignmentAt) {
                                    ReadAssignment(assignment, assignmentAt);
                                });
            });
        // Layers come last: their values may vary over the elements, which the assignments give.
        JsonCheck::With(root, Pointer(), "sections", [&](const json& sections, const Pointer& at) {
            std::size_t place = 0;
            for (std::size_t i = 0; sections.is_array() && i < sections.size(); ++i) {
                if (sections[i].is_object()) {
                    ReadLayers(sections[i], at / i, place++);
                }
            }
        });
        // Sections that could not be read would give errors that follow from the first ones.
        if (m_check.NumErrors() == 0) {
            CheckFieldsOnce();
        }
    }

    /// Appends an object for each item that is a JSON object, with its place from 1 as its number.
    template <class Object, class ReadRest>
    void ReadNamed(const json& root, const char* list, std::vector<JsonKey> keys,
                   std::vector<Object>& objects, Places& places, const ReadRest& readRest) {
        keys.insert(keys.begin(), {"name", true});
        JsonCheck::With(root, Pointer(), list, [&](const json& items, const Pointer& listAt) {
            m_check.ForEach(items, listAt, [&](const json& item, const Pointer& at) {
                if (!m_check.IsObject(item, at, keys)) {
                    return;
                }
                Object object{};
                object.number = static_cast<int>(objects.size()) + 1;
                JsonCheck::With(item, at, "name", [&](const json& name, const Pointer& nameAt) {
                    object.name = m_check.Text(name, nameAt);
                    if (!object.name.empty() &&
                        !places.try_emplace(object.name, object.number - 1).second) {
                        m_check.ReportValue(nameAt, name, "a name that no other of the list has");
                    }
                });
                readRest(item, at, object);
                objects.push_back(std::move(object));
            });
        });
    }

    // --- Orientations and assignments ------------------------------------------------------------

    void ReadAxes(const json& value, const Pointer& at, ORQExcLayup::Orientation& orientation) {
        const auto readAxis = [&](const char* key, Point& axis) {
            JsonCheck::With(value, at, key, [&](const json& numbers, const Pointer& place) {
                if (!numbers.is_array() || numbers.size() != axis.size()) {
                    return m_check.ReportValue(place, numbers, "an array of 3 numbers");
                }
                for (std::size_t i = 0; i < axis.size(); ++i) {
                    axis[i] = m_check.Number(numbers[i], place / i, kAnyNumber).value_or(0);
                }
            });
        };
        const std::size_t nBefore = m_check.NumErrors();
        readAxis("axis1", orientation.axis1);
        readAxis("axis2", orientation.axis2);
        constexpr double kParallel = 1e-6;  // sine of the angle between them
        if (m_check.NumErrors() == nBefore && value.contains("axis1") && value.contains("axis2") &&
            !(Length(Cross(Normalized(orientation.axis1), Normalized(orientation.axis2))) >
              kParallel)) {
            m_check.Report(at, "the axes are parallel or have no length");
        }
    }

    void ReadAssignment(const json& value, const Pointer& at) {
        if (!m_check.IsObject(value, at, {{"section", true}, {"elements", true}})) {
            return;
        }
        const int section = Reference(value, at, "section", "section", m_sections);
        JsonCheck::With(value, at, "elements", [&](const json& names, const Pointer& namesAt) {
            m_check.ForEach(names, namesAt, [&](const json& name, const Pointer& nameAt) {
                const ORQExcModel::Set* const set = FindSet(m_check.Text(name, nameAt), nameAt);
                if (set != nullptr && section != ORQExcLayup::kNone) {
                    m_layup.assignments.push_back({set->name, section});
                    m_setsOf[static_cast<std::size_t>(section)].push_back(set);
                }
            });
        });
    }

    const ORQExcModel::Set* FindSet(const std::string& name, const Pointer& at) {
        const auto found = m_sets.find(name);
        if (found != m_sets.end()) {
            return found->second;
        }
        if (!name.empty()) {
            m_check.ReportUnknown(at, name, "block or element set in the mesh", NamesOf(m_sets));
        }
        return nullptr;
    }

    int Reference(const json& object, const Pointer& at, const char* key, const char* kind,
                  const Places& places) {
        int place = ORQExcLayup::kNone;
        JsonCheck::With(object, at, key, [&](const json& value, const Pointer& valueAt) {
            const std::string name = m_check.Text(value, valueAt);
            const auto found = places.find(name);
            if (found != places.end()) {
                place = found->second;
            } else if (!name.empty()) {
                m_check.ReportUnknown(valueAt, name, kind, NamesOf(places));
            }
        });
        return place;
    }

    // --- Layers ----------------------------------------------------------------------------------

    void ReadLayers(const json& value, const Pointer& at, std::size_t place) {
        ORQExcLayup::Section& section = m_layup.sections[place];
        JsonCheck::With(value, at, "layers", [&](const json& layers, const Pointer& layersAt) {
            if (layers.is_array() && layers.empty()) {
                m_check.ReportValue(layersAt, layers, "at least one layer");
            }
            m_check.ForEach(layers, layersAt, [&](const json& layer, const Pointer& layerAt) {
                section.layers.push_back(ReadLayer(layer, layerAt, m_setsOf[place]));
            });
        });
        JsonCheck::With(
            value, at, "symmetric", [&](const json& symmetric, const Pointer& symmetricAt) {
                if (!symmetric.is_boolean()) {
                    return m_check.ReportValue(symmetricAt, symmetric, "true or false");
                }
                if (symmetric.get<bool>()) {
                    const std::vector<ORQExcLayup::Layer> lower = section.layers;
                    section.layers.insert(section.layers.end(), lower.rbegin(), lower.rend());
                }
            });
    }

    ORQExcLayup::Layer ReadLayer(const json& value, const Pointer& at, const Sets& sets) {
        ORQExcLayup::Layer layer;
        if (!m_check.IsObject(value, at,
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
        JsonCheck::With(
            value, at, "section_points", [&](const json& count, const Pointer& countAt) {
                if (!count.is_number_integer()) {
                    return m_check.ReportValue(countAt, count, kSectionPoints.text);
                }
                layer.sectionPoints =
                    static_cast<int>(m_check.Number(count, countAt, kSectionPoints).value_or(1));
            });
        ReadValue(value, at, "thickness", kThickness, sets, layer.thickness, layer.thicknesses);
        if (value.contains("angle")) {
            ReadValue(value, at, "angle", kAngle, sets, layer.angle, layer.angles);
        } else {
            layer.angle = 0;
        }
        return layer;
    }

    /// Reads a number for the whole section, or a number for each of its elements.
    void ReadValue(const json& layer, const Pointer& layerAt, const char* key,
                   const JsonRange& range, const Sets& sets, std::optional<double>& constant,
                   std::vector<ORQExcLayup::Field>& fields) {
        JsonCheck::With(layer, layerAt, key, [&](const json& value, const Pointer& at) {
            if (!value.is_object()) {
                constant = m_check.Number(value, at, range);
                return;
            }
            const std::size_t nBefore = m_check.NumErrors();
            const std::vector<double> values = ValuesByElement(value, at, range);
            if (m_check.NumErrors() == nBefore) {
                fields = FieldsOver(sets, values, at);
            }
        });
    }

    std::vector<double> ValuesByElement(const json& value, const Pointer& at,
                                        const JsonRange& range) {
        std::vector<double> values(static_cast<std::size_t>(m_mesh.NumElements()), kNoValue);
        const auto put = [&](int element, const json& number, const Pointer& numberAt) {
            double& place = values[static_cast<std::size_t>(element)];
            if (!std::isnan(place)) {
                return m_check.Report(
                    numberAt, fmt::format("element {} has a value already", LabelOf(element)));
            }
            place = m_check.Number(number, numberAt, range).value_or(kNoValue);
        };
        m_check.IsObject(value, at, {{"sets"}, {"elements"}});
        JsonCheck::With(value, at, "sets", [&](const json& sets, const Pointer& setsAt) {
            if (!sets.is_object()) {
                return m_check.ReportValue(setsAt, sets, "an object");
            }
            for (const auto& [name, numbers] : sets.items()) {
                ReadSetValues(name, numbers, setsAt / name, put);
            }
        });
        JsonCheck::With(
            value, at, "elements", [&](const json& elements, const Pointer& elementsAt) {
                if (!elements.is_object()) {
                    return m_check.ReportValue(elementsAt, elements, "an object");
                }
                for (const auto& [label, number] : elements.items()) {
                    const int element = ElementOf(label);
                    if (element < 0) {
                        m_check.Report(elementsAt / label, "no element of the mesh has this label");
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
        const ORQExcModel::Set* const set = FindSet(name, at);
        if (set == nullptr) {
            return;
        }
        const auto nElements = static_cast<std::size_t>(set->members.Size());
        if (!numbers.is_array() || numbers.size() != nElements) {
            return m_check.ReportValue(
                at, numbers,
                fmt::format("an array of {}, a number for each element in its order", nElements));
        }
        for (ORQSimCSetIterator i(set->members); !i.IsDone(); i.Next()) {
            const auto place = static_cast<std::size_t>(i.CurrentLocation());
            put(i.CurrentValue(), numbers[place], at / place);
        }
    }

    /// Returns the values as fields over the element sets of the section; every element needs one.
    std::vector<ORQExcLayup::Field> FieldsOver(const Sets& sets, const std::vector<double>& values,
                                               const Pointer& at) {
        std::vector<ORQExcLayup::Field> fields;
        std::vector<bool> isOfSection(values.size(), false);
        for (const ORQExcModel::Set* const set : sets) {
            ORQExcLayup::Field field{set->name, {}};
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
                m_check.Report(at, fmt::format("element {} of \"{}\" has no value",
                                               LabelOf(firstMissing), set->name));
            }
            fields.push_back(std::move(field));
        }
        for (std::size_t element = 0; element < values.size(); ++element) {
            if (!std::isnan(values[element]) && !isOfSection[element]) {
                m_check.Report(
                    at, fmt::format("element {} has a value, but the section is not assigned to it",
                                    LabelOf(static_cast<int>(element))));
                // One such element shows the mistake; a whole mesh of them would hide others.
                break;
            }
        }
        return fields;
    }

    /// Refuses two values for an element in a layer, of which a model keeps one. Sections may share
    /// elements: there the first assignment decides.
    void CheckFieldsOnce() {
        std::map<std::pair<const char*, std::size_t>, std::vector<std::size_t>> sectionsOf;
        for (std::size_t i = 0; i < m_layup.sections.size(); ++i) {
            const std::vector<ORQExcLayup::Layer>& layers = m_layup.sections[i].layers;
            for (std::size_t layer = 0; layer < layers.size(); ++layer) {
                CheckOnce(i, layer, "thickness", layers[layer].thicknesses, sectionsOf);
                CheckOnce(i, layer, "angle", layers[layer].angles, sectionsOf);
            }
        }
    }
    template <class SectionsOf>
    void CheckOnce(std::size_t section, std::size_t layer, const char* attribute,
                   const std::vector<ORQExcLayup::Field>& fields, SectionsOf& sectionsOf) {
        if (fields.empty()) {
            return;
        }
        std::vector<std::size_t>& others = sectionsOf[{attribute, layer}];
        for (const std::size_t other : others) {
            for (const ORQExcModel::Set* const set : m_setsOf[section]) {
                for (const ORQExcModel::Set* const otherSet : m_setsOf[other]) {
                    const ORQSimCSet both = set->members.Intersection(otherSet->members);
                    if (!both.IsEmpty()) {
                        return m_check.Report(
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
        // Labels are read for errors and values by label only; most files have neither.
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

    JsonCheck m_check;
    const JsonText& m_text;
    const ORQExcModel& m_mesh;
    ORQExcLayup m_layup;
    std::map<std::string, const ORQExcModel::Set*> m_sets;
    Places m_materials;
    Places m_orientations;
    Places m_plies;
    Places m_sections;
    std::vector<Sets> m_setsOf;  // that have a section, by its place
    std::vector<int> m_labels;
    std::vector<std::pair<int, int>> m_byLabel;  // label and element, ascending
};

}  // namespace

ORQExcLayupFile::ORQExcLayupFile(std::filesystem::path file)
    : m_file(std::move(file)), m_text(std::make_shared<JsonText>(ReadJsonText(m_file))) {}

ORQExcLayup ORQExcLayupFile::Over(const ORQExcModel& mesh) const {
    return Resolver(m_file, *m_text, mesh).Resolve();
}
