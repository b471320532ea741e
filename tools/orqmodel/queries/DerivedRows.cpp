#include "queries/DerivedRows.h"

#include <fmt/format.h>

#include <functional>

#include "ORQBasFailure.h"
#include "queries/Invariants.h"

namespace orqmodel {
namespace {

class Derived : public RowSource {
  public:
    using Function = std::function<void(std::span<const double>, std::span<double>)>;

    Derived(std::unique_ptr<RowSource> rows, std::vector<Column> columns, Function of)
        : m_rows(std::move(rows)), m_columns(std::move(columns)), m_of(std::move(of)) {}

    RowPlace Place() const override { return m_rows->Place(); }
    Heads SpotHeads() const override { return m_rows->SpotHeads(); }
    const std::vector<Column>& Columns() const override { return m_columns; }
    double Done() const override { return m_rows->Done(); }
    bool Next(RowBlock& block) override {
        if (!m_rows->Next(m_given)) {
            return false;
        }
        block.frame = m_given.frame;
        block.members = m_given.members;
        block.spot = m_given.spot;
        block.shape = m_given.shape;
        block.values.resize(block.NumRows() * m_columns.size());
        const std::size_t nGiven = m_rows->Columns().size();
        for (std::size_t row = 0; row < block.NumRows(); ++row) {
            m_of(std::span(m_given.values).subspan(row * nGiven, nGiven),
                 std::span(block.values).subspan(row * m_columns.size(), m_columns.size()));
        }
        return true;
    }

  private:
    std::unique_ptr<RowSource> m_rows;
    std::vector<Column> m_columns;
    Function m_of;
    RowBlock m_given;
};

}  // namespace

std::vector<std::string> DerivationNames() {
    return {"magnitude", "mises", "principal"};
}

std::function<double(std::span<const double>)> DerivedNumber(const ORQExcResults::Field& field,
                                                             const std::string& derivation) {
    if (derivation == "magnitude" && IsVector(field)) {
        return [](std::span<const double> given) { return Magnitude(given); };
    }
    const std::optional<TensorOf> tensor = TensorOf::Components(field);
    if (derivation == "mises" && tensor) {
        return
            [tensor = *tensor](std::span<const double> given) { return VonMises(tensor(given)); };
    }
    ORQBasThrowUsage(
        fmt::format("--derived {}: {} has no such one number", derivation, field.name));
}

std::unique_ptr<RowSource> DerivedRows(std::unique_ptr<RowSource> rows,
                                       const ORQExcResults::Field& field,
                                       const std::string& derivation) {
    if (derivation == "magnitude") {
        if (!IsVector(field)) {
            ORQBasThrowUsage(fmt::format("--derived magnitude: {} is no vector", field.name));
        }
        return std::make_unique<Derived>(
            std::move(rows), std::vector<RowSource::Column>{{field.name + " magnitude"}},
            [](std::span<const double> given, std::span<double> made) {
                made[0] = Magnitude(given);
            });
    }
    const std::optional<TensorOf> tensor = TensorOf::Components(field);
    if (!tensor) {
        ORQBasThrowUsage(
            fmt::format("--derived {}: {} is no symmetric tensor", derivation, field.name));
    }
    if (derivation == "mises") {
        return std::make_unique<Derived>(
            std::move(rows), std::vector<RowSource::Column>{{field.name + " von Mises"}},
            [tensor = *tensor](std::span<const double> given, std::span<double> made) {
                made[0] = VonMises(tensor(given));
            });
    }
    return std::make_unique<Derived>(
        std::move(rows),
        std::vector<RowSource::Column>{{field.name + " principal 1"},
                                       {field.name + " principal 2"},
                                       {field.name + " principal 3"}},
        [tensor = *tensor](std::span<const double> given, std::span<double> made) {
            std::ranges::copy(PrincipalValues(tensor(given)), made.begin());
        });
}

}  // namespace orqmodel
