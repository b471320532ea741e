#include "ORQSimDatabase.h"

#include <algorithm>
#include <utility>

#include "DatabaseState.h"
#include "ORQBasFailure.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"
#include "Recovery.h"
#include "VerifyReferences.h"

using orq::database::DatabaseState;
using orq::storage::CollectionRow;
using orq::storage::Store;

namespace {

void AddFocus(Store& store) {
    store.Rows().Insert(
        orq::storage::ObjectRow{store.NewObject(), ORQSimSchema::Focus, ORQSimCategoryRecord});
}

// Files also say what the numbers of slots and types stand for; in memory nobody else reads them.
void AddMeanings(Store& store) {
    std::vector<orq::storage::NumberMeaning> meanings;
    for (const ORQSimSchema::Entry& entry : ORQSimSchema::Entries()) {
        meanings.push_back({entry.typeIndex, entry.name, entry.text});
    }
    store.Describe(meanings);
}

void AddFocusAndMeanings(Store& store) {
    AddFocus(store);
    AddMeanings(store);
}

const std::shared_ptr<DatabaseState>& Opened(const std::shared_ptr<DatabaseState>& state) {
    if (state == nullptr || state->IsClosed()) {
        ORQBasThrowUsage("the database is not open");
    }
    state->Store().CheckProcess();
    return state;
}

}  // namespace

ORQSimDatabase::ORQSimDatabase() = default;
ORQSimDatabase::ORQSimDatabase(std::shared_ptr<DatabaseState> state) : m_state(std::move(state)) {}
ORQSimDatabase::~ORQSimDatabase() = default;
ORQSimDatabase::ORQSimDatabase(const ORQSimDatabase&) = default;
ORQSimDatabase& ORQSimDatabase::operator=(const ORQSimDatabase&) = default;

ORQSimDatabase::ORQSimDatabase(ORQSimContextID context) {
    if (DatabaseState* state = DatabaseState::Find(context); state != nullptr) {
        m_state = state->shared_from_this();
    }
}

ORQSimDatabase::ORQSimDatabase(const ORQSimPosition& position)
    : ORQSimDatabase(position.ID().ContextID()) {}

ORQSimDatabase ORQSimDatabase::Create(const std::string& directory) {
    return ORQSimDatabase(
        std::make_shared<DatabaseState>(Store::Create(directory, AddFocusAndMeanings)));
}

ORQSimDatabase ORQSimDatabase::CreateInMemory() {
    return ORQSimDatabase(std::make_shared<DatabaseState>(Store::CreateInMemory(AddFocus)));
}

ORQSimDatabase ORQSimDatabase::Open(const std::string& directory, Mode mode) {
    return ORQSimDatabase(
        std::make_shared<DatabaseState>(Store::Open(directory, mode == Mode::ReadWrite)));
}

std::vector<std::string> ORQSimDatabase::FindForeignFiles(const std::string& directory) {
    return Store::FindForeignFiles(directory);
}

ORQSimDatabase::Recovery ORQSimDatabase::Recover(const std::string& damaged,
                                                 const std::string& into,
                                                 const std::function<void(double)>& progress) {
    Recovery recovery;
    Store::Build(into, AddMeanings, [&](std::unique_ptr<Store> store) {
        DatabaseState state(std::move(store));
        recovery = orq::database::RecoverInto(state, damaged, progress);
    });
    return recovery;
}

void ORQSimDatabase::Close() {
    if (m_state != nullptr) {
        m_state->Close();
        m_state.reset();
    }
}

bool ORQSimDatabase::IsClosed() const {
    return m_state == nullptr || m_state->IsClosed();
}

bool ORQSimDatabase::IsWritable() const {
    return !IsClosed() && m_state->Store().IsWritable();
}

ORQSimContextID ORQSimDatabase::ContextID() const {
    return IsClosed() ? ORQSimContextID() : m_state->Context();
}

const std::string& ORQSimDatabase::Path() const {
    return Opened(m_state)->Path();
}

ORQSimPosition ORQSimDatabase::Focus() const {
    return IsClosed() ? ORQSimPosition() : ORQSimPosition(m_state->Objects().Focus());
}

bool ORQSimDatabase::Refresh() {
    return Opened(m_state)->Refresh();
}

std::int64_t ORQSimDatabase::Generation() const {
    return Opened(m_state)->Store().Generation();
}

bool ORQSimDatabase::HasTransaction() const {
    return Opened(m_state)->Store().Depth() > 0;
}

void ORQSimDatabase::CopyTo(const std::string& directory,
                            const std::function<void(double)>& progress) const {
    Store::Copy(Opened(m_state)->Store(), directory, progress);
}

std::string ORQSimDatabase::Writer() const {
    return Opened(m_state)->Store().Writer();
}

ORQSimDatabase::DiskSizes ORQSimDatabase::Sizes() const {
    const orq::storage::Sizes sizes = Opened(m_state)->Store().GetSizes();
    return {sizes.catalogueBytes, sizes.bulkBytes, sizes.freeBulkBytes};
}

std::int64_t ORQSimDatabase::LargestSpace() const {
    std::int64_t largest = 0;
    for (const CollectionRow& row : Opened(m_state)->Rows().Find<CollectionRow>()) {
        largest = std::max<std::int64_t>(largest, row.space);
    }
    return largest;
}

std::vector<std::string> ORQSimDatabase::Verify(const std::function<void(double)>& progress) const {
    std::vector<std::string> problems;
    Store& store = Opened(m_state)->Store();
    if (!store.VerifyRows(problems)) {
        return problems;
    }
    store.VerifyChunks(problems, progress);
    try {
        for (const orq::database::Flaw& flaw :
             orq::database::FindFlaws(*m_state, nullptr, [&] { progress(1.0); })) {
            problems.push_back(flaw.text);
        }
    } catch (const ORQBasFailure& failure) {
        problems.push_back(failure.Text());
    }
    return problems;
}
