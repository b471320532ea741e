#include "terminal/TableWriter.h"

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace orqmodel {
namespace {

// Large pieces, since each write to a stream costs a call and a check of its own.
constexpr std::size_t kBytesAtOnce = 1 << 20;

/// What the formats share: a buffer that goes to the stream in large pieces.
class BufferedWriter : public TableWriter {
  public:
    // Room beyond the limit for the last row, so that the buffer rarely grows.
    BufferedWriter(std::ostream& out) : m_out(out) { m_buffer.reserve(kBytesAtOnce + (1 << 16)); }

    void Integer(std::int64_t value) override { Put(value); }
    void Number(double value) override {
        if (std::isnan(value)) {
            return Blank();
        }
        Put(value);
    }
    void End() override { Flush(); }

  protected:
    /// A cell of the format, of characters that need no quotes.
    virtual void Cell(std::string_view text) = 0;

    void Append(std::string_view text) { m_buffer.append(text); }
    void Append(std::size_t count, char character) { m_buffer.append(count, character); }
    void FlushWhenFull() {
        if (m_buffer.size() >= kBytesAtOnce) {
            Flush();
        }
    }

  private:
    template <class Value>
    void Put(Value value) {
        char text[32];
        const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
        Cell({text, static_cast<std::size_t>(end - text)});
    }
    void Flush() {
        m_out.write(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
        m_buffer.clear();
    }

    std::ostream& m_out;
    std::string m_buffer;
};

class TextWriter : public BufferedWriter {
  public:
    TextWriter(const std::vector<Column>& columns, std::ostream& out)
        : BufferedWriter(out), m_columns(columns) {
        BeginRow();
        for (const Column& column : columns) {
            Cell(column.heading);
        }
        EndRow();
    }

    void BeginRow() override { m_place = 0; }
    void Text(std::string_view text) override { Cell(text); }
    /// For reading: of long numbers the first digits.
    void Number(double value) override {
        char text[32];
        // Digits that a float holds; CSV and JSON have all.
        constexpr int kDigits = 7;
        auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
        if (end - text > static_cast<std::ptrdiff_t>(kNumberWidth)) {
            end = std::to_chars(std::begin(text), std::end(text), value, std::chars_format::general,
                                kDigits)
                      .ptr;
        }
        std::isnan(value) ? Blank() : Cell({text, static_cast<std::size_t>(end - text)});
    }
    void Blank() override { Cell("-"); }
    void EndRow() override {
        Append("\n");
        FlushWhenFull();
    }

  protected:
    void Cell(std::string_view text) override {
        const bool isNumber = m_columns[m_place].isNumber;
        const std::size_t width =
            std::max(isNumber ? kNumberWidth : kTextWidth, m_columns[m_place].heading.size());
        const std::size_t blanks = width > text.size() ? width - text.size() : 0;
        ++m_place;
        Append("  ");
        Append(isNumber ? blanks : 0, ' ');
        Append(text);
        Append(isNumber || m_place == m_columns.size() ? 0 : blanks, ' ');
    }

  private:
    // Rows are streamed, so widths cannot follow what comes later.
    static constexpr std::size_t kNumberWidth = 12;
    static constexpr std::size_t kTextWidth = 8;

    std::vector<Column> m_columns;
    std::size_t m_place = 0;
};

class CsvWriter : public BufferedWriter {
  public:
    CsvWriter(const std::vector<Column>& columns, std::ostream& out) : BufferedWriter(out) {
        BeginRow();
        for (const Column& column : columns) {
            Text(column.heading);
        }
        EndRow();
    }

    void BeginRow() override { m_isFirst = true; }
    void Text(std::string_view text) override {
        if (text.find_first_of(",\"\n") == std::string_view::npos) {
            return Cell(text);
        }
        std::string quoted = "\"";
        for (const char character : text) {
            quoted += character == '"' ? "\"\"" : std::string(1, character);
        }
        Cell(quoted + "\"");
    }
    void Blank() override { Cell(""); }
    void EndRow() override {
        Append("\n");
        FlushWhenFull();
    }

  protected:
    void Cell(std::string_view text) override {
        if (!m_isFirst) {
            Append(",");
        }
        m_isFirst = false;
        Append(text);
    }

  private:
    bool m_isFirst = true;
};

class JsonWriter : public BufferedWriter {
  public:
    JsonWriter(const std::vector<Column>& columns, const std::string& head, std::ostream& out)
        : BufferedWriter(out) {
        nlohmann::json names = nlohmann::json::array();
        for (const Column& column : columns) {
            names.push_back(column.heading);
        }
        Append("{\n" + head + "\"columns\": " + names.dump() + ",\n\"rows\": [");
    }

    void BeginRow() override {
        Append(m_isFirstRow ? "\n[" : ",\n[");
        m_isFirstRow = false;
        m_isFirst = true;
    }
    void Text(std::string_view text) override { Cell(nlohmann::json(text).dump()); }
    void Number(double value) override {
        if (std::isinf(value)) {
            return Blank();  // JSON has no infinity.
        }
        BufferedWriter::Number(value);
    }
    void Blank() override { Cell("null"); }
    void EndRow() override {
        Append("]");
        FlushWhenFull();
    }
    void End() override {
        Append("\n]\n}\n");
        BufferedWriter::End();
    }

  protected:
    void Cell(std::string_view text) override {
        if (!m_isFirst) {
            Append(", ");
        }
        m_isFirst = false;
        Append(text);
    }

  private:
    bool m_isFirstRow = true;
    bool m_isFirst = true;
};

}  // namespace

std::unique_ptr<TableWriter> MakeTableWriter(TableFormat format,
                                             const std::vector<TableWriter::Column>& columns,
                                             const std::string& head, std::ostream& out) {
    switch (format) {
        case TableFormat::Csv:
            return std::make_unique<CsvWriter>(columns, out);
        case TableFormat::Json:
            return std::make_unique<JsonWriter>(columns, head, out);
        case TableFormat::Text:
            break;
    }
    return std::make_unique<TextWriter>(columns, out);
}

}  // namespace orqmodel
