#include <algorithm>
#include <cstdint>
#include <functional>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "AllocationPeak.h"
#include "Harness.h"
#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransaction.h"
#include "ORQSrvElementConnectivity.h"
#include "ORQSrvEltClassificationBuilder.h"
#include "ORQSrvHPVizChecker.h"
#include "ORQSrvNodalCoordinates.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

constexpr int kClasses = 500;
constexpr int kMostRowsPerChunk = 100000;
constexpr double kMostMemory = 200;  // MiB

// The elements of each class, as many in each: runs, or picked at random.
std::vector<std::vector<int>> Divide(int nElements, bool isScattered) {
    std::vector<int> places(static_cast<std::size_t>(nElements));
    std::iota(places.begin(), places.end(), 0);
    if (isScattered) {
        std::ranges::shuffle(places, std::mt19937(11));
    }
    std::vector<std::vector<int>> classes(kClasses);
    for (int element = 0; element < nElements; ++element) {
        const std::int64_t place = places[static_cast<std::size_t>(element)];
        classes[static_cast<std::size_t>(place * kClasses / nElements)].push_back(element);
    }
    return classes;
}

// A mesh of elements of one node each, in many classes, none of which has a section.
struct ClassifiedMesh {
    ClassifiedMesh(const Settings& settings, bool isScattered)
        : path((settings.directory / "checked.orq").string()) {
        std::filesystem::remove_all(path);
        const ORQSimDatabase database = ORQSimDatabase::Create(path);
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        const ORQSimCSetID node = builder.AddNodes(1);
        const std::vector<double> origin(3, 0.0);
        ORQSrvNodalCoordinates(builder.Coordinates(), kMostRowsPerChunk)
            .Append(transaction, node, builder.SpatialDirections(3), origin.data());
        const int label = 1;
        builder.SetLabels(ORQObjLabelerType::Node, builder.AddInstance("PART-1"), node, &label);

        const int nElements = settings.nSide * settings.nSide * settings.nSide;
        builder.AddElements(nElements);
        const ORQSimCollection elements(
            ORQObjMesh(builder.Mesh()).GetElementCollection().GetCollection());
        ORQSrvElementConnectivity connectivity(builder.Connectivity(), kMostRowsPerChunk);
        std::vector<std::pair<ORQSimPosition, ORQSimCSetID>> assignment;
        for (const std::vector<int>& members : Divide(nElements, isScattered)) {
            const int count = static_cast<int>(members.size());
            const ORQSimPosition spec =
                builder.AddElementSpec(ORQString("SHELL-") + static_cast<int>(assignment.size()));
            const ORQSimCSetID set = elements.CreateTempCSet(members.data(), count, true);
            const std::vector<int> nodes(members.size(), 0);
            connectivity.Append(transaction, spec.ID(), set, builder.NodePlaces(1), nodes.data());
            assignment.emplace_back(spec, set);
        }
        builder.AssignElementSpecs(assignment);
        builder.SetLogicalSectionClassification(
            ORQSrvEltClassificationBuilder(database.Focus())
                .BuildEltClassification(ORQSrvEltClassificationType::Shape));
        transaction.Commit();
    }
    ~ClassifiedMesh() { std::filesystem::remove_all(path); }
    ClassifiedMesh(const ClassifiedMesh&) = delete;
    ClassifiedMesh& operator=(const ClassifiedMesh&) = delete;

    ORQObjDocument Open() const {
        return ORQObjDocument(ORQSimDatabase::Open(path, ORQSimDatabase::Mode::ReadOnly));
    }

    std::string path;
};

// How a set is read: each member, as by a caller who wants to know what every element has; or by
// the two ends of a run, and the members of what is no run.
enum class Reading { Members, Ends };

// Answers how many members there are.
int ReadSet(const ORQSimCSet& set, Reading reading, std::vector<int>& members) {
    const ORQSimIntRange bounds = set.Bounds();
    if (reading == Reading::Members || bounds.Last() - bounds.First() + 1 != set.Size()) {
        members.resize(static_cast<std::size_t>(set.Size()));
        set.OrderedMembers(members.data());
    }
    return set.Size();
}

// Reads both sets of each compartment of the assignment, which spec and which elements, and the
// elements of each drawer of connectivity, each once; returns how many elements these are together.
std::int64_t ReadSets(const ORQObjDocument& document, Reading reading) {
    const ORQObjMesh mesh(document.GetMesh());
    const ORQSimCollectionID collection = mesh.GetElementCollection().GetCollection();
    std::vector<int> members;
    std::int64_t nElements = 0;
    const ORQSimCtation assignment = mesh.GetElementSpecAssignment().DSet().GetCtation();
    for (const ORQSimCompartment& compartment : assignment.Compartments()) {
        for (const ORQSimCSetID& id : compartment.CSetIDs()) {
            const int size = ReadSet(ORQSimCSet(id), reading, members);
            nElements += id.CollectionID() == collection ? size : 0;
        }
    }
    const ORQSimDistribution rows(mesh.GetConnectivity().DSet().GetRelationalDistributionID());
    for (const ORQSimDrawerDescription& drawer : rows.QueryDrawers()) {
        const int place = drawer.Compartment().Position(collection);
        nElements += ReadSet(ORQSimCSet(drawer.CSet(place)), reading, members);
    }
    return nElements;
}

int NumFindings(const ORQObjDocument& document) {
    ORQSrvHPVizChecker checker(document);
    checker.Check_HPViz();
    return static_cast<int>(checker.Messages().size());
}

std::vector<Row> Check(const Settings& settings, const std::string& name, bool isScattered,
                       double wanted) {
    const ClassifiedMesh mesh(settings, isScattered);
    const int nElements = settings.nSide * settings.nSide * settings.nSide;
    int nFindings = 0;
    std::int64_t nRead = 0;
    const Contender ours = {.name = "ours",
                            .run = [&] { nFindings = NumFindings(mesh.Open()); },
                            .check =
                                [&] {
                                    // One a class, and that there are no steps.
                                    Require(nFindings == kClasses + 1, "a class was not found");
                                }};
    const auto reading = [&](const char* what, Reading how) {
        return Contender{
            .name = what,
            .run = [&, how] { nRead = ReadSets(mesh.Open(), how); },
            .check = [&] { Require(nRead == 2 * std::int64_t{nElements}, "sets are not whole"); }};
    };
    std::vector<Row> rows = {Measure(settings, name, wanted,
                                     {ours, reading("reading the sets", Reading::Members),
                                      reading("by the ends of runs", Reading::Ends)})};
    const double peak = PeakMebibytes([&] { NumFindings(mesh.Open()); });
    rows.push_back({name + "-memory", "MiB", {peak}, "most allowed", {kMostMemory}, 1.0, {}});
    return rows;
}

}  // namespace

std::vector<Workload> CheckWorkloads() {
    return {{"check-runs",
             [](const Settings& settings) { return Check(settings, "check-runs", false, 1.5); }},
            {"check-scattered", [](const Settings& settings) {
                 return Check(settings, "check-scattered", true, 3.0);
             }}};
}

}  // namespace storage_benchmark
