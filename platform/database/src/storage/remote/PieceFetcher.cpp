#include "PieceFetcher.h"

#include <algorithm>
#include <utility>

namespace orq::storage {

namespace {

std::int64_t EndOf(const BulkFile::Place& place) {
    return place.offset + place.size;
}

// What of a piece lies in a place; it may be nothing.
PieceView PartIn(const BulkFile::Place& place, const PieceView& piece) {
    const std::int64_t begin = std::max(piece.place, place.offset);
    const std::int64_t end =
        std::min(piece.place + static_cast<std::int64_t>(piece.bytes.size()), EndOf(place));
    return begin >= end
               ? PieceView()
               : PieceView{begin, piece.bytes.subspan(static_cast<std::size_t>(begin - piece.place),
                                                      static_cast<std::size_t>(end - begin))};
}

}  // namespace

void PieceFetcher::Serve(Engine& slot, const std::string& directory) {
    auto file = std::make_unique<BulkFile>();
    file->OpenUnchecked(BulkPath(directory), true);
    file->KeepWrittenPages(WrittenPath(directory));
    m_file = std::move(file);
    m_slot = &slot;
}

void PieceFetcher::Bring(std::span<const BulkFile::Place> places) {
    if (!std::exchange(m_hasSmall, true)) {
        BringWithSmall(places);
        return;
    }
    // A reader that begins where the last read ended, or in the block that it ended in, reads on,
    // and gets the more the longer it goes on.
    constexpr std::int64_t kLeast = 2 << 20;
    constexpr std::int64_t kMost = 16 << 20;
    const std::int64_t begin = places.front().offset;
    const std::int64_t end = EndOf(places.back());
    const bool readsOn = begin > m_lastEnd - kChecksumBlock && begin <= m_lastEnd + kLeast;
    m_aheadSize = readsOn ? std::clamp(2 * m_aheadSize, kLeast, kMost) : 0;
    // Up to where large pages of the system end, so that the next pieces begin with one.
    constexpr std::int64_t kWhole = 4 << 20;
    const std::int64_t aheadEnd = (end + m_aheadSize + kWhole - 1) / kWhole * kWhole;
    const BulkFile::Place ahead{end, readsOn ? aheadEnd - end : 0};
    const BulkFile::Place all{begin, EndOf(ahead) - begin};
    const std::span<const BulkFile::Place> asked =
        readsOn ? std::span<const BulkFile::Place>(&all, 1) : places;
    // The block in which the last one ended was begun, and has its pages.
    const std::int64_t fresh = std::max(begin, m_lastEnd);
    if (readsOn && !m_file->HasWritten(fresh, EndOf(ahead))) {
        // Through the handle that reads, for which the system goes on with pages of this size.
        m_slot->Bulk().PrepareToFill(fresh, EndOf(ahead));
    }
    Fetch(asked, places, ahead);
    m_lastEnd = EndOf(ahead);
}

void PieceFetcher::CheckStillThere() {
    m_store.CheckHas(m_slot->GetIdentity(), m_slot->Generation());
}

// Most commands begin with small chunks that lie here and there, such as times, tables and labels;
// so the first round trip brings them too.
void PieceFetcher::BringWithSmall(std::span<const BulkFile::Place> places) {
    constexpr std::int64_t kMostBytes = 2 << 20;
    std::vector<BulkFile::Place> all = m_slot->FindMissing(kMostBytes);
    all.insert(all.end(), places.begin(), places.end());
    const std::vector<BulkFile::Place> joined = Meet(all, all);
    m_lastEnd = EndOf(places.back());
    Fetch(joined, joined, {m_lastEnd, 0});
}

// Pieces go into the file as they come, while the store sends the next ones. What nobody asked for
// yet, `ahead`, only goes where nothing was ever written, so nothing is changed that somebody has
// compared.
void PieceFetcher::Fetch(std::span<const BulkFile::Place> asked,
                         std::span<const BulkFile::Place> places, const BulkFile::Place& ahead) {
    m_store.GetPieces(
        m_slot->GetIdentity(), m_slot->Generation(), asked, [&](const PieceView& piece) {
            for (const BulkFile::Place& place : places) {
                Put(PartIn(place, piece));
            }
            const PieceView part = PartIn(ahead, piece);
            if (!m_file->HasWritten(part.place, part.place + std::ssize(part.bytes))) {
                Put(part);
            }
        });
}

void PieceFetcher::Put(const PieceView& piece) {
    if (!piece.bytes.empty()) {
        m_file->Fill(piece.place, piece.bytes);
    }
}

void PieceFetcher::Verify(std::vector<std::string>& problems, const std::string& model,
                          const std::function<void(double)>& progress) {
    constexpr std::int64_t kMostBytes = 16 << 20;  // of a round trip
    constexpr std::size_t kMostExtents = 256;
    const auto all = static_cast<double>(std::max<std::int64_t>(1, m_slot->GetSizes().bulkBytes));
    const std::size_t nBefore = problems.size();
    std::int64_t seen = 0;
    std::int64_t bytes = 0;
    std::vector<Extent> extents;
    const auto verify = [&] {
        VerifyAll(extents, problems, model);
        extents.clear();
        seen += std::exchange(bytes, 0);
        progress(std::min(1.0, static_cast<double>(seen) / all));
    };
    for (const ExtentRow& row : m_slot->Rows().Find<ExtentRow>()) {
        try {
            Extent extent = MakeExtent(row);
            if (extent.IsInFile()) {  // else it came with its row
                bytes += extent.length;
                extents.push_back(std::move(extent));
            }
        } catch (const ORQBasFailure& failure) {
            problems.push_back(failure.Text());
        }
        if (bytes >= kMostBytes || extents.size() == kMostExtents) {
            verify();
        }
    }
    verify();
    if (problems.size() > nBefore) {
        CheckStillThere();
    }
}

void PieceFetcher::VerifyAll(std::span<const Extent> extents, std::vector<std::string>& problems,
                             const std::string& model) {
    std::vector<BulkFile::Place> places;
    for (const Extent& extent : extents) {
        places.push_back({extent.offset, extent.length});
    }
    if (places.empty()) {
        return;
    }
    std::vector<std::vector<std::byte>> contents;
    for (const BulkFile::Place& place : places) {
        contents.emplace_back(static_cast<std::size_t>(place.size));
    }
    const std::vector<BulkFile::Place> joined = Meet(places, places);
    m_store.GetPieces(
        m_slot->GetIdentity(), m_slot->Generation(), joined, [&](const PieceView& piece) {
            for (std::size_t i = 0; i < places.size(); ++i) {
                const PieceView part = PartIn(places[i], piece);
                if (!part.bytes.empty()) {
                    std::ranges::copy(part.bytes,
                                      contents[i].begin() + (part.place - places[i].offset));
                }
            }
        });
    for (std::size_t i = 0; i < places.size(); ++i) {
        for (const std::int64_t damaged : FindDamage(contents[i].data(), extents[i])) {
            problems.push_back(model + ": the pieces at byte " + std::to_string(damaged) +
                               " of the bulk data are damaged or missing (checksum differs)");
        }
    }
}

}  // namespace orq::storage
