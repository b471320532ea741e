#include <hdf5.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Harness.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjSectionBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvBulkShellLayers.h"
#include "ORQSrvShellLayerTable.h"
#include "ORQSrvShellSection.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

constexpr int kLayers = 50;
constexpr int kObjects = 20;  // materials, orientations and plies each
constexpr std::size_t kIntegers = 4;
constexpr std::size_t kReals = 2;

// The attributes of all layers of so many sections, each [layers][sections].
struct LayerArrays {
    LayerArrays(int nSectionsHere, int nLayersHere)
        : nSections(nSectionsHere), nLayers(nLayersHere) {
        const auto n = static_cast<std::size_t>(nSections) * static_cast<std::size_t>(nLayers);
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t k = 0; k < kIntegers; ++k) {
                integers[k].push_back(static_cast<int>((i * (2 * k + 3) / 7) % kObjects));
            }
            reals[0].push_back(0.125 + static_cast<double>(i % 1009) / 1024);
            reals[1].push_back(static_cast<double>(i % 12) * 15 - 90);
        }
    }
    std::size_t At(int layer, int section) const {
        return static_cast<std::size_t>(layer) * static_cast<std::size_t>(nSections) +
               static_cast<std::size_t>(section);
    }
    bool operator==(const LayerArrays&) const = default;

    int nSections;
    int nLayers;
    std::array<std::vector<int>, kIntegers> integers;  // materials, orientations, plies, points
    std::array<std::vector<double>, kReals> reals;     // thicknesses, angles
};

constexpr std::array<int, kIntegers> kIntegerSlots = {
    ORQSimSchema::SectionData_materials, ORQSimSchema::SectionData_orientations,
    ORQSimSchema::SectionData_plies, ORQSimSchema::SectionData_sectionPoints};
constexpr std::array<int, kReals> kRealSlots = {ORQSimSchema::SectionData_constantThicknesses,
                                                ORQSimSchema::SectionData_constantAngles};

// A model with sections, whose layers are written and read.
class LayerDatabase {
  public:
    // Makes a database with sections but no layers yet, committed; what was there is removed.
    static LayerDatabase Create(const std::filesystem::path& path, const LayerArrays& arrays) {
        std::filesystem::remove_all(path);
        ORQSimDatabase database = ORQSimDatabase::Create(path.string());
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        const ORQObjSectionBuilder sections(builder.Document());
        for (int i = 0; i < kObjects; ++i) {
            sections.AddMaterial("M" + std::to_string(i), i);
            sections.AddOrientation("O" + std::to_string(i), i, {1, 0, 0}, {0, 1, 0});
            sections.AddPly("P" + std::to_string(i), i);
        }
        for (int i = 0; i < arrays.nSections; ++i) {
            sections.AddShellSection("S" + std::to_string(i), i, arrays.nLayers);
        }
        transaction.Commit();
        return LayerDatabase(std::move(database));
    }
    explicit LayerDatabase(const std::filesystem::path& path)
        : LayerDatabase(ORQSimDatabase::Open(path.string(), ORQSimDatabase::Mode::ReadOnly)) {}

    static void Append(const LayerArrays& arrays) {
        auto& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
        for (int layer = 0; layer < arrays.nLayers; ++layer) {
            for (int section = 0; section < arrays.nSections; ++section) {
                const std::size_t at = arrays.At(layer, section);
                layers.AppendMaterial(layer, section, arrays.integers[0][at]);
                layers.AppendOrientation(layer, section, arrays.integers[1][at]);
                layers.AppendPly(layer, section, arrays.integers[2][at]);
                layers.AppendNumSectionPoints(layer, section, arrays.integers[3][at]);
                layers.AppendConstThickness(layer, section, arrays.reals[0][at]);
                layers.AppendConstAngle(layer, section, arrays.reals[1][at]);
            }
        }
    }
    static void Forget() { omi_Singleton<ORQSrvBulkShellLayers>::Instance().Clean(); }

    void WriteAppended() {
        omi_Singleton<ORQSrvBulkShellLayers>::Instance().WriteBulkDistributions(m_model);
    }

    // The arrays as they are, one drawer each, in one transaction.
    void WritePlainly(const LayerArrays& arrays) {
        ORQSimTransaction transaction(m_database.ContextID());
        const auto write = [&](const auto& values, ORQSimScalarType scalar) {
            const ORQSimDistribution distribution(
                m_model
                    .CreateTypedDistribution(
                        ORQSimGrid(std::vector{m_layers.ID(), m_sections.ID()}),
                        ORQSimSchema::DistributionRecord, ORQSimRangeType(scalar))
                    .GetDistribution());
            ORQSimTransfer(distribution)
                .SetWrite()
                .SetMakeNewDrawer()
                .SetDim(0, m_layers.CreateVolatileCSetStrided(0, arrays.nLayers, 1, 1))
                .SetDim(1, m_sections.CreateVolatileCSetStrided(0, arrays.nSections, 1, 1))
                .SetBuffer(ORQSimbufMain, values.data(),
                           static_cast<std::int64_t>(values.size() * sizeof(values[0])))
                .ExecWrite();
        };
        for (const auto& values : arrays.integers) {
            write(values, ORQSimScalarInt);
        }
        for (const auto& values : arrays.reals) {
            write(values, ORQSimScalarDouble);
        }
        transaction.Commit();
    }

    // Every section through its getters; hands each to take(section number, section).
    template <class Take>
    void ForEachSection(const Take& take) const {
        const int nSections = m_sections.Space();
        for (int number = 0; number < nSections; ++number) {
            const ORQSrvShellSection section(m_sections.GetMember(number));
            take(number, section);
        }
    }

    // The same cells with a transfer for each section and attribute: [sections][layers].
    void Gather(LayerArrays& target) const {
        const ORQSimPosition data = m_model.GetPosition(ORQSimSchema::Model_sectionData);
        const ORQSimCSet layers = m_layers.CreateVolatileCSetStrided(0, target.nLayers, 1, 1);
        const auto read = [&](int slot, auto& values) {
            const ORQSimDistribution distribution(data.GetPosition(slot).GetDistribution());
            auto* place = values.data();
            for (int section = 0; section < target.nSections; ++section) {
                ORQSimTransfer(distribution)
                    .SetRead()
                    .SetDim(0, layers)
                    .SetDim(1, m_sections.CreateVolatileCSet(&section, 1, true))
                    .SetBuffer(ORQSimbufMain, place,
                               static_cast<std::int64_t>(static_cast<std::size_t>(target.nLayers) *
                                                         sizeof *place))
                    .ExecRead();
                place += target.nLayers;
            }
        };
        for (std::size_t k = 0; k < kIntegers; ++k) {
            read(kIntegerSlots[k], target.integers[k]);
        }
        for (std::size_t k = 0; k < kReals; ++k) {
            read(kRealSlots[k], target.reals[k]);
        }
    }

    // All of it at once.
    ORQSrvShellLayerTable ReadAtOnce() const {
        ORQSrvShellLayerTable table(m_model);
        // The table reads each column when it is first asked for.
        table.Materials();
        table.Orientations();
        table.Plies();
        table.SectionPoints();
        table.ConstThicknesses();
        table.ConstAngles();
        return table;
    }

    int MemberOf(const ORQSimPosition& object) const {
        return ORQObjDocument(m_database).GetCMemberIndex(object);
    }

  private:
    explicit LayerDatabase(ORQSimDatabase database)
        : m_database(std::move(database)),
          m_model(ORQObjDocument(m_database).GetModel()),
          m_layers(m_model.GetPosition(ORQSimSchema::Model_sectionLayers).GetCollection()),
          m_sections(m_model.GetPosition(ORQSimSchema::Model_sections).GetCollection()) {}

    ORQSimDatabase m_database;
    ORQSimPosition m_model;
    ORQSimCollection m_layers;
    ORQSimCollection m_sections;
};

// The layout of somebody who thinks of sections: a group for each, with its six arrays.
class Hdf5Sections {
  public:
    static void Write(const std::filesystem::path& path, const LayerArrays& arrays) {
        const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
        const auto size = static_cast<hsize_t>(arrays.nLayers);
        const hid_t space = H5Screate_simple(1, &size, nullptr);
        for (int section = 0; section < arrays.nSections; ++section) {
            const hid_t group = H5Gcreate2(file, std::to_string(section).c_str(), H5P_DEFAULT,
                                           H5P_DEFAULT, H5P_DEFAULT);
            const auto put = [&](const std::string& name, const auto& values, hid_t type) {
                auto column = std::vector(values.begin(), values.begin() + arrays.nLayers);
                for (int layer = 0; layer < arrays.nLayers; ++layer) {
                    column[static_cast<std::size_t>(layer)] = values[arrays.At(layer, section)];
                }
                const hid_t set = H5Dcreate2(group, name.c_str(), type, space, H5P_DEFAULT,
                                             H5P_DEFAULT, H5P_DEFAULT);
                Require(H5Dwrite(set, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, column.data()) >= 0,
                        "HDF5 did not write");
                H5Dclose(set);
            };
            for (std::size_t k = 0; k < kIntegers; ++k) {
                put("i" + std::to_string(k), arrays.integers[k], H5T_NATIVE_INT);
            }
            for (std::size_t k = 0; k < kReals; ++k) {
                put("r" + std::to_string(k), arrays.reals[k], H5T_NATIVE_DOUBLE);
            }
            H5Gclose(group);
        }
        H5Sclose(space);
        H5Fflush(file, H5F_SCOPE_LOCAL);
        H5Fclose(file);
    }
    // All of it, [sections][layers].
    static void Read(const std::filesystem::path& path, LayerArrays& target) {
        const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
        for (int section = 0; section < target.nSections; ++section) {
            const hid_t group = H5Gopen2(file, std::to_string(section).c_str(), H5P_DEFAULT);
            const auto get = [&](const std::string& name, auto& values, hid_t type) {
                const hid_t set = H5Dopen2(group, name.c_str(), H5P_DEFAULT);
                Require(H5Dread(set, type, H5S_ALL, H5S_ALL, H5P_DEFAULT,
                                values.data() +
                                    static_cast<std::ptrdiff_t>(section) * target.nLayers) >= 0,
                        "HDF5 did not read");
                H5Dclose(set);
            };
            for (std::size_t k = 0; k < kIntegers; ++k) {
                get("i" + std::to_string(k), target.integers[k], H5T_NATIVE_INT);
            }
            for (std::size_t k = 0; k < kReals; ++k) {
                get("r" + std::to_string(k), target.reals[k], H5T_NATIVE_DOUBLE);
            }
            H5Gclose(group);
        }
        H5Fclose(file);
    }
};

// A tenth of the records of the other workloads.
int NumSections(const Settings& settings) {
    return std::max(10, settings.nRecords / 10);
}

// [sections][layers], as gathering leaves it.
LayerArrays Turned(const LayerArrays& arrays) {
    LayerArrays turned = arrays;
    const auto turn = [&](const auto& from, auto& to) {
        auto place = to.begin();
        for (int section = 0; section < arrays.nSections; ++section) {
            for (int layer = 0; layer < arrays.nLayers; ++layer) {
                *place++ = from[arrays.At(layer, section)];
            }
        }
    };
    for (std::size_t k = 0; k < kIntegers; ++k) {
        turn(arrays.integers[k], turned.integers[k]);
    }
    for (std::size_t k = 0; k < kReals; ++k) {
        turn(arrays.reals[k], turned.reals[k]);
    }
    return turned;
}

void Clear(LayerArrays& arrays) {
    for (auto& values : arrays.integers) {
        std::ranges::fill(values, -2);
    }
    for (auto& values : arrays.reals) {
        std::ranges::fill(values, -2.0);
    }
}

std::vector<Row> WriteLayers(const Settings& settings) {
    const LayerArrays arrays(NumSections(settings), kLayers);
    const LayerArrays expected = Turned(arrays);
    const std::filesystem::path path = settings.directory / "layers.orq";
    const std::filesystem::path plainPath = settings.directory / "plain.orq";
    const std::filesystem::path hdf5Path = settings.directory / "layers.h5";
    std::optional<LayerDatabase> database;
    std::optional<LayerDatabase> plain;
    const auto prepare = [&] {
        database.emplace(LayerDatabase::Create(path, arrays));
        LayerDatabase::Forget();
    };
    Row row = Measure(settings, "layers-write", 3.0,
                      {{"ours",
                        [&] {
                            prepare();
                            LayerDatabase::Append(arrays);
                        },
                        [&] { database->WriteAppended(); },
                        [&] {
                            LayerArrays read = arrays;
                            Clear(read);
                            database->Gather(read);
                            Require(read == expected, "what was written is not what was appended");
                        }},
                       {.name = "plain transfers",
                        .prepare = [&] { plain.emplace(LayerDatabase::Create(plainPath, arrays)); },
                        .run = [&] { plain->WritePlainly(arrays); }},
                       {.name = "appends to ours",
                        .prepare = prepare,
                        .run = [&] { LayerDatabase::Append(arrays); }},
                       {.name = "HDF5 group per section",
                        .run = [&] { Hdf5Sections::Write(hdf5Path, arrays); }}});
    LayerDatabase::Forget();
    return {row};
}

void Store(const std::filesystem::path& path, const LayerArrays& arrays) {
    LayerDatabase database = LayerDatabase::Create(path, arrays);
    LayerDatabase::Append(arrays);
    database.WriteAppended();
    LayerDatabase::Forget();
}

// Reads all getters of all sections; the sum shows whether all were right.
double SumOfGetters(const LayerDatabase& database, std::size_t& nFound) {
    double sum = 0;
    nFound = 0;
    database.ForEachSection([&](int, const ORQSrvShellSection& section) {
        for (const auto* positions :
             {&section.GetMaterials(), &section.GetOrientations(), &section.GetPlies()}) {
            for (const ORQSimPosition& position : *positions) {
                nFound += position.IsNull() ? 0 : 1;
            }
        }
        for (const int count : section.GetSectionPoints()) {
            sum += count;
        }
        for (const double thickness : section.GetConstThicknesses()) {
            sum += thickness;
        }
        for (const double angle : section.GetConstRotationAngles()) {
            sum += angle;
        }
    });
    return sum;
}

// One section's getters against the arrays.
void CheckReferences(const LayerDatabase& database, const LayerArrays& arrays) {
    database.ForEachSection([&](int number, const ORQSrvShellSection& section) {
        for (int layer = 0; number % 97 == 0 && layer < arrays.nLayers; ++layer) {
            const auto i = static_cast<std::size_t>(layer);
            const std::size_t at = arrays.At(layer, number);
            Require(database.MemberOf(section.GetMaterials()[i]) == arrays.integers[0][at] &&
                        database.MemberOf(section.GetOrientations()[i]) == arrays.integers[1][at] &&
                        database.MemberOf(section.GetPlies()[i]) == arrays.integers[2][at],
                    "a layer refers to something else");
        }
    });
}

Contender Reading(const std::string& name, const LayerDatabase& database,
                  const LayerArrays& arrays) {
    return {.name = name, .run = [&database, &arrays] {
                double expected = 0;
                for (const auto* values : {&arrays.reals[0], &arrays.reals[1]}) {
                    expected = std::accumulate(values->begin(), values->end(), expected);
                }
                expected =
                    std::accumulate(arrays.integers[3].begin(), arrays.integers[3].end(), expected);
                std::size_t nFound = 0;
                const double sum = SumOfGetters(database, nFound);
                Require(std::abs(sum - expected) < 1e-6 * std::abs(expected) + 1e-3 &&
                            nFound == 3 * arrays.reals[0].size(),
                        "the getters answer something else");
            }};
}

std::vector<Row> ReadLayers(const Settings& settings) {
    const LayerArrays arrays(NumSections(settings), kLayers);
    const LayerArrays few(std::max(1, arrays.nSections / 10), kLayers);
    const LayerArrays thin(arrays.nSections, kLayers / 5);
    const auto stored = [&](const char* name, const LayerArrays& some) {
        const std::filesystem::path path = settings.directory / name;
        Store(path, some);
        return LayerDatabase(path);
    };
    const LayerDatabase all = stored("layers.orq", arrays);
    const LayerDatabase fewer = stored("few.orq", few);
    const LayerDatabase thinner = stored("thin.orq", thin);
    const std::filesystem::path hdf5Path = settings.directory / "layers.h5";
    Hdf5Sections::Write(hdf5Path, arrays);
    CheckReferences(all, arrays);

    const LayerArrays expected = Turned(arrays);
    LayerArrays target = arrays;
    const auto clear = [&] { Clear(target); };
    const auto check = [&] { Require(target == expected, "what was gathered is something else"); };
    std::vector<Row> rows = {Measure(
        settings, "layers-read", 3.0,
        {Reading("ours", all, arrays),
         {"plain transfers", clear, [&] { all.Gather(target); }, check},
         {"HDF5 group per section", clear, [&] { Hdf5Sections::Read(hdf5Path, target); }, check}})};
    std::optional<ORQSrvShellLayerTable> table;
    std::optional<LayerArrays> copied;
    const auto checkTable = [&] {
        target.integers = {table->Materials(), table->Orientations(), table->Plies(),
                           table->SectionPoints()};
        target.reals = {table->ConstThicknesses(), table->ConstAngles()};
        Require(target == arrays, "the table has something else");
    };
    rows.push_back(
        Measure(settings, "layers-read-at-once", 3.0,
                {{"ours", [&] { table.reset(); }, [&] { table = all.ReadAtOnce(); }, checkTable},
                 {"copy of the arrays", [&] { copied.reset(); }, [&] { copied = arrays; },
                  [&] { Require(copied == arrays, "the copy is something else"); }}}));
    // The same for a section, however many there are; and for a layer.
    const auto scaled = [&](const char* name, const char* unit, const LayerDatabase& other,
                            const LayerArrays& fewerArrays, const std::string& limit,
                            std::size_t nOurs, std::size_t nTheirs) {
        Row row = Measure(settings, name, 1.2,
                          {Reading("ours", all, arrays), Reading(limit, other, fewerArrays)});
        row.unit = unit;
        for (const auto& [figure, count] :
             {std::pair(&row.ours, nOurs), std::pair(&row.limit, nTheirs)}) {
            figure->median *= 1000 / static_cast<double>(count);
            figure->least *= 1000 / static_cast<double>(count);
        }
        rows.push_back(row);
    };
    scaled("layers-read-section", "us each", fewer, few,
           std::to_string(few.nSections) + " sections", static_cast<std::size_t>(arrays.nSections),
           static_cast<std::size_t>(few.nSections));
    scaled("layers-read-layer", "us each", thinner, thin, std::to_string(thin.nLayers) + " layers",
           arrays.reals[0].size(), thin.reals[0].size());
    return rows;
}

}  // namespace

std::vector<Workload> LayerWorkloads() {
    return {{"layers-write", WriteLayers}, {"layers-read", ReadLayers}};
}

}  // namespace storage_benchmark
