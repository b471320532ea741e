#include "RowWalk.h"

#include <algorithm>
#include <span>

namespace orq::storage {

bool RowWalk::Follows(const Keys& keys) const {
    constexpr std::int64_t kNear = 16;  // object numbers: neighbours in a loop, not any two
    const auto [last, next] = std::ranges::mismatch(m_keys, keys);
    const bool isNear = last == m_keys.end() || (*last < *next && *next - kNear <= *last);
    return isNear && !m_isOpen;
}

bool RowWalk::Begin(const Keys& keys) {
    const bool goesOn = m_place != Place::Nowhere && (m_isAtFirst || m_keys != keys);
    m_keys = keys;
    if (m_nToLeave > 0) {
        --m_nToLeave;
        return false;
    }
    if (!goesOn) {
        FindFirst();
    } else if (!GoOn()) {
        m_nToLeave = kAfterFailure;
        Reset();
        return false;
    }
    m_isAtFirst = true;
    m_hasAnswered = false;
    m_isOpen = true;
    return true;
}

bool RowWalk::Next(void* row) {
    if (m_hasAnswered && IsOnAnswer()) {
        m_isAtFirst = false;
        Step();
    }
    m_hasAnswered = true;
    const bool hasRow = IsOnAnswer();
    if (hasRow) {
        RowCodec::Known known;
        if (m_areNumbers && m_query.areFirst) {
            known = {std::span(m_rowKeys).first(static_cast<std::size_t>(m_nKeys)),
                     static_cast<int>(m_nKeys)};
        }
        m_query.codec.read(m_query.connection, m_statement, known, row);
    }
    return hasRow;
}

void RowWalk::Close() noexcept {
    m_isOpen = false;
    if (m_isOutdated) {
        Forget();
    }
}

void RowWalk::Leave(const Keys& keys) {
    m_keys = keys;
    m_nToLeave = kAtFirst;
    Reset();
}

void RowWalk::Forget() {
    m_isOutdated = m_isOpen;
    if (!m_isOpen) {
        Reset();
    }
}

bool RowWalk::GoOn() {
    constexpr int kFar = 8;  // rows, which cost as much to step over as the first one to find
    for (int nRows = 0; m_place == Place::OnRow && Compare() < 0; ++nRows) {
        if (nRows == kFar) {
            return false;
        }
        TryStep();
    }
    return m_place != Place::Nowhere;
}

void RowWalk::FindFirst() {
    Connection& connection = m_query.connection;
    if (m_statement == nullptr) {
        m_statement = connection.Prepare(m_query.sql);
    }
    Reset();
    for (std::size_t i = 0; i < m_query.columns.size(); ++i) {
        connection.Check(BindKey(m_statement, static_cast<int>(i) + 1, m_keys[i]), "bind a key");
    }
    Step();
}

int RowWalk::TryStep() {
    const int code = sqlite3_step(m_statement);
    m_place = code == SQLITE_ROW ? Place::OnRow : Place::BehindAll;
    if (code == SQLITE_ROW) {
        // Read once: the row is compared several times, and each look at a column costs a call.
        m_areNumbers = true;
        for (std::size_t i = 0; i < m_query.columns.size(); ++i) {
            sqlite3_value* key = sqlite3_column_value(m_statement, m_query.columns[i]);
            m_rowKeys[i] = sqlite3_value_int64(key);
            m_areNumbers = m_areNumbers && sqlite3_value_type(key) == SQLITE_INTEGER;
        }
    }
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        Reset();
    }
    return code;
}

void RowWalk::Step() {
    if (const int code = TryStep(); code != SQLITE_ROW && code != SQLITE_DONE) {
        m_query.connection.Fail(code, m_query.sql);
    }
}

void RowWalk::Reset() {
    if (m_place != Place::Nowhere) {
        sqlite3_reset(m_statement);
        m_place = Place::Nowhere;
    }
}

// --- Some ----------------------------------------------------------------------------------------

RowWalk* RowWalks::Begin(const RowWalk::Keys& keys) {
    for (RowWalk& walk : m_walks) {
        if (walk.Follows(keys)) {
            return walk.Begin(keys) ? &walk : nullptr;
        }
    }
    RowWalk& walk = m_walks[m_oldest];
    m_oldest = (m_oldest + 1) % m_walks.size();
    if (!walk.IsOpen()) {
        walk.Leave(keys);
    }
    return nullptr;
}

void RowWalks::Forget() {
    for (RowWalk& walk : m_walks) {
        walk.Forget();
    }
}

}  // namespace orq::storage
