// Times the database beside plain files, HDF5 and SQLite; see README.md.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>

#include "Harness.h"
#include "Workloads.h"

namespace {

using namespace storage_benchmark;

std::vector<Workload> AllWorkloads() {
    std::vector<Workload> all = BulkWorkloads();
    std::ranges::move(AppendWorkloads(), std::back_inserter(all));
    std::ranges::move(RecordWorkloads(), std::back_inserter(all));
    std::ranges::move(SmallDrawerWorkloads(), std::back_inserter(all));
    std::ranges::move(DiagnosticsWorkloads(), std::back_inserter(all));
    std::ranges::move(MeshWorkloads(), std::back_inserter(all));
    std::ranges::move(FieldWorkloads(), std::back_inserter(all));
    std::ranges::move(PointWorkloads(), std::back_inserter(all));
    std::ranges::move(LabelWorkloads(), std::back_inserter(all));
    std::ranges::move(DeckWorkloads(), std::back_inserter(all));
    std::ranges::move(QueryWorkloads(), std::back_inserter(all));
    std::ranges::move(LayerWorkloads(), std::back_inserter(all));
    std::ranges::move(CheckWorkloads(), std::back_inserter(all));
    std::ranges::move(RuleWorkloads(), std::back_inserter(all));
    std::ranges::move(DiffWorkloads(), std::back_inserter(all));
    std::ranges::move(DrawWorkloads(), std::back_inserter(all));
#ifdef ORQ_WITH_POSTGRESQL
    std::ranges::move(StoreWorkloads(), std::back_inserter(all));
#endif
    return all;
}

// The workloads in which open peers do the same work.
std::vector<std::string> WorkloadsWithPeers() {
    return {"write",         "read-first", "read-again",
            "gather-1%",     "gather-30%", "gather-1%-first-touch",
            "appends",       "open",       "records",
            "small-drawers", "conditions"};
}

// A directory of this run's own, removed at its end.
class Scratch {
  public:
    explicit Scratch(const std::filesystem::path& parent)
        : m_path(parent / ("storage_benchmark-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(m_path);
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    const std::filesystem::path& Path() const { return m_path; }

  private:
    std::filesystem::path m_path;
};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<Workload> all = AllWorkloads();
    std::vector<std::string> names;
    std::ranges::transform(all, std::back_inserter(names), &Workload::name);

    Settings settings;
    std::string parent = ".";
    std::vector<std::string> chosen = names;
    bool asJson = false;
    CLI::App app("Times the database beside plain files and open peers.");
    app.add_option("workloads", chosen, "What to run (default: all)")->check(CLI::IsMember(names));
    app.add_option("--runs", settings.nRuns, "Turns of each contender; medians are shown")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--size", settings.nNodes, "Nodes of the bulk workloads")
        ->check(CLI::Range(1000, 80000000))
        ->capture_default_str();
    app.add_option("--records", settings.nRecords, "Records of the record workloads")
        ->check(CLI::Range(1, 10000000))
        ->capture_default_str();
    app.add_option("--side", settings.nSide, "Elements along each edge of the mesh")
        ->check(CLI::Range(2, 300))
        ->capture_default_str();
    app.add_option("--labels", settings.nLabels, "Nodes of each labelled model")
        ->check(CLI::Range(1000, 50000000))
        ->capture_default_str();
    app.add_option("--directory", parent, "Where scratch files are written and removed")
        ->check(CLI::ExistingDirectory)
        ->capture_default_str();
    app.add_option("--deck", settings.deck, "A bulk data deck to import instead of a generated one")
        ->check(CLI::ExistingFile);
    app.add_flag(
        "--peers", settings.withPeers,
        "Beside HDF5, LMDB and SQLite: ours as multiples of theirs (default: the workloads "
        "that have peers)");
    app.add_flag("--json", asJson, "Print one JSON object instead of a table");
    CLI11_PARSE(app, argc, argv);
    if (settings.withPeers && app.count("workloads") == 0) {
        chosen = WorkloadsWithPeers();
    }
#ifndef ORQ_WITH_LMDB
    if (settings.withPeers) {
        std::cerr << "LMDB is left out: this program was built without it (Debian: liblmdb-dev)\n";
    }
#endif

    try {
        const Scratch scratch(parent);
        settings.directory = scratch.Path();
        std::vector<Row> rows;
        for (const Workload& workload : all) {
            if (std::ranges::find(chosen, workload.name) != chosen.end()) {
                std::cerr << workload.name << " ..." << std::endl;
                std::ranges::move(workload.run(settings), std::back_inserter(rows));
            }
        }
        std::cout << (asJson               ? AsJson(settings, rows)
                      : settings.withPeers ? AsPeerTable(rows)
                                           : AsTable(rows));
    } catch (const std::exception& error) {
        std::cerr << "storage_benchmark: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
