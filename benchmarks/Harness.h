// Times one way of doing a thing beside others: in the same run, in turns, medians of all turns.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace storage_benchmark {

struct Settings {
    int nRuns = 7;
    int nNodes = 8000000;
    int nRecords = 100000;
    int nSide = 150;        // elements along each edge of the mesh
    int nLabels = 5000000;  // nodes of each of two labelled models
    // Scratch files go here and are gone at the end.
    std::filesystem::path directory;
    // A bulk data deck; empty: one is made.
    std::filesystem::path deck;
    // Peers that take long, or have to be installed, run too.
    bool withPeers = false;
};

// One way of doing a workload. Only `run` is timed.
struct Contender {
    std::string name;
    std::function<void()> prepare = [] {};
    std::function<void()> run;
    // Throws when what was read or written is not what it should be.
    std::function<void()> check = [] {};
    // Milliseconds of the last run that do not count.
    std::function<double()> aside = [] { return 0.0; };
    // What ours promises and this peer does not.
    std::string givesUp = {};
};

// Over all runs; what is measured once has one value.
struct Figure {
    double median;
    double least = median;
    // How far apart the middle half of the runs lies, as a part of the median: on a machine at rest
    // some hundredths.
    double spread = 0;
};

struct Peer {
    std::string name;
    Figure figure;
    std::string givesUp = {};
};

// A line of the table.
struct Row {
    std::string workload;
    std::string unit;
    Figure ours;
    std::string limitName;
    Figure limit;
    double wantedRatio;  // of ours to the limit, at most
    std::vector<Peer> peers;
    int nAttempts = 1;
};

// Runs the contenders in turns, as often as the settings say; given are ours, the limit and then
// the peers. The order is another one each time, as what ran before leaves its traces in the
// caches. Before each timed piece the disk has finished what was written before.
//
// Where the runs of the limit spread by more than a quarter, the machine was busy with something
// else: all is measured again, up to three times, and the attempt of the least spread counts.
Row Measure(const Settings& settings, const std::string& workload, double wantedRatio,
            const std::vector<Contender>& contenders);

// Throws with this text unless `isRight`.
void Require(bool isRight, std::string_view text);

std::string AsTable(const std::vector<Row>& rows);
// A line for each row that has open peers: ours as a multiple of each. Contenders whose name begins
// with that of a peer count, the limit too; the rest of the name is shown.
std::string AsPeerTable(const std::vector<Row>& rows);
std::string AsJson(const Settings& settings, const std::vector<Row>& rows);

}  // namespace storage_benchmark
