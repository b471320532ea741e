#include "RowWalk.h"

#include <algorithm>

namespace orq::storage {

bool RowWalk::Follows(const Keys& keys) const {
    constexpr std::int64_t kNear = 16;
    const auto [last, next] = std::ranges::mismatch(m_keys, keys);
    const bool isNear = last == m_keys.end() || (*last < *next && *next - kNear <= *last);
    return isNear && !m_isAsked;
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
    m_isAsked = true;
    return true;
}

bool RowWalk::Next() {
    if (m_hasAnswered && IsOnAnswer()) {
        m_isAtFirst = false;
        Step();
    }
    m_hasAnswered = true;
    return IsOnAnswer();
}

void RowWalk::End() {
    m_isAsked = false;
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
    m_isOutdated = m_isAsked;
    if (!m_isAsked) {
        Reset();
    }
}

bool RowWalk::GoOn() {
    constexpr int kFar = 8;
    for (int nRows = 0; m_place == Place::OnRow && Compare() < 0; ++nRows) {
        if (nRows == kFar) {
            return false;
        }
        TryStep();
    }
    return m_place != Place::Nowhere;
}

void RowWalk::FindFirst() {
    Connection& connection = m_question.connection;
    if (m_statement == nullptr) {
        m_statement = connection.Prepare(m_question.sql);
    }
    Reset();
    for (std::size_t i = 0; i < m_question.columns.size(); ++i) {
        connection.Check(BindKey(m_statement, static_cast<int>(i) + 1, m_keys[i]), "bind a key");
    }
    Step();
}

int RowWalk::TryStep() {
    const int code = sqlite3_step(m_statement);
    m_place = code == SQLITE_ROW ? Place::OnRow : Place::BehindAll;
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        Reset();
    }
    return code;
}

void RowWalk::Step() {
    if (const int code = TryStep(); code != SQLITE_ROW && code != SQLITE_DONE) {
        m_question.connection.Fail(code, m_question.sql);
    }
}

void RowWalk::Reset() {
    if (m_place != Place::Nowhere) {
        sqlite3_reset(m_statement);
        m_place = Place::Nowhere;
    }
}

std::strong_ordering RowWalk::Compare() const {
    for (std::size_t i = 0; i < m_question.columns.size(); ++i) {
        const auto order = sqlite3_column_int64(m_statement, m_question.columns[i]) <=> m_keys[i];
        if (order != 0) {
            return order;
        }
    }
    return std::strong_ordering::equal;
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
    if (!walk.IsAsked()) {
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
