#include <charconv>
#include <cmath>
#include <fstream>
#include <numeric>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimTransaction.h"
#include "ORQSrvNodalCoordinates.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

// Labelled nodes with coordinates of all digits, and some sets.
struct LabelledNodes {
    explicit LabelledNodes(const Settings& settings)
        : path((settings.directory / "asked.orq").string()),
          output((settings.directory / "asked.csv").string()),
          values(3 * static_cast<std::size_t>(settings.nNodes)) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = std::sin(static_cast<double>(i)) * 1000;
        }
        std::filesystem::remove_all(path);
        const ORQSimDatabase database = ORQSimDatabase::Create(path);
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        const ORQSimPosition instance = builder.AddInstance("PART-1");
        const ORQSimCSetID nodes = builder.AddNodes(settings.nNodes);
        std::vector<int> labels(static_cast<std::size_t>(settings.nNodes));
        std::iota(labels.begin(), labels.end(), 1);
        builder.SetLabels(ORQObjLabelerType::Node, instance, nodes, labels.data());
        ORQSrvNodalCoordinates(builder.Coordinates(), 100000)
            .Append(transaction, nodes, builder.SpatialDirections(3), values.data());
        ORQSimCollection collection(ORQSimCSet(nodes).CollectionID());
        constexpr int kSets = 100;
        for (int set = 0; set < kSets; ++set) {
            builder.AddNodeSet("set " + std::to_string(set), set + 1,
                               collection.CreateCSetStrided(set, settings.nNodes / kSets, 97, 1));
        }
        transaction.Commit();
    }

    // The same rows by a plain loop.
    void WritePlainly() const {
        std::ofstream file(output);
        std::string buffer;
        constexpr std::size_t kBytesAtOnce = 1 << 20;
        char text[32];
        const auto append = [&](auto value, char after) {
            char* const end = std::to_chars(std::begin(text), std::end(text), value).ptr;
            buffer.append(text, end);
            buffer += after;
        };
        for (std::size_t i = 0; i < values.size(); i += 3) {
            append(values[i], ',');
            append(values[i + 1], ',');
            append(values[i + 2], '\n');
            if (buffer.size() > kBytesAtOnce) {
                file << buffer;
                buffer.clear();
            }
        }
        file << buffer;
    }

    // Every row is there, and the last is right.
    void CheckTable() const {
        std::ifstream file(output);
        std::string line;
        std::string last;
        std::size_t nLines = 0;
        for (; std::getline(file, line); ++nLines) {
            last = line;
        }
        Require(nLines == values.size() / 3 + 1, "the table lacks rows");
        const std::size_t comma = last.rfind(',');
        Require(std::stod(last.substr(comma + 1)) == values.back(), "the last value is wrong");
    }

    void Run(const std::string& arguments) const {
        ChildProcess(
            {"/bin/sh", "-c", std::string(ORQ_PROGRAM) + " " + arguments + " > '" + output + "'"})
            .Finish();
    }

    std::string path;
    std::string output;
    std::vector<double> values;
};

std::vector<Row> Ask(const Settings& settings) {
    const LabelledNodes nodes(settings);
    const auto against = [&](const std::string& name, const std::string& arguments) {
        return Measure(settings, name, 5,
                       {{.name = "ours", .run = [&, arguments] { nodes.Run(arguments); }},
                        {.name = "starting the program", .run = [&] { nodes.Run("--version"); }}});
    };
    return {against("info", "info '" + nodes.path + "'"),
            against("list", "list sets '" + nodes.path + "' 7"),
            Measure(settings, "table", 2,
                    {{.name = "ours",
                      .run = [&] { nodes.Run("table '" + nodes.path + "' --csv"); },
                      .check = [&] { nodes.CheckTable(); }},
                     {.name = "to_chars in a loop", .run = [&] { nodes.WritePlainly(); }}})};
}

}  // namespace

std::vector<Workload> QueryWorkloads() {
    return {{"queries", Ask}};
}

}  // namespace storage_benchmark
