#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcLayup.h"
#include "ORQExcNearNames.h"
#include "ORQExcSections.h"
#include "ORQObjMesh.h"
#include "ORQObjMeshedField.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvSectionServices.h"
#include "model/ReadableSection.h"

namespace {

std::string NameOf(const ORQSimPosition& object) {
    return object.IsNull() ? std::string() : object.Name(ORQSimSchema::Record_name).UTF8();
}

void ReadNominalAngles(const ORQSimPosition& section, std::vector<ORQExcSections::Layer>& layers) {
    const ORQSimDataRecord record = section.DataRecord();
    if (record.GetInt(ORQSimRecordField::Section_layered_numNominalAngles) !=
        static_cast<int>(layers.size())) {
        return;
    }
    std::vector<double> angles(layers.size());
    record.GetDouble(ORQSimRecordField::Section_layered_nominalAngles,
                     static_cast<int>(angles.size()), angles.data());
    for (std::size_t i = 0; i < angles.size(); ++i) {
        if (!std::isnan(angles[i])) {
            layers[i].nominalAngle = angles[i];
        }
    }
}

/// Refuses an assignment without its section or region, for which the section services end the
/// process.
void CheckAssignments(const ORQObjDocument& document) {
    int number = 0;
    const ORQSimVector assignments =
        document.GetModel().GetVector(ORQSimSchema::Model_sectionAssignments);
    for (auto i = assignments.Begin(); i.NotDone(); ++i) {
        ++number;
        const ORQSimPosition assignment = *i;
        const ORQSimPosition section =
            assignment.GetPosition(ORQSimSchema::SectionAssignment_section);
        const ORQSimPosition region =
            assignment.GetPosition(ORQSimSchema::SectionAssignment_region);
        const char* const missing =
            section.IsNull()  ? "no section"
            : region.IsNull() ? "no region"
            : region.GetPosition(ORQSimSchema::Region_elementsCluster).IsNull()
                ? "a region without an element set"
                : nullptr;
        if (missing != nullptr) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                fmt::format("section assignment {} (section \"{}\") refers to {}",
                                            number, NameOf(section), missing));
        }
    }
}

/// The same direction between -90, exclusive, and 90: angles that differ by 180 degrees are one
/// direction of fibres.
double Folded(double angle) {
    const double folded = std::remainder(angle, 180.0);
    return folded <= -90 + ORQExcSections::kAngleTolerance ? folded + 180 : folded;
}

bool IsSameAngle(double a, double b) {
    return std::abs(std::remainder(a - b, 180.0)) <= ORQExcSections::kAngleTolerance;
}

}  // namespace

// --- Layups --------------------------------------------------------------------------------------

std::optional<ORQExcSections::Range> ORQExcSections::Value::Bounds() const {
    if (numbers.empty()) {
        return std::nullopt;
    }
    const auto [low, high] = std::ranges::minmax(numbers);
    return Range{low, high};
}

bool ORQExcSections::Stack::IsComplete() const {
    return !layers.empty() && std::ranges::none_of(layers, [](const Layer& layer) {
        return layer.thickness.numbers.empty() || layer.angle.numbers.empty();
    });
}

std::optional<ORQExcSections::Range> ORQExcSections::Stack::Total() const {
    Value totals{ORQSrvShellSection::VariationConstant, {}};
    for (const Layer& layer : layers) {
        if (layer.thickness.numbers.empty()) {
            return std::nullopt;
        }
        if (totals.numbers.size() < layer.thickness.numbers.size()) {
            // The sum of constants so far counts for each element.
            totals.numbers.resize(layer.thickness.numbers.size(),
                                  totals.numbers.empty() ? 0 : totals.numbers[0]);
        }
        for (std::size_t element = 0; element < totals.numbers.size(); ++element) {
            totals.numbers[element] += layer.thickness.At(element);
        }
    }
    return totals.Bounds();
}

std::optional<bool> ORQExcSections::Stack::IsSymmetric() const {
    const std::optional<Range> total = Total();
    if (!total || !IsComplete()) {
        return std::nullopt;
    }
    const double tolerance = kThicknessTolerance * total->high;
    for (std::size_t low = 0, high = layers.size() - 1; low < high; ++low, --high) {
        const Layer& a = layers[low];
        const Layer& b = layers[high];
        if (a.material != b.material || a.orientation != b.orientation) {
            return false;
        }
        const std::size_t nNumbers =
            std::max({a.thickness.numbers.size(), b.thickness.numbers.size(),
                      a.angle.numbers.size(), b.angle.numbers.size()});
        for (std::size_t i = 0; i < nNumbers; ++i) {
            if (std::abs(a.thickness.At(i) - b.thickness.At(i)) > tolerance ||
                !IsSameAngle(a.angle.At(i), b.angle.At(i))) {
                return false;
            }
        }
    }
    return true;
}

std::optional<bool> ORQExcSections::Stack::IsBalanced() const {
    if (!IsComplete()) {
        return std::nullopt;
    }
    std::size_t nNumbers = 1;
    for (const Layer& layer : layers) {
        nNumbers = std::max({nNumbers, layer.thickness.numbers.size(), layer.angle.numbers.size()});
    }
    for (std::size_t element = 0; element < nNumbers; ++element) {
        if (!IsBalancedAt(element)) {
            return false;
        }
    }
    return true;
}

bool ORQExcSections::Stack::IsBalancedAt(std::size_t element) const {
    struct Share {
        const Layer* layer;
        double angle;
        double thickness;  // negative where the angle was
    };
    double total = 0;
    std::vector<Share> shares;
    for (const Layer& layer : layers) {
        const double angle = Folded(layer.angle.At(element));
        const double thickness = layer.thickness.At(element);
        total += thickness;
        // Layers at 0 and 90 degrees need no counterpart.
        if (std::abs(angle) > kAngleTolerance && angle < 90 - kAngleTolerance) {
            shares.push_back({&layer, std::abs(angle), angle > 0 ? thickness : -thickness});
        }
    }
    // Sorted, the shares that must cancel stand together.
    std::ranges::sort(shares, {}, [](const Share& share) {
        return std::tie(share.layer->material, share.layer->orientation, share.angle);
    });
    double sum = 0;
    for (std::size_t i = 0; i < shares.size(); ++i) {
        sum += shares[i].thickness;
        const bool isLastOfAngle =
            i + 1 == shares.size() || shares[i + 1].layer->material != shares[i].layer->material ||
            shares[i + 1].layer->orientation != shares[i].layer->orientation ||
            shares[i + 1].angle - shares[i].angle > kAngleTolerance;
        if (isLastOfAngle) {
            if (std::abs(sum) > kThicknessTolerance * total) {
                return false;
            }
            sum = 0;
        }
    }
    return true;
}

// --- Sections ------------------------------------------------------------------------------------

ORQExcSections::ORQExcSections(const ORQObjDocument& document)
    : m_document(document), m_points(document) {
    CheckAssignments(document);
    const ORQSimPosition model = document.GetModel();
    const ORQSimCollection sections(
        model.GetPosition(ORQSimSchema::Model_sections).GetCollection());
    for (int member = 0; member < sections.Space(); ++member) {
        const ORQSimPosition position = sections.GetMember(member);
        if (position.IsA(ORQSimSchema::Section_Shell)) {
            m_placeOf[position] = m_sections.size();
            m_sections.push_back(
                {NameOf(position),
                 position.DataRecord().GetInt(ORQSimRecordField::Section_layered_number),
                 position,
                 {}});
        }
    }
    const ORQSimCSet all(ORQObjMesh(document.GetMesh()).GetElementCollection().GetCollection());
    const auto governed = ORQSrvSectionServices::GetSectionAssignments(
        ORQSimCSet(all.RegisterWithTempCollection()).Pos());
    for (const auto& [elements, assignment] : governed) {
        const auto place =
            m_placeOf.find(assignment.GetPosition(ORQSimSchema::SectionAssignment_section));
        if (place != m_placeOf.end()) {
            Section& section = m_sections[place->second];
            section.elements = section.elements.Union(elements.CSet());
        }
    }
}

const ORQExcSections::Section& ORQExcSections::Named(const std::string& name) const {
    const auto found = std::ranges::find(m_sections, name, &Section::name);
    if (found == m_sections.end()) {
        std::vector<std::string> names;
        std::ranges::transform(m_sections, std::back_inserter(names), &Section::name);
        ORQBasThrowUsage(
            fmt::format("there is no section \"{}\"{}", name, ORQExcNearNames(name, names)));
    }
    return *found;
}

const ORQExcSections::Section* ORQExcSections::GoverningSection(int element) const {
    const ORQSimCollection elements(
        ORQObjMesh(m_document.GetMesh()).GetElementCollection().GetCollection());
    const ORQSimPosition assignment = ORQSrvSectionServices::GetSectionAssignment(
        ORQSimCSet(elements.CreateTempCSet(&element, 1, true)).Pos());
    const auto place =
        m_placeOf.find(assignment.GetPosition(ORQSimSchema::SectionAssignment_section));
    return place == m_placeOf.end() ? nullptr : &m_sections[place->second];
}

ORQExcSections::Stack ORQExcSections::Read(const Section& section) const {
    return ReadOver(section, section.elements);
}

ORQExcSections::Stack ORQExcSections::ReadAt(const Section& section, int element) const {
    return ReadOver(
        section,
        ORQSimCollection(section.elements.CollectionID()).CreateVolatileCSet(&element, 1, true));
}

ORQExcSections::Stack ORQExcSections::ReadOver(const Section& section,
                                               const ORQSimCSet& elements) const {
    const ORQSrvShellSection stored = orq::exchange::ReadableSection(section.position);
    Stack layup{{}, static_cast<std::size_t>(elements.Size())};
    for (int number = 0; number < stored.GetNumLayers(); ++number) {
        const auto i = static_cast<std::size_t>(number);
        layup.layers.push_back(
            {NameOf(stored.GetMaterials()[i]), NameOf(stored.GetOrientations()[i]),
             NameOf(stored.GetPlies()[i]), m_points.GetNumSectionPoints(section.position, number),
             ReadValue(stored.GetThicknessVariations()[i], stored.GetConstThicknesses()[i], number,
                       ORQSimSchema::SectionData_distributedThicknesses, elements),
             ReadValue(stored.GetRotationAngleVariations()[i], stored.GetConstRotationAngles()[i],
                       number, ORQSimSchema::SectionData_distributedAngles, elements)});
    }
    ReadNominalAngles(section.position, layup.layers);
    return layup;
}

ORQExcSections::Value ORQExcSections::ReadValue(ORQSrvShellSection::VariationEnm variation,
                                                double constant, int layer, int fieldSlot,
                                                const ORQSimCSet& elements) const {
    if (variation != ORQSrvShellSection::VariationDistributed) {
        return {variation, variation == ORQSrvShellSection::VariationConstant
                               ? std::vector{constant}
                               : std::vector<double>()};
    }
    const ORQSimPosition model = m_document.GetModel();
    const ORQSimDistribution values(
        ORQObjMeshedField(model.GetPosition(ORQSimSchema::Model_sectionData).GetPosition(fieldSlot))
            .GetDistribution());
    const ORQSimCollection layers(
        model.GetPosition(ORQSimSchema::Model_sectionLayers).GetCollection());
    Value value{variation, std::vector<double>(static_cast<std::size_t>(elements.Size()))};
    if (!elements.IsEmpty()) {
        ORQSimTransfer(values)
            .SetRead()
            .SetDim(0, layers.CreateVolatileCSet(&layer, 1, true))
            .SetDim(1, elements)
            .SetBuffer(ORQSimbufMain, value.numbers.data(),
                       static_cast<std::int64_t>(value.numbers.size() * sizeof(double)))
            .ExecRead();
    }
    return value;
}
