#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <string_view>

#include "ORQExcImportError.h"
#include "ORQExcMeshSource.h"

namespace {

/// Throws when two of `count` labels from `begin` on are equal.
void CheckUnique(ORQExcMeshSource& source, ORQObjLabelerType type, int begin, int count,
                 const std::filesystem::path& file) {
    std::vector<int> labels(static_cast<std::size_t>(count));
    source.ReadLabels(type, begin, begin + count, labels);
    if (std::ranges::adjacent_find(labels, std::greater_equal<>()) == labels.end()) {
        return;  // most files have labels in ascending order
    }
    std::ranges::sort(labels);
    const auto repeated = std::ranges::adjacent_find(labels);
    if (repeated == labels.end()) {
        return;
    }
    const int label = *repeated;
    // Sorting lost the places, which the error names.
    source.ReadLabels(type, begin, begin + count, labels);
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

std::vector<ORQExcMeshSource::Instance> ORQExcMeshSource::Instances() const {
    return m_contents.instances.empty()
               ? std::vector<Instance>{{kMainInstance, NumNodes(), NumElements()}}
               : m_contents.instances;
}

void ORQExcMeshSource::CheckLabels(const std::filesystem::path& file) {
    int firstNode = 0;
    int firstElement = 0;
    for (const Instance& instance : Instances()) {
        CheckUnique(*this, ORQObjLabelerType::Node, firstNode, instance.nNodes, file);
        CheckUnique(*this, ORQObjLabelerType::Element, firstElement, instance.nElements, file);
        firstNode += instance.nNodes;
        firstElement += instance.nElements;
    }
}
