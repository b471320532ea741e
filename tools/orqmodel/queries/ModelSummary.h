#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "queries/Extent.h"

class ORQSimDatabase;

namespace orqmodel {

struct LabelRange {
    int count;
    int lowest;
    int highest;
};

struct InstanceSummary {
    std::string name;
    std::optional<LabelRange> nodes;  // Empty without labels.
    std::optional<LabelRange> elements;
};

struct CollectionSummary {
    std::int64_t object;  // Its number in the database.
    std::string link;     // The slot under which it was found, by its name in the schema.
    std::string type;
    int space;
};

struct DrawerSummary {
    std::string layout;           // "plain", "chunked" or "sparse".
    std::vector<int> sizes;       // Members along each dimension.
    std::vector<int> chunkSizes;  // Empty when not chunked.
    int extendableDimension;      // -1 for none.
};

struct DistributionSummary {
    std::int64_t object;
    std::string link;
    std::string type;
    std::string scalar;             // For example "double".
    std::vector<std::string> grid;  // The link of each dimension's collection.
    std::vector<DrawerSummary> drawers;
};

struct StepSummary {
    std::string name;
    int times;
    double first;  // 0 without times.
    double last;
};

/// A field of results, over all steps that have it.
struct FieldSummary {
    std::string name;
    std::string place;       // "model", "nodes" or "elements".
    std::string identifier;  // In the table of output variables; empty when it lacks the variable.
    std::vector<std::string> components;
    int members;         // That have values at some time; 0 for the whole model.
    int times;           // At which it has drawers.
    std::string within;  // As WithinText says.
};

/// Text of the model's file, see ORQExcKeptText.
struct KeptTextSummary {
    std::string format;
    std::string section;
    std::string instance;  // Empty for the whole file.
    bool isAlsoInModel;
    std::vector<std::pair<std::string, std::int64_t>> contents;  // How many of what.
};

/// What a model database holds.
struct ModelSummary {
    std::string title;
    std::int64_t generation;  // Commits that changed anything.
    int nodes;
    int elements;
    Extent extent;
    std::vector<InstanceSummary> instances;
    std::vector<CollectionSummary> collections;      // In the order of their numbers.
    std::vector<DistributionSummary> distributions;  // The same; those of fields are left out.
    std::vector<StepSummary> steps;                  // In their sequence.
    std::vector<FieldSummary> fields;
    std::vector<KeptTextSummary> keptTexts;
};

/// Reads the whole database: all coordinates, in blocks of about 3 MB, and all labels, some
/// 12 bytes each. Collections and distributions are those that links of the schema lead to from the
/// focus. Throws ORQBasFailure (Damaged). `progress` is called with 0 to 1.
ModelSummary Summarize(const ORQSimDatabase& database, const std::function<void(double)>& progress);

}  // namespace orqmodel
