#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <optional>

#include "ORQExcMaterialTable.h"
#include "ORQExcMaterials.h"
#include "ORQExcQuality.h"
#include "ORQExcSections.h"
#include "ORQExcShellValues.h"
#include "queries/MemberRange.h"
#include "queries/RowSource.h"

namespace orqmodel {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// The constant densities of materials by name.
std::map<std::string, double> Densities(const ORQObjDocument& document) {
    std::map<std::string, double> densities;
    const ORQExcMaterials materials(document);
    for (const ORQExcMaterials::Material& material : materials.Materials()) {
        for (const ORQExcMaterialTable& table : ORQExcReadMaterialTables(material.position)) {
            // A density that varies has no one value: the mass is unknown.
            if (table.property == "density" && table.IsConstant() && table.NumRows() == 1) {
                densities.try_emplace(material.name, table.Value(0, 0));
            }
        }
    }
    return densities;
}

/// The mass of shells for each unit of area, by their layers.
class LayerMasses {
  public:
    explicit LayerMasses(const ORQObjDocument& document) : m_sections(document) {
        const std::map<std::string, double> densities = Densities(document);
        for (const ORQExcSections::Section& section : m_sections.Sections()) {
            const ORQExcSections::Stack stack = m_sections.Read(section);
            // A section without layers has an unknown mass, not the mass 0.
            std::vector<double> sums(1, stack.layers.empty() ? kNone : 0.0);
            for (const ORQExcSections::Layer& layer : stack.layers) {
                const auto density = densities.find(layer.material);
                Add(layer.thickness, density == densities.end() ? kNone : density->second, sums);
            }
            m_sums.push_back(std::move(sums));
        }
    }

    /// Values of ascending elements; not a number for those without a shell section.
    std::vector<double> Of(const ORQSimCSet& elements) const {
        std::vector<double> values(static_cast<std::size_t>(elements.Size()), kNone);
        for (std::size_t i = 0; i < m_sums.size(); ++i) {
            const ORQSimCSet& governed = m_sections.Sections()[i].elements;
            const ORQSimCSet common = governed.Intersection(elements);
            for (ORQSimCSetIterator element(common); !element.IsDone(); element.Next()) {
                const auto at =
                    m_sums[i].size() == 1 ? 0 : governed.SeekMember(element.CurrentValue());
                values[static_cast<std::size_t>(elements.SeekMember(element.CurrentValue()))] =
                    m_sums[i][static_cast<std::size_t>(at)];
            }
        }
        return values;
    }

  private:
    static void Add(const ORQExcSections::Value& thickness, double factor,
                    std::vector<double>& sums) {
        if (thickness.numbers.empty()) {
            // NaN stays in the sum, whatever layers follow: it is unknown without this one.
            sums.assign(1, kNone);
            return;
        }
        // One sum while all layers are constant, one for each element from the first layer on that
        // varies.
        sums.resize(std::max(sums.size(), thickness.numbers.size()), sums[0]);
        for (std::size_t i = 0; i < sums.size(); ++i) {
            sums[i] += factor * thickness.At(i);
        }
    }

    ORQExcSections m_sections;
    std::vector<std::vector<double>> m_sums;  // of a section: one, or one for each of its elements
};

/// What a measure takes of elements beside their size.
enum class Beside { Nothing, Thickness, Offset, MassPerArea, Quality };

struct Measure {
    const char* name;
    int dimension;  ///< of the shapes whose own size it is; -1 for none
    Beside beside;
    bool isTimesArea = false;  ///< of shells
};

constexpr std::array kMeasures = {
    Measure{"length", 1, Beside::Nothing},         Measure{"area", 2, Beside::Nothing},
    Measure{"thickness", -1, Beside::Thickness},   Measure{"offset", -1, Beside::Offset},
    Measure{"volume", 3, Beside::Thickness, true}, Measure{"mass", -1, Beside::MassPerArea, true},
    Measure{"quality", -1, Beside::Quality},
};

class Measures : public RowSource {
  public:
    Measures(const ORQExcModel& model, const ORQSimCSet& elements, const Measure& measure)
        : m_model(model), m_parts(model, elements), m_measure(measure), m_columns{{measure.name}} {
        if (measure.beside == Beside::MassPerArea) {
            m_masses.emplace(model.Document());
        } else if (measure.beside == Beside::Thickness || measure.beside == Beside::Offset) {
            m_shellValues = ORQExcShellValuesOf(model, measure.beside == Beside::Thickness
                                                           ? ORQExcShellValue::Thickness
                                                           : ORQExcShellValue::Offset);
        }
    }

    RowPlace Place() const override { return RowPlace::Element; }
    const std::vector<Column>& Columns() const override { return m_columns; }
    double Done() const override { return m_parts.Done(); }

    bool Next(RowBlock& block) override {
        const ElementParts::Part* const part = m_parts.Next(kRowsAtOnce);
        if (part == nullptr) {
            return false;
        }
        block.members = part->elements;
        block.shape = part->block->shape->name;
        block.values.assign(block.NumRows(), kNone);
        const ORQExcShape& shape = *part->block->shape;
        if (shape.dimension == m_measure.dimension) {
            block.values = Sizes(*part);
        } else if (m_measure.beside == Beside::Quality) {
            block.values = Qualities(*part);
        } else if (shape.dimension == 2 && m_measure.beside != Beside::Nothing) {
            block.values = m_masses ? m_masses->Of(part->elements) : ShellValues(part->elements);
            if (m_measure.isTimesArea) {
                const std::vector<double> areas = Sizes(*part);
                std::ranges::transform(block.values, areas, block.values.begin(),
                                       std::multiplies());
            }
        }
        return true;
    }

  private:
    /// Measures by the corners of each element.
    template <class Of>
    std::vector<double> ByCorners(const ElementParts::Part& part, const Of& of) const {
        const ORQExcShape& shape = *part.block->shape;
        const auto nNodes = static_cast<std::size_t>(shape.nNodes);
        const auto nCorners = static_cast<std::size_t>(shape.nCorners);
        const std::vector<double> coordinates = CoordinatesOf(m_model, part.nodes);
        std::vector<double> values;
        for (std::size_t i = 0; i < part.nodes.size(); i += nNodes) {
            values.push_back(of(shape, std::span(coordinates).subspan(3 * i, 3 * nCorners)));
        }
        return values;
    }

    std::vector<double> Sizes(const ElementParts::Part& part) const {
        return ByCorners(part, [](const ORQExcShape& shape, std::span<const double> corners) {
            return ORQExcMeasureOf(shape, corners).size;
        });
    }

    std::vector<double> Qualities(const ElementParts::Part& part) const {
        return ByCorners(part, ORQExcFindQualityMeasure("scaled Jacobian")->of);
    }

    std::vector<double> ShellValues(const ORQSimCSet& elements) const {
        std::vector<double> values;
        for (ORQSimCSetIterator i(elements); !i.IsDone(); i.Next()) {
            values.push_back(m_shellValues[static_cast<std::size_t>(i.CurrentValue())]);
        }
        return values;
    }

    const ORQExcModel& m_model;
    ElementParts m_parts;
    Measure m_measure;
    std::vector<Column> m_columns;
    std::optional<LayerMasses> m_masses;
    std::vector<double> m_shellValues;  // by element; empty where they are not needed
};

}  // namespace

std::unique_ptr<RowSource> MeasureRows(const ORQExcModel& model, const ORQSimCSet& elements,
                                       const std::string& measure) {
    return std::make_unique<Measures>(
        model, elements, *std::ranges::find(kMeasures, measure, [](const Measure& one) {
            return std::string(one.name);
        }));
}

std::vector<std::string> MeasureNames() {
    std::vector<std::string> names;
    for (const Measure& measure : kMeasures) {
        names.emplace_back(measure.name);
    }
    return names;
}

}  // namespace orqmodel
