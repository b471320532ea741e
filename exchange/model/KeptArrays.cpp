#include "model/KeptArrays.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>
#include <string_view>

#include "ORQBasFailure.h"
#include "ORQObjModel.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"

namespace orq::exchange {
namespace {

using Array = ORQExcMeshSource::Array;

/// Writes each dimension as "LENGTH NAME", one to a line.
std::string TextOf(const std::vector<Array::Dimension>& dimensions) {
    std::string text;
    for (const Array::Dimension& dimension : dimensions) {
        text += fmt::format("{} {}\n", dimension.length, dimension.name);
    }
    return text;
}

std::vector<Array::Dimension> DimensionsOf(std::string_view text, const std::string& name) {
    std::vector<Array::Dimension> dimensions;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        std::int64_t length = -1;
        const auto parsed = std::from_chars(line.data(), line.data() + line.size(), length);
        if (parsed.ec != std::errc() || length < 0 || length > std::numeric_limits<int>::max() ||
            *parsed.ptr != ' ') {
            throw ORQBasFailure(
                ORQBasFailureKind::Damaged,
                fmt::format("kept array \"{}\": \"{}\" is no dimension", name, line));
        }
        dimensions.push_back({std::string(parsed.ptr + 1, line.data() + line.size()), length});
    }
    return dimensions;
}

/// Aims a transfer at rows [begin, end).
class RowTransfer {
  public:
    RowTransfer(const KeptArray& kept, int begin, int end)
        : m_values(kept.position.GetPosition(ORQSimSchema::KeptArray_values).GetDistribution()),
          m_transfer(m_values) {
        const ORQSimCollection rows(m_values.Grid().Collection(0));
        m_transfer.SetDim(0, rows.CreateVolatileCSetStrided(begin, end - begin, 1, 1))
            .SetDim(1, ORQSimCSet(m_values.Grid().Collection(1)));
    }
    ORQSimTransfer& operator*() { return m_transfer; }

  private:
    ORQSimDistribution m_values;
    ORQSimTransfer m_transfer;
};

std::int64_t BytesOf(const KeptArray& kept, int nRows) {
    return nRows * kept.array.RowSize() * ORQSimScalarSize(kept.array.scalarType);
}

}  // namespace

KeptArray AddKeptArray(const ORQObjDocument& document, std::string_view format,
                       const Array& array) {
    const ORQSimPosition model = document.GetModel();
    const ORQSimDataRecord record = model.CreateDataRecord(ORQSimSchema::KeptArray);
    record.SetString(ORQSimRecordField::KeptArray_format, std::string(format));
    record.SetString(ORQSimRecordField::KeptArray_name, array.name);
    record.SetInt(ORQSimRecordField::KeptArray_scalarType, array.scalarType);
    record.SetString(ORQSimRecordField::KeptArray_dimensions, TextOf(array.dimensions));
    record.SetString(ORQSimRecordField::KeptArray_kind, array.kind);
    record.SetInt(ORQSimRecordField::KeptArray_count, static_cast<int>(array.count));
    const ORQSimPosition position = record.Pos();
    const ORQSimPosition rows = position.CreateTypedCollection(ORQSimSchema::KeptArrayCollection,
                                                               static_cast<int>(array.NumRows()));
    const ORQSimPosition columns = position.CreateTypedCollection(
        ORQSimSchema::KeptArrayCollection, static_cast<int>(array.RowSize()));
    position.SetPosition(ORQSimSchema::KeptArray_values,
                         position
                             .CreateTypedDistribution(
                                 ORQSimGrid({rows.GetCollection(), columns.GetCollection()}),
                                 ORQSimSchema::KeptArrayValues, ORQSimRangeType(array.scalarType))
                             .ID());
    model.GetMap(ORQSimSchema::Model_keptArrays)
        .Insert(fmt::format("{}/{}", format, array.name), position);
    return {std::string(format), array, position};
}

void WriteKeptRows(const KeptArray& array, int begin, int end, const void* values) {
    RowTransfer transfer(array, begin, end);
    (*transfer)
        .SetWrite()
        .SetMakeNewDrawer()
        .SetBuffer(ORQSimbufMain, values, BytesOf(array, end - begin))
        .ExecWrite();
}

std::vector<KeptArray> KeptArrays(const ORQObjDocument& document) {
    std::vector<KeptArray> arrays;
    const ORQSimMap map = document.GetModel().GetMap(ORQSimSchema::Model_keptArrays);
    for (auto entry = map.Begin(); entry.NotDone(); ++entry) {
        const ORQSimDataRecord record = (*entry).DataRecord();
        KeptArray kept;
        kept.format = record.ReturnString(ORQSimRecordField::KeptArray_format).UTF8();
        kept.array.name = record.ReturnString(ORQSimRecordField::KeptArray_name).UTF8();
        kept.array.scalarType = record.GetInt(ORQSimRecordField::KeptArray_scalarType);
        kept.array.dimensions = DimensionsOf(
            record.ReturnString(ORQSimRecordField::KeptArray_dimensions).UTF8(), kept.array.name);
        kept.array.kind = record.ReturnString(ORQSimRecordField::KeptArray_kind).UTF8();
        kept.array.count = record.GetInt(ORQSimRecordField::KeptArray_count);
        kept.position = *entry;
        arrays.push_back(std::move(kept));
    }
    return arrays;
}

void ReadKeptRows(const KeptArray& array, int begin, int end, void* values) {
    RowTransfer transfer(array, begin, end);
    (*transfer).SetRead().SetBuffer(ORQSimbufMain, values, BytesOf(array, end - begin)).ExecRead();
}

}  // namespace orq::exchange
