#include "formats/exodus/ExodusPieceResults.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <string>

#include "ORQExcImportError.h"
#include "model/NoValue.h"

namespace orq::exchange {

ExodusPieceResults::ExodusPieceResults(std::vector<Piece> pieces, int nNodes,
                                       std::vector<Block> blocks)
    : m_pieces(std::move(pieces)), m_nNodes(nNodes), m_blocks(std::move(blocks)) {
    m_times = m_pieces.front().results->Times();
    for (std::size_t i = 0; i < m_pieces.size(); ++i) {
        if (m_pieces[i].results->Times() != m_times) {
            throw ORQExcImportError(
                m_pieces[i].file, "time steps",
                fmt::format("are not those of the piece {}, which has {}",
                            m_pieces.front().file.filename().string(), m_times.size()));
        }
        AddArrays(i);
        m_losses.Append(m_pieces[i].results->ResultLosses());
    }
    NoteGaps();
}

void ExodusPieceResults::AddArrays(std::size_t piece) {
    const std::vector<ORQExcResultArray>& arrays = m_pieces[piece].results->Arrays();
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        const auto known = std::ranges::find_if(m_arrays, [&](const ORQExcResultArray& array) {
            return array.place == arrays[i].place && array.name == arrays[i].name;
        });
        const auto to = static_cast<std::size_t>(known - m_arrays.begin());
        if (known == m_arrays.end()) {
            m_arrays.push_back({arrays[i].place, arrays[i].name, arrays[i].components, {}});
            m_sources.emplace_back();
        }
        // The values of the whole model are the same in every piece.
        if (arrays[i].place != Place::Model || known == m_arrays.end() || piece == 0) {
            AddParts(piece, static_cast<int>(i), to);
        }
    }
}

void ExodusPieceResults::AddParts(std::size_t piece, int from, std::size_t to) {
    const Piece& source = m_pieces[piece];
    const ORQExcResultArray& array = source.results->Arrays()[static_cast<std::size_t>(from)];
    for (std::size_t i = 0; i < array.parts.size(); ++i) {
        const ORQExcResultArray::Part& part = array.parts[i];
        int first = 0;
        int count = array.place == Place::Model ? 1 : m_nNodes;
        if (array.place == Place::Element) {
            const int element = source.elements[static_cast<std::size_t>(part.first)];
            // A part lies in one block, so its first element gives the block.
            const auto block = std::ranges::upper_bound(m_blocks, element, {}, &Block::first) - 1;
            first = block->first;
            count = block->count;
        }
        SourcesOf(to, first, count).push_back({piece, from, static_cast<int>(i)});
    }
}

std::vector<ExodusPieceResults::Source>& ExodusPieceResults::SourcesOf(std::size_t array, int first,
                                                                       int count) {
    std::vector<ORQExcResultArray::Part>& parts = m_arrays[array].parts;
    const auto known = std::ranges::find(parts, first, &ORQExcResultArray::Part::first);
    const auto place = static_cast<std::size_t>(known - parts.begin());
    if (known == parts.end()) {
        std::vector<int> times(m_times.size());
        std::iota(times.begin(), times.end(), 0);
        parts.push_back({std::move(times), first, count});
        m_sources[array].emplace_back();
    }
    return m_sources[array][place];
}

void ExodusPieceResults::NoteGaps() {
    for (std::size_t i = 0; i < m_arrays.size(); ++i) {
        for (std::size_t part = 0; part < m_sources[i].size(); ++part) {
            std::vector<char> has(static_cast<std::size_t>(m_arrays[i].parts[part].count));
            for (const Source& source : m_sources[i][part]) {
                const ORQExcResultArray::Part& from = PartOf(source);
                for (int k = 0; k < from.count; ++k) {
                    const int member =
                        m_arrays[i].place == Place::Model
                            ? 0
                            : PlacesIn(m_pieces[source.piece],
                                       m_arrays[i].place)[static_cast<std::size_t>(from.first + k)];
                    has[static_cast<std::size_t>(member - m_arrays[i].parts[part].first)] = 1;
                }
            }
            if (const auto nMissing = std::ranges::count(has, 0); nMissing > 0) {
                m_losses.Note(ORQExcFieldKind(m_arrays[i].place), m_arrays[i].name, nMissing,
                              "some pieces have no values of it");
            }
        }
    }
}

const ORQExcResultArray::Part& ExodusPieceResults::PartOf(const Source& source) const {
    return m_pieces[source.piece]
        .results->Arrays()[static_cast<std::size_t>(source.array)]
        .parts[static_cast<std::size_t>(source.part)];
}

const std::vector<int>& ExodusPieceResults::PlacesIn(const Piece& piece, Place place) const {
    return place == Place::Node ? piece.nodes : piece.elements;
}

void ExodusPieceResults::ReadResult(int array, int part, int begin, int end,
                                    std::span<double> values) {
    const ORQExcResultArray::Part& to =
        m_arrays[static_cast<std::size_t>(array)].parts[static_cast<std::size_t>(part)];
    const Place place = m_arrays[static_cast<std::size_t>(array)].place;
    // Members that no piece has values of keep NaN.
    std::ranges::fill(values, kNoValue);
    std::vector<double> ofPiece;
    for (const Source& source :
         m_sources[static_cast<std::size_t>(array)][static_cast<std::size_t>(part)]) {
        const Piece& piece = m_pieces[source.piece];
        const ORQExcResultArray::Part& from = PartOf(source);
        const auto n = static_cast<std::size_t>(from.count);
        ofPiece.resize(n * static_cast<std::size_t>(end - begin));
        piece.results->ReadResult(source.array, source.part, begin, end, ofPiece);
        for (std::size_t i = 0; i < ofPiece.size(); ++i) {
            const int member =
                place == Place::Model
                    ? 0
                    : PlacesIn(piece, place)[static_cast<std::size_t>(from.first) + i % n];
            values[i / n * static_cast<std::size_t>(to.count) +
                   static_cast<std::size_t>(member - to.first)] = ofPiece[i];
        }
    }
}

void ExodusPieceResults::ReadMembers(int array, int part, int time, int first, int count,
                                     std::span<double> values) {
    if (m_arrays[static_cast<std::size_t>(array)].place != Place::Element) {
        return ORQExcResultSource::ReadMembers(array, part, time, first, count, values);
    }
    std::ranges::fill(values, kNoValue);
    first += m_arrays[static_cast<std::size_t>(array)].parts[static_cast<std::size_t>(part)].first;
    const auto isWanted = [&](int member) { return member >= first && member < first + count; };
    std::vector<double> ofPiece;
    for (const Source& source :
         m_sources[static_cast<std::size_t>(array)][static_cast<std::size_t>(part)]) {
        const Piece& piece = m_pieces[source.piece];
        const ORQExcResultArray::Part& from = PartOf(source);
        const auto members = std::span(piece.elements)
                                 .subspan(static_cast<std::size_t>(from.first),
                                          static_cast<std::size_t>(from.count));
        // One read goes from the first to the last wanted member, as pieces mostly have them in
        // order.
        const auto begin = std::ranges::find_if(members, isWanted) - members.begin();
        auto end = std::ssize(members);
        for (; end > begin && !isWanted(members[static_cast<std::size_t>(end - 1)]); --end) {
        }
        if (begin == end) {
            continue;
        }
        ofPiece.resize(static_cast<std::size_t>(end - begin));
        piece.results->ReadMembers(source.array, source.part, time, static_cast<int>(begin),
                                   static_cast<int>(end - begin), ofPiece);
        for (auto i = begin; i < end; ++i) {
            if (const int member = members[static_cast<std::size_t>(i)]; isWanted(member)) {
                values[static_cast<std::size_t>(member - first)] =
                    ofPiece[static_cast<std::size_t>(i - begin)];
            }
        }
    }
}

}  // namespace orq::exchange
