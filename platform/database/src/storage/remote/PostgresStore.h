// A store of models in PostgreSQL, in SQL that its relatives speak too.
#pragma once

#include "PostgresLink.h"
#include "RemoteStore.h"

namespace orq::storage {

class PostgresStore final : public RemoteStore {
  public:
    explicit PostgresStore(const ModelUrl& url)
        : m_model(url.model), m_shown(url.Text()), m_link(url.store, m_shown) {}

    std::vector<std::string> Prepare() override;
    std::optional<Head> GetHead() override;
    std::optional<Newcomer> GetAll(std::optional<std::int64_t> generation) override;
    void PutModel(const Identity& identity, const NewState& state,
                  std::span<const std::byte> base) override;
    Head TakeLease(const Token& lease, const std::string& who, int seconds) override;
    bool RenewLease(const Token& lease, int seconds) override;
    void GiveLeaseBack(const Token& lease) override;
    Numbers LeaseNumbers(const Numbers& next, const Numbers& count) override;
    void Commit(const Identity& identity, const std::optional<Lease>& lease, const NewState& state,
                bool holdsHead) override;
    void PutBase(const Identity& identity, std::int64_t generation,
                 std::span<const std::byte> base) override;
    Base GetBase(const Identity& identity, std::int64_t generation) override;
    std::vector<SharedCommit> GetCommits(const Identity& identity, std::int64_t after,
                                         std::int64_t last) override;
    void GetPieces(const Identity& identity, std::int64_t generation,
                   std::span<const BulkFile::Place> places, const TakePiece& take) override;
    std::vector<LogEntry> GetLog(const Identity& identity) override;
    std::vector<PieceKey> ListPieces(const Identity& identity, std::int64_t generation) override;
    void DropBefore(const Identity& identity, std::int64_t oldest,
                    std::span<const PieceKey> pieces) override;
    void CheckHas(const Identity& identity, std::int64_t generation) override;

  private:
    void TryToPrepare(const char* sql, const char* what, std::vector<std::string>& left);
    void SendHeadQuery();
    std::optional<Head> HeadOf(const Answer& answer) const;
    void CheckOrGiveUp(const std::vector<Answer>& answers);
    struct Leasing {
        Answer answer;
        Head head;
    };
    Leasing FinishLeasing();
    [[noreturn]] void FailLeased(const Head& head) const;
    void SendSwap(const Identity& identity, const std::optional<Lease>& lease,
                  const NewState& state);
    void CheckSize(const NewState& state) const;
    void CheckSizeOfBase(std::span<const std::byte> base) const;
    void BeginChange();
    void SendState(const Identity& identity, const NewState& state);
    void SendBase(const Identity& identity, std::int64_t generation,
                  std::span<const std::byte> base);
    void BeginToRead();
    std::vector<Answer> FinishReading(const Identity& identity, std::int64_t generation);
    void CheckHasState(const std::optional<Head>& head, const Identity& identity,
                       std::int64_t generation) const;
    Base BaseOf(const Answer& answer) const;
    std::vector<SharedCommit> CommitsOf(const Answer& commits, const Answer& parts,
                                        std::int64_t after, std::int64_t last) const;
    bool WasCommitted(const Identity& identity, const NewState& state);
    bool WasMade(const Identity& identity);
    bool AskUntilAnswered(std::int64_t generation, const std::function<bool()>& ask);
    [[noreturn]] void FailMoved(const Identity& identity, const std::optional<Lease>& lease,
                                const NewState& state);
    [[noreturn]] void FailDamaged(const std::string& text) const;

    std::string m_model;
    std::string m_shown;
    PostgresLink m_link;
};

}  // namespace orq::storage
