#pragma once

#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "queries/ElementPlaces.h"

namespace orqmodel {

/// A field at one time as one number for each node or element: what a picture can show of it.
struct FieldValues {
    /// Values at nodes that are averages over groups of elements, where a node on their border has
    /// one of each.
    struct Sides {
        std::vector<int> groupOf;        ///< by element ordinal; -1 for one without values
        std::vector<std::size_t> begin;  ///< rows of values, [groups + 1]
        std::vector<int> nodes;          ///< by row; ascending in each group
    };

    /// The row of values of a node of an element, or of the element; -1 where there is none.
    int RowOf(int element, int node) const;
    double ValueAt(int element, int node) const {
        const int row = RowOf(element, node);
        return row < 0 ? std::numeric_limits<double>::quiet_NaN()
                       : values[static_cast<std::size_t>(row)];
    }

    bool isNodal;
    std::vector<double>
        values;        ///< by ordinal, or by row of sides; not a number where there is none
    std::string name;  ///< of the field, with its component where it is one
    std::string time;  ///< "time 0.5, 3 of 11" and its step where there are several; empty for none
    std::shared_ptr<const Sides> sides = {};  ///< null where each node has one value
};

/// "time 0.5, 3 of 11", behind the name of its step where there are several.
std::string TimeText(const ORQExcResults& results, int time);
/// The times of all steps, counted from 1, at which a field has values.
std::vector<int> TimesOf(const ORQExcResults& results, const ORQExcResults::Field& field);

/// What is made of the components of a member.
struct Quantity {
    std::string name;
    std::function<double(std::span<const double>)> of;
};

/// The field of a label: its name, that of one of its components, or what a file calls one of its
/// places. Throws ORQBasFailure (Usage), naming what is near, for one that the model lacks, and for
/// fields of the whole model.
ORQExcResults::Field FindShownField(const ORQExcResults& results, const std::string& label);
/// What a label that found the field means: see ShownField. A `component` that is not empty counts
/// instead; throws Usage where the field has no such component, and for a tensor that is not
/// symmetric.
Quantity QuantityOf(const ORQExcResults::Field& field, const std::string& label,
                    const std::string& component);

/// Which value of an element is shown of a field with points or layers.
struct ShownPlace {
    std::string layer;           ///< a number from 1
    std::string sectionPoint;    ///< as in PlaceOptions
    std::string point;           ///< a number from 1; empty for the mean of the points
    bool isExtreme = false;      ///< that of the largest magnitude, wherever it is
    std::string component = {};  ///< empty for what the label means
    std::string at = {};         ///< "nodes": averages over the elements of a block and section
    bool acrossBorders = false;  ///< with `at`: over all elements
};

/// The field or component of a label over all times. Of a vector the magnitude is meant, and of a
/// symmetric tensor its von Mises equivalent, unless a component is named.
class ShownField {
  public:
    /// Throws ORQBasFailure (Usage), naming what there is, for a label that the model lacks, for
    /// fields of the whole model, and for tensors that are not symmetric; for a place that the field
    /// does not have, and for none of a field with layers.
    ShownField(const ORQExcModel& model, const ORQExcResults& results, const std::string& label,
               const ShownPlace& place = {});

    /// The values at a time, counted from 1. Throws Usage for one without values, and where there
    /// is no such time.
    FieldValues At(int time) const;
    /// The times at which the field has values, from 1.
    std::vector<int> Times() const { return TimesOf(m_results, m_field); }
    bool IsNodal() const { return m_isAtNodes || m_field.place == ORQExcResultArray::Place::Node; }

  private:
    void ChoosePlace(const ShownPlace& place);
    void ChooseNodes(const ShownPlace& place);
    std::map<std::pair<int, int>, ORQSimCSet> MembersByLayer() const;
    FieldValues AtNodes(int time) const;
    std::vector<double> ValuesAt(int time) const;
    std::int64_t Read(int time, const ORQExcResults::Field& field, const ORQSimCSet& members,
                      std::vector<double>& values) const;

    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    std::string m_label;
    ORQExcResults::Field m_field;
    Quantity m_quantity;
    std::vector<ElementPlace> m_places;  // of a field with points or layers, of which one is shown
    int m_point = -1;
    bool m_isExtreme = false;
    bool m_isAtNodes = false;
    bool m_acrossBorders = false;
};

/// What elements measure, one of MeasureNames: their thickness, area and the like.
FieldValues MeasuresOf(const ORQExcModel& model, const std::string& measure);

}  // namespace orqmodel
