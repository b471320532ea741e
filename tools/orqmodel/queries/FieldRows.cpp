#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "ORQSimCollection.h"
#include "queries/MemberRange.h"
#include "queries/RowSource.h"

namespace orqmodel {
namespace {

class FieldSource : public RowSource {
  public:
    FieldSource(const ORQExcResults& results, const ORQExcResults::Field& field,
                std::vector<int> frames, const ORQSimCSet& members, int component)
        : m_results(results),
          m_field(field),
          m_frames(std::move(frames)),
          m_members(members),
          m_component(component) {
        for (std::size_t i = 0; i < field.components.size(); ++i) {
            if (component < 0 || static_cast<std::size_t>(component) == i) {
                m_columns.push_back({field.components[i].label});
            }
        }
    }

    RowPlace Place() const override {
        switch (m_field.place) {
            case ORQExcResultArray::Place::Node:
                return RowPlace::Node;
            case ORQExcResultArray::Place::Element:
                return RowPlace::Element;
            case ORQExcResultArray::Place::Model:
                break;
        }
        return RowPlace::Model;
    }
    const std::vector<Column>& Columns() const override { return m_columns; }

    /// Members without any value at a time have no row.
    bool Next(RowBlock& block) override {
        while (m_frame < m_frames.size()) {
            const bool isWhole = Place() == RowPlace::Model;
            const int end = isWhole ? 1 : std::min(m_members.Size(), m_at + kRowsAtOnce);
            block.frame = m_frames[m_frame];
            block.members = isWhole ? ORQSimCSet() : MembersAt(m_members, m_at, end);
            m_at = end;
            const bool hasValues = Read(block);
            if (isWhole || m_at == m_members.Size()) {
                ++m_frame;
                m_at = 0;
            }
            if (hasValues) {
                return true;
            }
        }
        return false;
    }
    double Done() const override {
        return static_cast<double>(m_frame) /
               static_cast<double>(std::max<std::size_t>(1, m_frames.size()));
    }

  private:
    bool Read(RowBlock& block) {
        const std::size_t nComponents = m_field.components.size();
        // The results are read with all components of a member; one of them is picked from a buffer
        // of its own.
        std::vector<double>& target = m_component < 0 ? block.values : m_all;
        target.resize(block.NumRows() * nComponents);
        const std::int64_t nRead = m_results.Read(m_field, block.frame, block.members, target);
        if (m_component >= 0) {
            block.values.resize(block.NumRows());
            for (std::size_t row = 0; row < block.NumRows(); ++row) {
                block.values[row] =
                    m_all[row * nComponents + static_cast<std::size_t>(m_component)];
            }
        }
        if (nRead > 0 && Place() != RowPlace::Model) {
            block.LeaveOutEmpty();
        }
        return nRead > 0 && !block.values.empty();
    }

    const ORQExcResults& m_results;
    const ORQExcResults::Field& m_field;
    std::vector<int> m_frames;
    ORQSimCSet m_members;
    int m_component;
    std::vector<Column> m_columns;
    std::vector<double> m_all;  // components of a block, where only one is wanted
    std::size_t m_frame = 0;
    int m_at = 0;
};

}  // namespace

std::unique_ptr<RowSource> FieldRows(const ORQExcResults& results,
                                     const ORQExcResults::Field& field, std::vector<int> frames,
                                     const ORQSimCSet& members, int component) {
    return std::make_unique<FieldSource>(results, field, std::move(frames), members, component);
}

}  // namespace orqmodel
