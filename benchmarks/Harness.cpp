#include "Harness.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <numeric>
#include <random>
#include <stdexcept>
#include <utility>

namespace storage_benchmark {

namespace {

// Waits until the file system that holds the scratch files has nothing left to write.
void SettleDisk(const std::filesystem::path& directory) {
    const int file = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isSettled = file >= 0 && syncfs(file) == 0;
    close(file);
    Require(isSettled, directory.string() + ": cannot be synced");
}

double MillisecondsOf(const std::function<void()>& f) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    f();
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

// The value below which a part of all lies, of ascending ones.
double Quantile(const std::vector<double>& values, double part) {
    const double place = part * static_cast<double>(values.size() - 1);
    const auto before = static_cast<std::size_t>(place);
    const std::size_t behind = std::min(before + 1, values.size() - 1);
    return std::lerp(values[before], values[behind], place - static_cast<double>(before));
}

Figure Summary(std::vector<double> values) {
    std::ranges::sort(values);
    const double median = Quantile(values, 0.5);
    const double middleHalf = Quantile(values, 0.75) - Quantile(values, 0.25);
    return {median, values.front(), median > 0 ? middleHalf / median : 0};
}

double Ratio(const Row& row) {
    return row.ours.median / row.limit.median;
}

double RatioAtBest(const Row& row) {
    return row.ours.least / row.limit.least;
}

}  // namespace

void Require(bool isRight, std::string_view text) {
    if (!isRight) {
        throw std::runtime_error(std::string(text));
    }
}

namespace {

// One attempt.
Row MeasureOnce(const Settings& settings, const std::string& workload, double wantedRatio,
                const std::vector<Contender>& contenders) {
    std::vector<std::vector<double>> times(contenders.size());
    std::vector<std::size_t> order(contenders.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::mt19937 random(7);
    for (int run = 0; run < settings.nRuns; ++run) {
        std::ranges::shuffle(order, random);
        for (const std::size_t i : order) {
            contenders[i].prepare();
            SettleDisk(settings.directory);
            const double elapsed = MillisecondsOf(contenders[i].run);
            times[i].push_back(elapsed - contenders[i].aside());
            contenders[i].check();
        }
    }
    Row row{workload,    "ms", Summary(times[0]), contenders[1].name, Summary(times[1]),
            wantedRatio, {}};
    for (std::size_t i = 2; i < contenders.size(); ++i) {
        row.peers.push_back({contenders[i].name, Summary(times[i]), contenders[i].givesUp});
    }
    return row;
}

}  // namespace

Row Measure(const Settings& settings, const std::string& workload, double wantedRatio,
            const std::vector<Contender>& contenders) {
    // A limit that varied by more says of the machine what it should say of the program.
    constexpr double kMostSpread = 0.25;
    constexpr int kMostAttempts = 3;
    Row quietest = MeasureOnce(settings, workload, wantedRatio, contenders);
    int nAttempts = 1;
    for (; quietest.limit.spread > kMostSpread && nAttempts < kMostAttempts; ++nAttempts) {
        Row row = MeasureOnce(settings, workload, wantedRatio, contenders);
        if (row.limit.spread < quietest.limit.spread) {
            quietest = std::move(row);
        }
    }
    quietest.nAttempts = nAttempts;
    return quietest;
}

std::string AsTable(const std::vector<Row>& rows) {
    std::string text =
        "| workload | ours | limit | ratio | at best | wanted | spread | peers |\n"
        "| --- | ---: | ---: | ---: | ---: | ---: | ---: | --- |\n";
    for (const Row& row : rows) {
        std::string peers;
        for (const Peer& peer : row.peers) {
            peers += fmt::format("{}{} {:.2f}", peers.empty() ? "" : ", ", peer.name,
                                 peer.figure.median);
        }
        const std::string attempts =
            row.nAttempts > 1 ? fmt::format(", of {} attempts", row.nAttempts) : "";
        text += fmt::format(
            "| {} ({}) | {:.2f} | {:.2f} {} | {:.2f} | {:.2f} | {:.2f} | {:.0f} %{} | {} |\n",
            row.workload, row.unit, row.ours.median, row.limit.median, row.limitName, Ratio(row),
            RatioAtBest(row), row.wantedRatio, 100 * row.limit.spread, attempts, peers);
    }
    return text;
}

namespace {

constexpr const char* kProducts[] = {"HDF5", "LMDB", "SQLite"};

struct ProductRatios {
    std::string cell;
    double most = 0;
};

// Ours as a multiple of what a product takes in a row, as a cell of the table.
ProductRatios RatiosTo(std::string_view product, const Row& row) {
    std::vector<Peer> all = row.peers;
    all.insert(all.begin(), {row.limitName, row.limit});
    ProductRatios ratios;
    for (const Peer& peer : all) {
        if (!peer.name.starts_with(product)) {
            continue;
        }
        const double ratio = row.ours.median / peer.figure.median;
        const std::size_t rest = peer.name.find_first_not_of(", ", product.size());
        std::string note = rest == std::string::npos ? "" : peer.name.substr(rest);
        note += (note.empty() || peer.givesUp.empty() ? "" : ", ") + peer.givesUp;
        ratios.cell += fmt::format("{}{:.2f}{}", ratios.cell.empty() ? "" : "; ", ratio,
                                   note.empty() ? "" : " (" + note + ")");
        ratios.most = std::max(ratios.most, ratio);
    }
    return ratios;
}

}  // namespace

std::string AsPeerTable(const std::vector<Row>& rows) {
    std::string text =
        "| workload | ours | of HDF5 | of LMDB | of SQLite | spread |\n"
        "| --- | ---: | ---: | ---: | ---: | ---: |\n";
    std::vector<std::string> behind;
    int nRows = 0;
    for (const Row& row : rows) {
        std::string cells;
        double most = 0;
        for (const char* product : kProducts) {
            const ProductRatios ratios = RatiosTo(product, row);
            cells += ratios.cell + " | ";
            most = std::max(most, ratios.most);
        }
        if (most == 0) {
            continue;
        }
        text += fmt::format("| {} ({}) | {:.2f} | {}{:.0f} % |\n", row.workload, row.unit,
                            row.ours.median, cells, 100 * row.limit.spread);
        ++nRows;
        if (most > 1) {
            behind.push_back(fmt::format("{} ({:.2f})", row.workload, most));
        }
    }
    return text + fmt::format("\nAhead of every peer in {} of {} rows{}{}.\n",
                              nRows - std::ssize(behind), nRows,
                              behind.empty() ? "" : "; behind: ", fmt::join(behind, ", "));
}

std::string AsJson(const Settings& settings, const std::vector<Row>& rows) {
    nlohmann::json json = {{"schema_version", 1},
                           {"runs", settings.nRuns},
                           {"nodes", settings.nNodes},
                           {"records", settings.nRecords},
                           {"side", settings.nSide},
                           {"labels", settings.nLabels},
                           {"rows", nlohmann::json::array()}};
    for (const Row& row : rows) {
        nlohmann::json peers = nlohmann::json::array();
        for (const Peer& peer : row.peers) {
            peers.push_back({{"name", peer.name},
                             {"value", peer.figure.median},
                             {"least", peer.figure.least},
                             {"gives_up", peer.givesUp}});
        }
        json["rows"].push_back({{"workload", row.workload},
                                {"unit", row.unit},
                                {"ours", row.ours.median},
                                {"ours_least", row.ours.least},
                                {"limit", row.limit.median},
                                {"limit_least", row.limit.least},
                                {"limit_name", row.limitName},
                                {"ratio", Ratio(row)},
                                {"wanted_ratio", row.wantedRatio},
                                {"limit_spread", row.limit.spread},
                                {"attempts", row.nAttempts},
                                {"peers", peers}});
    }
    return json.dump(2) + "\n";
}

}  // namespace storage_benchmark
