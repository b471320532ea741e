#include "draw/PackedArrays.h"

#include <zlib.h>

#include <new>
#include <string>

namespace orqmodel {
namespace {

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Differences in a form in which small ones of either sign are small: 0, -1, 1, -2 as 0, 1, 2, 3.
std::uint32_t Folded(std::uint32_t difference, int nBytes) {
    const int nBits = 8 * nBytes;
    const std::uint32_t mask = nBits == 32 ? ~0U : (1U << nBits) - 1;
    const bool isNegative = ((difference >> (nBits - 1)) & 1U) != 0;
    return ((difference << 1U) ^ (isNegative ? ~0U : 0U)) & mask;
}

/// The lowest byte of all numbers, then the next one.
std::vector<std::uint8_t> PlanesOf(std::span<const std::uint32_t> numbers, int nBytes,
                                   PackedArrays::Coding coding) {
    std::vector<std::uint8_t> planes(numbers.size() * static_cast<std::size_t>(nBytes));
    std::uint32_t before = 0;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::uint32_t number = coding == PackedArrays::Coding::Differences
                                         ? Folded(numbers[i] - before, nBytes)
                                         : numbers[i];
        before = numbers[i];
        for (int byte = 0; byte < nBytes; ++byte) {
            planes[static_cast<std::size_t>(byte) * numbers.size() + i] =
                static_cast<std::uint8_t>(number >> (8 * byte));
        }
    }
    return planes;
}

std::vector<std::uint8_t> Deflated(const std::vector<std::uint8_t>& bytes) {
    uLongf size = compressBound(bytes.size());
    std::vector<std::uint8_t> packed(size);
    if (compress2(packed.data(), &size, bytes.data(), bytes.size(), Z_DEFAULT_COMPRESSION) !=
        Z_OK) {
        throw std::bad_alloc();  // The only way it fails with room for the worst case.
    }
    packed.resize(size);
    return packed;
}

}  // namespace

void Base64Stream::Write(std::span<const std::uint8_t> bytes) {
    std::string text;
    text.reserve(bytes.size() / 3 * 4 + 4);
    for (const std::uint8_t byte : bytes) {
        m_kept[m_nKept++] = byte;
        if (m_nKept == 3) {
            const std::uint32_t group = m_kept[0] << 16U | m_kept[1] << 8U | m_kept[2];
            for (int shift = 18; shift >= 0; shift -= 6) {
                text += kDigits[(group >> shift) & 63U];
            }
            m_nKept = 0;
        }
    }
    m_out << text;
}

void Base64Stream::Finish() {
    const std::size_t nMissing = (3 - m_nKept) % 3;
    if (nMissing == 0) {
        return;
    }
    m_kept[1] = m_nKept > 1 ? m_kept[1] : 0;
    const std::uint32_t group = m_kept[0] << 16U | m_kept[1] << 8U;
    for (std::size_t i = 0; i < 4; ++i) {
        m_out << (i < 4 - nMissing ? kDigits[(group >> (18 - 6 * i)) & 63U] : '=');
    }
    m_nKept = 0;
}

int PackedArrays::Add(std::span<const std::uint32_t> numbers, int nBytes, Coding coding) {
    const std::vector<std::uint8_t> packed = Deflated(PlanesOf(numbers, nBytes, coding));
    m_text.Write(packed);
    m_packedBytes += packed.size();
    m_table.push_back({numbers.size(), static_cast<std::size_t>(nBytes),
                       coding == Coding::Differences ? std::size_t{1} : std::size_t{0},
                       packed.size()});
    return static_cast<int>(m_table.size()) - 1;
}

}  // namespace orqmodel
