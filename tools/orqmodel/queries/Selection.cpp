#include "queries/Selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcNearNames.h"
#include "ORQObjLabeler.h"
#include "ORQSimCollection.h"
#include "ORQSimSchema.h"
#include "queries/MemberRange.h"

namespace orqmodel {
namespace {

struct LabelSpan {
    int first;
    int last;
};

/// "1-10,15"
std::vector<LabelSpan> ParseLabels(const char* option, const std::string& text) {
    std::vector<LabelSpan> spans;
    const char* at = text.data();
    const char* const end = at + text.size();
    const auto number = [&](int& value) {
        const auto [next, failure] = std::from_chars(at, end, value);
        at = next;
        return failure == std::errc() && value > 0;
    };
    while (true) {
        LabelSpan span{};
        bool isRight = number(span.first);
        span.last = span.first;
        if (isRight && at < end && *at == '-') {
            ++at;
            isRight = number(span.last) && span.first <= span.last;
        }
        if (!isRight || (at < end && *at != ',')) {
            ORQBasThrowUsage(fmt::format("{} {}: labels are given as 7 or 1-10,15", option, text));
        }
        spans.push_back(span);
        if (at == end) {
            return spans;
        }
        ++at;
    }
}

ORQSimCSet AscendingSet(const ORQSimCSet& all, std::vector<int> members) {
    std::ranges::sort(members);
    members.erase(std::unique(members.begin(), members.end()), members.end());
    return ORQSimCollection(all.CollectionID())
        .CreateVolatileCSet(members.data(), static_cast<int>(members.size()), true);
}

ORQSimCSet Labelled(const ORQExcModel& model, ORQObjLabelerType type, const char* option,
                    const std::string& text, const std::string& instance) {
    const std::vector<LabelSpan> spans = ParseLabels(option, text);
    std::vector<bool> isFound(spans.size());
    std::vector<int> members;
    ORQObjLabeler labeler(model.Document(), type);
    labeler.Read();
    for (const ORQString& name : labeler.Occurrences()) {
        if (!instance.empty() && name.UTF8() != instance) {
            continue;
        }
        ORQSimArray<int> labels;
        ORQSimArray<int> ordinals;
        labeler.GetInstanceLabelsAndOrdinals(name, labels, ordinals);
        for (std::size_t i = 0; i < spans.size(); ++i) {
            // Labels of an instance are stored in ascending order.
            const auto first = std::lower_bound(labels.begin(), labels.end(), spans[i].first);
            const auto last = std::upper_bound(first, labels.end(), spans[i].last);
            isFound[i] = isFound[i] || first != last;
            for (auto label = first; label != last; ++label) {
                members.push_back(ordinals.ConstGet(static_cast<int>(label - labels.begin())));
            }
        }
    }
    for (std::size_t i = 0; i < spans.size(); ++i) {
        if (!isFound[i]) {
            ORQBasThrowUsage(fmt::format("{} {}: no {} has a label from {} to {}{}", option, text,
                                         type == ORQObjLabelerType::Node ? "node" : "element",
                                         spans[i].first, spans[i].last,
                                         instance.empty() ? "" : " in instance " + instance));
        }
    }
    return AscendingSet(type == ORQObjLabelerType::Node ? model.Nodes() : model.Elements(),
                        std::move(members));
}

const ORQExcModel::Block& BlockOf(const ORQExcModel& model, const std::string& name) {
    std::vector<std::string> names;
    for (const ORQExcModel::Block& block : model.Blocks()) {
        if (block.name == name) {
            return block;
        }
        names.push_back(block.name);
    }
    ORQBasThrowUsage(fmt::format("--block {}: the model has no such block{}", name,
                                 ORQExcNearNames(name, names)));
}

[[noreturn]] void ThrowNoSet(const ORQExcModel& model, const std::string& name) {
    std::vector<std::string> names;
    for (const auto* sets : {&model.NodeSets(), &model.ElementSets()}) {
        std::ranges::transform(*sets, std::back_inserter(names), &ORQExcModel::Set::name);
    }
    for (const ORQExcModel::Surface& surface : model.Surfaces()) {
        names.push_back(surface.name);
    }
    ORQBasThrowUsage(fmt::format("--set {}: the model has no such set or surface{}", name,
                                 ORQExcNearNames(name, names)));
}

ORQSimCSet OfSurface(const ORQExcModel& model, const std::string& key, RowPlace place) {
    const std::vector<ORQExcModel::Surface> surfaces = model.Surfaces();
    const std::vector<ORQExcModel::Face>& faces =
        std::ranges::find(surfaces, key, &ORQExcModel::Surface::name)->faces;
    std::vector<int> members;
    if (place == RowPlace::Element) {
        std::ranges::transform(faces, std::back_inserter(members), &ORQExcModel::Face::element);
        return AscendingSet(model.Elements(), std::move(members));
    }
    for (const ORQExcModel::FaceNodes& nodes : model.NodesOf(faces)) {
        members.insert(members.end(), nodes.begin(), nodes.end());
    }
    return AscendingSet(model.Nodes(), std::move(members));
}

ORQSimCSet OfSet(const ORQExcModel& model, const ScopedName& name, RowPlace place) {
    constexpr std::array kNodeSets = {ORQSimSchema::Model_nodeSets,
                                      ORQSimSchema::Model_internalNodeSets};
    constexpr std::array kElementSets = {ORQSimSchema::Model_elementSets,
                                         ORQSimSchema::Model_internalElementSets};
    constexpr std::array kSurfaces = {ORQSimSchema::Model_surfaces};
    const ORQObjDocument& document = model.Document();
    const NamedObject nodes = FindNamedObject(document, kNodeSets, true, name);
    if (place == RowPlace::Node && !nodes.object.IsNull()) {
        // A stored set may be in an order of its own; a union is ascending.
        return nodes.object.CSet().Union(ORQSimCSet());
    }
    if (const NamedObject elements = FindNamedObject(document, kElementSets, true, name);
        !elements.object.IsNull()) {
        const ORQSimCSet members = elements.object.CSet().Union(ORQSimCSet());
        return place == RowPlace::Node ? NodesOf(model, members) : members;
    }
    if (const NamedObject surface = FindNamedObject(document, kSurfaces, false, name);
        !surface.object.IsNull()) {
        return OfSurface(model, surface.key, place);
    }
    // Reported last: an element set or a surface may have the same name.
    if (!nodes.object.IsNull()) {
        ORQBasThrowUsage(
            fmt::format("--set {}: is a set of nodes, and the values are of elements", name.name));
    }
    ThrowNoSet(model, name.name);
}

}  // namespace

ORQSimCSet Selected(const ORQExcModel& model, const Selection& selection, RowPlace place) {
    if (place == RowPlace::Model && !selection.IsEmpty()) {
        ORQBasThrowUsage("the values are of the whole model; there is nothing to select");
    }
    if (!selection.nodes.empty() && place == RowPlace::Element) {
        ORQBasThrowUsage("--nodes: the values are of elements; name them with --elements");
    }
    const std::string& instance = selection.set.instance;
    ORQSimCSet elements;
    if (!selection.set.name.empty()) {
        return OfSet(model, selection.set, place);
    }
    if (!selection.nodes.empty()) {
        return Labelled(model, ORQObjLabelerType::Node, "--nodes", selection.nodes, instance);
    }
    if (!selection.elements.empty()) {
        elements =
            Labelled(model, ORQObjLabelerType::Element, "--elements", selection.elements, instance);
    } else if (!selection.block.empty()) {
        elements = BlockOf(model, selection.block).elements;
    } else {
        return place == RowPlace::Node ? model.Nodes() : model.Elements();
    }
    return place == RowPlace::Node ? NodesOf(model, elements) : elements;
}

}  // namespace orqmodel
