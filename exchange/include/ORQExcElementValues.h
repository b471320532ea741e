#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "ORQExcSections.h"

/// What becomes of a field's values within elements: carried to nodes or middles, the worst of all,
/// along other axes. For what lists, draws or exports fields with points or layers; the model and the
/// results must outlive it. Values are read when they are asked for, some thousand elements at a time.
class ORQ_EXPORT ORQExcElementValues {
  public:
    ORQExcElementValues(const ORQExcModel& model, const ORQExcResults& results,
                        const ORQExcResults::Field& field);

    /// A number made of the components of one place.
    using Number = std::function<double(std::span<const double> components)>;
    struct Worst {
        double value;  ///< not a number where the element has no value
        ORQExcSpot spot;
    };
    /// Finds for each element the number of the largest magnitude over all its layers, section
    /// points and points, and where it is; the first one of equal numbers.
    std::vector<Worst> WorstOf(int frame, const ORQSimCSet& elements, const Number& number) const;

    /// Values [elements][components] in the middles of elements, in one layer and section point (-1
    /// for a field without): extrapolated from points, see ORQExcExtrapolationToMiddle. Not a number
    /// where an element has no value, or integration points of which the places are not known.
    void ReadMiddles(int frame, const ORQSimCSet& elements, int layer, int sectionPoint,
                     std::span<double> values) const;

    /// Elements of which the values at a node are averaged.
    struct Group {
        std::string block;    ///< empty for a group across borders
        std::string section;  ///< the same, and for elements without one
        ORQSimCSet elements;
    };
    /// Some elements by block and section, in the order of these: a node on the border of two blocks,
    /// or of two sections, has a value of each. With `acrossBorders` all are one group.
    std::vector<Group> GroupsOf(const ORQSimCSet& elements, bool acrossBorders) const;
    enum class To { Middles, Nodes };
    /// The elements whose values can be carried there: not those of faces, nor of integration points
    /// of which the places are not known.
    ORQSimCSet ElementsCarried(To to) const;

    struct AtNodes {
        std::vector<int> nodes;      ///< ascending
        std::vector<double> values;  ///< [nodes][components]
    };
    /// Values at the nodes of elements in one layer and section point: extrapolated from integration
    /// points (see ORQExcExtrapolationToNodes), or those of elements with one value, and averaged
    /// over the elements.
    AtNodes ReadNodes(int frame, const ORQSimCSet& elements, int layer, int sectionPoint) const;

  private:
    struct Class;
    std::vector<Class> ClassesOf(const std::vector<ORQObjFieldView>& views) const;
    std::vector<double> ReadClass(int frame, const Class& of, const ORQSimCSet& elements, int layer,
                                  int sectionPoint) const;

    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    const ORQExcResults::Field& m_field;
    mutable std::optional<ORQExcSections> m_sections;  // read when they are first asked for
};

/// The axes of elements and of their layers, and the components of vectors and tensors along them.
///
/// Axis 3 of an element is its normal, by the order of its corners. Axis 1 is the direction of the
/// layer's orientation (its first axis), laid into the plane of the element; without an orientation,
/// or where that is normal to the element, the direction from the first corner to the second. A
/// layer's axes are those of the element, turned about axis 3 by the layer's angle.
class ORQ_EXPORT ORQExcElementAxes {
  public:
    /// Rows are the three axes, in the model's coordinates.
    using Matrix = std::array<std::array<double, 3>, 3>;

    explicit ORQExcElementAxes(const ORQExcModel& model);
    ~ORQExcElementAxes();
    ORQExcElementAxes(const ORQExcElementAxes&) = delete;
    ORQExcElementAxes& operator=(const ORQExcElementAxes&) = delete;

    /// The directions of an element in a layer (-1 for one without layers); nothing for what is no
    /// shell, and for ORQObjAxes::Unknown.
    std::optional<Matrix> Of(int element, int layer, ORQObjAxes axes) const;

  private:
    struct Contents;
    std::unique_ptr<Contents> m_contents;
};

/// A symmetric tensor {11, 22, 33, 12, 23, 13} along other axes: T' = Q T Q^T, Q = to from^T. Shear
/// components are those of the tensor, half of an engineering strain.
ORQ_EXPORT std::array<double, 6> ORQExcTurned(const std::array<double, 6>& tensor,
                                              const ORQExcElementAxes::Matrix& from,
                                              const ORQExcElementAxes::Matrix& to);
