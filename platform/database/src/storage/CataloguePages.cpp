#include "CataloguePages.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace orq::storage {

namespace {

// Kinds of pages and the sizes that follow from the page's; see "Database File Format" of SQLite.
enum PageKind : int { IndexInterior = 2, TableInterior = 5, IndexLeaf = 10, TableLeaf = 13 };
constexpr std::size_t kUsable = kCataloguePageSize - kPageReservedBytes;
constexpr std::size_t kMostInIndexCell = (kUsable - 12) * 64 / 255 - 23;
constexpr std::size_t kMostInTableCell = kUsable - 35;
constexpr std::size_t kLeastInCell = (kUsable - 12) * 32 / 255 - 23;
constexpr std::size_t kFileHeader = 100;  // in front of the first page's own
// About SQLite's own bounds of a row's size and a tree's depth. A file that claims more is damaged.
constexpr std::size_t kMostPayload = 1 << 30;
constexpr int kMostLevels = 20;

std::size_t BigEndian16(std::span<const std::byte> bytes, std::size_t at) {
    return std::to_integer<std::size_t>(bytes[at]) << 8 |
           std::to_integer<std::size_t>(bytes[at + 1]);
}

// Reads SQLite's numbers of variable length one after the other; beyond the end everything is 0.
class VarintReader {
  public:
    VarintReader(std::span<const std::byte> bytes, std::size_t at) : m_bytes(bytes), m_at(at) {}

    std::uint64_t Next() {
        std::uint64_t value = 0;
        for (int i = 0; i < 9 && m_at < m_bytes.size(); ++i) {
            const auto digit = std::to_integer<std::uint64_t>(m_bytes[m_at++]);
            if (i == 8) {
                return value << 8 | digit;
            }
            value = value << 7 | (digit & 0x7F);
            if (digit < 0x80) {
                return value;
            }
        }
        m_isWhole = false;
        return 0;
    }
    std::size_t At() const { return m_at; }
    bool IsWhole() const { return m_isWhole; }

  private:
    std::span<const std::byte> m_bytes;
    std::size_t m_at;
    bool m_isWhole = true;
};

std::size_t SizeOfSerial(std::uint64_t serial) {
    constexpr std::array<std::size_t, 10> kSizes = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0};
    return serial < kSizes.size() ? kSizes[serial] : static_cast<std::size_t>((serial - 12) / 2);
}

Value ValueOf(std::uint64_t serial, std::span<const std::byte> bytes) {
    if (serial == 0) {
        return nullptr;
    }
    if (serial == 8 || serial == 9) {
        return static_cast<std::int64_t>(serial - 8);
    }
    if (serial < 8) {
        const bool isNegative = std::to_integer<int>(bytes[0]) >= 0x80 && serial < 7;
        std::uint64_t bits = isNegative ? ~std::uint64_t{0} : 0;
        for (const std::byte digit : bytes) {
            bits = bits << 8 | std::to_integer<std::uint64_t>(digit);
        }
        if (serial == 7) {
            double value = 0;
            std::memcpy(&value, &bits, sizeof value);
            return value;
        }
        return static_cast<std::int64_t>(bits);
    }
    if (serial % 2 == 0) {
        return bytes;
    }
    return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

// A record is the size of its header, a serial type for each column, and the values.
bool DecodeRecord(std::span<const std::byte> record, std::vector<Value>& values) {
    values.clear();
    VarintReader header(record, 0);
    const std::uint64_t headerSize = header.Next();
    std::size_t at = headerSize;
    if (headerSize > record.size()) {
        return false;
    }
    while (header.IsWhole() && header.At() < headerSize) {
        const std::uint64_t serial = header.Next();
        const std::size_t size = SizeOfSerial(serial);
        if (serial == 10 || serial == 11 || size > record.size() - at) {
            return false;
        }
        values.push_back(ValueOf(serial, record.subspan(at, size)));
        at += size;
    }
    return header.IsWhole() && header.At() == headerSize;
}

}  // namespace

// One reading of a tree.
struct CataloguePages::Walk {
    std::size_t nColumns;
    const OnRow& onRow;
    const OnGap& onGap;
    bool isTable = false;  // keyed by row number
    bool isNumberFirstColumn =
        false;  // and the first column stands for it, as it does not in the schema
    std::set<std::int64_t> seen;
    PageRow row;
};

// The file is opened through the shim, which compares checksums; no SQL is ever run on it, so
// SQLite neither locks it nor looks for a log.
CataloguePages::CataloguePages(const std::string& path)
    : m_file(path, SQLITE_OPEN_READONLY, PageChecksumVfsName(), path),
      m_logFile(path + "-wal", std::ios::binary) {
    const ReadLog read = [&](std::int64_t offset, std::span<std::byte> bytes) {
        m_logFile.clear();
        m_logFile.seekg(offset);
        m_logFile.read(reinterpret_cast<char*>(bytes.data()),
                       static_cast<std::streamsize>(bytes.size()));
        return m_logFile.good();
    };
    m_log = FindPagesInLog(read);
    m_logExtent = MeasureLog(read);
}

std::optional<FoldStamp> CataloguePages::ReadStamp() const {
    FoldStamp::Bytes bytes{};
    return m_file.ReadFile(FoldStamp::kOffset, bytes) == SQLITE_OK ? FoldStamp::Decode(bytes)
                                                                   : std::nullopt;
}

bool CataloguePages::GoTogether() {
    constexpr std::size_t kNotedAt = 60;  // SQLite's user_version
    Page first;
    const auto stamp = ReadStamp();
    return !stamp || !ReadPage(1, first) ||
           stamp->IsContinuedBy(m_logExtent, BigEndian(first, kNotedAt));
}

bool CataloguePages::IsWholeWithoutLog() const {
    const auto stamp = ReadStamp();
    return !stamp || stamp->isWhole;
}

bool CataloguePages::ReadPage(std::int64_t number, Page& page) {
    if (const auto place = m_log.find(number); place != m_log.end()) {
        m_logFile.clear();
        m_logFile.seekg(place->second);
        m_logFile.read(reinterpret_cast<char*>(page.data()), kCataloguePageSize);
        return m_logFile.good();
    }
    return number > 0 && m_file.ReadFile((number - 1) * kCataloguePageSize, page) == SQLITE_OK;
}

std::vector<std::int64_t> CataloguePages::FindDamage() {
    std::vector<std::int64_t> damaged;
    const std::int64_t nPages = (m_file.FileSize() + kCataloguePageSize - 1) / kCataloguePageSize;
    Page page;
    for (std::int64_t number = 1; number <= nPages; ++number) {
        if (!ReadPage(number, page)) {
            damaged.push_back(number);
        }
    }
    return damaged;
}

void CataloguePages::ReadTree(std::int64_t root, std::size_t nColumns, Key key, const OnRow& onRow,
                              const OnGap& onGap) {
    const bool isByNumber = key == Key::RowNumber;
    Walk walk{nColumns, onRow, onGap, isByNumber, isByNumber, {}, {}};
    WalkPage(root, 0, walk);
}

std::map<std::string, std::int64_t> CataloguePages::ReadRoots() {
    std::map<std::string, std::int64_t> roots;
    const OnRow takeRoot = [&](const PageRow& row) {
        roots[std::string(row.Text(1))] = row.Int(3);
    };
    const OnGap ignore = [] {};
    Walk walk{5, takeRoot, ignore, true, false, {}, {}};
    WalkPage(1, 0, walk);
    return roots;
}

void CataloguePages::WalkPage(std::int64_t number, int depth, Walk& walk) {
    Page page;
    // A damaged pointer may lead back into the tree.
    if (depth > kMostLevels || !walk.seen.insert(number).second || !ReadPage(number, page)) {
        walk.onGap();
        return;
    }
    const std::size_t header = number == 1 ? kFileHeader : 0;
    const int kind = std::to_integer<int>(page[header]);
    const bool isLeaf = kind == (walk.isTable ? TableLeaf : IndexLeaf);
    const bool isInterior = kind == (walk.isTable ? TableInterior : IndexInterior);
    const std::size_t nCells = BigEndian16(page, header + 3);
    const std::size_t cells = header + (isLeaf ? 8 : 12);
    if ((!isLeaf && !isInterior) || cells + 2 * nCells > kUsable) {
        walk.onGap();
        return;
    }
    for (std::size_t i = 0; i < nCells; ++i) {
        const std::size_t at = BigEndian16(page, cells + 2 * i);
        if (at + 4 > kUsable) {
            walk.onGap();
            continue;
        }
        if (isInterior) {
            WalkPage(BigEndian(page, at), depth + 1, walk);
        }
        // Rows of an index also lie in its inner pages, those of a table in its leaves alone.
        if (isLeaf || !walk.isTable) {
            TakeCell(page, at + (isInterior ? 4 : 0), walk);
        }
    }
    if (isInterior) {
        WalkPage(BigEndian(page, header + 8), depth + 1, walk);
    }
}

void CataloguePages::TakeCell(const Page& page, std::size_t at, Walk& walk) {
    VarintReader numbers(std::span<const std::byte>(page).first(kUsable), at);
    const std::uint64_t size = numbers.Next();
    const auto rowNumber = static_cast<std::int64_t>(walk.isTable ? numbers.Next() : 0);
    const bool isWhole =
        numbers.IsWhole() && size <= kMostPayload &&
        ReadPayload(page, numbers.At(), size, walk.isTable ? kMostInTableCell : kMostInIndexCell,
                    walk.row.m_payload) &&
        DecodeRecord(walk.row.m_payload, walk.row.m_values);
    if (isWhole && walk.row.Size() == walk.nColumns) {
        if (walk.isNumberFirstColumn) {
            walk.row.m_values[0] = rowNumber;
        }
        walk.onRow(walk.row);
    } else {
        walk.onGap();
    }
}

// What does not fit the page goes on in a chain of pages, each with the next one's number in front.
bool CataloguePages::ReadPayload(const Page& page, std::size_t at, std::size_t size,
                                 std::size_t mostLocal, std::vector<std::byte>& payload) {
    std::size_t local = size;
    if (size > mostLocal) {
        local = kLeastInCell + (size - kLeastInCell) % (kUsable - 4);
        local = local <= mostLocal ? local : kLeastInCell;
    }
    if (at + local + (local < size ? 4 : 0) > kUsable) {
        return false;
    }
    const auto append = [&](const Page& from, std::size_t begin, std::size_t n) {
        const auto bytes = std::span<const std::byte>(from).subspan(begin, n);
        payload.insert(payload.end(), bytes.begin(), bytes.end());
    };
    payload.clear();
    append(page, at, local);
    Page more;
    std::int64_t next = local < size ? BigEndian(page, at + local) : 0;
    while (payload.size() < size) {
        // No bound on the chain is needed: each page brings bytes, and the size is bounded.
        if (!ReadPage(next, more)) {
            return false;
        }
        append(more, 4, std::min(size - payload.size(), kUsable - 4));
        next = BigEndian(more, 0);
    }
    return true;
}

}  // namespace orq::storage
