#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace orq::exchange {

/// The shortest spelling of a finite number in bulk data that reads back as the same double: "45.",
/// ".5", "1.25-4". It has 24 characters at most; one of up to 14 digits fits 16 columns where its
/// exponent is small.
std::string BulkText(double value);
std::string BulkText(int value);

/// The fields of a card, from 1; those that are not set are blank.
class BulkFields {
  public:
    void Set(int field, std::string text);
    template <class Number>
    void Set(int field, Number value) {
        Set(field, BulkText(value));
    }
    void Append(int value) { m_texts.push_back(BulkText(value)); }
    bool IsBlank(int field) const;
    const std::vector<std::string>& Texts() const { return m_texts; }

  private:
    std::vector<std::string> m_texts;
};

/// A bulk data file in the making. Each card is written in the narrowest form that holds its fields
/// whole: columns of 8, columns of 16, or else free fields.
class NastranText {
  public:
    /// Replaces the file.
    explicit NastranText(const std::filesystem::path& file);

    void Line(std::string_view line) { m_stream << line << '\n'; }
    /// Writes lines, with a line's end behind the last one.
    void Lines(std::string_view lines) { m_stream << lines << (lines.ends_with('\n') ? "" : "\n"); }
    /// Writes a comment of foreign origin.
    void Comment(std::string_view text);
    void Card(std::string_view name, const BulkFields& fields);
    /// Throws ORQExcExportError when not everything could be written.
    void Close();

  private:
    std::filesystem::path m_file;
    std::ofstream m_stream;
};

}  // namespace orq::exchange
