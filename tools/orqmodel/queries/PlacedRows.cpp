#include "queries/PlacedRows.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQSimCollection.h"
#include "ads_ComponentSymbolsEnm.h"
#include "queries/MemberRange.h"

namespace orqmodel {
namespace {

using Field = ORQExcResults::Field;

// --- Axes ----------------------------------------------------------------------------------------

ORQObjAxes AxesOf(const std::string& name) {
    return name == "layer"     ? ORQObjAxes::Layer
           : name == "element" ? ORQObjAxes::Element
                               : ORQObjAxes::Model;
}

/// Turns the symmetric tensors of rows.
class Turning {
  public:
    Turning(const ORQExcModel& model, const Field& field, const std::string& axes)
        : m_axes(model), m_from(field.axes), m_to(AxesOf(axes)) {
        if (field.axes == ORQObjAxes::Unknown) {
            ORQBasThrowUsage(fmt::format("--axes {}: along which axes {} stands is not known", axes,
                                         field.name));
        }
        for (const ORQExcResults::Component& component : field.components) {
            const auto found = std::ranges::find(kCodes, component.code);
            if (found == kCodes.end()) {
                ORQBasThrowUsage(
                    fmt::format("--axes {}: {} is no symmetric tensor", axes, field.name));
            }
            m_placeOf.push_back(static_cast<std::size_t>(found - kCodes.begin()));
        }
        constexpr std::array<const char*, 6> kNames = {"11", "22", "33", "12", "23", "13"};
        for (const char* name : kNames) {
            m_columns.push_back({fmt::format("{} {}", field.name, name)});
        }
    }

    const std::vector<RowSource::Column>& Columns() const { return m_columns; }
    void Turn(RowBlock& block) const {
        const std::size_t nGiven = m_placeOf.size();
        std::vector<double> turned;
        for (std::size_t row = 0; row < block.NumRows(); ++row) {
            std::array<double, 6> tensor{};
            for (std::size_t i = 0; i < nGiven; ++i) {
                tensor[m_placeOf[i]] = block.values[row * nGiven + i];
            }
            const int element = block.members[static_cast<int>(row)];
            const auto from = m_axes.Of(element, block.spot.layer, m_from);
            const auto to = m_axes.Of(element, block.spot.layer, m_to);
            tensor = from && to ? ORQExcTurned(tensor, *from, *to)
                                : std::array<double, 6>{NAN, NAN, NAN, NAN, NAN, NAN};
            turned.insert(turned.end(), tensor.begin(), tensor.end());
        }
        block.values = std::move(turned);
    }

  private:
    static constexpr std::array<int, 6> kCodes = {ads_Component11, ads_Component22,
                                                  ads_Component33, ads_Component12,
                                                  ads_Component23, ads_Component13};

    ORQExcElementAxes m_axes;
    ORQObjAxes m_from;
    ORQObjAxes m_to;
    std::vector<std::size_t> m_placeOf;  // of the components, in a tensor
    std::vector<RowSource::Column> m_columns;
};

// --- Rows ----------------------------------------------------------------------------------------

class Placed : public RowSource {
  public:
    Placed(const ORQExcModel& model, const ORQExcResults& results, const Field& field,
           std::vector<int> frames, const ORQSimCSet& members, int component,
           const PlaceOptions& options)
        : m_model(model),
          m_results(results),
          m_field(field),
          m_values(model, results, field),
          m_frames(std::move(frames)),
          m_wanted(FindPlaces(model, results, field, members, options)),
          m_component(component),
          m_at(options.at.empty() ? "points" : options.at),
          m_acrossBorders(options.acrossBorders) {
        if (!options.axes.empty()) {
            if (m_at == "nodes") {
                ORQBasThrowUsage(
                    "--axes: values of nodes belong to several elements; --at points "
                    "or --at centroid have axes");
            }
            m_turning.emplace(model, field, options.axes);
        }
        for (std::size_t i = 0; i < field.components.size() && !m_turning; ++i) {
            if (component < 0 || static_cast<std::size_t>(component) == i) {
                m_columns.push_back({field.components[i].label});
            }
        }
        if (m_turning) {
            if (component >= 0) {
                ORQBasThrowUsage("--axes: turns all components, not one");
            }
            m_columns = m_turning->Columns();
        }
    }

    RowPlace Place() const override { return m_at == "nodes" ? RowPlace::Node : RowPlace::Element; }
    const std::vector<Column>& Columns() const override { return m_columns; }
    Heads SpotHeads() const override {
        return {m_field.hasLayers, m_field.hasPoints && m_at == "points",
                m_at == "nodes" && !m_acrossBorders};
    }
    double Done() const override {
        const auto all = static_cast<double>(std::max<std::size_t>(1, m_wanted.size())) *
                         static_cast<double>(std::max<std::size_t>(1, m_frames.size()));
        return static_cast<double>(m_frame * m_wanted.size() + m_place) / all;
    }
    bool Next(RowBlock& block) override {
        for (; m_frame < m_frames.size(); ++m_frame, m_place = 0) {
            for (; m_place < m_wanted.size(); ++m_place, m_point = 0, m_begin = 0) {
                while (m_at == "nodes" ? NextNodes(block) : NextSlice(block)) {
                    if (!block.values.empty()) {
                        return true;
                    }
                }
            }
        }
        return false;
    }

  private:
    /// The next elements at the present layer and section point; false when there are none.
    bool NextSlice(RowBlock& block) {
        const ElementPlace& wanted = m_wanted[m_place];
        const bool byPoint = m_at == "points";
        if (m_begin >= wanted.members.Size()) {
            m_begin = 0;
            if (!byPoint || ++m_point >= std::max(1, wanted.nPoints)) {
                return false;
            }
        }
        const int end = std::min(wanted.members.Size(), m_begin + kRowsAtOnce);
        block.frame = m_frames[m_frame];
        block.members = MembersAt(wanted.members, m_begin, end);
        block.spot = {wanted.layer, wanted.sectionPoint,
                      byPoint && wanted.nPoints > 0 ? m_point : -1};
        block.values.assign(block.NumRows() * m_field.components.size(), NAN);
        if (byPoint) {
            m_results.ReadView(m_field, block.frame,
                               ORQExcResults::ViewAt(block.members, block.spot), block.values);
        } else {
            m_values.ReadMiddles(block.frame, block.members, wanted.layer, wanted.sectionPoint,
                                 block.values);
        }
        m_begin = end;
        block.LeaveOutEmpty();
        Pick(block);
        return true;
    }

    /// All nodes of a layer and section point: of all classes of elements that have it.
    bool NextNodes(RowBlock& block) {
        const ElementPlace& wanted = m_wanted[m_place];
        if (m_begin == 0 && m_point == 0) {
            // Classes of one place follow each other, and are averaged together.
            ORQSimCSet members;
            for (std::size_t i = 0; i < m_wanted.size(); ++i) {
                if (m_wanted[i].layer == wanted.layer &&
                    m_wanted[i].sectionPoint == wanted.sectionPoint) {
                    if (i < m_place) {
                        return false;  // done with the first of them
                    }
                    members = members.Union(m_wanted[i].members);
                }
            }
            m_groups = m_values.GroupsOf(members, m_acrossBorders);
        }
        if (static_cast<std::size_t>(m_point) >= m_groups.size()) {
            return false;
        }
        const ORQExcElementValues::Group& group = m_groups[static_cast<std::size_t>(m_point++)];
        ORQExcElementValues::AtNodes at = m_values.ReadNodes(m_frames[m_frame], group.elements,
                                                             wanted.layer, wanted.sectionPoint);
        block.frame = m_frames[m_frame];
        block.spot = {wanted.layer, wanted.sectionPoint, -1};
        block.shape = group.block;
        block.members =
            ORQSimCollection(m_model.Nodes().CollectionID())
                .CreateVolatileCSet(at.nodes.data(), static_cast<int>(at.nodes.size()), true);
        block.values = std::move(at.values);
        Pick(block);
        return true;
    }

    /// Turns, or leaves one component.
    void Pick(RowBlock& block) const {
        if (block.values.empty()) {
            return;
        }
        if (m_turning) {
            m_turning->Turn(block);
        } else if (m_component >= 0) {
            const std::size_t n = m_field.components.size();
            for (std::size_t row = 0; row < block.NumRows(); ++row) {
                block.values[row] = block.values[row * n + static_cast<std::size_t>(m_component)];
            }
            block.values.resize(block.NumRows());
        }
    }

    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    const Field& m_field;
    ORQExcElementValues m_values;
    std::vector<int> m_frames;
    std::vector<ElementPlace> m_wanted;
    int m_component;
    std::string m_at;
    bool m_acrossBorders;
    std::optional<Turning> m_turning;
    std::vector<Column> m_columns;
    std::vector<ORQExcElementValues::Group> m_groups;
    std::size_t m_frame = 0;
    std::size_t m_place = 0;  // among the wanted
    int m_point = 0;          // or the group of nodes
    int m_begin = 0;          // among the elements
};

class Extreme : public RowSource {
  public:
    Extreme(const ORQExcModel& model, const ORQExcResults& results, const Field& field,
            std::vector<int> frames, const ORQSimCSet& members, const std::string& what,
            ORQExcElementValues::Number number)
        : m_values(model, results, field),
          m_frames(std::move(frames)),
          m_members(members),
          m_number(std::move(number)),
          m_columns({{what},
                     {"layer", true, true},
                     {"section point", true, true},
                     {"point", true, true}}) {}

    RowPlace Place() const override { return RowPlace::Element; }
    const std::vector<Column>& Columns() const override { return m_columns; }
    double Done() const override {
        return static_cast<double>(m_frame) /
               static_cast<double>(std::max<std::size_t>(1, m_frames.size()));
    }
    bool Next(RowBlock& block) override {
        while (m_frame < m_frames.size()) {
            const int end = std::min(m_members.Size(), m_begin + kRowsAtOnce);
            const ORQSimCSet some = MembersAt(m_members, m_begin, end);
            block.frame = m_frames[m_frame];
            const std::vector<ORQExcElementValues::Worst> worst =
                m_values.WorstOf(block.frame, some, m_number);
            m_begin = end;
            if (m_begin == m_members.Size()) {
                m_begin = 0;
                ++m_frame;
            }
            std::vector<int> kept;
            block.values.clear();
            for (std::size_t i = 0; i < worst.size(); ++i) {
                if (!std::isnan(worst[i].value)) {
                    kept.push_back(some[static_cast<int>(i)]);
                    const auto number = [](int place) { return place < 0 ? NAN : place + 1.0; };
                    block.values.insert(
                        block.values.end(),
                        {worst[i].value, number(worst[i].spot.layer),
                         number(worst[i].spot.sectionPoint), number(worst[i].spot.point)});
                }
            }
            if (!kept.empty()) {
                block.members =
                    ORQSimCollection(some.CollectionID())
                        .CreateVolatileCSet(kept.data(), static_cast<int>(kept.size()), true);
                return true;
            }
        }
        return false;
    }

  private:
    ORQExcElementValues m_values;
    std::vector<int> m_frames;
    ORQSimCSet m_members;
    ORQExcElementValues::Number m_number;
    std::vector<Column> m_columns;
    std::size_t m_frame = 0;
    int m_begin = 0;
};

}  // namespace

std::unique_ptr<RowSource> PlacedRows(const ORQExcModel& model, const ORQExcResults& results,
                                      const Field& field, std::vector<int> frames,
                                      const ORQSimCSet& members, int component,
                                      const PlaceOptions& options) {
    return std::make_unique<Placed>(model, results, field, std::move(frames), members, component,
                                    options);
}

std::unique_ptr<RowSource> ExtremeRows(const ORQExcModel& model, const ORQExcResults& results,
                                       const Field& field, std::vector<int> frames,
                                       const ORQSimCSet& members, const std::string& what,
                                       ORQExcElementValues::Number number) {
    return std::make_unique<Extreme>(model, results, field, std::move(frames), members, what,
                                     std::move(number));
}

}  // namespace orqmodel
