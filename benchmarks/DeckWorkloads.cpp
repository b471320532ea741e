#include <fstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "CoordinateDatabase.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

// A square plate as a bulk data deck in columns of 8: nodes, quadrilaterals and 150 laminates of up
// to 69 plies.
struct PlateDeck {
    explicit PlateDeck(int nSide) : nElementsOnEdge(2 * nSide), nNodesOnEdge(nElementsOnEdge + 1) {}

    void Write(const std::filesystem::path& path) const {
        std::ofstream deck(path);
        const auto card = [&](const char* name, const std::vector<std::string>& fields) {
            deck << name;
            for (const std::string& field : fields) {
                deck << std::string(8 - field.size(), ' ') << field;
            }
            deck << '\n';
        };
        deck << "SOL 101\nCEND\nBEGIN BULK\n";
        card("MAT1    ", {"1", "7.+10", "", ".3"});
        for (int laminate = 1; laminate <= kNumLaminates; ++laminate) {
            card("PCOMP   ", {std::to_string(laminate)});
            const int nPlies = 1 + laminate * 37 % kMostPlies;
            for (int ply = 0; ply < nPlies; ply += 2) {
                card("+       ", ply + 1 < nPlies
                                     ? std::vector<std::string>{"1", ".001", "0.", "YES", "1",
                                                                ".002", "90.", "YES"}
                                     : std::vector<std::string>{"1", ".001", "45.", "YES"});
            }
        }
        for (int row = 0; row < nNodesOnEdge; ++row) {
            for (int column = 0; column < nNodesOnEdge; ++column) {
                card("GRID    ", {Label(row, column), "", Text(column), Text(row), "0."});
            }
        }
        for (int row = 0; row < nElementsOnEdge; ++row) {
            for (int column = 0; column < nElementsOnEdge; ++column) {
                const int element = row * nElementsOnEdge + column;
                card("CQUAD4  ",
                     {std::to_string(element + 1), std::to_string(1 + element % kNumLaminates),
                      Label(row, column), Label(row, column + 1), Label(row + 1, column + 1),
                      Label(row + 1, column)});
            }
        }
        deck << "ENDDATA\n";
    }

    void Check(const std::filesystem::path& database) const {
        std::vector<double> points(3 * static_cast<std::size_t>(nNodesOnEdge * nNodesOnEdge));
        CoordinateDatabase(database).Read(points);
        auto at = points.begin();
        for (int row = 0; row < nNodesOnEdge; ++row) {
            for (int column = 0; column < nNodesOnEdge; ++column, at += 3) {
                Require(at[0] == column + .25 && at[1] == row + .25 && at[2] == 0,
                        "the coordinates are wrong");
            }
        }
    }

    std::string Label(int row, int column) const {
        return std::to_string(row * nNodesOnEdge + column + 1);
    }
    static std::string Text(int place) { return std::to_string(place) + ".25"; }

    static constexpr int kNumLaminates = 150;
    static constexpr int kMostPlies = 69;
    int nElementsOnEdge;
    int nNodesOnEdge;
};

std::vector<Row> Import(const Settings& settings) {
    const PlateDeck plate(settings.nSide);
    const std::filesystem::path generated = settings.directory / "plate.bdf";
    const std::filesystem::path imported = settings.directory / "imported.orq";
    const bool isGiven = !settings.deck.empty();
    if (!isGiven) {
        plate.Write(generated);
    }
    const std::string deck = isGiven ? settings.deck.string() : generated.string();
    const auto run = [](const std::vector<std::string>& command) {
        ChildProcess(command).Finish();
    };
    return {Measure(settings, "import-deck", 1.2,
                    {{.name = "ours",
                      .prepare = [&] { std::filesystem::remove_all(imported); },
                      .run =
                          [&] {
                              run({ORQ_PROGRAM, "import", deck, "-o", imported.string()});
                          },
                      .check =
                          [&] {
                              if (!isGiven) {
                                  plate.Check(imported);
                              }
                          }},
                     {.name = "python3, splitting fields", .run = [&] {
                          run({ORQ_PYTHON, ORQ_SPLIT_FIELDS, deck});
                      }}})};
}

}  // namespace

std::vector<Workload> DeckWorkloads() {
    return {{"import-deck", Import}};
}

}  // namespace storage_benchmark
