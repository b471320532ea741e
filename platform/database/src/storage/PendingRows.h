// Rows of a table that were put and not yet given to SQLite, which takes many together in half the
// time that it needs for one after the other.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <tuple>
#include <type_traits>
#include <vector>

#include "Rows.h"

namespace orq::storage {

template <class Row>
class PendingRows {
  public:
    bool IsEmpty() const { return m_rows.empty(); }
    // Whether there is room for one more.
    bool Fits(const Row& row) const {
        return m_rows.size() < kMostRows && BytesOf(row) <= kMostBytes - m_nBytes;
    }
    // With a copy of its bytes; in place of the last one where that has the same key. Where it
    // throws, nothing has changed. REQUIRES: it fits.
    void Put(const Row& row) {
        if (m_bytes == nullptr) {
            m_bytes = std::make_unique_for_overwrite<std::byte[]>(kMostBytes);
            m_rows.reserve(kMostRows);
        }
        if (m_rows.empty() || !HaveSameKey(m_rows.back(), row)) {
            m_rows.emplace_back();
        }
        m_rows.back() = row;
        std::apply([this](auto&... values) { (this->Keep(values), ...); },
                   Row::Columns(m_rows.back()));
    }
    std::span<const Row> All() const { return m_rows; }
    void Clear() noexcept {
        m_rows.clear();
        m_nBytes = 0;
    }

  private:
    static constexpr std::size_t kMostRows = 64;
    static constexpr std::size_t kMostBytes = 160 << 10;

    static bool HaveSameKey(const Row& one, const Row& other) {
        return Row::Key(one) == Row::Key(other);
    }
    static std::size_t BytesOf(const Row& row) {
        const auto sizeOf = [](const auto& value) -> std::size_t {
            if constexpr (std::is_same_v<decltype(value), const Bytes&>) {
                return value.size();
            } else {
                return 0;
            }
        };
        return std::apply([&](const auto&... values) { return (sizeOf(values) + ...); },
                          Row::Columns(row));
    }
    void Keep(Bytes& bytes) {
        if (!bytes.empty()) {
            std::memcpy(m_bytes.get() + m_nBytes, bytes.data(), bytes.size());
        }
        bytes = {m_bytes.get() + m_nBytes, bytes.size()};
        m_nBytes += bytes.size();
    }
    template <class Number>
    void Keep(Number&) {}

    std::vector<Row> m_rows;
    std::unique_ptr<std::byte[]> m_bytes;
    std::size_t m_nBytes = 0;
};

}  // namespace orq::storage
