#include "DirectorySalvage.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

#include "EarlyRows.h"
#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

RowGap::Key FirstOf(const PageRow& row) {
    RowGap::Key key{};
    for (std::size_t i = 0; i < std::min(key.size(), row.Size()); ++i) {
        key[i] = row.Int(i);
    }
    return key;
}

// The highest number has none behind it; a new object would find it taken.
int Behind(int number) {
    return number < std::numeric_limits<int>::max() ? number + 1 : number;
}

// The kind of a row of a shared table, or of its index; nothing where there is no such kind.
std::optional<std::int64_t> KindOf(const TableShape& table, const PageRow& row) {
    const auto* kind = std::get_if<std::int64_t>(&row.Values()[0]);
    const bool isKnown = kind != nullptr && table.shared->columns.begin()->MayBe(*kind);
    return isKnown ? std::optional(*kind) : std::nullopt;
}

// Whether a row of a shared table holds what those of the table hold where it has no columns.
bool HasFixedOf(const TableShape& table, const PageRow& row) {
    return std::ranges::all_of(table.fixed, [&](const FixedColumn& fixed) {
        const auto* held = std::get_if<std::int64_t>(&row.Values()[fixed.place]);
        return held != nullptr && *held == fixed.value;
    });
}

ExtentRow ExtentOf(const PageRow& row) {
    return {row.Int(0),  static_cast<int>(row.Int(1)),
            row.Int(2),  row.Int(3),
            row.Int(4),  row.Int(5),
            row.Blob(6), row.Blob(7)};
}

// The directory, checked to hold files that can be read.
const std::string& Checked(const std::string& directory) {
    CheckLooksLikeDatabase(directory, false);
    if (const std::string writer = LockFile::WriterOf(LockPath(directory)); !writer.empty()) {
        throw ORQBasFailure(ORQBasFailureKind::Busy, directory + ": open for writing by " + writer);
    }
    return directory;
}

}  // namespace

DirectorySalvage::DirectorySalvage(Engine& target, const std::string& directory,
                                   const std::function<void()>& goOn)
    : m_target(target),
      m_goOn(goOn),
      m_directory(Checked(directory)),
      m_pages(CataloguePath(directory)) {
    // Which pages count is decided first, by the log; all else is read from them.
    LeaveForeignLogOut();
    NoteDamagedPages();
    FindRoots();
    OpenBulk();
    ReadState();
}

std::unique_ptr<Salvage> Engine::SalvageFrom(const std::string& directory,
                                             const std::function<void()>& goOn) {
    return std::make_unique<DirectorySalvage>(*this, directory, goOn);
}

// Files of a copy that was made while the database was written. A main file that got a part of a
// fold holds rows of two states, and nothing says which.
void DirectorySalvage::LeaveForeignLogOut() {
    if (m_pages.GoTogether()) {
        return;
    }
    if (!m_pages.IsWholeWithoutLog()) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            CataloguePath(m_directory) + ": " + kIsMixedCopy);
    }
    m_pages.LeaveLogOut();
    m_damage.emplace_back(
        "catalogue.sqlite-wal: is not of the same time as catalogue.sqlite, and "
        "is left out");
}

void DirectorySalvage::NoteDamagedPages() {
    for (const std::int64_t page : m_pages.FindDamage()) {
        m_damage.push_back("catalogue.sqlite: page " + std::to_string(page) +
                           " is damaged (checksum differs)");
    }
}

// Every database of a version has its tables in the same pages, for they are made in the same
// order. So where a part of the schema cannot be read, that of a new database serves, unless the
// rest says otherwise.
void DirectorySalvage::FindRoots() {
    m_roots = m_pages.ReadRoots();
    m_format = FindFormat();
    const std::map<std::string, std::int64_t> usual = Engine::UsualRoots(m_format);
    const bool isUsual = std::ranges::all_of(m_roots, [&](const auto& root) {
        const auto found = usual.find(root.first);
        return found != usual.end() && found->second == root.second;
    });
    if (isUsual) {
        m_roots = usual;
    }
}

// The state's table is the first one in all versions. Where neither it nor the schema can be read,
// pages of one table could be taken for those of another.
int DirectorySalvage::FindFormat() {
    const std::string name = NameOf(Table::State);
    const auto root = m_roots.find(name);
    std::int64_t format = 0;
    m_pages.ReadTree(
        root != m_roots.end() ? root->second : Engine::UsualRoots(kFormatVersion)[name],
        Shape(Table::State).columns.size(), CataloguePages::Key::Columns,
        [&](const PageRow& row) { format = row.Int(1); }, [] {});
    if (format != 0) {
        CheckFormat(m_directory, format);
        return static_cast<int>(format);
    }
    for (int version = kFormatVersion; version >= kOldestFormatVersion; --version) {
        const auto nameOf = [](const auto& entry) { return entry.first; };
        if (std::ranges::equal(m_roots, Engine::UsualRoots(version), {}, nameOf, nameOf)) {
            return version;
        }
    }
    throw ORQBasFailure(ORQBasFailureKind::Damaged,
                        m_directory +
                            ": nothing can be read of its catalogue for certain: neither its "
                            "state nor all of its schema, and so not the version of its "
                            "format");
}

void DirectorySalvage::OpenBulk() {
    std::error_code error;
    if (!std::filesystem::exists(BulkPath(m_directory), error)) {
        m_damage.emplace_back("bulk.bin: is missing");
        return;
    }
    m_bulk.OpenUnchecked(BulkPath(m_directory), false);
    m_bulkSize = m_bulk.Size();
    try {
        m_identity = m_bulk.ReadIdentity();
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != ORQBasFailureKind::Damaged) {
            throw;
        }
        m_damage.emplace_back("bulk.bin: the header is damaged");
    }
}

void DirectorySalvage::ReadState() {
    std::optional<Identity> identity;
    std::int64_t bulkEnd = 0;
    const auto take = [&](const PageRow& row) {
        if (row.Blob(2).size() == Identity().size()) {
            std::ranges::copy(row.Blob(2), identity.emplace().begin());
        }
        m_target.ReserveNumbers({row.Int(4), static_cast<int>(row.Int(5))});
        bulkEnd = row.Int(6);
    };
    const auto isOther = [&] { return m_identity && identity && *m_identity != *identity; };
    ReadRows(Table::State, take);
    // A log that was put beside another main file brings its own state row along.
    if (isOther() && m_pages.HasLog()) {
        m_pages.LeaveLogOut();
        FindRoots();
        ReadRows(Table::State, take);
        m_damage.emplace_back("catalogue.sqlite-wal: belongs to another database, and is left out");
    }
    if (isOther()) {
        throw ORQBasFailure(
            ORQBasFailureKind::Foreign,
            BulkPath(m_directory) + ": belongs to another database than the catalogue beside it");
    }
    const std::int64_t needed = BulkFile::SizeNeeded(bulkEnd);
    if (m_bulkSize > 0 && m_bulkSize < needed) {
        m_damage.push_back("bulk.bin: is truncated: " + std::to_string(m_bulkSize) +
                           " bytes long, the catalogue needs " + std::to_string(needed));
    }
    CloseGaps(Table::State);  // the new database has a state of its own
}

void DirectorySalvage::ReadRows(Table table, const CataloguePages::OnRow& take) {
    std::optional<RowGap::Key> last;
    bool isInGap = false;
    const auto note = [&] {
        if (!std::exchange(isInGap, true)) {
            m_gaps.push_back({table, last, {}});
        }
    };
    const std::size_t nColumns = Shape(table).Columns(m_format).size();
    const auto takeAndNote = [&](PageRow& row) {
        m_goOn();
        for (std::size_t i = nColumns; i < Shape(table).columns.size(); ++i) {
            row.Add(NothingIn((Shape(table).columns.begin() + i)->type));
        }
        if (const std::string problem = ProblemOfRow(table, row.Values()); !problem.empty()) {
            m_damage.push_back("catalogue.sqlite: " + problem);
            note();
            if (!LeaveFieldsOut(table, row)) {
                return;
            }
        }
        last = FirstOf(row);
        if (std::exchange(isInGap, false)) {
            m_gaps.back().before = last;
        }
        take(row);
    };
    ReadTree(table, nColumns, takeAndNote, note);
}

// As if the table had a tree of its own. Rows of a shared table ascend by their kinds first, so that
// what is lost between two of them may be of the kinds from one to the other, and of no more.
void DirectorySalvage::ReadTree(Table table, std::size_t nColumns,
                                const CataloguePages::OnRow& take,
                                const CataloguePages::OnGap& note) {
    const TableShape& shape = Shape(table);
    if (!shape.IsShared(m_format)) {
        m_pages.ReadTree(m_roots[shape.name], nColumns, KeyOf(table), take, note);
        return;
    }
    const std::int64_t own = shape.fixed.begin()->value;
    std::int64_t last = 0;
    bool isLost = false;
    const auto noteLostBefore = [&](std::int64_t kind) {
        if (std::exchange(isLost, false) && last <= own && own <= kind) {
            note();
        }
    };
    const auto takeOwn = [&](PageRow& row) {
        const std::optional<std::int64_t> kind = KindOf(shape, row);
        if (!kind || (*kind == own && !HasFixedOf(shape, row))) {
            note();
            if (kind || own == 0) {  // once for all tables
                m_damage.push_back(std::string("catalogue.sqlite: table ") + shape.shared->name +
                                   ": a row is of no kind that there is");
            }
            return;
        }
        noteLostBefore(*kind);
        last = *kind;
        if (*kind == own) {
            // From the last one on, so that the others stay where they are.
            for (const auto* fixed = shape.fixed.end(); fixed != shape.fixed.begin();) {
                row.Remove((--fixed)->place);
            }
            take(row);
        }
    };
    m_pages.ReadTree(m_roots[shape.shared->name], shape.shared->columns.size(),
                     CataloguePages::Key::Columns, takeOwn, [&] { isLost = true; });
    noteLostBefore(std::numeric_limits<std::int64_t>::max());
}

// An object whose fields alone make no sense is kept without them.
bool DirectorySalvage::LeaveFieldsOut(Table table, PageRow& row) {
    if (table != Table::Object) {
        return false;
    }
    row.Replace(row.Size() - 1, NothingIn(Column::Type::Fields));
    return ProblemOfRow(table, row.Values()).empty();
}

bool DirectorySalvage::ReadIndex(Index index, std::size_t nColumns,
                                 const CataloguePages::OnRow& take) {
    bool isWhole = true;
    const TableShape& table = Shape(Shape(index).table);
    const bool isShared = table.IsShared(m_format);
    const auto takeAndGoOn = [&](PageRow& row) {
        m_goOn();
        if (isShared) {
            const std::optional<std::int64_t> kind = KindOf(table, row);
            isWhole = isWhole && kind.has_value();
            if (kind != table.fixed.begin()->value) {
                return;
            }
            row.Remove(0);
        }
        take(row);
    };
    m_pages.ReadTree(m_roots[Shape(index).NameIn(m_format)], nColumns + (isShared ? 1 : 0),
                     CataloguePages::Key::Columns, takeAndGoOn, [&] { isWhole = false; });
    return isWhole;
}

bool DirectorySalvage::Insert(Table table, std::span<const Value> row) {
    const bool isSound = ProblemOfRow(table, row).empty();
    if (isSound) {
        m_target.Rows().InsertNewRow(table, row);
    }
    return isSound;
}

void DirectorySalvage::CloseGaps(Table table) {
    std::erase_if(m_gaps, [&](const RowGap& gap) { return gap.table == table; });
}

void DirectorySalvage::TakeRows() {
    std::int64_t nRows = 0;
    for (int number = 0; number < static_cast<int>(Table::Count); ++number) {
        const auto table = static_cast<Table>(number);
        // The new database has a state of its own, and its chunks lie elsewhere.
        if (table == Table::State || table == Table::Extent || table == Table::SmallChunk ||
            table == Table::FreeExtent || table == Table::Field ||
            table == Table::DrawerDimension) {
            continue;
        }
        ReadRows(table, [&](const PageRow& row) {
            m_target.Rows().InsertNewRow(table, row.Values());
            ++nRows;
        });
    }
    if (nRows == 0) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            m_directory + ": nothing can be read of its catalogue");
    }
    TakeEarlyFields();
    TakeEarlyDimensions();
    // Numbers are not given twice (invariant 9), also where the row with the next ones was lost.
    for (const ObjectRow& row : m_target.Rows().FindLast<ObjectRow>()) {
        m_target.ReserveNumbers({row.id + 1, 0});
    }
    for (const ComponentSetRow& row : m_target.Rows().FindLast<ComponentSetRow>()) {
        m_target.ReserveNumbers({0, Behind(row.id)});
    }
    for (const DrawerRow& row : m_target.Rows().Find<DrawerRow>()) {
        m_target.ReserveNumbers({row.store + 1, Behind(row.number)});
    }
}

void DirectorySalvage::TakeEarlyFields() {
    if (!Shape(Table::Field).IsIn(m_format)) {
        return;
    }
    std::int64_t object = 0;
    std::vector<std::byte> packed;
    const auto put = [&] {
        if (!packed.empty()) {
            PutFields(object, packed);
        }
        packed.clear();
    };
    ReadRows(Table::Field, [&](const PageRow& row) {
        if (row.Int(0) != object) {
            put();
            object = row.Int(0);
        }
        if (!PackEarlyField(packed, row.Int(1), row.Int(2), row.Values()[3])) {
            m_damage.push_back("catalogue.sqlite: table field, row (" + std::to_string(object) +
                               ", " + std::to_string(row.Int(1)) +
                               "): its value is not of its kind");
        }
    });
    put();
    if (!MayHaveLost(Table::Object)) {
        for (const auto& [lost, fields] : m_fieldsOfLost) {
            m_damage.push_back("catalogue.sqlite: table field: the fields of object " +
                               std::to_string(lost) + ", which does not exist, are left out");
        }
    }
}

// A drawer of which only dimensions are left counts as one of its distribution's, and so shows as
// lost.
void DirectorySalvage::TakeEarlyDimensions() {
    if (!Shape(Table::DrawerDimension).IsIn(m_format)) {
        return;
    }
    std::map<std::int64_t, int> nDrawers;  // by distribution
    for (const DrawerRow& row : m_target.Rows().Find<DrawerRow>()) {
        ++nDrawers[row.distribution];
    }
    DrawerRow drawer;
    bool isKnown = false;
    std::vector<std::byte> packed;
    const auto put = [&] {
        if (isKnown) {
            drawer.dimensions = packed;
            m_target.Rows().Put(drawer);
        }
        packed.clear();
    };
    ReadRows(Table::DrawerDimension, [&](const PageRow& row) {
        const auto number = static_cast<int>(row.Int(1));
        if (row.Int(0) != drawer.distribution || number != drawer.number) {
            put();
            auto known = m_target.Rows().Find<DrawerRow>(row.Int(0), number);
            isKnown = known.Next();
            drawer = isKnown ? *known : DrawerRow{row.Int(0), number, 0, -1, 0, 0, {}};
            nDrawers[drawer.distribution] += isKnown ? 0 : 1;
        }
        PackEarlyDimension(packed, row.Int(2), row.Int(3), row.Int(4), drawer.extendable);
    });
    put();
    CountDrawers(nDrawers);
}

void DirectorySalvage::CountDrawers(std::map<std::int64_t, int>& nDrawers) {
    std::vector<std::int64_t> distributions;
    for (const DistributionRow& row : m_target.Rows().Find<DistributionRow>()) {
        distributions.push_back(row.object);
    }
    for (const std::int64_t object : distributions) {
        // One that lost all of its rows shows nowhere.
        const bool mayHaveOthers =
            MayHaveLost(Table::Drawer, object) && MayHaveLost(Table::DrawerDimension, object);
        auto row = m_target.Rows().Find<DistributionRow>(object);
        if (row.Next()) {
            DistributionRow counted = *row;
            counted.nDrawers = nDrawers[object] + (mayHaveOthers ? 1 : 0);
            m_target.Rows().Put(counted);
        }
    }
}

// An object that is lost may be made again later, of what leads to it.
void DirectorySalvage::PutFields(std::int64_t object, const std::vector<std::byte>& packed) {
    auto row = m_target.Rows().Find<ObjectRow>(object);
    if (!row.Next()) {
        m_fieldsOfLost[object] = packed;
        return;
    }
    m_target.Rows().Put(ObjectRow{object, row->type, row->category, packed});
}

void DirectorySalvage::TakeRowsFromIndices() {
    for (const auto& [object, packed] : std::exchange(m_fieldsOfLost, {})) {
        PutFields(object, packed);
    }
    TakeMembers();
    TakeSymbols();
    TakeLinks(Table::Child, Index::ChildByTarget);
    TakeLinks(Table::MapEntry, Index::MapEntryByTarget);
    TakeLinks(Table::VectorEntry, Index::VectorEntryByTarget);
    TakeSetEntries();
}

void DirectorySalvage::TakeMembers() {
    bool isWhole = true;
    const auto take = [&](const PageRow& row) {  // object, collection, member
        const auto& values = row.Values();
        isWhole &= Insert(Table::Member, std::array{values[1], values[2], values[0]});
    };
    if (MayHaveLost(Table::Member) && ReadIndex(Index::MemberByObject, 3, take) && isWhole) {
        CloseGaps(Table::Member);
    }
}

// One index knows the names, the other one the objects.
void DirectorySalvage::TakeSymbols() {
    if (!MayHaveLost(Table::Symbol)) {
        return;
    }
    using Place = std::tuple<std::int64_t, std::int64_t, std::int64_t>;  // collection, type, place
    std::map<Place, std::int64_t> objects;
    const bool knowsObjects = ReadIndex(Index::SymbolByObject, 4, [&](const PageRow& row) {
        objects[{row.Int(1), row.Int(2), row.Int(3)}] = row.Int(0);
    });
    bool isWhole = true;
    const bool knowsNames = ReadIndex(Index::SymbolByName, 4, [&](const PageRow& row) {
        const auto& values = row.Values();
        const auto found = objects.find({row.Int(0), row.Int(1), row.Int(3)});
        isWhole &= found != objects.end() &&
                   Insert(Table::Symbol, std::array<Value, 5>{values[0], values[1], values[3],
                                                              values[2], found->second});
    });
    if (knowsObjects && knowsNames && isWhole) {
        CloseGaps(Table::Symbol);
    }
}

// The index has all of a link but the type of its target, which is that of the target's object.
void DirectorySalvage::TakeLinks(Table table, Index index) {
    if (!MayHaveLost(table)) {
        return;
    }
    bool areSound = true;
    // Target object, target index, slot, target category, object, and the last part of the key.
    const bool isWhole = ReadIndex(index, 6, [&](const PageRow& row) {
        auto target = m_target.Rows().Find<ObjectRow>(row.Int(0));
        if (target.Next()) {
            const auto& values = row.Values();
            areSound &= Insert(
                table, std::array<Value, 7>{values[4], values[2], values[5], values[0], values[3],
                                            std::int64_t{target->type}, values[1]});
        } else if (MayHaveLost(table, row.Int(4), row.Int(2))) {
            m_halfLinks.push_back({table, row.Int(4), static_cast<int>(row.Int(2)), row.Int(0)});
        }
    });
    if (isWhole && areSound) {
        CloseGaps(table);
    }
}

void DirectorySalvage::TakeSetEntries() {
    bool isWhole = true;
    const auto take = [&](const PageRow& row) {
        // Target object, target index, slot, object, target category, target type.
        const auto& values = row.Values();
        isWhole &= Insert(Table::SetEntry, std::array{values[3], values[2], values[0], values[4],
                                                      values[5], values[1]});
    };
    if (MayHaveLost(Table::SetEntry) && ReadIndex(Index::SetEntryByTarget, 6, take) && isWhole) {
        CloseGaps(Table::SetEntry);
    }
}

void DirectorySalvage::TakeChunks(const std::function<void(double)>& progress) {
    std::int64_t store = 0;
    std::vector<Chunk> chunks;
    std::int64_t seen = 0;
    ReadRows(Table::Extent, [&](const PageRow& row) {
        if (row.Int(0) != store) {
            TakeStore(store, chunks);
            chunks.clear();
            store = row.Int(0);
        }
        try {
            chunks.push_back({static_cast<int>(row.Int(1)), row.Int(2), MakeExtent(ExtentOf(row))});
        } catch (const ORQBasFailure& failure) {
            m_damagedStores[store] = failure.Text();
        }
        seen = std::min(seen + row.Int(4), m_bulkSize);
        progress(std::min(1.0, static_cast<double>(seen) /
                                   static_cast<double>(std::max<std::int64_t>(1, m_bulkSize))));
    });
    TakeStore(store, chunks);
    m_target.ReserveNumbers({store + 1, 0});
    TakeSmallChunks();
    progress(1.0);
}

void DirectorySalvage::TakeSmallChunks() {
    if (!Shape(Table::SmallChunk).IsIn(m_format)) {
        return;
    }
    ReadRows(Table::SmallChunk, [&](const PageRow& row) {
        const std::int64_t store = row.Int(0);
        try {
            const Extent chunk = MakeExtent(SmallChunkRow{store, row.Blob(1)});
            if (m_target.Chunks().Length(store, 0, 0) == 0) {
                m_target.Chunks().Write(store, 0, 0, 0, chunk.small, 0);
            }
        } catch (const ORQBasFailure& failure) {
            if (failure.Kind() != ORQBasFailureKind::Damaged) {
                throw;
            }
            m_damagedStores[store] = failure.Text();
        }
        m_target.ReserveNumbers({store + 1, 0});
    });
}

void DirectorySalvage::TakeStore(std::int64_t store, const std::vector<Chunk>& chunks) {
    for (std::size_t i = 0; i < chunks.size() && !m_damagedStores.contains(store); ++i) {
        if (const std::string damage = DamageOf(chunks[i].extent); !damage.empty()) {
            m_damagedStores[store] = "piece " + std::to_string(i + 1) + " of " +
                                     std::to_string(chunks.size()) + ": " + damage;
        }
    }
    if (m_damagedStores.contains(store)) {
        return;
    }
    for (const auto& [part, number, extent] : chunks) {
        const std::byte* bytes = extent.small.data();
        if (extent.IsInFile()) {
            bytes = m_bulk.Map(extent.offset, extent.length);
            m_taken[extent.offset] = extent.offset + extent.length;
        }
        m_target.Chunks().Write(store, part, number, 0,
                                {bytes, static_cast<std::size_t>(extent.length)}, 0);
    }
}

// In words; empty where every block is right.
std::string DirectorySalvage::DamageOf(const Extent& extent) {
    if (!extent.IsInFile()) {
        return "";  // it was read from a page that is right
    }
    if (extent.offset + extent.length > m_bulkSize) {
        return m_bulkSize == 0 ? "bulk.bin is missing or empty"
                               : "bulk.bin ends at byte " + std::to_string(m_bulkSize) +
                                     ", before its bytes do";
    }
    if (IsTaken(extent)) {
        return "the bytes from byte " + std::to_string(extent.offset) +
               " of bulk.bin on belong to another array";
    }
    const std::vector<std::int64_t> damaged = FindDamage(m_bulk, extent);
    return damaged.empty()
               ? ""
               : "the block at byte " + std::to_string(damaged.front()) + " of bulk.bin is damaged";
}

// Bytes belong to one array: else a file of some pages could claim any number of copies of them.
bool DirectorySalvage::IsTaken(const Extent& extent) const {
    const auto behind = m_taken.lower_bound(extent.offset + extent.length);
    return behind != m_taken.begin() && std::prev(behind)->second > extent.offset;
}

}  // namespace orq::storage
