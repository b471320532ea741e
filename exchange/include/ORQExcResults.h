#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcResultSource.h"
#include "ORQExcSpot.h"
#include "ORQObjDocument.h"
#include "ORQObjMeshedField.h"
#include "ORQSimCSet.h"

/// The results of a model database: all times of all steps in a row, and the fields over them.
/// Reads names and times at once, values when they are asked for.
class ORQ_EXPORT ORQExcResults {
  public:
    struct Frame {
        int step;    ///< place in Steps()
        int member;  ///< of the step's collection of times
        double time;
    };
    struct Component {
        int code;  ///< ads_ComponentSymbolsEnm
        std::string label;
    };
    /// A field that is computed from others when it is read; see ORQExcCarriedResults.
    struct Made {
        ORQSimCSet members;  ///< that may have values
        /// Reads as ORQExcResults::Read does.
        std::function<std::int64_t(int frame, const ORQSimCSet& members, std::span<double> values)>
            read;
    };
    struct Field {
        ORQExcResultArray::Place place;
        std::string name;
        std::string identifier;  ///< empty when the table of output variables lacks the variable
        int gridType;
        std::vector<Component> components;
        std::vector<ORQObjMeshedField> ofStep;  ///< by step; with a null position where it lacks it
        bool hasPoints = false;                 ///< several in an element, as the grid type says
        bool hasLayers = false;
        ORQObjAxes axes = ORQObjAxes::Unknown;
        std::string arrayNames = {};  ///< as in ORQObjMeshedField
        /// The one place in each element of which it is; see AtSpot.
        ORQExcSpot spot = {};
        std::shared_ptr<const Made> made = {};  ///< null for one that is stored

        bool IsAtSpot() const { return spot != ORQExcSpot(); }
        /// Whether members have several values, of which none is chosen.
        bool HasSpots() const {
            return (hasPoints && spot.point < 0) || (hasLayers && spot.layer < 0);
        }
    };

    explicit ORQExcResults(const ORQObjDocument& document);
    /// The same steps and times with other fields.
    ORQExcResults With(std::vector<Field> fields) const;

    const std::vector<std::string>& Steps() const { return m_steps; }
    const std::vector<Frame>& Frames() const { return m_frames; }
    /// Fields of the whole model, then of nodes, then of elements; each in the order in which they
    /// were added.
    const std::vector<Field>& Fields() const { return m_fields; }

    /// The members that have values at some time; empty for the whole model.
    ORQSimCSet MembersOf(const Field& field) const;
    /// The elements with equal layers and points, and what they have, over all steps; of what was
    /// written in several calls, all. Each element is in one view.
    std::vector<ORQObjFieldView> ViewsOf(const Field& field) const;
    /// The same of some elements at a frame: an element may have other points in another step.
    std::vector<ORQObjFieldView> ViewsOf(const Field& field, int frame,
                                         const ORQSimCSet& elements) const;
    /// Every place within an element at which some element has values: by layer, section point and
    /// point. One that says nothing for a field of one value a member.
    std::vector<ORQExcSpot> SpotsOf(const Field& field) const;
    /// The field at one of its places, with one value a member for all that reads or writes fields:
    /// named, and its components, as files name them there.
    Field AtSpot(const Field& field, const ORQExcSpot& spot) const;
    /// All fields, each at each of its places.
    std::vector<Field> FieldsAtSpots() const;
    /// Times, of all steps, at which some member has values.
    int NumTimes(const Field& field) const;
    /// Values [members][components] of a frame; not a number where there is none. Answers how many
    /// there are. The members take no part in a field of the whole model. Of a field with points,
    /// none of which is chosen, the mean of each member's; throws Usage for a field with layers,
    /// none of which is chosen.
    std::int64_t Read(const Field& field, int frame, const ORQSimCSet& members,
                      std::span<double> values) const;
    /// A view of one spot of some members, for ReadView.
    static ORQObjFieldView ViewAt(const ORQSimCSet& members, const ORQExcSpot& spot);
    /// Values [layers][section points][members][points][components] of a frame, without the
    /// dimensions that the field lacks.
    std::int64_t ReadView(const Field& field, int frame, const ORQObjFieldView& view,
                          std::span<double> values) const;

  private:
    std::int64_t ReadMeans(const Field& field, int frame, const ORQSimCSet& members,
                           std::span<double> values) const;
    std::int64_t AddMeans(const Field& field, int frame, const ORQSimCSet& some, int nPoints,
                          const ORQSimCSet& members, std::span<double> values) const;
    void AddField(std::size_t step, const ORQObjMeshedField& field, const ORQSimPosition& nodes);

    ORQObjDocument m_document;
    std::vector<std::string> m_steps;
    std::vector<Frame> m_frames;
    std::vector<Field> m_fields;
};
