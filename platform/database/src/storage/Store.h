// What the database layer needs of a storage engine: rows, chunks of bulk data, and transactions
// over both. The layer above sees this header, the rows of Rows.h and Salvage.h, and no more; it
// assumes nothing about files.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "Rows.h"

namespace orq::storage {

class Salvage;

// --- Rows ----------------------------------------------------------------------------------------

/// The values that the first columns of a key or an index have: numbers, and at most one text
/// behind them.
struct RowKey {
    static constexpr std::size_t kMostNumbers = 6;  // the key of a set's entry

    template <class... Values>
    explicit RowKey(const Values&... values) {
        static_assert(sizeof...(Values) <= kMostNumbers);
        (Add(values), ...);
    }
    std::size_t Size() const { return nNumbers + (text ? 1 : 0); }

    std::array<std::int64_t, kMostNumbers> numbers{};  // behind those that count there are zeros
    std::size_t nNumbers = 0;
    std::optional<std::string_view> text;

  private:
    void Add(std::int64_t number) { numbers[nNumbers++] = number; }
    void Add(std::string_view value) { text = value; }
};

/// The rows that answer one query. The store owns it; closing gives it back.
class RowSource {
  public:
    RowSource() = default;
    RowSource(const RowSource&) = delete;
    RowSource& operator=(const RowSource&) = delete;

    /// Puts the next row into a struct of the query's table; false when there is none.
    virtual bool Next(void* row) = 0;
    virtual void Close() noexcept = 0;

  protected:
    ~RowSource() = default;
};

/// Rows of one query, one at a time. Next throws Damaged where a value is none that its column may
/// have.
template <class Row>
class Cursor {
  public:
    explicit Cursor(RowSource& source) : m_source(&source) {}
    Cursor(Cursor&& other) noexcept : m_source(std::exchange(other.m_source, nullptr)) {}
    Cursor& operator=(Cursor&&) = delete;
    ~Cursor() {
        if (m_source != nullptr) {
            m_source->Close();
        }
    }

    /// Moves to the next (at first, the first) row; false when there is none.
    [[nodiscard]] bool Next() { return m_source->Next(&m_row); }
    /// The present row. REQUIRES: Next answered true.
    const Row& operator*() const { return m_row; }
    const Row* operator->() const { return &m_row; }

    /// For a loop over all rows.
    struct End {};
    class Iterator {
      public:
        explicit Iterator(Cursor& cursor) : m_cursor(cursor), m_hasRow(cursor.Next()) {}
        const Row& operator*() const { return *m_cursor; }
        void operator++() { m_hasRow = m_cursor.Next(); }
        bool operator!=(End) const { return m_hasRow; }

      private:
        Cursor& m_cursor;
        bool m_hasRow;
    };
    Iterator begin() { return Iterator(*this); }
    End end() const { return {}; }

  private:
    RowSource* m_source;
    Row m_row;
};

/// Typed rows in a few tables, reached by a prefix of their key, in key order, or through one of
/// the indices. There is no other access.
///
/// Keys are numbers, and at most one text at the end. A query that follows one with neighbouring
/// keys costs a quarter of what finding its row costs, so loops go in the order of keys.
class RowStore {
  public:
    RowStore() = default;
    RowStore(const RowStore&) = delete;
    RowStore& operator=(const RowStore&) = delete;
    virtual ~RowStore() = default;

    /// Rows whose key begins with these values, in key order.
    template <class Row, class... Keys>
    Cursor<Row> Find(const Keys&... keys) {
        return Cursor<Row>(FindRows(Row::kTable, RowKey(keys...)));
    }
    /// The last of them, or none.
    template <class Row, class... Keys>
    Cursor<Row> FindLast(const Keys&... keys) {
        return Cursor<Row>(FindLastRow(Row::kTable, RowKey(keys...)));
    }
    /// Rows whose columns of the index begin with these values, in index order.
    template <Index index, class... Keys>
    Cursor<typename IndexedRow<index>::Type> FindBy(const Keys&... keys) {
        return Cursor<typename IndexedRow<index>::Type>(FindRowsBy(index, RowKey(keys...)));
    }
    /// Whether there is a row whose key begins with these values.
    template <class Row, class... Keys>
    bool Has(const Keys&... keys) {
        return Find<Row>(keys...).Next();
    }
    /// How many there are.
    template <class... Keys>
    std::int64_t Count(Table table, const Keys&... keys) {
        return CountRows(table, RowKey(keys...));
    }

    /// Where the key is taken, Insert throws, InsertNew changes nothing and returns false, and Put
    /// replaces.
    template <class Row>
    void Insert(const Row& row) {
        WriteRow(Row::kTable, Write::Insert, &row);
    }
    template <class Row>
    bool InsertNew(const Row& row) {
        return WriteRow(Row::kTable, Write::InsertNew, &row);
    }
    template <class Row>
    void Put(const Row& row) {
        WriteRow(Row::kTable, Write::Put, &row);
    }
    /// Removes every row whose key begins with these values; returns how many.
    template <class... Keys>
    int Erase(Table table, const Keys&... keys) {
        return EraseRows(table, RowKey(keys...));
    }

    /// How many rows were written and erased so far.
    virtual std::int64_t NumChanges() const = 0;

    /// How many changes of the open transaction have begun and are not whole; see Change.
    int& Unfinished() { return m_nUnfinished; }

  protected:
    enum class Write : int { Insert, InsertNew, Put };

  private:
    virtual RowSource& FindRows(Table table, const RowKey& key) = 0;
    virtual RowSource& FindLastRow(Table table, const RowKey& key) = 0;
    virtual RowSource& FindRowsBy(Index index, const RowKey& key) = 0;
    virtual std::int64_t CountRows(Table table, const RowKey& key) = 0;
    /// `row` is a struct of the table. Returns whether anything was written.
    virtual bool WriteRow(Table table, Write how, const void* row) = 0;
    virtual int EraseRows(Table table, const RowKey& key) = 0;

    int m_nUnfinished = 0;
};

/// A change that has to be whole. One that an exception leaves half done, in the rows or in what is
/// kept of them in memory, stays counted: its transaction can only be undone.
class Change {
  public:
    explicit Change(RowStore& rows) : m_nUnfinished(rows.Unfinished()) { ++m_nUnfinished; }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

    /// The last act of the change.
    void Finish() { --m_nUnfinished; }

  private:
    int& m_nUnfinished;
};

// --- Bulk data -----------------------------------------------------------------------------------

/// Chunks of bulk data: each is a run of bytes that grows at its end or is replaced, named by
/// (store, part, chunk).
class ChunkStore {
  public:
    ChunkStore() = default;
    ChunkStore(const ChunkStore&) = delete;
    ChunkStore& operator=(const ChunkStore&) = delete;
    virtual ~ChunkStore() = default;

    /// What a store knows of one chunk.
    struct Chunk {};
    /// Bytes [begin, end) of a chunk.
    struct Range {
        std::int64_t begin = 0;
        std::int64_t end = 0;
    };

    /// A chunk that is read in many small pieces: finds it once. Valid until the next Write,
    /// Refresh or rollback.
    class Reader {
      public:
        /// A chunk that has no bytes.
        Reader() = default;
        Reader(ChunkStore& store, Chunk& chunk, const std::byte* base, std::int64_t length,
               Range checked)
            : m_store(&store),
              m_chunk(&chunk),
              m_base(base),
              m_length(length),
              m_checked(checked) {}

        /// Bytes [begin, end), which must lie below the length, compared with their checksums.
        /// Throws Damaged with the place.
        const std::byte* Bytes(std::int64_t begin, std::int64_t end) {
            if (begin < m_checked.begin || end > m_checked.end) {
                m_checked = m_store->Check(*m_chunk, {begin, end});
            }
            return m_base + begin;
        }
        /// Copies them; costs least where they are compared for the first time. What `to` holds
        /// after an exception has no meaning.
        void CopyTo(std::int64_t begin, std::int64_t end, std::byte* to) {
            m_checked = m_store->CopyChecked(*m_chunk, {begin, end}, to);
        }
        /// Whether all bytes have been compared.
        bool IsChecked() const { return m_checked.begin == 0 && m_checked.end == m_length; }
        std::int64_t Length() const { return m_length; }

      private:
        ChunkStore* m_store = nullptr;
        Chunk* m_chunk = nullptr;
        const std::byte* m_base = nullptr;
        std::int64_t m_length = 0;
        Range m_checked;
    };
    virtual Reader Open(std::int64_t store, int part, std::int64_t chunk) = 0;

    /// A piece of a chunk.
    struct Piece {
        std::int64_t chunk;
        Range range;
    };
    /// Pieces of part 0 of a store, one behind the other in memory of their own, which is the file
    /// itself and stays when the store ends: what lies there then is another matter. Of a small
    /// chunk, which the file does not have, it is a copy. Null where they cannot be put so, or have
    /// bytes that were never written. Throws Damaged.
    virtual std::shared_ptr<const std::byte> Map(std::int64_t store,
                                                 std::span<const Piece> pieces) = 0;

    /// Bytes of a chunk as Reader returns them.
    const std::byte* Read(std::int64_t store, int part, std::int64_t chunk, std::int64_t begin,
                          std::int64_t end) {
        return Open(store, part, chunk).Bytes(begin, end);
    }
    /// The length of a chunk in bytes, 0 when nothing was ever written to it.
    virtual std::int64_t Length(std::int64_t store, int part, std::int64_t chunk) = 0;

    /// Puts `bytes` at `begin`; a gap behind the chunk's present length reads as zero. A chunk that
    /// moves gets room for at least `reserve` bytes, so that later appends stay in place.
    virtual void Write(std::int64_t store, int part, std::int64_t chunk, std::int64_t begin,
                       std::span<const std::byte> bytes, std::int64_t reserve = 0) = 0;
    virtual void Erase(std::int64_t store) = 0;

  private:
    /// Makes sure that these bytes are there and are those that were written; returns a range
    /// around them of which this is known.
    virtual Range Check(Chunk& chunk, Range range) = 0;
    /// The same, and copies them.
    virtual Range CopyChecked(Chunk& chunk, Range range, std::byte* to) = 0;
};

// --- The whole -----------------------------------------------------------------------------------

struct Sizes {
    std::int64_t catalogueBytes = 0;  // the rows with their log
    std::int64_t bulkBytes = 0;       // room of chunks and free room
    std::int64_t freeBulkBytes = 0;
};

/// The numbers that the next object, and the next set or drawer, get.
struct Numbers {
    std::int64_t object = 0;
    int set = 0;
};

/// A commit of one of several writers changes what another has changed meanwhile. It is undone, and
/// the handle sees the other's commit, so that it can be made anew.
class ChangesMeet : public ORQBasFailure {
  public:
    ChangesMeet(std::string beginning, std::vector<std::int64_t> objects);

    /// The text without the objects behind it.
    const std::string& Beginning() const { return m_beginning; }
    /// The objects that both changed, ascending.
    const std::vector<std::int64_t>& Objects() const { return m_objects; }

  private:
    std::string m_beginning;
    std::vector<std::int64_t> m_objects;
};

/// One open database: rows and chunks under one transaction, or a snapshot of them.
///
/// docs/commit-and-recovery.md numbers the invariants that a store keeps. One thread uses it at a
/// time.
class Store {
  public:
    /// Writes what every database has from its beginning.
    using FirstContent = void (*)(Store&);
    /// Fills and closes a database that was just made.
    using Filling = std::function<void(std::unique_ptr<Store>)>;
    /// Makes a database out of sight, lets it be filled, and gives it its name. Throws when the
    /// name is taken; whatever fails, nothing is left behind under the name. What killed processes
    /// left when they made one of the same name is removed.
    static void Build(const std::string& name, FirstContent content, const Filling& fill);
    /// Builds and opens for writing.
    static std::unique_ptr<Store> Create(const std::string& name, FirstContent content);
    static std::unique_ptr<Store> CreateInMemory(FirstContent content);
    static std::unique_ptr<Store> Open(const std::string& name, bool writable);
    /// Whether a name is that of a model in a store that machines share, a URL.
    static bool IsRemote(std::string_view name);
    /// CopyTo, for a name of either kind.
    static void Copy(Store& from, const std::string& name,
                     const std::function<void(double)>& progress);
    /// The names of what lies in a database's directory and is no part of a database.
    static std::vector<std::string> FindForeignFiles(const std::string& directory);

    Store() = default;
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;
    virtual ~Store() = default;

    /// A child of fork() has no part in a store, and must neither use nor destroy one of its
    /// parent's. Throws Refused with the number of the process that opened it.
    virtual void CheckProcess() const = 0;
    virtual bool IsOfOtherProcess() const = 0;

    /// The name by which it was opened; empty for one in memory.
    virtual const std::string& Path() const = 0;
    virtual bool IsWritable() const = 0;
    /// The version of the format in which it was made, and stays. Rows of older ones lack what came
    /// later; see Schema.h.
    virtual int FormatVersion() const = 0;

    /// Keeps meanings of numbers in the database, each number once. Needs a transaction, or to be
    /// called of FirstContent.
    virtual void Describe(std::span<const NumberMeaning> meanings) = 0;

    virtual RowStore& Rows() = 0;
    virtual ChunkStore& Chunks() = 0;

    /// Numbers that this handle has not given before, and no committed row holds; that of a set or
    /// drawer is above `above`. They ascend. One of several writers has ranges of its own, so there
    /// may be numbers of others between two.
    virtual std::int64_t NewObject() = 0;
    virtual int NewSet(int above = 0) = 0;
    virtual Numbers NextNumbers() const = 0;
    /// Whether this handle may have given them; 0 for none.
    virtual bool MayHaveGiven(std::int64_t object, int set) const = 0;

    /// Transactions nest; the inner ones are savepoints. Depth is 0 outside of any.
    virtual int Depth() const = 0;
    virtual void Begin() = 0;
    /// The outermost commit is durable when it returns. Whatever it throws, the level has been
    /// rolled back; the changes are lost, unless the handle refuses from then on because what was
    /// kept of them is unknown. Throws Refused where a change of this level was left half done, and
    /// ChangesMeet for one of several writers; Generation grows by more than 1 where others had
    /// committed first.
    virtual void Commit() = 0;
    /// Undoes this level. Where that fails, the handle refuses from then on.
    virtual void Rollback() noexcept = 0;
    /// Throws Refused after a failure that leaves the handle or its transaction in doubt.
    virtual void CheckUsable() = 0;

    /// The number of the state that this handle sees; every commit that changes anything adds 1.
    virtual std::int64_t Generation() const = 0;
    /// A read-only handle, or one of several writers outside of a transaction, moves to the last
    /// committed state; returns whether it is another one.
    /// When it throws, the handle shows the old state still, or refuses until a Refresh succeeds.
    virtual bool Refresh() = 0;
    /// Another handle of the database, where that alone can see what is newer; else null. Throws Refused
    /// where another database, or none, is in its place.
    virtual std::unique_ptr<Store> OpenNewer() = 0;

    /// The process that has the database open for writing, which may be this one; empty when there
    /// is none.
    virtual std::string Writer() const = 0;

    /// Makes a database of the state that this handle sees, out of sight, and gives it its name.
    /// Throws Usage when the name is taken or a transaction is open, Damaged when bulk data is;
    /// then nothing is left under the name. Progress goes from 0 to 1.
    virtual void CopyTo(const std::string& name, const std::function<void(double)>& progress) = 0;

    virtual Sizes GetSizes() = 0;
    /// Compares all that the rows lie in with its checksums, and every value with its column, and
    /// adds what is wrong. False where the rows cannot be relied on, not even to come to an end.
    [[nodiscard]] virtual bool VerifyRows(std::vector<std::string>& problems) = 0;
    /// The same of bulk data; also accounts for every byte. Progress goes from 0 to 1. REQUIRES:
    /// rows that can be relied on.
    virtual void VerifyChunks(std::vector<std::string>& problems,
                              const std::function<void(double)>& progress) = 0;

    /// What is whole in a damaged database, to be taken over into this one, which has no rows yet;
    /// see Salvage. REQUIRES: a transaction is open.
    virtual std::unique_ptr<Salvage> SalvageFrom(const std::string& directory,
                                                 const std::function<void()>& goOn) = 0;
};

}  // namespace orq::storage
