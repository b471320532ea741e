// The rows of a catalogue that may be damaged, read from its pages without SQLite: a damaged page
// loses what lies in it and under it, and nothing else.
//
// A page counts as it was last committed: from the log if that holds it, else from the main file if
// its checksum is right. Nothing is written, locked or made beside the files.
#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "PageChecksumVfs.h"
#include "Sqlite.h"

namespace orq::storage {

// The columns of a row in their order; text and blobs are valid while the row is.
class PageRow {
  public:
    std::span<const Value> Values() const { return m_values; }
    std::size_t Size() const { return m_values.size(); }
    // 0 and empty for a value of another type.
    std::int64_t Int(std::size_t column) const { return Get<std::int64_t>(column); }
    std::string_view Text(std::size_t column) const { return Get<std::string_view>(column); }
    std::span<const std::byte> Blob(std::size_t column) const {
        return Get<std::span<const std::byte>>(column);
    }

    // Behind the last column.
    void Add(const Value& value) { m_values.push_back(value); }
    void Replace(std::size_t column, const Value& value) { m_values[column] = value; }
    void Remove(std::size_t column) {
        m_values.erase(m_values.begin() + static_cast<std::ptrdiff_t>(column));
    }

  private:
    friend class CataloguePages;
    template <class T>
    T Get(std::size_t column) const {
        const T* value = std::get_if<T>(&m_values[column]);
        return value != nullptr ? *value : T();
    }

    std::vector<Value> m_values;
    std::vector<std::byte> m_payload;
};

class CataloguePages {
  public:
    using OnRow = std::function<void(PageRow&)>;
    // Rows are missing between the last one and the next.
    using OnGap = std::function<void()>;

    // Throws Io when the file cannot be read at all.
    explicit CataloguePages(const std::string& path);

    bool HasLog() const { return !m_log.empty(); }
    // Whether main file and log are of one time; see FoldStamp. True where that cannot be read.
    bool GoTogether();
    // Whether the main file is one state without the log.
    bool IsWholeWithoutLog() const;
    // From here on, only the main file counts.
    void LeaveLogOut() { m_log.clear(); }

    // All rows of a table or index that can be read, in the order of its key. A row that has not
    // `nColumns` columns is of another table, and is left out. A table may be keyed by row number,
    // which is its first column then.
    enum class Key { Columns, RowNumber };
    void ReadTree(std::int64_t root, std::size_t nColumns, Key key, const OnRow& onRow,
                  const OnGap& onGap);
    // The first pages of tables and indices by name, as far as the schema can be read.
    std::map<std::string, std::int64_t> ReadRoots();

    // The numbers of all pages that are damaged.
    std::vector<std::int64_t> FindDamage();

  private:
    using Page = std::array<std::byte, kCataloguePageSize>;
    struct Walk;

    std::optional<FoldStamp> ReadStamp() const;
    bool ReadPage(std::int64_t number, Page& page);
    void WalkPage(std::int64_t number, int depth, Walk& walk);
    void TakeCell(const Page& page, std::size_t at, Walk& walk);
    bool ReadPayload(const Page& page, std::size_t at, std::size_t size, std::size_t mostLocal,
                     std::vector<std::byte>& payload);

    Connection m_file;
    std::ifstream m_logFile;
    LogExtent m_logExtent;
    PlacesInLog m_log;
};

}  // namespace orq::storage
