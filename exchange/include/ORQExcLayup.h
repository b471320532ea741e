#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcMaterialTable.h"
#include "ORQObjDocument.h"

/// The layered shell sections of a model as an importer delivers them: lists of named objects that
/// refer to each other by their places in the lists, and to elements by the names of element sets.
///
/// A source has validated what it delivers: names are unique in their list and not empty, places
/// exist, values are finite.
struct ORQExcLayup {
    static constexpr int kNone = -1;  ///< instead of a place

    struct Material {
        std::string name;
        int number;  ///< in its file
        /// The bulk data card that has such properties, for example "MAT1", or empty for a
        /// material that is only a name.
        std::string kind = {};
        std::vector<ORQExcMaterialTable> tables = {};
    };
    /// A rectangular system in the model's coordinates; axis 3 is normal to both.
    struct Orientation {
        std::string name;
        int number;
        std::array<double, 3> axis1;
        std::array<double, 3> axis2;
    };
    struct Ply {
        std::string name;
        int number;
    };
    /// Values that vary over a set: one for each element in the order of the set's members.
    struct Field {
        std::string elementSet;
        std::vector<double> values;
    };
    struct Layer {
        int material = kNone;
        int orientation = kNone;
        int ply = kNone;
        int sectionPoints = 3;
        std::optional<double> thickness = {};  ///< in the model's length unit
        std::optional<double> angle = {};      ///< in degrees, about the shell's normal
        /// What the ply has of its own, where angles are those turned by the directions of elements.
        std::optional<double> nominalAngle = {};
        std::vector<Field> thicknesses = {};
        std::vector<Field> angles = {};
    };
    struct Section {
        std::string name;
        int number;
        std::vector<Layer> layers;  ///< from the bottom
        /// What the constants are, in their order: the name of the card that they come from.
        std::string kind = {};
        std::vector<double> constants = {};  ///< NaN where none is given
    };
    /// Elements have the section, unless an earlier assignment has them.
    struct Assignment {
        std::string elementSet;
        int section;
    };

    std::vector<Material> materials = {};
    std::vector<Orientation> orientations = {};
    std::vector<Ply> plies = {};
    std::vector<Section> sections = {};
    std::vector<Assignment> assignments = {};
};

/// Adds the layup to a model that has the element sets it names and no layers yet. REQUIRES: an
/// open transaction. Throws ORQBasFailure (Usage) for a set that the model lacks, and
/// for values that vary over the elements where it has such values already.
ORQ_EXPORT void ORQExcWriteLayup(const ORQExcLayup& layup, const ORQObjDocument& document);

/// The layup of a model, empty when it has none. Thicknesses and angles that vary over elements are
/// left out: such a layer has neither the one value nor the fields. A section whose layers cannot be
/// read has none, and onUnreadable(why) is called for it; without that it is an ORQBasFailure
/// (Damaged).
ORQ_EXPORT ORQExcLayup
ORQExcReadLayup(const ORQObjDocument& document,
                const std::function<void(const std::string&)>& onUnreadable = {});
