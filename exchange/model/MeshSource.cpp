#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <string_view>

#include "ORQExcImportError.h"
#include "ORQExcMeshSource.h"

namespace {

/// Throws when two of the labels [begin, end) are equal.
void CheckUnique(ORQExcMeshSource& source, ORQObjLabelerType type, int begin, int end,
                 const std::filesystem::path& file) {
    std::vector<int> labels(static_cast<std::size_t>(end - begin));
    source.ReadLabels(type, begin, end, labels);
    if (std::ranges::adjacent_find(labels, std::greater_equal<>()) == labels.end()) {
        return;  // As they are in most files: each above the one before.
    }
    std::ranges::sort(labels);
    const auto repeated = std::ranges::adjacent_find(labels);
    if (repeated == labels.end()) {
        return;
    }
    const int label = *repeated;
    source.ReadLabels(type, begin, end, labels);
    const auto first = std::ranges::find(labels, label);
    const auto second = std::find(first + 1, labels.end(), label);
    const std::string_view kind = type == ORQObjLabelerType::Node ? "node" : "element";
    throw ORQExcImportError(file, fmt::format("{} labels", kind),
                            fmt::format("{}s {} and {} in file order both have label {}", kind,
                                        begin + (first - labels.begin()) + 1,
                                        begin + (second - labels.begin()) + 1, label));
}

}  // namespace

int ORQExcMeshSource::NumElements() const {
    int count = 0;
    for (const Block& block : Blocks()) {
        count += block.nElements;
    }
    return count;
}

std::int64_t ORQExcMeshSource::Array::RowSize() const {
    std::int64_t size = 1;
    for (std::size_t i = 1; i < dimensions.size(); ++i) {
        size *= dimensions[i].length;
    }
    return size;
}

void ORQExcMeshSource::ReadArray(int, int, int, void*) {}

void ORQExcMeshSource::ReadAttributes(int, int, int, std::span<double>) {}

std::vector<int> ORQExcMeshSource::ReadSet(ORQObjLabelerType, int) {
    return {};
}

std::vector<ORQExcMeshSource::Side> ORQExcMeshSource::ReadSideSet(int) {
    return {};
}

void ORQExcMeshSource::CheckLabels(const std::filesystem::path& file) {
    if (Instances().empty()) {
        CheckUnique(*this, ORQObjLabelerType::Node, 0, NumNodes(), file);
        CheckUnique(*this, ORQObjLabelerType::Element, 0, NumElements(), file);
        return;
    }
    int node = 0;
    int element = 0;
    for (const Instance& instance : Instances()) {
        CheckUnique(*this, ORQObjLabelerType::Node, node, node + instance.nNodes, file);
        CheckUnique(*this, ORQObjLabelerType::Element, element, element + instance.nElements, file);
        node += instance.nNodes;
        element += instance.nElements;
    }
}
