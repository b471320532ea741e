#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <set>

#include "ORQExcCarriedResults.h"
#include "ORQSimSchema.h"
#include "model/NoValue.h"
#include "model/OrdinalSet.h"

using namespace orq::exchange;

namespace {

using Field = ORQExcResults::Field;
using Place = ORQExcResultArray::Place;
using To = ORQExcElementValues::To;
using Group = ORQExcElementValues::Group;

// Elements whose values are averaged at a time: some megabytes for tensors at many points.
constexpr int kCarriedAtOnce = 1 << 16;

/// A stored field and its reader; the fields that are made of it share them.
struct Source {
    Source(const ORQExcModel& model, const ORQExcResults& results, const Field& stored)
        : field(stored), values(model, results, field) {}
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    Field field;
    ORQExcElementValues values;
};

/// The layers and section points of a field.
std::set<ORQExcSpot> LayersOf(const ORQExcResults& results, const Field& field) {
    std::set<ORQExcSpot> layers;
    for (const ORQExcSpot& spot : results.SpotsOf(field)) {
        layers.insert({spot.layer, spot.sectionPoint, -1});
    }
    return layers;
}

/// A field with one value a member in a layer, named as files name it there.
Field InLayer(const ORQExcResults& results, Field field, const ORQExcSpot& layer) {
    if (field.hasPoints) {
        field.hasPoints = false;
        field.arrayNames.clear();  // they name points
    }
    field = results.AtSpot(field, layer);
    field.hasLayers = false;
    field.spot = {};
    return field;
}

void AddToNames(const std::string& suffix, Field& field) {
    field.name += suffix;
    for (ORQExcResults::Component& component : field.components) {
        component.label += suffix;
    }
}

/// Behind the names of each group's fields; nothing where there is only one.
std::vector<std::string> SuffixesOf(const std::vector<Group>& groups) {
    std::vector<std::string> suffixes;
    for (const Group& group : groups) {
        const bool isAlone = std::ranges::count(groups, group.block, &Group::block) == 1;
        suffixes.push_back(groups.size() == 1 ? ""
                           : isAlone || group.section.empty()
                               ? "_" + group.block
                               : fmt::format("_{}_{}", group.block, group.section));
    }
    return suffixes;
}

class Carrier {
  public:
    Carrier(const ORQExcModel& model, const ORQExcResults& results, To to, bool acrossBorders,
            ORQExcReport& report)
        : m_model(model),
          m_results(results),
          m_to(to),
          m_acrossBorders(acrossBorders),
          m_report(report) {}

    std::vector<Field> Carry() {
        for (const Field& field : m_results.Fields()) {
            const bool isMoved =
                m_to == To::Nodes ? field.place == Place::Element : field.hasPoints;
            isMoved ? Carry(field) : m_fields.push_back(field);
        }
        // Fields of nodes stand before those of elements.
        std::stable_partition(m_fields.begin(), m_fields.end(),
                              [](const Field& field) { return field.place != Place::Element; });
        return std::move(m_fields);
    }

  private:
    void Carry(const Field& field) {
        const auto source = std::make_shared<const Source>(m_model, m_results, field);
        const ORQSimCSet all = m_results.MembersOf(field);
        const ORQSimCSet carried = source->values.ElementsCarried(m_to);
        const char* const kUnknown = "where in these elements its values lie is not known";
        if (carried.IsEmpty()) {
            m_fields.push_back(field);
            m_report.Note(ORQExcFieldKind(field.place), field.name, all.Size(),
                          fmt::format("it stays as it is: {}", kUnknown));
            return;
        }
        if (carried.Size() < all.Size()) {
            m_report.Drop(ORQExcFieldKind(field.place), field.name, all.Size() - carried.Size(),
                          kUnknown);
        }
        m_report.Change(
            ORQExcFieldKind(field.place), field.name, carried.Size(),
            m_to == To::Nodes ? AddAtNodes(source, carried) : AddAtMiddles(source, carried));
    }

    /// Answers what was done.
    std::string AddAtMiddles(const std::shared_ptr<const Source>& source,
                             const ORQSimCSet& carried) {
        for (const ORQExcSpot& layer : LayersOf(m_results, source->field)) {
            const auto read = [source, layer](int frame, const ORQSimCSet& elements,
                                              std::span<double> values) {
                source->values.ReadMiddles(frame, elements, layer.layer, layer.sectionPoint,
                                           values);
                return NumbersIn(values);
            };
            Field made = InLayer(m_results, source->field, layer);
            made.gridType = ORQSimSchema::Field_ElementCentroid;
            made.made =
                std::make_shared<const ORQExcResults::Made>(ORQExcResults::Made{carried, read});
            m_fields.push_back(std::move(made));
        }
        return "extrapolated to the middles of the elements";
    }

    std::string AddAtNodes(const std::shared_ptr<const Source>& source, const ORQSimCSet& carried) {
        const std::vector<Group> groups = source->values.GroupsOf(carried, m_acrossBorders);
        const std::vector<std::string> suffixes = SuffixesOf(groups);
        std::vector<ORQSimCSet> nodesOf;
        for (const Group& group : groups) {
            nodesOf.push_back(NodesOf(group.elements));
        }
        for (const ORQExcSpot& layer : LayersOf(m_results, source->field)) {
            const ORQSimCSet there = m_results.MembersOf(m_results.AtSpot(source->field, layer));
            for (std::size_t i = 0; i < groups.size(); ++i) {
                const ORQSimCSet elements = groups[i].elements.Intersection(there);
                if (!elements.IsEmpty()) {
                    AddAtNodes(source, layer, elements, nodesOf[i], suffixes[i]);
                }
            }
        }
        std::string text = "carried to nodes, where it is the average ";
        if (m_acrossBorders) {
            return text + "over all elements, across the borders of blocks and sections";
        }
        text += "over the elements of each block and section";
        const int nOnBorders = NumShared(nodesOf);
        return nOnBorders == 0 ? text
                               : text + fmt::format(
                                            "; {} nodes on their borders have a value of "
                                            "each side",
                                            nOnBorders);
    }

    void AddAtNodes(const std::shared_ptr<const Source>& source, const ORQExcSpot& layer,
                    const ORQSimCSet& elements, const ORQSimCSet& nodes,
                    const std::string& suffix) {
        const auto read = [source, layer, elements](int frame, const ORQSimCSet& wanted,
                                                    std::span<double> values) {
            const ORQExcElementValues::AtNodes at =
                source->values.ReadNodes(frame, elements, layer.layer, layer.sectionPoint);
            return Scatter(at, wanted, values);
        };
        Field made = InLayer(m_results, source->field, layer);
        made.place = Place::Node;
        made.gridType = ORQSimSchema::Field_Nodal;
        AddToNames(suffix, made);
        made.made = std::make_shared<const ORQExcResults::Made>(ORQExcResults::Made{nodes, read});
        m_fields.push_back(std::move(made));
    }

    static std::int64_t NumbersIn(std::span<const double> values) {
        return std::ranges::count_if(values, [](double value) { return !std::isnan(value); });
    }

    /// Puts values where their nodes stand among the wanted ones; answers how many.
    static std::int64_t Scatter(const ORQExcElementValues::AtNodes& at, const ORQSimCSet& wanted,
                                std::span<double> values) {
        std::ranges::fill(values, kNoValue);
        const std::size_t nComponents = at.nodes.empty() ? 0 : at.values.size() / at.nodes.size();
        std::int64_t count = 0;
        for (std::size_t i = 0; i < at.nodes.size(); ++i) {
            if (const int place = wanted.SeekMember(at.nodes[i]); place >= 0) {
                std::copy_n(at.values.data() + i * nComponents, nComponents,
                            values.data() + static_cast<std::size_t>(place) * nComponents);
                count += static_cast<std::int64_t>(nComponents);
            }
        }
        return count;
    }

    ORQSimCSet NodesOf(const ORQSimCSet& elements) const {
        std::vector<bool> isUsed(static_cast<std::size_t>(m_model.NumNodes()));
        std::vector<int> nodes;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            const ORQSimCSet ofBlock = block.elements.Intersection(elements);
            for (int begin = 0; begin < ofBlock.Size(); begin += kCarriedAtOnce) {
                const int end = std::min(ofBlock.Size(), begin + kCarriedAtOnce);
                nodes.resize(static_cast<std::size_t>(end - begin) *
                             static_cast<std::size_t>(block.shape->nNodes));
                m_model.ReadConnectivity(block, SliceOf(ofBlock, begin, end), nodes);
                for (const int node : nodes) {
                    isUsed[static_cast<std::size_t>(node)] = true;
                }
            }
        }
        nodes.clear();
        for (int node = 0; node < m_model.NumNodes(); ++node) {
            if (isUsed[static_cast<std::size_t>(node)]) {
                nodes.push_back(node);
            }
        }
        return OrdinalSet(ORQSimCollection(m_model.Nodes().CollectionID()), nodes);
    }

    /// How many are in more than one set.
    static int NumShared(const std::vector<ORQSimCSet>& sets) {
        ORQSimCSet all;
        ORQSimCSet shared;
        for (const ORQSimCSet& set : sets) {
            shared = shared.Union(all.Intersection(set));
            all = all.Union(set);
        }
        return shared.Size();
    }

    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    To m_to;
    bool m_acrossBorders;
    ORQExcReport& m_report;
    std::vector<Field> m_fields;
};

}  // namespace

ORQExcResults ORQExcCarriedResults(const ORQExcModel& model, const ORQExcResults& results,
                                   ORQExcCarrying carrying, ORQExcReport& report) {
    if (!carrying.to) {
        return results;
    }
    return results.With(
        Carrier(model, results, *carrying.to, carrying.acrossBorders, report).Carry());
}
