#include "model/ShellColumns.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

#include "ORQExcNearNames.h"
#include "model/NoValue.h"

namespace orq::exchange {
namespace {

constexpr const char* kOffsetField = "ZOFFS";  // of one element, as in bulk data
constexpr std::array<const char*, 4> kThicknessFields = {"T1", "T2", "T3", "T4"};

/// The distance of the bottom of a laminate from the nodes, where it has one.
double BottomOf(const ORQExcLayup::Section& section) {
    const bool isLaminate = section.kind == "PCOMP" || section.kind == "PCOMPG";
    return isLaminate && !section.constants.empty() ? section.constants[0] : kNoValue;
}

bool Has(const ORQExcModel::Block& block, const char* attribute) {
    return std::ranges::find(block.attributes, attribute) != block.attributes.end();
}

}  // namespace

bool IsThicknessAttribute(const ORQExcModel::Block& block, std::size_t attribute) {
    const std::string& name = block.attributes[attribute];
    const bool isShell =
        std::string_view(block.shape->name).find("SHELL") != std::string_view::npos;
    return WithoutCase(name) == kThicknessAttribute ||
           (isShell && block.attributes.size() == 1 && (name.empty() || name == "attribute 1"));
}

ShellColumns::ShellColumns(const ORQExcModel& model)
    : m_model(model), m_layup(ORQExcReadLayup(model.Document())) {
    if (!m_layup.sections.empty()) {
        AddSections();
    }
    for (const ORQExcModel::Block& block : model.Blocks()) {
        m_columns.push_back(ColumnsOf(block));
    }
}

void ShellColumns::AddSections() {
    const ORQExcSections sections(m_model.Document());
    std::map<std::string, double> numberOf;
    for (const ORQExcLayup::Material& material : m_layup.materials) {
        numberOf[material.name] = material.number;
    }
    m_sectionOf.assign(static_cast<std::size_t>(m_model.NumElements()), -1);
    m_rowOf.assign(m_sectionOf.size(), 0);
    for (const ORQExcSections::Section& section : sections.Sections()) {
        const auto layup =
            std::ranges::find(m_layup.sections, section.name, &ORQExcLayup::Section::name);
        if (section.elements.IsEmpty() || layup == m_layup.sections.end()) {
            continue;
        }
        int row = 0;
        for (ORQSimCSetIterator element(section.elements); !element.IsDone(); element.Next()) {
            const auto ordinal = static_cast<std::size_t>(element.CurrentValue());
            m_sectionOf[ordinal] = static_cast<int>(m_sections.size());
            m_rowOf[ordinal] =
                row++;  // values that vary stand in the order of the section's elements
        }
        m_sections.push_back({&*layup, sections.Read(section), {}});
        for (const ORQExcSections::Layer& layer : m_sections.back().stack.layers) {
            const auto number = numberOf.find(layer.material);
            m_sections.back().materials.push_back(number == numberOf.end() ? kNoValue
                                                                           : number->second);
        }
    }
}

std::size_t ShellColumns::PlaceOf(const ORQExcModel::Block& block) const {
    return static_cast<std::size_t>(&block - m_model.Blocks().data());
}

const std::vector<std::string>& ShellColumns::NamesOf(const ORQExcModel::Block& block) const {
    return m_columns[PlaceOf(block)].names;
}

ShellColumns::Columns ShellColumns::ColumnsOf(const ORQExcModel::Block& block) const {
    using What = Added::What;
    Columns columns{block.attributes, {}};
    std::set<int> sections;
    if (!m_sections.empty()) {
        for (ORQSimCSetIterator element(block.elements); !element.IsDone(); element.Next()) {
            sections.insert(SectionOf(element.CurrentValue()));
        }
        sections.erase(-1);
    }
    const auto add = [&](const std::string& name, const Added& added) {
        if (std::ranges::find(block.attributes, name) == block.attributes.end()) {
            columns.names.push_back(name);
            columns.added.push_back(added);
        }
    };
    std::size_t nLayers = 0;
    bool hasOffset = false;
    for (const int section : sections) {
        const Section& known = m_sections[static_cast<std::size_t>(section)];
        nLayers = std::max(nLayers, known.stack.layers.size());
        hasOffset = hasOffset || !std::isnan(BottomOf(*known.layup));
    }
    if (!sections.empty() || Has(block, kThicknessFields[0])) {
        add(std::string(kThicknessAttribute), {What::Thickness, 0});
    }
    if (hasOffset || Has(block, kOffsetField)) {
        add(std::string(kOffsetAttribute), {What::Offset, 0});
    }
    for (std::size_t layer = 0; layer < nLayers; ++layer) {
        add(fmt::format("ply_{}_thickness", layer + 1), {What::PlyThickness, layer});
        add(fmt::format("ply_{}_angle", layer + 1), {What::PlyAngle, layer});
        add(fmt::format("ply_{}_material", layer + 1), {What::PlyMaterial, layer});
    }
    return columns;
}

ShellColumns::Own ShellColumns::ReadOwn(const ORQExcModel::Block& block) const {
    Own own;
    if (!Has(block, kOffsetField) && !Has(block, kThicknessFields[0])) {
        return own;
    }
    const auto n = static_cast<std::size_t>(block.elements.Size());
    const std::size_t nAttributes = block.attributes.size();
    std::vector<double> values(n * nAttributes);
    m_model.ReadAttributes(block, 0, block.elements.Size(), values);
    own.offset.assign(n, kNoValue);
    own.thickness.assign(n, kNoValue);
    for (std::size_t row = 0; row < n; ++row) {
        double sum = 0;
        int count = 0;
        for (std::size_t i = 0; i < nAttributes; ++i) {
            const double value = values[row * nAttributes + i];
            if (block.attributes[i] == kOffsetField) {
                own.offset[row] = value;
            } else if (std::ranges::count(kThicknessFields, block.attributes[i]) != 0 &&
                       !std::isnan(value)) {
                sum += value;
                ++count;
            }
        }
        // Thicknesses at the corners; the attribute has room for one, which is their mean.
        if (count > 0) {
            own.thickness[row] = sum / count;
        }
    }
    return own;
}

double ShellColumns::ThicknessOf(const Section& section, std::size_t row) {
    double total = section.stack.layers.empty() ? kNoValue : 0;
    for (const ORQExcSections::Layer& layer : section.stack.layers) {
        total += layer.thickness.numbers.empty() ? kNoValue : layer.thickness.At(row);
    }
    return total;
}

double ShellColumns::OffsetOf(const Section& section, std::size_t row) {
    const double bottom = BottomOf(*section.layup);
    // The attribute is the offset of the middle surface, the constant that of the bottom.
    return std::isnan(bottom) ? 0 : bottom + ThicknessOf(section, row) / 2;
}

std::vector<double> ShellColumns::ReadAdded(const ORQExcModel::Block& block, const Added& added,
                                            const Own& own) const {
    std::vector<double> column;
    column.reserve(static_cast<std::size_t>(block.elements.Size()));
    for (ORQSimCSetIterator element(block.elements); !element.IsDone(); element.Next()) {
        const std::size_t i = column.size();
        const int place = SectionOf(element.CurrentValue());
        double value =
            place < 0 ? kNoValue
                      : ValueOf(m_sections[static_cast<std::size_t>(place)], added,
                                static_cast<std::size_t>(
                                    m_rowOf[static_cast<std::size_t>(element.CurrentValue())]));
        if (added.what == Added::What::Thickness && !own.thickness.empty() &&
            !std::isnan(own.thickness[i])) {
            value = own.thickness[i];
        } else if (added.what == Added::What::Offset && !own.offset.empty() &&
                   !std::isnan(own.offset[i])) {
            // The offset of the element moves the laminate, which has its own.
            value = own.offset[i] + (std::isnan(value) ? 0 : value);
        }
        column.push_back(value);
    }
    return column;
}

double ShellColumns::ValueOf(const Section& section, const Added& added, std::size_t row) {
    const auto at = [row](const ORQExcSections::Value& value) {
        return value.numbers.empty() ? kNoValue : value.At(row);
    };
    switch (added.what) {
        case Added::What::Thickness:
            return ThicknessOf(section, row);
        case Added::What::Offset:
            return OffsetOf(section, row);
        case Added::What::PlyThickness:
        case Added::What::PlyAngle:
        case Added::What::PlyMaterial:
            break;
    }
    if (added.layer >= section.stack.layers.size()) {
        return kNoValue;
    }
    const ORQExcSections::Layer& layer = section.stack.layers[added.layer];
    return added.what == Added::What::PlyThickness ? at(layer.thickness)
           : added.what == Added::What::PlyAngle   ? at(layer.angle)
                                                   : section.materials[added.layer];
}

int ShellColumns::SectionOf(int element) const {
    return m_sectionOf.empty() ? -1 : m_sectionOf[static_cast<std::size_t>(element)];
}

std::vector<double> ShellColumns::Read(const ORQExcModel::Block& block, std::size_t column) const {
    const std::size_t nAttributes = block.attributes.size();
    if (column >= nAttributes) {
        const Added& added = m_columns[PlaceOf(block)].added[column - nAttributes];
        // What an element has of its own is two columns of all attributes, read only where they count.
        const bool needsOwn =
            added.what == Added::What::Thickness || added.what == Added::What::Offset;
        return ReadAdded(block, added, needsOwn ? ReadOwn(block) : Own{});
    }
    const auto n = static_cast<std::size_t>(block.elements.Size());
    std::vector<double> rows(n * nAttributes);
    m_model.ReadAttributes(block, 0, block.elements.Size(), rows);
    std::vector<double> values(n);
    for (std::size_t row = 0; row < n; ++row) {
        values[row] = rows[row * nAttributes + column];
    }
    return values;
}

std::vector<double> ShellColumns::ReadAll(const ORQExcModel::Block& block) const {
    const Columns& columns = m_columns[PlaceOf(block)];
    const auto n = static_cast<std::size_t>(block.elements.Size());
    const std::size_t nAttributes = block.attributes.size();
    const std::size_t nColumns = columns.names.size();
    std::vector<double> rows(n * nAttributes);
    if (nAttributes > 0) {
        m_model.ReadAttributes(block, 0, block.elements.Size(), rows);
    }
    if (columns.added.empty()) {
        return rows;
    }
    std::vector<double> all(n * nColumns);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        all[i / nAttributes * nColumns + i % nAttributes] = rows[i];
    }
    const Own own = ReadOwn(block);
    for (std::size_t k = 0; k < columns.added.size(); ++k) {
        const std::vector<double> column = ReadAdded(block, columns.added[k], own);
        for (std::size_t row = 0; row < n; ++row) {
            all[row * nColumns + nAttributes + k] = column[row];
        }
    }
    return all;
}

void ShellColumns::Report(ORQExcReport& report) const {
    std::set<std::string> used;
    for (const Section& section : m_sections) {
        report.Change("section", section.layup->name, std::ssize(section.layup->layers),
                      "its layers became attributes of its elements: thickness, angle and "
                      "material of each ply");
        for (const ORQExcSections::Layer& layer : section.stack.layers) {
            used.insert(layer.material);
        }
    }
    for (const ORQExcLayup::Material& material : m_layup.materials) {
        if (used.contains(material.name)) {
            report.Change("material", material.name, 1,
                          "only its number is there, with the plies that have it");
        }
    }
}

}  // namespace orq::exchange
