#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <map>

#include "ORQBasExport.h"

/// A set of member numbers in [0, 2^31 - 1] as a bit vector that keeps only blocks with set bits: a
/// block of 32768 bits takes 4 KiB, so ten million contiguous members take 1.25 MB and a lone bit
/// anywhere 4 KiB. Made for sets that are filled in runs or in ascending order and walked with
/// omi_BlkBitVectTrav.
class ORQ_EXPORT omi_BlkBitVect {
  public:
    /// Throws ORQBasAssertException for a negative member.
    void SetBit(int member);
    /// Sets [first, first + count); a count of 0 sets nothing. Throws ORQBasAssertException for a
    /// negative `first` or count or an end above 2^31; then nothing is set.
    void SetRange(int first, int count);
    /// A member outside the vector, also a negative one, is not set and may be cleared.
    void ClearBit(int member);
    void Clear();

    bool IsSet(int member) const;
    bool IsEmpty() const { return m_blocks.empty(); }
    std::int64_t Count() const;

    /// Equal vectors have the same bits set.
    friend bool operator==(const omi_BlkBitVect&, const omi_BlkBitVect&) = default;
    /// A total order without meaning of its own, for use as a key.
    friend std::strong_ordering operator<=>(const omi_BlkBitVect&, const omi_BlkBitVect&) = default;

  private:
    friend class omi_BlkBitVectTrav;

    static constexpr int s_wordBits = 64;
    static constexpr int s_blockWords = 512;
    static constexpr int s_blockBits = s_wordBits * s_blockWords;

    struct Block {
        int count = 0;  // of set bits, never 0 in a kept block
        std::array<std::uint64_t, s_blockWords> words{};

        friend bool operator==(const Block&, const Block&) = default;
        // NOLINTNEXTLINE(modernize-use-nullptr): a false alarm about defaulted comparisons
        friend std::strong_ordering operator<=>(const Block&, const Block&) = default;
    };

    std::map<int, Block> m_blocks;  // by member / s_blockBits
};

/// Walks the set bits of a vector in ascending order. The vector must outlive the traversal and
/// stay unchanged meanwhile.
class ORQ_EXPORT omi_BlkBitVectTrav {
  public:
    explicit omi_BlkBitVectTrav(const omi_BlkBitVect& vector);

    /// The first set bit, or -1 when there is none.
    int First();
    /// The set bit after the one that was given last, or -1 after the last one. Needs First()
    /// before.
    int Next();

  private:
    const omi_BlkBitVect* m_vector;
    std::map<int, omi_BlkBitVect::Block>::const_iterator m_block;
    int m_word = 0;
    std::uint64_t m_rest = 0;  // bits of the current word that were not given yet
};
