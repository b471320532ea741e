#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ORQExcLayup.h"
#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcSections.h"

namespace orq::exchange {

inline constexpr std::string_view kThicknessAttribute = "thickness";
/// Offset of the middle surface above the nodes, along the normal.
inline constexpr std::string_view kOffsetAttribute = "offset";

/// Whether an attribute is the thickness, by its name in upper or lower case. Exodus II has no name
/// for the one attribute of a shell, so an only one without a name is the thickness too.
bool IsThicknessAttribute(const ORQExcModel::Block& block, std::size_t attribute);

/// The attributes of blocks for formats that have numbers of elements, but no layups: those of the
/// model, then what the sections of its elements give:
///
///     thickness        of all layers together, or the element's own at its corners on average
///     offset           where some element or section has one
///     ply_1_thickness  of the lowest layer, and so on for each
///     ply_1_angle      in degrees, as the element has it
///     ply_1_material   the material's number
///
/// An attribute of the model that has such a name stands instead. What an element lacks is not a
/// number. Takes 8 bytes for each element, and the layers that vary over elements.
class ShellColumns {
  public:
    explicit ShellColumns(const ORQExcModel& model);

    const std::vector<std::string>& NamesOf(const ORQExcModel::Block& block) const;
    /// [elements of the block]
    std::vector<double> Read(const ORQExcModel::Block& block, std::size_t column) const;
    /// [elements of the block][columns]
    std::vector<double> ReadAll(const ORQExcModel::Block& block) const;

    /// Enters into the report what became of sections and materials.
    void Report(ORQExcReport& report) const;

  private:
    struct Section {
        const ORQExcLayup::Section* layup;
        ORQExcSections::Stack stack;
        std::vector<double> materials;  // numbers, by layer
    };
    /// A column that comes of sections.
    struct Added {
        enum class What { Thickness, Offset, PlyThickness, PlyAngle, PlyMaterial } what;
        std::size_t layer;
    };
    struct Columns {
        std::vector<std::string> names;
        std::vector<Added> added;  // of the last names
    };
    /// An element's own thickness and offset, where it has such.
    struct Own {
        std::vector<double> thickness;
        std::vector<double> offset;
    };

    std::size_t PlaceOf(const ORQExcModel::Block& block) const;
    void AddSections();
    Columns ColumnsOf(const ORQExcModel::Block& block) const;
    int SectionOf(int element) const;  // -1 for none
    Own ReadOwn(const ORQExcModel::Block& block) const;
    std::vector<double> ReadAdded(const ORQExcModel::Block& block, const Added& added,
                                  const Own& own) const;
    static double ValueOf(const Section& section, const Added& added, std::size_t row);
    static double ThicknessOf(const Section& section, std::size_t row);
    static double OffsetOf(const Section& section, std::size_t row);

    const ORQExcModel& m_model;
    ORQExcLayup m_layup;
    std::vector<Section> m_sections;
    std::vector<int> m_sectionOf;    // by element, -1 for none; empty without sections
    std::vector<int> m_rowOf;        // by element, among those of its section
    std::vector<Columns> m_columns;  // by block
};

}  // namespace orq::exchange
