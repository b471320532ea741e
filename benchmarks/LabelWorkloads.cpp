#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Harness.h"
#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvFunctions.h"
#include "ORQSrvLabelMapper.h"
#include "QsortClock.h"
#include "SqlitePeer.h"
#include "Workloads.h"
#include "omi_BlkBitVect.h"

namespace storage_benchmark {

namespace {

using Quad = ORQSrvLabelMapperQuad;

ORQSimDatabase CreateEmpty(const std::filesystem::path& path) {
    std::filesystem::remove_all(path);
    return ORQSimDatabase::Create(path.string());
}

// --- Two models of the same nodes ----------------------------------------------------------------

// The labels 1 to `count` in any order, by ordinal.
std::vector<int> PermutedLabels(int count, unsigned seed) {
    std::vector<int> labels(static_cast<std::size_t>(count));
    std::iota(labels.begin(), labels.end(), 1);
    std::ranges::shuffle(labels, std::mt19937_64(seed));
    return labels;
}

void StoreLabelled(const std::filesystem::path& path, const std::vector<int>& labels) {
    const ORQSimDatabase database = CreateEmpty(path);
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    const ORQSimCSetID nodes = builder.AddNodes(static_cast<int>(labels.size()));
    builder.SetLabels(ORQObjLabelerType::Node, builder.AddInstance("PART-1"), nodes, labels.data());
    transaction.Commit();
}

// The labels of an instance in ascending order, and their ordinals, as they are stored.
struct StoredLabels {
    explicit StoredLabels(const ORQSimDatabase& database) {
        const ORQSimDistribution distribution(
            ORQObjMesh(ORQObjDocument(database).GetMesh()).GetNodeLabels().GetDistribution());
        const ORQSimDrawerDescription drawer = distribution.QueryDrawers().ConstGet(0);
        const ORQSimCSet nodes(drawer.CSet(1));
        labels.resize(static_cast<std::size_t>(nodes.Size()));
        ordinals.resize(labels.size());
        ORQSimTransfer(distribution)
            .SetRead()
            .SetDrawer(drawer.DrawerID())
            .SetDim(0, drawer.CSet(0))
            .SetDim(1, nodes)
            .SetBuffer(ORQSimbufMain, labels.data(),
                       static_cast<std::int64_t>(labels.size() * sizeof(int)))
            .ExecRead();
        nodes.OrderedMembers(ordinals.data());
    }
    std::vector<int> labels;
    std::vector<int> ordinals;
};

std::vector<Quad> Merge(const StoredLabels& a, const StoredLabels& b) {
    std::vector<Quad> matches;
    matches.reserve(std::min(a.labels.size(), b.labels.size()));
    for (std::size_t i = 0, j = 0; i < a.labels.size() && j < b.labels.size();) {
        if (a.labels[i] == b.labels[j]) {
            matches.push_back({a.ordinals[i], b.ordinals[j], 0, a.labels[i]});
        }
        const bool moveA = a.labels[i] <= b.labels[j];
        const bool moveB = b.labels[j] <= a.labels[i];
        i += moveA;
        j += moveB;
    }
    return matches;
}

// What a user would write; the matches come by primary ordinal without sorting.
std::vector<Quad> HashJoin(const StoredLabels& a, const StoredLabels& b) {
    std::unordered_map<int, int> secondary;
    secondary.reserve(b.labels.size());
    for (std::size_t j = 0; j < b.labels.size(); ++j) {
        secondary.emplace(b.labels[j], b.ordinals[j]);
    }
    std::vector<int> labelOf(a.labels.size());
    for (std::size_t i = 0; i < a.labels.size(); ++i) {
        labelOf[static_cast<std::size_t>(a.ordinals[i])] = a.labels[i];
    }
    std::vector<Quad> matches;
    matches.reserve(labelOf.size());
    for (std::size_t ordinal = 0; ordinal < labelOf.size(); ++ordinal) {
        if (const auto found = secondary.find(labelOf[ordinal]); found != secondary.end()) {
            matches.push_back({static_cast<int>(ordinal), found->second, 0, labelOf[ordinal]});
        }
    }
    return matches;
}

// Two models on disk, and for each primary ordinal the secondary one.
struct TwoModels {
    explicit TwoModels(const Settings& settings)
        : primary(settings.directory / "primary.orq"),
          secondary(settings.directory / "secondary.orq"),
          images(static_cast<std::size_t>(settings.nLabels)) {
        const std::vector<int> a = PermutedLabels(settings.nLabels, 1);
        const std::vector<int> b = PermutedLabels(settings.nLabels, 2);
        StoreLabelled(primary, a);
        StoreLabelled(secondary, b);
        std::vector<int> ordinalOf(b.size() + 1);
        for (std::size_t i = 0; i < b.size(); ++i) {
            ordinalOf[static_cast<std::size_t>(b[i])] = static_cast<int>(i);
        }
        std::ranges::transform(a, images.begin(), [&](int label) {
            return ordinalOf[static_cast<std::size_t>(label)];
        });
    }
    ~TwoModels() {
        std::filesystem::remove_all(primary);
        std::filesystem::remove_all(secondary);
    }
    TwoModels(const TwoModels&) = delete;
    TwoModels& operator=(const TwoModels&) = delete;

    void CheckImages(std::span<const int> members, std::span<const int> found) const {
        Require(members.size() == found.size(), "members without a match");
        for (std::size_t i = 0; i < members.size(); ++i) {
            Require(found[i] == images[static_cast<std::size_t>(members[i])],
                    "a node was matched with another label's");
        }
    }
    void CheckQuads(std::span<const Quad> quads) const {
        Require(quads.size() == images.size(), "nodes without a match");
        for (const Quad& quad : quads) {
            Require(quad.secondaryOrdinal == images[static_cast<std::size_t>(quad.primaryOrdinal)],
                    "a node was joined with another label's");
        }
    }

    std::filesystem::path primary;
    std::filesystem::path secondary;
    std::vector<int> images;
};

// The models opened anew, so that nothing of an earlier run is known.
struct OpenModels {
    explicit OpenModels(const TwoModels& models)
        : primary(ORQSimDatabase::Open(models.primary.string(), ORQSimDatabase::Mode::ReadOnly)),
          secondary(
              ORQSimDatabase::Open(models.secondary.string(), ORQSimDatabase::Mode::ReadOnly)),
          mapper(primary.Focus(), secondary.Focus()) {}

    void BuildTable() {
        omi_BlkBitVect none;
        mapper.GetSecondaryNodesBitVector({}, none);
    }
    ORQSimCollection PrimaryNodes() const {
        return ORQSimCollection(
            ORQObjMesh(ORQObjDocument(primary).GetMesh()).GetNodeCollection().GetCollection());
    }

    ORQSimDatabase primary;
    ORQSimDatabase secondary;
    ORQSrvLabelMapper mapper;
};

std::vector<Row> Table(const Settings& settings) {
    const TwoModels models(settings);
    std::optional<OpenModels> open;
    std::vector<Quad> joined;
    double sorting = 0;
    const auto reopen = [&] {
        joined = {};
        open.emplace(models);
    };
    const auto build = [&] {
        sorting = MillisecondsInQsort();
        open->BuildTable();
        sorting = MillisecondsInQsort() - sorting;
    };
    const auto checkOurs = [&] {
        std::vector<int> all(models.images.size());
        std::iota(all.begin(), all.end(), 0);
        const ORQSimArray<int> found = open->mapper.GetMappingFromPrimaryNodeSet(
            ORQSimPosition(open->PrimaryNodes().ID()).GetCSet());
        models.CheckImages(all, {found.Ptr(), static_cast<std::size_t>(found.Size())});
        open.reset();
    };
    const auto checkJoined = [&] {
        models.CheckQuads(joined);
        open.reset();
    };
    return {Measure(
        settings, "label-table", 1.5,
        {{"ours", reopen, build, checkOurs, [&] { return sorting; }},
         {"reading and one merge", reopen,
          [&] { joined = Merge(StoredLabels(open->primary), StoredLabels(open->secondary)); },
          checkJoined},
         {"ours with its qsort", reopen, build, checkOurs},
         {"std::unordered_map", reopen,
          [&] { joined = HashJoin(StoredLabels(open->primary), StoredLabels(open->secondary)); },
          checkJoined}})};
}

std::vector<Row> Map(const Settings& settings) {
    const TwoModels models(settings);
    OpenModels open(models);
    open.BuildTable();
    const std::vector<Quad> joined =
        HashJoin(StoredLabels(open.primary), StoredLabels(open.secondary));
    std::unordered_map<int, int> hashed;
    for (const Quad& quad : joined) {
        hashed.emplace(quad.primaryOrdinal, quad.secondaryOrdinal);
    }

    std::vector<int> members(models.images.size());
    std::iota(members.begin(), members.end(), 0);
    std::vector<int> picked;
    std::ranges::sample(members, std::back_inserter(picked), settings.nLabels / 5,
                        std::mt19937_64(3));
    const ORQSimCSetID set =
        open.PrimaryNodes().CreateTempCSet(picked.data(), static_cast<int>(picked.size()), true);
    std::vector<int> sorted;
    for (const int member : picked) {
        sorted.push_back(models.images[static_cast<std::size_t>(member)]);
    }
    std::ranges::sort(sorted);

    ORQSimCSet mappedSet;
    ORQSimArray<int> mapped;
    std::vector<int> hashedImages;
    std::int64_t sum = 0;
    std::int64_t expected = 0;
    for (const Quad& quad : joined) {
        expected += quad.primaryOrdinal + quad.secondaryOrdinal;
    }
    expected += std::accumulate(picked.begin(), picked.end(), std::int64_t{0});
    const auto nothing = [] {};
    const Contender scan{"scan of table and members", [&] { sum = 0; },
                         [&] {
                             for (const Quad& quad : joined) {
                                 sum += quad.primaryOrdinal + quad.secondaryOrdinal;
                             }
                             for (const int member : picked) {
                                 sum += member;
                             }
                         },
                         [&] { Require(sum == expected, "the scan missed something"); }};
    const Contender hashing{"std::unordered_map", [&] { hashedImages = {}; },
                            [&] {
                                for (const int member : picked) {
                                    if (const auto at = hashed.find(member); at != hashed.end()) {
                                        hashedImages.push_back(at->second);
                                    }
                                }
                            },
                            [&] { models.CheckImages(picked, hashedImages); }};
    return {
        Measure(settings, "label-map-set", 2.0,
                {{"ours", [&] { mappedSet = {}; },
                  [&] { mappedSet = open.mapper.GetSecondaryNodeSet(set, false); },
                  [&] {
                      std::vector<int> found(static_cast<std::size_t>(mappedSet.Size()));
                      mappedSet.OrderedMembers(found.data());
                      Require(found == sorted, "the set was mapped to other nodes");
                  }},
                 scan,
                 hashing}),
        Measure(settings, "label-map-array", 2.0,
                {{"ours", nothing, [&] { mapped = open.mapper.GetMappingFromPrimaryNodeSet(set); },
                  [&] {
                      models.CheckImages(picked,
                                         {mapped.Ptr(), static_cast<std::size_t>(mapped.Size())});
                  }},
                 scan,
                 hashing})};
}

// --- Names ---------------------------------------------------------------------------------------

constexpr int kLookups = 20000;
constexpr const char* kPrefix = "M1";

// A model with many node sets of one member each, under keys of instances and of the model.
class NamedSets {
  public:
    NamedSets(const std::filesystem::path& path, int count, const char* prefix) {
        Store(CreateEmpty(path), count, prefix);
        m_database = ORQSimDatabase::Open(path.string(), ORQSimDatabase::Mode::ReadOnly);
    }

    static std::string KeyOf(int set) {
        return "Part-" + std::to_string(set % 10) + "_Set-" + std::to_string(set);
    }
    ORQSimPosition Root() const { return m_database.Focus(); }

  private:
    static void Store(const ORQSimDatabase& database, int count, const char* prefix) {
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        builder.SetModelPrefix(prefix);
        builder.AddNodes(count);
        const ORQSimMap sets = builder.Model().GetMap(ORQSimSchema::Model_nodeSets);
        ORQSimCollection nodes(ORQObjMesh(builder.Mesh()).GetNodeCollection().GetCollection());
        for (int i = 0; i < count; ++i) {
            sets.Insert(ORQString(KeyOf(i)), nodes.CreateCSet(&i, 1, true));
        }
        transaction.Commit();
    }

    ORQSimDatabase m_database;
};

// A name as a user gives it, and the keys that are tried for it, the last of which is there.
struct Question {
    ORQString name;
    const char* separator;
    std::string instance;
    std::vector<std::string> keys;
};
using MakeQuestion = std::function<Question(int)>;

Question AskByKey(int set) {
    const std::string key = NamedSets::KeyOf(set);
    return {key, "", "", {key}};
}

Question AskInInstance(int set) {
    const std::string key = NamedSets::KeyOf(set);
    const std::size_t joiner = key.find('_');
    return {key.substr(joiner + 1), "", key.substr(0, joiner), {key}};
}

Question AskWithSeparator(int set) {
    const std::string key = NamedSets::KeyOf(set);
    std::string name = key;
    name[key.find('_')] = '.';
    return {name, ".", "", {name, key}};
}

// The lookup in a model with a prefix.
Question AskPrefixed(int set) {
    const std::string key = NamedSets::KeyOf(set);
    std::string name = std::string(kPrefix) + "_" + key;
    std::string typed = name;
    typed[name.rfind('_')] = '.';
    return {typed, ".", "", {typed, name, std::string(kPrefix) + "_" + name, key}};
}

std::vector<Question> Questions(int nSets, const MakeQuestion& make) {
    std::mt19937 random(5);
    std::uniform_int_distribution<int> anySet(0, nSets - 1);
    std::vector<Question> questions;
    for (int i = 0; i < kLookups; ++i) {
        questions.push_back(make(anySet(random)));
    }
    return questions;
}

// Lookups in a model beside SQLite queries for each key that is tried, in a table of as many keys.
Row Beside(const Settings& settings, const std::string& workload, const NamedSets& model,
           Sqlite& peer, const std::vector<Question>& questions) {
    const ORQSimPosition root = model.Root();
    Statement find(peer, "SELECT * FROM map_entry WHERE object = ? AND slot = ? AND name = ?");
    int nFound = 0;
    const auto clear = [&] { nFound = 0; };
    const auto check = [&] { Require(nFound == kLookups, "names were not found"); };
    return Measure(settings, workload, 2.0,
                   {{"ours", clear,
                     [&] {
                         for (const Question& question : questions) {
                             const ORQSimPosition set = ORQSrvGetNodeSetIDFromScopedName(
                                 root, question.name, question.separator,
                                 question.instance.c_str());
                             nFound += set.IsNull() ? 0 : 1;
                         }
                     },
                     check},
                    {"SQLite point query for each key", clear,
                     [&] {
                         for (const Question& question : questions) {
                             for (const std::string& key : question.keys) {
                                 find.Ask([&] { nFound += find.Int(3) > 0 ? 1 : 0; }, 1,
                                          ORQSimSchema::Model_nodeSets, std::string_view(key));
                             }
                         }
                     },
                     check}});
}

std::vector<Row> NamesAmong(const Settings& settings, int nSets) {
    const NamedSets plain(settings.directory / "plain.orq", nSets, "");
    const NamedSets prefixed(settings.directory / "prefixed.orq", nSets, kPrefix);
    const std::unique_ptr<Sqlite> peer = LikeCatalogue(settings);
    peer->Execute("BEGIN IMMEDIATE");
    {
        Statement link(*peer, "INSERT INTO map_entry VALUES(?,?,?,?,?,?,?)");
        for (int i = 0; i < nSets; ++i) {
            link.Run(1, ORQSimSchema::Model_nodeSets, std::string_view(NamedSets::KeyOf(i)), i + 2,
                     ORQSimCategoryCSet, ORQSimSchema::NodeCollection, i + 1);
        }
    }
    peer->Execute("COMMIT; BEGIN");
    const auto beside = [&](const std::string& name, const NamedSets& model,
                            const MakeQuestion& make) {
        return Beside(settings, name + " of " + std::to_string(nSets), model, *peer,
                      Questions(nSets, make));
    };
    return {beside("name-1-key", plain, AskByKey),
            beside("name-in-instance-1-key", plain, AskInInstance),
            beside("name-2-keys", plain, AskWithSeparator),
            beside("name-4-keys", prefixed, AskPrefixed)};
}

std::vector<Row> Names(const Settings& settings) {
    std::vector<Row> rows = NamesAmong(settings, 100);
    std::ranges::move(NamesAmong(settings, 10000), std::back_inserter(rows));
    return rows;
}

}  // namespace

std::vector<Workload> LabelWorkloads() {
    return {{"label-table", Table}, {"label-map", Map}, {"names", Names}};
}

}  // namespace storage_benchmark
