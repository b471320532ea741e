#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcDifference.h"
#include "compare/ComparedModels.h"

namespace orq::exchange {
namespace {

std::vector<std::string> InstanceNames(const ORQObjDocument& document) {
    std::vector<std::string> names;
    for (const ORQObjLabelerType type : {ORQObjLabelerType::Node, ORQObjLabelerType::Element}) {
        ORQObjLabeler labeler(document, type);
        labeler.Read();
        for (const ORQString& name : labeler.Occurrences()) {
            if (std::ranges::find(names, name.UTF8()) == names.end()) {
                names.push_back(name.UTF8());
            }
        }
    }
    return names;
}

}  // namespace

void CompareOutlines(ComparedModels& models) {
    DifferenceList& differences = models.differences;
    differences.Compare(DifferenceKind::Model, {}, "title", models.before.Title(),
                        models.after.Title());
    differences.Compare(DifferenceKind::Model, {}, "dimension", models.before.Dimension(),
                        models.after.Dimension());
    const std::vector<std::string> before = InstanceNames(models.before.Document());
    const std::vector<std::string> after = InstanceNames(models.after.Document());
    const auto addMissing = [&](const auto& from, const auto& in, ORQExcDifference::Change change) {
        for (const std::string& name : from) {
            if (std::ranges::find(in, name) == in.end()) {
                differences.Add(DifferenceKind::Instance, change, name);
            }
        }
    };
    addMissing(before, after, ORQExcDifference::Change::Removed);
    addMissing(after, before, ORQExcDifference::Change::Added);
}

}  // namespace orq::exchange

ORQExcDifferences ORQExcCompare(const ORQObjDocument& before, const ORQObjDocument& after,
                                const ORQExcComparison& options) {
    using namespace orq::exchange;
    ComparedModels models(before, after, options);
    constexpr std::array kComparisons = {CompareOutlines,  CompareNodes,   CompareElements,
                                         CompareBlocks,    CompareSets,    CompareSections,
                                         CompareMaterials, CompareResults, CompareKept};
    for (std::size_t i = 0; i < kComparisons.size(); ++i) {
        kComparisons[i](models);
        if (options.progress) {
            options.progress(static_cast<double>(i + 1) / kComparisons.size());
        }
    }
    std::ranges::stable_sort(models.differences.All(), {}, &ORQExcDifference::kind);
    return {std::move(models.instances), std::move(models.differences.All())};
}
