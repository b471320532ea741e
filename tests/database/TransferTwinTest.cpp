// Transfers against a plain twin: the same drawers as maps from cells to values.
#include <algorithm>
#include <map>
#include <numeric>
#include <optional>

#include "Vocabulary.h"

namespace {

using Cell = std::vector<int>;

// A product of sets, one per dimension.
using View = std::vector<Ints>;

template <class F>
void ForEachCell(const View& view, F&& f) {
    std::int64_t count = 1;
    for (const Ints& members : view) {
        count *= static_cast<std::int64_t>(members.size());
    }
    Cell cell(view.size());
    for (std::int64_t place = 0; place < count; ++place) {
        std::int64_t rest = place;
        for (std::size_t dim = view.size(); dim-- > 0;) {
            const auto size = static_cast<std::int64_t>(view[dim].size());
            cell[dim] = view[dim][static_cast<std::size_t>(rest % size)];
            rest /= size;
        }
        f(static_cast<std::size_t>(place), cell);
    }
}

struct TwinDrawer {
    View covers;  // as callers see them
    int extendable = -1;
    bool isOrdered = false;
    std::map<Cell, double> cells;

    bool Has(const Cell& cell) const {
        for (std::size_t dim = 0; dim < cell.size(); ++dim) {
            if (std::ranges::find(covers[dim], cell[dim]) == covers[dim].end()) {
                return false;
            }
        }
        return true;
    }
    void Extend(const Ints& members) {
        Ints& present = covers[static_cast<std::size_t>(extendable)];
        for (const int member : members) {
            if (std::ranges::find(present, member) == present.end()) {
                present.push_back(member);
            }
        }
        if (!isOrdered) {
            std::ranges::sort(present);
        }
    }
};

// What the cells of a view hold, by the drawers in order of their creation.
Doubles Expected(const std::vector<TwinDrawer>& drawers, const View& view) {
    Doubles values;
    ForEachCell(view, [&](std::size_t, const Cell& cell) {
        values.push_back(kUntouched);
        for (const TwinDrawer& drawer : drawers) {
            if (drawer.Has(cell)) {
                const auto found = drawer.cells.find(cell);
                values.back() = found == drawer.cells.end() ? 0.0 : found->second;
            }
        }
    });
    return values;
}

struct Setting {
    const char* name;
    Ints spaces;
    int chunk;
    int extendable;
    int scalar;
    bool onDisk;
};
void PrintTo(const Setting& setting, std::ostream* out) {
    *out << setting.name;
}

class TransferTwin : public testing::TestWithParam<Setting> {
  protected:
    void SetUp() override {
        InTransaction(*m_store, [&] {
            std::vector<ORQSimCollectionID> grid;
            for (const int space : GetParam().spaces) {
                const ORQSimPosition made = m_store->Focus().CreateTypedCollection(Slot(9), space);
                m_store->Focus().Associate(Slot(1), static_cast<int>(grid.size()), made);
                grid.push_back(made.GetCollection());
            }
            m_store->Focus().SetPosition(
                Slot(3), m_store->Focus().CreateTypedDistribution(
                             ORQSimGrid(grid), Slot(3), ORQSimRangeType(GetParam().scalar)));
        });
    }

    int UpTo(int n) { return std::uniform_int_distribution(0, n)(m_random); }
    bool OneIn(int n) { return UpTo(n - 1) == 0; }

    ORQSimCollection Dimension(std::size_t dim) {
        return ORQSimCollection(
            m_store->Focus().Follow(Slot(1), static_cast<int>(dim)).GetCollection());
    }
    // Some runs of some of the candidates, in ascending or another order.
    Ints Some(const Ints& candidates) {
        Ints some;
        if (candidates.empty()) {
            return some;
        }
        for (int runs = 1 + UpTo(2); runs > 0; --runs) {
            auto at = static_cast<std::size_t>(UpTo(static_cast<int>(candidates.size()) - 1));
            for (int n = 1 + UpTo(6); n > 0 && at < candidates.size(); --n, ++at) {
                some.push_back(candidates[at]);
            }
        }
        std::ranges::sort(some);
        some.erase(std::unique(some.begin(), some.end()), some.end());
        if (OneIn(3)) {
            std::ranges::shuffle(some, m_random);
        }
        return some;
    }
    Ints All(std::size_t dim) {
        Ints all(static_cast<std::size_t>(GetParam().spaces[dim]));
        std::iota(all.begin(), all.end(), 0);
        return all;
    }
    View SomeOfAll() {
        View view;
        for (std::size_t dim = 0; dim < GetParam().spaces.size(); ++dim) {
            view.push_back(Some(All(dim)));
        }
        return view;
    }
    // Volatile, temporary or stored: views may be made of any.
    ORQSimCSet MakeSet(std::size_t dim, const Ints& members) {
        ORQSimCollection collection = Dimension(dim);
        const auto n = static_cast<int>(members.size());
        switch (UpTo(m_levels.empty() ? 1 : 2)) {
            case 0:
                return SetOf(collection, members);
            case 1:
                return collection.CreateTempOrderedCSet(members.data(), n);
            default:
                return collection.CreateOrderedCSet(members.data(), n);
        }
    }
    void SetView(ORQSimTransfer& transfer, const View& view) {
        for (std::size_t dim = 0; dim < view.size(); ++dim) {
            transfer.SetDim(static_cast<int>(dim), MakeSet(dim, view[dim]));
        }
    }

    // Executes with a buffer of a random type; `values` go in and come out as doubles.
    void Execute(ORQSimTransfer& transfer, bool isRead, Doubles& values) {
        const int own = GetParam().scalar;
        const int types[] = {own,
                             own,
                             own,
                             ORQSimScalarDouble,
                             ORQSimScalarInt64,
                             ORQSimScalarFloat,
                             ORQSimScalarInt};
        const int type = types[UpTo(6)];
        if (type != own || OneIn(2)) {
            transfer.SetBufferType(type);
        }
        const bool isPadded = OneIn(3);
        transfer.SetBufferPadding(isPadded);
        const auto wanted = static_cast<std::int64_t>(values.size()) * ORQSimScalarSize(type);
        const std::int64_t required = transfer.RequiredBufferSize();
        ASSERT_EQ(required, isPadded ? (wanted + 7) / 8 * 8 : wanted);
        const auto run = [&](auto zero) {
            using Item = decltype(zero);
            std::vector<Item> items(static_cast<std::size_t>(required) / sizeof(Item) + 1);
            std::ranges::transform(values, items.begin(),
                                   [](double value) { return static_cast<Item>(value); });
            transfer.SetBuffer(ORQSimbufMain, items.data(), required);
            isRead ? static_cast<void>(transfer.ExecRead()) : transfer.ExecWrite();
            std::transform(items.begin(),
                           items.begin() + static_cast<std::ptrdiff_t>(values.size()),
                           values.begin(), [](Item item) { return static_cast<double>(item); });
        };
        switch (type) {
            case ORQSimScalarInt:
                return run(std::int32_t{});
            case ORQSimScalarFloat:
                return run(float{});
            case ORQSimScalarInt64:
                return run(std::int64_t{});
            default:
                return run(double{});
        }
    }

    Doubles NewValues(const View& view) {
        Doubles values;
        ForEachCell(view, [&](std::size_t, const Cell&) { values.push_back(m_nextValue++); });
        m_nextValue = m_nextValue > 16'000'000 ? 1.0 : m_nextValue;  // floats hold them all
        return values;
    }
    static void Put(TwinDrawer& drawer, const View& view, const Doubles& values) {
        ForEachCell(
            view, [&](std::size_t place, const Cell& cell) { drawer.cells[cell] = values[place]; });
    }

    void MakeADrawer() {
        const View view = SomeOfAll();
        TwinDrawer drawer{view, OneIn(3) ? -1 : GetParam().extendable, false, {}};
        ORQSimTransfer make(Field(*m_store));
        if (drawer.extendable < 0 && OneIn(2)) {
            make.SetMakeNewDrawer();
        } else {
            ORQSimArray<int> chunks(static_cast<int>(view.size()));
            std::ranges::fill(chunks, GetParam().chunk);
            make.SetMakeNewDrawerChunked(chunks).SetExtendableDim(drawer.extendable);
        }
        drawer.isOrdered =
            drawer.extendable >= 0 &&
            !std::ranges::is_sorted(view[static_cast<std::size_t>(drawer.extendable)]);
        SetView(make, view);
        make.CheckView();
        if (OneIn(2)) {
            make.ExecMake();
        } else {
            make.SetWrite();
            Doubles values = NewValues(view);
            Put(drawer, view, values);
            Execute(make, false, values);
        }
        m_twins.push_back(std::move(drawer));
    }

    void WriteToADrawer() {
        if (m_twins.empty()) {
            return MakeADrawer();
        }
        const auto place = static_cast<std::size_t>(UpTo(static_cast<int>(m_twins.size()) - 1));
        TwinDrawer& twin = m_twins[place];
        View view;
        for (const Ints& covered : twin.covers) {
            view.push_back(Some(covered));
        }
        ORQSimTransfer write(Field(*m_store));
        write.SetWrite().SetDrawer(
            Field(*m_store).DrawerIDArray().ConstGet(static_cast<int>(place)));
        if (twin.extendable >= 0) {
            const auto dim = static_cast<std::size_t>(twin.extendable);
            if (OneIn(4)) {
                const Ints more = Some(All(dim));
                write.SetDimExtension(MakeSet(dim, more).RegisterWithTempCollection());
                twin.Extend(more);
            }
            if (OneIn(2)) {
                view[dim] = Some(All(dim));
                write.SetAutoExtend();
                twin.Extend(view[dim]);
            }
        }
        SetView(write, view);
        write.CheckView();
        Doubles values = NewValues(view);
        Put(twin, view, values);
        Execute(write, false, values);
    }

    void Compare() {
        const ORQSimDistribution field = Field(*m_store);
        const auto drawers = field.QueryDrawers();
        ASSERT_EQ(static_cast<std::size_t>(drawers.Size()), m_twins.size());
        for (std::size_t i = 0; i < m_twins.size(); ++i) {
            const ORQSimDrawerDescription& drawer = drawers.ConstGet(static_cast<int>(i));
            for (std::size_t dim = 0; dim < m_twins[i].covers.size(); ++dim) {
                ASSERT_EQ(OrderedMembers(drawer.CSet(static_cast<int>(dim))),
                          m_twins[i].covers[dim])
                    << "drawer " << i << ", dimension " << dim;
            }
        }
        View all;
        for (std::size_t dim = 0; dim < GetParam().spaces.size(); ++dim) {
            all.push_back(All(dim));
        }
        CompareView(all, {});
        for (int n = 0; n < 3; ++n) {
            CompareView(SomeOfAll(), {});
        }
        if (!m_twins.empty()) {
            CompareView(SomeOfAll(), UpTo(static_cast<int>(m_twins.size()) - 1));
        }
    }

    void CompareView(const View& view, std::optional<int> drawer) {
        const ORQSimDistribution field = Field(*m_store);
        ORQSimTransfer read(field);
        read.SetRead();
        std::vector<TwinDrawer> from = m_twins;
        if (drawer) {
            read.SetDrawer(field.DrawerIDArray().ConstGet(*drawer));
            from = {m_twins[static_cast<std::size_t>(*drawer)]};
        }
        SetView(read, view);
        read.CheckView();
        const Doubles expected = Expected(from, view);
        Doubles values(expected.size(), kUntouched);
        Execute(read, true, values);
        ASSERT_EQ(values, expected);
    }

    void Begin() {
        m_levels.push_back({m_twins, std::make_unique<ORQSimTransaction>(m_store->ContextID())});
    }
    void Commit() {
        m_levels.back().transaction->Commit();
        m_levels.pop_back();
    }
    void RollBack() {
        m_twins = m_levels.back().before;
        m_levels.pop_back();
    }

    struct Level {
        std::vector<TwinDrawer> before;
        std::unique_ptr<ORQSimTransaction> transaction;
    };

    Store m_store{GetParam().onDisk};
    std::mt19937 m_random{20240607};
    double m_nextValue = 1;
    std::vector<TwinDrawer> m_twins;
    std::vector<Level> m_levels;
};

}  // namespace

TEST_P(TransferTwin, HoldsWhatItsTwinHolds) {
    for (int step = 0; step < 250; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        if (m_levels.empty()) {
            if (OneIn(3)) {
                m_store.Reopen();
            }
            Begin();
        }
        switch (UpTo(12)) {
            case 0:
            case 1:
                if (m_twins.size() < 5) {
                    MakeADrawer();
                }
                break;
            case 2:
                if (m_levels.size() < 4) {
                    Begin();
                }
                break;
            case 3:
                RollBack();
                break;
            case 4:
                Commit();
                break;
            case 5:
                if (m_twins.size() > 3) {
                    Field(*m_store).DeleteDrawer(Field(*m_store).DrawerIDArray().ConstGet(1));
                    m_twins.erase(m_twins.begin() + 1);
                }
                break;
            default:
                WriteToADrawer();
        }
        ASSERT_NO_FATAL_FAILURE(Compare());
    }
    while (!m_levels.empty()) {
        Commit();
    }
    EXPECT_EQ(m_store->Verify(), Texts());
    m_store.Reopen();
    Compare();
}

INSTANTIATE_TEST_SUITE_P(
    Settings, TransferTwin,
    testing::Values(Setting{"rows of one", {30, 6}, 1, 0, ORQSimScalarDouble, true},
                    Setting{"rows of two", {30, 6}, 2, 0, ORQSimScalarInt, true},
                    Setting{"rows of three", {30, 6}, 3, 0, ORQSimScalarFloat, false},
                    Setting{"rows of seven", {30, 6}, 7, 0, ORQSimScalarInt64, true},
                    Setting{"one chunk", {30, 6}, 100000, 0, ORQSimScalarDouble, false},
                    Setting{"columns of one", {6, 30}, 1, 1, ORQSimScalarDouble, true},
                    Setting{"columns of three", {6, 30}, 3, 1, ORQSimScalarInt, false},
                    Setting{"columns of seven", {6, 30}, 7, 1, ORQSimScalarFloat, true},
                    Setting{"columns in one chunk", {6, 30}, 5000, 1, ORQSimScalarDouble, false},
                    Setting{"three dimensions", {12, 5, 3}, 2, 0, ORQSimScalarDouble, true},
                    Setting{"three, the middle extends", {5, 14, 3}, 3, 1, ORQSimScalarInt, false},
                    Setting{"three, the last extends", {4, 5, 12}, 2, 2, ORQSimScalarInt64, true},
                    Setting{"one dimension", {50}, 7, 0, ORQSimScalarDouble, true}));
