#include "ORQSimTransaction.h"

#include "DatabaseState.h"
#include "ORQBasFailure.h"
#include "ORQSimPosition.h"

using orq::database::DatabaseState;

ORQSimTransaction::ORQSimTransaction(ORQSimContextID context) : m_context(context) {
    DatabaseState* state = DatabaseState::Find(context);
    if (state == nullptr) {
        ORQBasThrowUsage("a transaction needs an open database; this one is null or closed");
    }
    m_level = state->Begin();
}

ORQSimTransaction::ORQSimTransaction(const ORQSimPosition& position)
    : ORQSimTransaction(position.ID().ContextID()) {}

ORQSimTransaction::~ORQSimTransaction() {
    if (DatabaseState* state = m_level > 0 ? DatabaseState::Find(m_context) : nullptr) {
        state->Rollback(m_level);
    }
}

void ORQSimTransaction::Commit() {
    DatabaseState* state = DatabaseState::Find(m_context);
    if (m_level == 0 || state == nullptr) {
        ORQBasThrowUsage("the transaction has ended already");
    }
    const int level = m_level;
    state->CheckInnermost(level);
    m_level = 0;
    state->Commit();
}
