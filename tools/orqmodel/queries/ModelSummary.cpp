#include "queries/ModelSummary.h"

#include <deque>
#include <map>
#include <set>

#include "ORQExcKeptTexts.h"
#include "ORQExcResults.h"
#include "ORQObjDocument.h"
#include "ORQObjLabeler.h"
#include "ORQObjMesh.h"
#include "ORQSimArray.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "queries/PlaceName.h"

namespace orqmodel {
namespace {

using ORQSimSchema::Kind;

struct Slot {
    int typeIndex;
    Kind kind;
};

/// Every pair of the schema that may lead from one object to another.
std::vector<Slot> SlotsOfSchema() {
    std::vector<Slot> slots;
    const auto add = [&](int typeIndex, Kind kind) {
        if (kind == Kind::Child || kind == Kind::Map || kind == Kind::Vector || kind == Kind::Set) {
            slots.push_back({typeIndex, kind});
        }
    };
#define ORQ_FRAGMENT(name, a, b, kind, base, text) add(ads_CoreFragmentTypeIndex(a, b), Kind::kind);
#include "ORQSimSchemaTable.inc"
#undef ORQ_FRAGMENT
    return slots;
}

std::vector<ORQSimPosition> Targets(const ORQSimPosition& object, const Slot& slot) {
    std::vector<ORQSimPosition> targets;
    const auto addAll = [&](ORQSimLinkIterator link) {
        for (; link.NotDone(); ++link) {
            targets.push_back(*link);
        }
    };
    if (slot.kind == Kind::Map) {
        addAll(object.GetMap(slot.typeIndex).Begin());
    } else if (slot.kind == Kind::Vector) {
        addAll(object.GetVector(slot.typeIndex).Begin());
    } else if (slot.kind == Kind::Set) {
        addAll(object.GetSet(slot.typeIndex).Begin());
    } else if (const auto child = object.GetPosition(slot.typeIndex); !child.IsNull()) {
        targets.push_back(child);
    }
    return targets;
}

/// The objects that links lead to, each with the first slot that was found to do so.
class Linked {
  public:
    explicit Linked(const ORQSimPosition& focus) {
        const auto slots = SlotsOfSchema();
        // Breadth first: an object is named by the last slot of a shortest path from the focus.
        std::deque<ORQSimPosition> open = {focus};
        for (; !open.empty(); open.pop_front()) {
            for (const Slot& slot : slots) {
                for (const ORQSimPosition& target : Targets(open.front(), slot)) {
                    if (Add(target, slot.typeIndex)) {
                        open.push_back(target);
                    }
                }
            }
            if (const auto rows = open.front().DSet().GetRelationalDistributionID();
                !rows.IsNull()) {
                Add(ORQSimPosition(rows), m_found[open.front()]);
            }
        }
    }

    std::vector<CollectionSummary> Collections() const {
        std::vector<CollectionSummary> summaries;
        for (const auto& [position, slot] : m_found) {
            if (const auto id = position.GetCollection(); !id.IsNull()) {
                summaries.push_back({id.MinorID(), ORQSimSchema::NameOf(slot), TypeName(id),
                                     ORQSimCollection(id).Space()});
            }
        }
        return summaries;
    }

    std::vector<DistributionSummary> Distributions() const {
        std::vector<DistributionSummary> summaries;
        for (const auto& [position, slot] : m_found) {
            const ORQSimDistribution distribution(position.GetDistribution());
            if (distribution.IsNull() ||
                position.ID().TypeID().Index() == ORQSimSchema::FieldData) {
                continue;
            }
            DistributionSummary summary{distribution.ID().MinorID(),
                                        ORQSimSchema::NameOf(slot),
                                        TypeName(distribution.ID()),
                                        ScalarName(distribution.RangeType().ScalarType()),
                                        {},
                                        {}};
            const ORQSimGrid grid = distribution.Grid();
            for (const auto& collection : grid.Collections()) {
                summary.grid.push_back(LinkOf(collection));
            }
            for (const auto& drawer : distribution.QueryDrawers()) {
                summary.drawers.push_back(SummaryOf(drawer));
            }
            summaries.push_back(summary);
        }
        return summaries;
    }

  private:
    bool Add(const ORQSimPosition& position, int slot) {
        // A set has the position of its collection's object, and a model has many sets: only the
        // collection is listed.
        return position.ID().Category() != ORQSimCategoryCSet &&
               m_found.emplace(position, slot).second;
    }

    std::string LinkOf(const ORQSimCollectionID& collection) const {
        const auto found = m_found.find(ORQSimPosition(collection));
        return found == m_found.end() ? TypeName(collection) : ORQSimSchema::NameOf(found->second);
    }

    static std::string TypeName(const ORQSimDynamicID& id) {
        return ORQSimSchema::NameOf(id.TypeID().Index());
    }

    static std::string ScalarName(int scalar) {
        switch (scalar) {
            case ORQSimScalarInt:
                return "int";
            case ORQSimScalarUint:
                return "uint";
            case ORQSimScalarFloat:
                return "float";
            case ORQSimScalarDouble:
                return "double";
            case ORQSimScalarInt64:
                return "int64";
            case ORQSimScalarByte:
                return "byte";
            default:
                return "type " + std::to_string(scalar);
        }
    }

    static std::string LayoutName(ORQSimDrawerLayout layout) {
        switch (layout) {
            case ORQSimDrawerLayout::Plain:
                return "plain";
            case ORQSimDrawerLayout::Chunked:
                return "chunked";
            case ORQSimDrawerLayout::Sparse:
                return "sparse";
        }
        return "layout " + std::to_string(static_cast<int>(layout));
    }

    static DrawerSummary SummaryOf(const ORQSimDrawerDescription& drawer) {
        DrawerSummary summary{LayoutName(drawer.Layout()), {}, {}, drawer.ExtendableDim()};
        for (int dimension = 0; dimension < drawer.NumDimensions(); ++dimension) {
            summary.sizes.push_back(ORQSimCSet(drawer.CSet(dimension)).Size());
        }
        if (drawer.IsChunked()) {
            ORQSimArray<int> sizes;
            drawer.ChunkSizes(sizes);
            summary.chunkSizes.assign(sizes.begin(), sizes.end());
        }
        return summary;
    }

    std::map<ORQSimPosition, int> m_found;
};

std::optional<LabelRange> RangeOfLabels(const ORQObjLabeler& labeler, const ORQString& instance) {
    if (!labeler.IsInstanceValid(instance)) {
        return std::nullopt;
    }
    ORQSimArray<int> labels;
    ORQSimArray<int> ordinals;
    labeler.GetInstanceLabelsAndOrdinals(instance, labels, ordinals);
    return LabelRange{labels.Size(), labels.ConstGet(0), labels.ConstGet(labels.Size() - 1)};
}

std::vector<InstanceSummary> Instances(const ORQObjDocument& document) {
    ORQObjLabeler nodes(document, ORQObjLabelerType::Node);
    ORQObjLabeler elements(document, ORQObjLabelerType::Element);
    nodes.Read();
    elements.Read();
    std::vector<InstanceSummary> instances;
    for (const ORQString& name : nodes.Occurrences()) {
        instances.push_back(
            {name.UTF8(), RangeOfLabels(nodes, name), RangeOfLabels(elements, name)});
    }
    return instances;
}

void SummarizeResults(const ORQObjDocument& document, ModelSummary& summary) {
    const ORQExcResults results(document);
    for (const std::string& step : results.Steps()) {
        summary.steps.push_back({step, 0, 0, 0});
    }
    for (const ORQExcResults::Frame& frame : results.Frames()) {
        StepSummary& step = summary.steps[static_cast<std::size_t>(frame.step)];
        if (step.times++ == 0) {
            step.first = frame.time;
        }
        step.last = frame.time;
    }
    for (const ORQExcResults::Field& field : results.Fields()) {
        FieldSummary shown{field.name,
                           PlaceName(field.place),
                           field.identifier,
                           {},
                           results.MembersOf(field).Size(),
                           results.NumTimes(field),
                           WithinText(results, field)};
        for (const ORQExcResults::Component& component : field.components) {
            shown.components.push_back(component.label);
        }
        summary.fields.push_back(std::move(shown));
    }
}

}  // namespace

ModelSummary Summarize(const ORQSimDatabase& database,
                       const std::function<void(double)>& progress) {
    const ORQObjDocument document(database);
    const ORQObjMesh mesh(document.GetMesh());
    ModelSummary summary{};
    summary.title = document.Focus().Name(ORQSimSchema::Document_title).UTF8();
    summary.generation = database.Generation();
    summary.nodes = ORQSimCollection(mesh.GetNodeCollection().GetCollection()).Space();
    summary.elements = ORQSimCollection(mesh.GetElementCollection().GetCollection()).Space();
    summary.extent = ReadExtent(mesh, progress);
    summary.instances = Instances(document);
    const Linked linked(document.Focus());
    summary.collections = linked.Collections();
    summary.distributions = linked.Distributions();
    SummarizeResults(document, summary);
    for (const ORQExcKeptText& text : ORQExcReadKeptTexts(document)) {
        summary.keptTexts.push_back(
            {text.format, text.section, text.instance, text.isAlsoInModel, text.contents});
    }
    progress(1.0);
    return summary;
}

}  // namespace orqmodel
