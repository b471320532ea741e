#include "History.h"

#include <sqlite3.h>

#include <memory>
#include <numeric>

#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjSectionBuilder.h"
#include "ORQObjStep.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimContext.h"
#include "ORQSimLinks.h"
#include "ORQSrvBulkShellLayers.h"
#include "ORQSrvNodalCoordinates.h"
#include "Vocabulary.h"

namespace {

constexpr int kNodes = 1200;  // of the plain field

Doubles Counting(int count, double first) {
    Doubles values(static_cast<std::size_t>(count));
    std::iota(values.begin(), values.end(), first);
    return values;
}

void AppendCoordinates(const ORQSimDatabase& database, int count, double first) {
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    const ORQSimCSetID nodes = builder.AddNodes(count);
    ORQSrvNodalCoordinates(builder.Coordinates(), 500)
        .Append(transaction, nodes, builder.SpatialDirections(3),
                Counting(3 * count, first).data());
    transaction.Commit();
}

void AddSectionsWithLayers(const ORQSimDatabase& database, const std::string& prefix) {
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    const ORQObjSectionBuilder sections(builder.Document());
    auto& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
    constexpr int kLayers = 6;
    for (int i = 0; i < 8; ++i) {
        const ORQString name((prefix + std::to_string(i)).c_str());
        const auto member = [&](const ORQSimPosition& object) {
            return builder.Document().GetCMemberIndex(object);
        };
        const int material = member(sections.AddMaterial(name, i));
        const int ply = member(sections.AddPly(name, i));
        const int section = member(sections.AddShellSection(name, i, kLayers));
        for (int layer = 0; layer < kLayers; ++layer) {
            layers.AppendMaterial(layer, section, material);
            layers.AppendPly(layer, section, ply);
            layers.AppendNumSectionPoints(layer, section, 3);
            layers.AppendConstThickness(layer, section, 0.1 * layer);
            layers.AppendConstAngle(layer, section, 15.0 * i);
        }
    }
    layers.WriteBulkDistributions(builder.Model());
    layers.Clean();
    transaction.Commit();
}

ORQSimCSetID TempSet(const ORQSimPosition& collection, const Ints& members) {
    return ORQSimCollection(collection.GetCollection())
        .CreateTempOrderedCSet(members.data(), static_cast<int>(members.size()));
}

void AddSetsAndSurfaces(const ORQSimDatabase& database) {
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    builder.AddElements(300);
    const ORQObjMesh mesh(builder.Mesh());
    builder.AddNodeSet("edge", 1, TempSet(mesh.GetNodeCollection(), {3, 1, 200, 7}));
    builder.AddElementSet("skin", 2, TempSet(mesh.GetElementCollection(), {1, 2, 3, 200}));
    builder.AddSurface("outside", 3,
                       {{0, TempSet(mesh.GetElementCollection(), {5, 9, 4})},
                        {2, TempSet(mesh.GetElementCollection(), {5, 11})}});
    transaction.Commit();
}

void WriteResults(const ORQSimDatabase& database, const ORQObjMeshedField& field,
                  const ORQSimCSetID& times, double first) {
    const ORQObjMesh mesh(ORQObjDocument(database).GetMesh());
    const ORQSimCSet nodes =
        RunOf(ORQSimCollection(mesh.GetNodeCollection().GetCollection()), 0, 400);
    field.Write(times, nodes, Counting(ORQSimCSet(times).Size() * nodes.Size(), first).data());
}

void AddResults(const ORQSimDatabase& database) {
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjDocument document(database);
    const ORQObjStepBuilder builder(document);
    const ORQSimPosition step = builder.AddStep("Heating", ORQSimSchema::Step_General);
    const ORQObjMeshedField field =
        builder.AddFieldResult(step, {"NT",
                                      builder.StandardFieldType("NT"),
                                      ORQSimSchema::Field_Nodal,
                                      ORQObjMesh(document.GetMesh()).GetNodeCollection(),
                                      {{38, "NT"}}});
    const Doubles times = {0.5, 1.0};
    WriteResults(database, field, builder.AddTimes(step, times), 20);
    transaction.Commit();
}

void ContinueResults(const ORQSimDatabase& database) {
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjDocument document(database);
    const ORQObjStep step = ORQObjModel(document.GetModel()).GetStep("Heating");
    const Doubles times = {1.5};
    WriteResults(database, step.GetFieldResults().at(0),
                 ORQObjStepBuilder(document).AddTimes(step.Position(), times), 900);
    transaction.Commit();
}

void FillField(const ORQSimDatabase& database, int first, int count, double value) {
    InTransaction(database, [&] {
        Append(database, RunOf(Nodes(database), first, count), RunOf(Components(database), 0, 1),
               Counting(count, value), 700);
    });
}

void AddRecordsAndTables(const ORQSimDatabase& database) {
    InTransaction(database, [&] {
        const ORQSimPosition focus = database.Focus();
        for (int i = 0; i < 30; ++i) {
            const ORQSimPosition record = focus.CreateDataRecord(Slot(20)).Pos();
            const std::string text(i % 10 == 0 ? 5000 : 20, static_cast<char>('a' + i));
            record.DataRecord().SetString(0, text.c_str());
            focus.GetMap(Slot(10)).Insert(("record " + std::to_string(i)).c_str(), record);
            focus.GetVector(Slot(11)).PushBack(record);
        }
        focus.SetPosition(Slot(12),
                          focus.CreateSimpleFTable(20, {}, {}, Counting(60, 7).data(), 60));
        // More members than stand in a row of the catalogue.
        Ints members;
        for (int i = 0; i < 1150; ++i) {
            members.push_back(i + i / 700);
        }
        focus.SetPosition(Slot(13), SetOf(Nodes(database), members).RegisterWithCollection());
    });
}

// So large that it goes to the disk while its transaction goes on.
void AddALargeTable(const ORQSimDatabase& database) {
    constexpr int kValues = 34'000;
    InTransaction(database, [&] {
        const ORQSimPosition focus = database.Focus();
        focus.SetPosition(Slot(16), focus.CreateSimpleFTable(kValues / 2, {}, {},
                                                             Counting(kValues, 3).data(), kValues));
        focus.DataRecord().SetInt(1, kValues);
    });
}

void ChangeAndRemoveLinks(const ORQSimDatabase& database) {
    InTransaction(database, [&] {
        const ORQSimPosition focus = database.Focus();
        for (int i = 0; i < 30; i += 2) {
            focus.GetMap(Slot(10)).Remove(("record " + std::to_string(i)).c_str());
        }
        focus.GetVector(Slot(11)).Truncate(5);
        focus.SetPosition(Slot(12), {});
        focus.DataRecord().SetInt(0, 42);
    });
}

void AddDrawersBeside(const ORQSimDatabase& database) {
    InTransaction(database, [&] {
        ORQSimTransfer(Field(database))
            .SetWrite()
            .SetMakeNewDrawer()
            .SetDim(0, RunOf(Nodes(database), 100, 900))
            .SetDim(1, RunOf(Components(database), 2, 2))
            .SetBuffer(ORQSimbufMain, Counting(1800, -5).data(), 1800 * 8)
            .ExecWrite();
        const std::vector<std::int32_t> columns = {0, 2, 1};
        const std::vector<std::int32_t> starts = {0, 2, 2, 3};
        ORQSimTransfer(Field(database))
            .SetWrite()
            .SetMakeNewDrawer()
            .SetSerialization(ORQSimSerializationType().SetSparse())
            .SetSparseNNonzero(3)
            .SetDim(0, SetOf(Nodes(database), {5, 7, 9}))
            .SetDim(1, SetOf(Components(database), {5, 6, 7}))
            .SetBuffer(ORQSimbufMain, Counting(3, 1).data(), 3 * 8)
            .SetBuffer(ORQSimbufIndicesNZ, columns.data(), 3 * 4)
            .SetBuffer(ORQSimbufSparseMap, starts.data(), 4 * 4)
            .ExecWrite();
        ORQSimContext(database.ContextID())
            .CreateDSet(Field(database).ID(), ORQSimTypeID(Slot(14)));
    });
}

void DeleteADrawer(const ORQSimDatabase& database) {
    InTransaction(database, [&] {
        Field(database).DeleteDrawer(Field(database).DrawerIDArray().ConstGet(1));
    });
}

void KeepTheOuterPartOnly(const ORQSimDatabase& database) {
    ORQSimTransaction outer(database.ContextID());
    const auto write = [&](int first, double value) {
        Append(database, RunOf(Nodes(database), first, 50), RunOf(Components(database), 0, 1),
               Filled(50, value));
    };
    write(0, -1);
    {
        ORQSimTransaction undone(database.ContextID());
        write(0, -2);
        write(600, -2);
        database.Focus().SetPosition(Slot(15), At(database, 1));
    }
    write(1000, -3);
    outer.Commit();
}

}  // namespace

const History& ModelHistory() {
    using Database = const ORQSimDatabase&;
    static const History history = {
        [](Database d) { MakeModel(d, kNodes); },
        [](Database d) { FillField(d, 0, 800, 1); },
        [](Database d) { AppendCoordinates(d, 400, 0); },
        [](Database d) { FillField(d, 800, 400, 801); },
        AddSetsAndSurfaces,
        [](Database d) { AddSectionsWithLayers(d, "A"); },
        AddResults,
        AddRecordsAndTables,
        AddALargeTable,
        [](Database d) { FillField(d, 100, 900, 5000); },
        AddDrawersBeside,
        [](Database d) { AppendCoordinates(d, 300, 7000); },
        DeleteADrawer,
        ContinueResults,
        ChangeAndRemoveLinks,
        KeepTheOuterPartOnly,
        [](Database d) { AddSectionsWithLayers(d, "B"); },
        [](Database d) { FillField(d, 0, kNodes, 9000); },
    };
    return history;
}

ORQSimDatabase MakeModelOfHistory(const std::string& path) {
    ORQSimDatabase database = ORQSimDatabase::Create(path);
    for (const auto& transaction : ModelHistory()) {
        transaction(database);
    }
    return database;
}

void ChangeCatalogue(const std::string& database, const std::string& sql) {
    sqlite3* opened = nullptr;
    ASSERT_EQ(sqlite3_open_v2((database + "/catalogue.sqlite").c_str(), &opened,
                              SQLITE_OPEN_READWRITE, "orq-page-checksum"),
              SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> catalogue(opened, sqlite3_close);
    ASSERT_EQ(sqlite3_exec(opened, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(opened);
    const bool isOfRows = sql.starts_with("UPDATE") || sql.starts_with("DELETE");
    ASSERT_TRUE(!isOfRows || sqlite3_total_changes(opened) > 0) << "changes nothing: " << sql;
}

std::string AskCatalogue(const std::string& database, const std::string& sql) {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2((database + "/catalogue.sqlite").c_str(), &opened,
                                     SQLITE_OPEN_READONLY, "orq-page-checksum");
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> catalogue(opened, sqlite3_close);
    const auto addRow = [](void* text, int n, char** values, char**) {
        auto& all = *static_cast<std::string*>(text);
        for (int i = 0; i < n; ++i) {
            all += values[i] != nullptr ? values[i] : "NULL";
            all += i + 1 < n ? '|' : '\n';
        }
        return 0;
    };
    std::string rows;
    if (code != SQLITE_OK ||
        sqlite3_exec(opened, sql.c_str(), addRow, &rows, nullptr) != SQLITE_OK) {
        throw std::runtime_error(std::string("catalogue: ") + sqlite3_errmsg(opened));
    }
    return rows;
}

std::string ContentsOf(const std::string& database) {
    return AskCatalogue(
        database,
        AskCatalogue(database,
                     "SELECT 'SELECT ''' || m.name || ''', ' || group_concat('quote(' || t.name || "
                     "')') || ' FROM ' || m.name || ';' "
                     "FROM sqlite_schema m, pragma_table_info(m.name) t "
                     "WHERE m.type = 'table' AND m.name <> 'free_extent' AND t.name NOT IN "
                     "('offset', 'capacity', 'bulk_end') GROUP BY m.name"));
}
