// The named workloads. Each answers one row of the table, or a few.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Harness.h"

namespace storage_benchmark {

struct Workload {
    std::string name;
    std::function<std::vector<Row>(const Settings&)> run;
};

// Coordinates of many nodes in one piece.
std::vector<Workload> BulkWorkloads();
// Coordinates of nodes that come a few at a time, in any order.
std::vector<Workload> AppendWorkloads();
// Many small linked records.
std::vector<Workload> RecordWorkloads();
// Many drawers of few values each, as many as records.
std::vector<Workload> SmallDrawerWorkloads();
// Conditions that a running analysis reports, as many as a tenth of the records.
std::vector<Workload> DiagnosticsWorkloads();
// A structured mesh of hexahedra: its connectivity, what is derived from it, and its import.
std::vector<Workload> MeshWorkloads();
// Import of a bulk data deck.
std::vector<Workload> DeckWorkloads();
// What the program answers about a model of many nodes.
std::vector<Workload> QueryWorkloads();
// Labels of two models joined, and names looked up.
std::vector<Workload> LabelWorkloads();
// Layers of shell sections, as many sections as a tenth of the records.
std::vector<Workload> LayerWorkloads();
// The model checker over elements in many classes, as many elements as the mesh has.
std::vector<Workload> CheckWorkloads();
// Two models compared, as many elements as the mesh has.
std::vector<Workload> RuleWorkloads();
std::vector<Workload> DiffWorkloads();
// A model in a store beside plain statements.
std::vector<Workload> StoreWorkloads();
// A picture of a mesh.
std::vector<Workload> DrawWorkloads();
// Fields, property tables and output variables.
std::vector<Workload> FieldWorkloads();
// A stress at eight points of hexahedra, as many as the mesh has.
std::vector<Workload> PointWorkloads();

}  // namespace storage_benchmark
