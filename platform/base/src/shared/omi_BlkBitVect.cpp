#include "omi_BlkBitVect.h"

#include <algorithm>
#include <bit>

#include "ORQBasAssertException.h"

void omi_BlkBitVect::SetBit(int member) {
    SetRange(member, 1);
}

void omi_BlkBitVect::SetRange(int first, int count) {
    if (first < 0) {
        ORQBasThrowIndexOutOfRange(first, std::int64_t{1} << 31, "omi_BlkBitVect.cpp", __LINE__);
    }
    const std::int64_t end = std::int64_t{first} + count;
    if (count < 0 || end > std::int64_t{1} << 31) {
        ORQBasAssertException("0 <= count && first + count <= 2^31")
            .Throw("omi_BlkBitVect.cpp", __LINE__);
    }
    for (std::int64_t at = first; at < end;) {
        Block& block = m_blocks[static_cast<int>(at / s_blockBits)];
        const std::int64_t blockEnd = std::min(end, (at / s_blockBits + 1) * s_blockBits);
        while (at < blockEnd) {
            const auto bit = static_cast<int>(at % s_wordBits);
            const auto bits =
                static_cast<int>(std::min<std::int64_t>(s_wordBits - bit, blockEnd - at));
            const std::uint64_t mask = ~std::uint64_t{0} >> (s_wordBits - bits) << bit;
            std::uint64_t& word =
                block.words[static_cast<std::size_t>(at % s_blockBits / s_wordBits)];
            block.count += std::popcount(mask & ~word);
            word |= mask;
            at += bits;
        }
    }
}

void omi_BlkBitVect::ClearBit(int member) {
    if (!IsSet(member)) {
        return;
    }
    const auto block = m_blocks.find(member / s_blockBits);
    block->second.words[static_cast<std::size_t>(member % s_blockBits / s_wordBits)] &=
        ~(std::uint64_t{1} << member % s_wordBits);
    if (--block->second.count == 0) {
        m_blocks.erase(block);
    }
}

void omi_BlkBitVect::Clear() {
    m_blocks.clear();
}

bool omi_BlkBitVect::IsSet(int member) const {
    const auto block = member < 0 ? m_blocks.end() : m_blocks.find(member / s_blockBits);
    if (block == m_blocks.end()) {
        return false;
    }
    const std::uint64_t word =
        block->second.words[static_cast<std::size_t>(member % s_blockBits / s_wordBits)];
    return (word >> member % s_wordBits & 1U) != 0;
}

std::int64_t omi_BlkBitVect::Count() const {
    std::int64_t count = 0;
    for (const auto& [number, block] : m_blocks) {
        count += block.count;
    }
    return count;
}

omi_BlkBitVectTrav::omi_BlkBitVectTrav(const omi_BlkBitVect& vector)
    : m_vector(&vector), m_block(vector.m_blocks.end()) {}

int omi_BlkBitVectTrav::First() {
    m_block = m_vector->m_blocks.begin();
    m_word = 0;
    m_rest = m_block != m_vector->m_blocks.end() ? m_block->second.words[0] : 0;
    return Next();
}

int omi_BlkBitVectTrav::Next() {
    while (m_block != m_vector->m_blocks.end()) {
        if (m_rest != 0) {
            const int bit = std::countr_zero(m_rest);
            m_rest &= m_rest - 1;
            return m_block->first * omi_BlkBitVect::s_blockBits +
                   m_word * omi_BlkBitVect::s_wordBits + bit;
        }
        if (++m_word == omi_BlkBitVect::s_blockWords) {
            m_word = 0;
            if (++m_block == m_vector->m_blocks.end()) {
                break;
            }
        }
        m_rest = m_block->second.words[static_cast<std::size_t>(m_word)];
    }
    return -1;
}
