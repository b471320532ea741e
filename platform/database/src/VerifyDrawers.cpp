#include "VerifyDrawers.h"

#include <algorithm>
#include <cstring>

#include "Erasure.h"
#include "ORQBasFailure.h"
#include "SparseRows.h"
#include "StoredDrawer.h"
#include "StoredMembers.h"
#include "storage/PackedDimensions.h"

namespace orq::database {

using storage::DistributionRow;
using storage::DrawerRow;
using storage::DrawerSegmentRow;
using storage::Table;

namespace {

class DrawerCheck {
  public:
    explicit DrawerCheck(FlawReport& report) : m_report(report), m_state(report.State()) {}

    void Run() {
        for (const DistributionRow& row : m_report.Rows().Find<DistributionRow>()) {
            const ORQSimDistributionID id(m_state.Objects().Find(row.object));
            if (id.IsNull()) {
                continue;  // CheckKinds reports it
            }
            if (row.rangeCollection != 0 &&
                m_state.Objects().FindCollection(row.rangeCollection).IsNull()) {
                m_report.AddObject(row.object, "the collection that its values refer to, " +
                                                   m_report.Show(row.rangeCollection) +
                                                   ", does not exist");
            } else if (HasWholeDrawers(row)) {
                CheckDistribution(row.object, id);
            }
        }
    }

  private:
    // Whether the rows of all drawers are there, so that a distribution can be read.
    bool HasWholeDrawers(const DistributionRow& distribution) {
        const std::int64_t object = distribution.object;
        const auto nDimensions =
            static_cast<std::int64_t>(distribution.grid.size() / sizeof(std::int64_t));
        const std::size_t nBefore = m_report.Flaws().size();
        const std::int64_t nDrawers = m_report.Rows().Count(Table::Drawer, object);
        for (const DrawerRow& row : m_report.Rows().Find<DrawerRow>(object)) {
            if (nDrawers < distribution.nDrawers && MayLackLaterOne(row)) {
                m_report.AddDrawer(
                    object, row.number,
                    "another one that was lost may have held later values of its cells");
            } else if (NumDimensions(row) != nDimensions) {
                m_report.AddDrawer(object, row.number, "does not have the dimensions of its grid");
            } else if (const std::string problem = ProblemOfSegments(object, row.number);
                       !problem.empty()) {
                m_report.AddDrawer(object, row.number, problem);
            }
        }
        if (nDrawers != distribution.nDrawers) {
            m_report.Add(m_report.Show(object) + ": " + std::to_string(nDrawers) + " of " +
                             std::to_string(distribution.nDrawers) + " drawers are there",
                         [state = &m_state, object] { CountDrawers(state->Store(), object); });
        }
        return m_report.Flaws().size() == nBefore;
    }

    // Whether a distribution that lacks drawers may lack one after this one. Numbers ascend, so
    // those above the place where rows were lost hold the latest values; where nothing says which
    // were lost, it may have been any.
    bool MayLackLaterOne(const DrawerRow& row) const {
        return !m_report.MayHaveLost(Table::Drawer, row.distribution) ||
               m_report.MayHaveLostAbove(Table::Drawer, row.distribution, row.number);
    }

    static std::int64_t NumDimensions(const DrawerRow& row) {
        storage::PackedDimensionReader dimensions(row.dimensions);
        std::int64_t count = 0;
        while (dimensions.Next()) {
            ++count;
        }
        return count;
    }

    std::string ProblemOfSegments(std::int64_t object, int drawer) {
        for (const DrawerSegmentRow& row : m_report.Rows().Find<DrawerSegmentRow>(object, drawer)) {
            const std::string loss = m_report.Loss(row.members);
            if (!loss.empty()) {
                return "what its rows stand for is lost (" + loss + ")";
            }
            try {
                ReadMembers(m_state.Store(), row.members);
            } catch (const ORQBasFailure& failure) {
                return failure.Text();
            }
        }
        return "";
    }

    void CheckDistribution(std::int64_t object, const ORQSimDistributionID& id) {
        try {
            const DistributionState distribution = m_state.Distributions().Load(id);
            if (std::ranges::any_of(distribution.grid,
                                    [](const auto& collection) { return collection.IsNull(); })) {
                m_report.AddObject(object, "a collection of its grid does not exist");
                return;
            }
            for (const auto& drawer : distribution.drawers) {
                CheckDrawer(distribution, *drawer);
            }
        } catch (const ORQBasFailure& failure) {
            // Mostly for one of its sets, which CheckSets reports and which goes first.
            m_report.AddObject(object, "cannot be read: " + failure.Text());
            m_report.Flaws().back().isLastResort = true;
        }
    }

    void CheckDrawer(const DistributionState& distribution, const DrawerState& drawer) {
        const std::int64_t object = drawer.id.MinorID();
        const int number = drawer.id.Index();
        const auto report = [&](const std::string& text) {
            m_report.AddDrawer(object, number, text);
        };
        OwnDrawersStore(drawer.store, object, number);
        for (const DrawerSegmentRow& row : m_report.Rows().Find<DrawerSegmentRow>(object, number)) {
            OwnDrawersStore(row.members.store, object, number);
        }
        if (const std::string problem = ProblemOfDrawer(m_state, distribution, drawer);
            !problem.empty()) {
            report(problem);
            return;
        }
        const bool isSparse = drawer.layout == ORQSimDrawerLayout::Sparse;
        const std::int64_t nValues = drawer.nRows * drawer.ItemsPerRow();
        const std::string loss = m_report.Loss(
            drawer.store, isSparse ? FlawReport::kUnknown : nValues * distribution.ScalarSize());
        if (!loss.empty()) {
            report(std::to_string(nValues) + " values in " + std::to_string(drawer.nRows) +
                   " rows are lost (" + loss + ")");
        } else if (isSparse) {
            CheckSparse(distribution, drawer);
        } else {
            CheckCells(distribution, drawer);
        }
    }

    void CheckSparse(const DistributionState& distribution, const DrawerState& drawer) {
        try {
            SparseRows::Read(m_state, distribution, drawer, drawer.sets);
        } catch (const ORQBasFailure& failure) {
            m_report.AddDrawer(drawer.id.MinorID(), drawer.id.Index(), failure.Text());
        }
    }

    // Chunks hold whole rows that the drawer has, and references name members that exist.
    void CheckCells(const DistributionState& distribution, const DrawerState& drawer) {
        const std::int64_t rowBytes = drawer.ItemsPerRow() * distribution.ScalarSize();
        const std::int64_t rowsPerChunk = drawer.RowsPerChunk(distribution.ScalarSize());
        const bool refers =
            !distribution.rangeCollection.IsNull() &&
            (distribution.scalar == ORQSimScalarInt || distribution.scalar == ORQSimScalarUint);
        m_report.ForEachChunk(drawer.store, [&](std::int64_t chunk, std::int64_t length) {
            std::string problem;
            if (rowBytes == 0 || length % rowBytes != 0 || length / rowBytes > rowsPerChunk ||
                chunk * rowsPerChunk + length / rowBytes > drawer.nRows) {
                problem = "of " + std::to_string(length) + " bytes does not fit its rows";
            } else if (refers) {
                problem = WrongReference(distribution, drawer.store, chunk, length);
            }
            if (!problem.empty()) {
                m_report.AddDrawer(drawer.id.MinorID(), drawer.id.Index(),
                                   "chunk " + std::to_string(chunk) + " " + problem);
            }
        });
    }

    // The first one of a chunk; one finding a chunk says enough.
    std::string WrongReference(const DistributionState& distribution, std::int64_t store,
                               std::int64_t chunk, std::int64_t length) {
        constexpr std::uint32_t kNoReference = 0xFFFFFFFF;
        const auto space =
            static_cast<std::uint32_t>(m_state.Objects().Space(distribution.rangeCollection));
        const std::byte* bytes = m_state.Chunks().Read(store, 0, chunk, 0, length);
        for (std::int64_t at = 0; at < length; at += 4) {
            std::uint32_t value = 0;
            std::memcpy(&value, bytes + at, sizeof value);
            if (value >= space && value != kNoReference) {
                return "item " + std::to_string(at / 4) + " refers to member " +
                       std::to_string(value) + " of a collection of " + std::to_string(space);
            }
        }
        return "";
    }

    void OwnDrawersStore(std::int64_t store, std::int64_t distribution, int drawer) {
        m_report.Own(store, [state = &m_state, distribution, drawer] {
            EraseDrawer(state->Store(), distribution, drawer);
        });
    }

    FlawReport& m_report;
    DatabaseState& m_state;
};

}  // namespace

void CheckDistributions(FlawReport& report) {
    DrawerCheck(report).Run();
}

}  // namespace orq::database
