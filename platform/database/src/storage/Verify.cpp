// Engine::VerifyRows and VerifyChunks: every byte that the catalogue answers for, and every byte
// of the bulk file.

#include <algorithm>
#include <array>

#include "Engine.h"
#include "ORQBasFailure.h"
#include "PageChecksumVfs.h"

namespace orq::storage {

namespace {

// A writer may be folding its log in just now, so a page that differs is looked at again.
bool IsIntactOnDisk(const Connection& connection, std::int64_t number) {
    std::array<std::byte, kCataloguePageSize> page;
    // A page is folded by one write, so the second look mostly sees all of it.
    for (int attempt = 0; attempt < 5; ++attempt) {
        // The checksum is compared on the way.
        if (connection.ReadFile((number - 1) * kCataloguePageSize, page) == SQLITE_OK) {
            return true;
        }
    }
    return false;
}

// A page that the log holds is written again, whatever became of it when power failed while the
// log was folded in.
void VerifyPages(const Connection& connection, const std::string& path,
                 std::vector<std::string>& problems) {
    const std::int64_t nPages = connection.FileSize() / kCataloguePageSize;
    std::vector<std::int64_t> damaged;
    for (std::int64_t number = 1; number <= nPages; ++number) {
        if (!IsIntactOnDisk(connection, number)) {
            damaged.push_back(number);
        }
    }
    if (damaged.empty()) {
        return;
    }
    const PlacesInLog inLog = FindPagesInLog(connection.LogReader());
    for (const std::int64_t number : damaged) {
        if (!inLog.contains(number)) {
            problems.push_back(path + ": page " + std::to_string(number) +
                               " is damaged (checksum differs)");
        }
    }
}

struct Piece {
    std::int64_t offset;
    std::int64_t capacity;
    std::string owner;
};

// Extents and free space must fill the bulk file from its header to its end, each byte once.
void CheckCoverage(std::vector<Piece> pieces, std::int64_t bulkEnd,
                   std::vector<std::string>& problems) {
    std::ranges::sort(pieces, {}, &Piece::offset);
    std::int64_t end = kBulkPage;
    for (const Piece& piece : pieces) {
        if (piece.offset < end) {
            problems.push_back("bulk.bin: " + piece.owner + " at byte " +
                               std::to_string(piece.offset) + " overlaps the one before it by " +
                               std::to_string(end - piece.offset) + " bytes");
        } else if (piece.offset > end) {
            problems.push_back("bulk.bin: " + std::to_string(piece.offset - end) +
                               " bytes from byte " + std::to_string(end) +
                               " are neither used nor free");
        }
        end = std::max(end, piece.offset + piece.capacity);
    }
    if (end != bulkEnd) {
        problems.push_back("bulk.bin: its extents end at byte " + std::to_string(end) +
                           ", the catalogue says " + std::to_string(bulkEnd));
    }
}

// Of versions that have rows of fields and of dimensions. Nobody above the store sees them, so it
// looks for those that belong to nothing.
void VerifyOwnersOfEarlyRows(Connection& connection, int format,
                             std::vector<std::string>& problems) {
    const auto tell = [&](Table table, const char* query) {
        if (!Shape(table).IsIn(format)) {
            return;
        }
        connection.ForEachRow(query, [&](const std::vector<Value>& row) {
            problems.push_back(std::string("a row of table ") + NameOf(table) + " belongs to " +
                               std::string(std::get<std::string_view>(row[0])) +
                               ", which does not exist");
        });
    };
    tell(Table::Field,
         "SELECT DISTINCT 'object ' || object FROM field WHERE object NOT IN "
         "(SELECT id FROM object)");
    tell(Table::DrawerDimension,
         "SELECT DISTINCT 'drawer ' || drawer || ' of object ' || distribution FROM "
         "drawer_dimension WHERE (distribution, drawer) NOT IN (SELECT distribution, number FROM "
         "drawer)");
}

// Rows of shared tables that are of none of those that share them are seen by nobody else.
void VerifyKinds(Connection& connection, int format, std::vector<std::string>& problems) {
    if (format < kSharedTablesSince) {
        return;
    }
    for (const std::string& query : CountsOfForeignRows()) {
        connection.ForEachRow(query.c_str(), [&](const std::vector<Value>& row) {
            if (const auto n = std::get<std::int64_t>(row[1]); n > 0) {
                problems.push_back("catalogue.sqlite: table " +
                                   std::string(std::get<std::string_view>(row[0])) + ": " +
                                   std::to_string(n) + " of its rows are of no kind that there is");
            }
        });
    }
}

}  // namespace

bool Engine::VerifyRows(std::vector<std::string>& problems) {
    if (!IsInMemory()) {
        VerifyPages(*m_connection, CataloguePath(m_directory), problems);
        if (const int nLost = CountCommitsLostInLog(m_connection->LogReader()); nLost > 0) {
            problems.push_back(CataloguePath(m_directory) + "-wal: is damaged: " +
                               std::to_string(nLost) + " or more commits behind it are lost");
            // Else the next close would fold it in, and nobody could find the damage again.
            m_keepsLog = true;
        }
    }
    const std::size_t nBefore = problems.size();
    // A table of nothing but wrong values would else be listed row by row.
    constexpr std::size_t kMostTold = 1000;
    try {
        m_connection->ForEachRow("PRAGMA integrity_check", [&](const std::vector<Value>& row) {
            const auto line = std::get<std::string_view>(row[0]);
            if (line != "ok") {
                problems.push_back("catalogue.sqlite: " + std::string(line));
            }
        });
        for (int table = 0; table < static_cast<int>(Table::Count); ++table) {
            // Rows of a tree that is broken are not worth a report of their own.
            if (problems.size() == nBefore &&
                Shape(static_cast<Table>(table)).IsIn(FormatVersion())) {
                m_catalogue->VerifyValues(static_cast<Table>(table), kMostTold, problems);
            }
        }
    } catch (const ORQBasFailure& failure) {
        problems.push_back("catalogue.sqlite: cannot be read through: " + failure.Text());
    }
    const bool areReliable = problems.size() == nBefore;
    if (areReliable) {
        VerifyKinds(*m_connection, FormatVersion(), problems);
        VerifyOwnersOfEarlyRows(*m_connection, FormatVersion(), problems);
    }
    return areReliable;
}

void Engine::VerifyChunks(std::vector<std::string>& problems,
                          const std::function<void(double)>& progress) {
    std::vector<Piece> pieces;
    const auto bulkEnd = m_chunks->BulkEnd();
    std::int64_t seen = 0;
    for (const ExtentRow& row : m_catalogue->Find<ExtentRow>()) {
        const std::string owner = "chunk " + std::to_string(row.chunk) + " of store " +
                                  std::to_string(row.store) + " part " + std::to_string(row.part);
        try {
            const Extent extent = MakeExtent(row);
            if (!extent.IsInFile()) {
                continue;  // the page that it stands in was compared
            }
            pieces.push_back({extent.offset, extent.capacity, owner});
            if (extent.offset + extent.capacity > bulkEnd) {
                problems.push_back("bulk.bin: " + owner + " reaches beyond the end");
                continue;
            }
            for (const std::int64_t damaged : FindDamage(m_file, extent)) {
                problems.push_back("bulk.bin: the block at byte " + std::to_string(damaged) + " (" +
                                   owner + ") is damaged (checksum differs)");
            }
            seen += extent.capacity;
        } catch (const ORQBasFailure& failure) {
            problems.push_back(failure.Text());
        }
        progress(static_cast<double>(seen) / static_cast<double>(bulkEnd));
    }
    for (const FreeExtentRow& row : m_catalogue->Find<FreeExtentRow>()) {
        pieces.push_back({row.offset, row.length, "free space"});
    }
    CheckCoverage(std::move(pieces), bulkEnd, problems);
    progress(1.0);
}

}  // namespace orq::storage
