#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace orqmodel {

/// Writes a table cell by cell as it comes, so that memory does not grow with it. CSV and JSON
/// have numbers as the shortest text that reads back to the same double.
///
///   writer.BeginRow(); writer.Text("PART-1"); writer.Integer(7); writer.Number(0.1); writer.EndRow();
///
/// A row has a cell for each column. Texts must be printable (ORQExcPrintable).
class TableWriter {
  public:
    struct Column {
        std::string heading;
        bool isNumber = true;
    };

    virtual ~TableWriter() = default;

    virtual void BeginRow() = 0;
    virtual void Text(std::string_view text) = 0;
    virtual void Integer(std::int64_t value) = 0;
    /// A value that is no number is an empty cell.
    virtual void Number(double value) = 0;
    virtual void Blank() = 0;
    virtual void EndRow() = 0;
    /// After the last row.
    virtual void End() = 0;
};

enum class TableFormat { Text, Csv, Json };

/// Columns of a width each, blanks between them.
/// CSV has the headings in its first line; cells with a comma or a quote stand in quotes.
/// JSON is an object: the members of `head`, "columns" and "rows", a list of lists.
/// The stream outlives the writer.
std::unique_ptr<TableWriter> MakeTableWriter(TableFormat format,
                                             const std::vector<TableWriter::Column>& columns,
                                             const std::string& head, std::ostream& out);

}  // namespace orqmodel
