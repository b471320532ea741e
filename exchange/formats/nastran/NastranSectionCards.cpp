#include "formats/nastran/NastranSectionCards.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <utility>

#include "ORQBasFailure.h"
#include "formats/nastran/NastranCards.h"

namespace orq::exchange {
namespace {

/// Sets `field` and those behind it; NaN leaves one blank.
void SetReals(BulkFields& fields, int field, const std::vector<double>& values, std::size_t count) {
    for (std::size_t i = 0; i < std::min(count, values.size()); ++i) {
        if (!std::isnan(values[i])) {
            fields.Set(field + static_cast<int>(i), values[i]);
        }
    }
}

/// Spells some fields that SetReals has set as integers.
void SetIntegers(BulkFields& fields, int first, const std::vector<double>& values,
                 std::span<const int> integers) {
    for (const int field : integers) {
        if (field >= first && !fields.IsBlank(field)) {
            fields.Set(field, static_cast<int>(values[static_cast<std::size_t>(field - first)]));
        }
    }
}

bool IsOfDeck(const ORQExcLayup::Section& section) {
    return section.kind == "PSHELL" || section.kind == "PCOMP" || section.kind == "PCOMPG";
}

/// The angles of layers without those that elements add. Databases of earlier releases store them
/// behind the constants of the card.
std::vector<std::optional<double>> OwnAngles(const ORQExcLayup::Section& section) {
    const std::size_t nConstants =
        section.kind == "PSHELL" ? kNumShellConstants : kNumLaminateConstants;
    std::vector<std::optional<double>> angles;
    for (std::size_t i = 0; i < section.layers.size(); ++i) {
        const ORQExcLayup::Layer& layer = section.layers[i];
        angles.push_back(layer.nominalAngle ? layer.nominalAngle : layer.angle);
        if (IsOfDeck(section) && nConstants + i < section.constants.size()) {
            angles.back() = section.constants[nConstants + i];
        }
    }
    return angles;
}

}  // namespace

NastranSectionCards::NastranSectionCards(const NastranScope& scope,
                                         std::vector<int> materialNumbers)
    : m_scope(scope), m_materialNumbers(std::move(materialNumbers)) {
    FindChanges();
    FindSections();
}

bool NastranSectionCards::IsBasic(const ORQExcLayup::Orientation& orientation) {
    return orientation.number == 0 && orientation.axis1 == std::array<double, 3>{1, 0, 0} &&
           orientation.axis2 == std::array<double, 3>{0, 1, 0};
}

void NastranSectionCards::FindChanges() {
    for (const ORQExcLayup::Material& material : m_scope.layup.materials) {
        if (FindMaterialKind(material.kind) != nullptr && m_scope.HasNamed(material.name) &&
            !m_scope.kept.SaysMaterial(material)) {
            m_changed.insert(m_scope.OwnName(material.name));
            m_changed.insert(
                fmt::format("{} {}", NastranTemperatureCard(material.kind), material.number));
            // A changed material is written with its tables, so their kept cards would be a second
            // definition.
            for (const ORQExcMaterialTable& table : material.tables) {
                for (const ORQExcMaterialTable::Column& column : table.components) {
                    m_changed.insert(fmt::format("TABLEM1 {}", column.number));
                }
            }
        }
    }
    for (const ORQExcLayup::Orientation& orientation : m_scope.layup.orientations) {
        if (m_scope.HasNamed(orientation.name) && !m_scope.kept.SaysOrientation(orientation)) {
            m_changed.insert(m_scope.OwnName(orientation.name));
        }
    }
    for (const ORQExcLayup::Section& section : m_scope.layup.sections) {
        if (m_scope.HasNamed(section.name) &&
            !m_scope.kept.SaysSection(section, m_scope.layup, OwnAngles(section))) {
            m_changed.insert(fmt::format("{} {}", section.kind, section.number));
        }
    }
}

/// Numbers orientations and sections, and finds the section of each element.
void NastranSectionCards::FindSections() {
    Numbers orientationNumbers;
    for (const ORQExcLayup::Orientation& orientation : m_scope.layup.orientations) {
        const bool isHere = m_scope.HasNamed(orientation.name) && !IsBasic(orientation);
        m_orientationNumbers.push_back(isHere ? orientationNumbers.Unique(orientation.number) : 0);
    }
    std::set<std::pair<std::string, int>> numbered;
    for (const ORQExcLayup::Section& section : m_scope.layup.sections) {
        // Sections that differ in their material direction alone are one property.
        const bool isNumbered =
            !m_scope.HasNamed(section.name) ||
            (IsOfDeck(section) && !numbered.emplace(section.kind, section.number).second);
        m_numbers.push_back(isNumbered ? section.number : m_propertyNumbers.Unique(section.number));
    }
    m_sectionOf.assign(static_cast<std::size_t>(m_scope.model.NumElements()), ORQExcLayup::kNone);
    for (const ORQExcLayup::Assignment& assignment : m_scope.layup.assignments) {
        m_elementSets.insert(assignment.elementSet);
        const auto set = std::ranges::find(m_scope.model.ElementSets(), assignment.elementSet,
                                           &ORQExcModel::Set::name);
        for (ORQSimCSetIterator element(set->members); !element.IsDone(); element.Next()) {
            int& section = m_sectionOf[static_cast<std::size_t>(element.CurrentValue())];
            section = section == ORQExcLayup::kNone ? assignment.section : section;
        }
    }
}

std::optional<int> NastranSectionCards::SystemOf(int section) const {
    const auto& layers = m_scope.layup.sections[static_cast<std::size_t>(section)].layers;
    const int orientation = layers.empty() ? ORQExcLayup::kNone : layers[0].orientation;
    return orientation == ORQExcLayup::kNone
               ? std::nullopt
               : std::optional(m_orientationNumbers[static_cast<std::size_t>(orientation)]);
}

void NastranSectionCards::Write() {
    const auto isKept = [&](const std::string& object) {
        return m_scope.kept.Has(object) && IsGood(object);
    };
    for (std::size_t i = 0; i < m_scope.layup.orientations.size(); ++i) {
        const ORQExcLayup::Orientation& orientation = m_scope.layup.orientations[i];
        if (!m_scope.HasNamed(orientation.name)) {
            continue;
        }
        if (!IsBasic(orientation) && !isKept(m_scope.OwnName(orientation.name))) {
            WriteOrientation(orientation, m_orientationNumbers[i]);
        }
        m_scope.report.Keep("orientation", orientation.name, 1);
    }
    std::set<std::pair<std::string, int>> written;
    for (std::size_t i = 0; i < m_scope.layup.sections.size(); ++i) {
        const ORQExcLayup::Section& section = m_scope.layup.sections[i];
        if (!m_scope.HasNamed(section.name)) {
            continue;
        }
        const bool isWritten = isKept(fmt::format("{} {}", section.kind, section.number)) ||
                               !written.emplace(section.kind, m_numbers[i]).second;
        if (!isWritten && section.kind == "PSHELL") {
            WritePlate(section, m_numbers[i]);
        } else if (!isWritten) {
            WriteLaminate(section, IsOfDeck(section) ? section.kind : "PCOMP", m_numbers[i]);
        }
        m_scope.report.Keep("section", section.name, std::ssize(section.layers));
        if (section.kind == "PCOMPG") {
            KeepPlies(section);
        }
    }
}

void NastranSectionCards::KeepPlies(const ORQExcLayup::Section& section) {
    for (const ORQExcLayup::Layer& layer : section.layers) {
        if (layer.ply != ORQExcLayup::kNone && m_keptPlies.insert(layer.ply).second) {
            m_scope.report.Keep("ply",
                                m_scope.layup.plies[static_cast<std::size_t>(layer.ply)].name, 1);
        }
    }
}

void NastranSectionCards::WriteOrientation(const ORQExcLayup::Orientation& orientation,
                                           int number) {
    const auto& [x, y] = std::pair(orientation.axis1, orientation.axis2);
    // CORD2R takes the origin, a point on the third axis, and one on the first axis.
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
    fields.Set(1, number);
    for (std::size_t i = 0; i < points.size(); ++i) {
        fields.Set(3 + static_cast<int>(i), points[i]);
    }
    m_scope.text.Card("CORD2R", fields);
}

void NastranSectionCards::SetMaterial(BulkFields& fields, int field, int place) const {
    if (place != ORQExcLayup::kNone) {
        fields.Set(field, m_materialNumbers[static_cast<std::size_t>(place)]);
    }
}

void NastranSectionCards::WritePlate(const ORQExcLayup::Section& section, int number) {
    BulkFields fields;
    fields.Set(1, number);
    SetReals(fields, kFirstShellConstant, section.constants, kNumShellConstants);
    SetIntegers(fields, kFirstShellConstant, section.constants, kOtherMaterialFields);
    SetMaterial(fields, 2, section.layers.at(0).material);
    if (section.layers[0].thickness) {
        fields.Set(3, *section.layers[0].thickness);
    }
    m_scope.text.Card(section.kind, fields);
}

void NastranSectionCards::WriteLaminate(const ORQExcLayup::Section& section,
                                        const std::string& card, int number) {
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
    const std::vector<std::optional<double>> angles = OwnAngles(section);
    for (std::size_t i = 0; i < section.layers.size(); ++i) {
        const ORQExcLayup::Layer& layer = section.layers[i];
        if (isGlobal && layer.ply != ORQExcLayup::kNone) {
            fields.Set(field, m_scope.layup.plies[static_cast<std::size_t>(layer.ply)].number);
        }
        const int first = isGlobal ? field + 1 : field;
        SetMaterial(fields, first, layer.material);
        if (layer.thickness) {
            fields.Set(first + 1, *layer.thickness);
        }
        fields.Set(first + 2, angles[i].value_or(0));
        nIncomplete += layer.thickness && angles[i] ? 0 : 1;
        field += isGlobal ? kGlobalPlyFields : kPlyFields;
    }
    m_scope.text.Card(card, fields);
    if (nIncomplete > 0) {
        m_scope.report.Drop("section", section.name, nIncomplete,
                            "thicknesses or angles of its layers that vary over elements, or lack");
    }
}

}  // namespace orq::exchange
