#include "queries/ModelSummary.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
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
#include "ORQSrvNodalCoordinates.h"

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
        // A set's position names its collection's object, of which there are many.
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

/// Whether the coordinates are such that their service can be asked: it ends the process on others.
bool HasCoordinates(const ORQObjMesh& mesh) {
    const ORQSimDistribution distribution(mesh.GetCoordinates().GetDistribution());
    const ORQSimCollectionID nodes = mesh.GetNodeCollection().GetCollection();
    if (distribution.IsNull() || nodes.IsNull() || distribution.NumDimensions() != 2 ||
        distribution.RangeType().ScalarType() != ORQSimScalarDouble ||
        distribution.NumDrawers() == 0) {
        return false;
    }
    const auto drawers = distribution.QueryDrawers();
    return std::all_of(drawers.begin(), drawers.end(), [&](const auto& drawer) {
        return drawer.Compartment().Position(nodes) == 0;
    });
}

/// Takes one block of coordinates into the summary's box.
void Extend(ModelSummary& summary, const std::vector<double>& values) {
    const auto dimension = static_cast<std::size_t>(summary.dimension);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!std::isfinite(values[i])) {
            ++summary.coordinatesNotFinite;
            continue;
        }
        if (!summary.box) {
            constexpr double kInfinity = std::numeric_limits<double>::infinity();
            summary.box = BoundingBox{std::vector<double>(dimension, kInfinity),
                                      std::vector<double>(dimension, -kInfinity)};
        }
        double& lowest = summary.box->lowest[i % dimension];
        double& highest = summary.box->highest[i % dimension];
        lowest = std::min(lowest, values[i]);
        highest = std::max(highest, values[i]);
    }
}

void ReadCoordinates(const ORQObjMesh& mesh, ModelSummary& summary,
                     const std::function<void(double)>& progress) {
    constexpr int kBlockNodes = 100'000;
    const ORQSrvNodalCoordinates coordinates(mesh.GetCoordinates(), kBlockNodes);
    const ORQSimCSet nodes = coordinates.Nodes();
    const ORQSimCSet components = coordinates.Components();
    const ORQSimCollection collection(nodes.CollectionID());
    summary.dimension = components.Size();
    summary.nodesWithCoordinates = nodes.Size();
    std::vector<double> values;
    const int last = nodes.Bounds().Last();
    for (int begin = std::max(0, nodes.Bounds().First()); begin <= last;) {
        progress(static_cast<double>(begin) / last);
        const int count = std::min(kBlockNodes, last - begin + 1);
        const ORQSimCSet block =
            collection.CreateVolatileCSetStrided(begin, count, 1, 1).Intersection(nodes);
        values.resize(static_cast<std::size_t>(block.Size()) *
                      static_cast<std::size_t>(components.Size()));
        coordinates.Read(block, components, values.data());
        Extend(summary, values);
        if (last - begin < kBlockNodes) {
            break;
        }
        begin += kBlockNodes;
    }
}

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

/// Members of a collection of the model that stand for an object.
std::int64_t NumMembers(const ORQSimPosition& collection) {
    std::int64_t count = 0;
    if (!collection.IsNull()) {
        const ORQSimCollection members(collection.GetCollection());
        for (int member = 0; member < members.Space(); ++member) {
            count += members.GetMember(member).IsNull() ? 0 : 1;
        }
    }
    return count;
}

std::vector<KindSummary> Objects(const ORQObjDocument& document) {
    using namespace ORQSimSchema;
    const ORQSimPosition model = document.GetModel();
    std::set<std::string> blocks;
    const ORQSimVector ofMesh = document.GetMesh().GetVector(Mesh_blocks);
    for (auto block = ofMesh.Begin(); block.NotDone(); ++block) {
        blocks.insert((*block).Name(Record_name).UTF8());
    }
    std::int64_t nElementSets = 0;
    const ORQSimMap sets = model.GetMap(Model_elementSets);
    for (auto set = sets.Begin(); set.NotDone(); ++set) {
        nElementSets += blocks.contains(set.Key().UTF8()) ? 0 : 1;
    }
    return {{"element block", ofMesh.Size()},
            {"node set", model.GetMap(Model_nodeSets).Size()},
            {"element set", nElementSets},
            {"surface", model.GetMap(Model_surfaces).Size()},
            {"section", NumMembers(model.GetPosition(Model_sections))},
            {"material", NumMembers(document.GetMaterialCollection())},
            {"orientation", NumMembers(model.GetPosition(Model_orientationCollection))},
            {"ply", NumMembers(model.GetPosition(Model_plyCollection))}};
}

const char* PlaceName(ORQExcResultArray::Place place) {
    switch (place) {
        case ORQExcResultArray::Place::Node:
            return "nodes";
        case ORQExcResultArray::Place::Element:
            return "elements";
        case ORQExcResultArray::Place::Model:
            break;
    }
    return "model";
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
        FieldSummary shown{field.name, PlaceName(field.place),          field.identifier,
                           {},         results.MembersOf(field).Size(), results.NumTimes(field)};
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
    if (HasCoordinates(mesh)) {
        ReadCoordinates(mesh, summary, progress);
    }
    summary.instances = Instances(document);
    summary.objects = Objects(document);
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
