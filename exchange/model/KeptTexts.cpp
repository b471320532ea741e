#include <fmt/format.h>
#include <utf8.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

#include "ORQBasFailure.h"
#include "ORQExcKeptTexts.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"

namespace {

// A record's text is held in memory as a whole wherever it is read or changed, so a long text is cut.
// The number of pieces bounds what a damaged record can ask for.
constexpr std::size_t kPieceBytes = 1 << 20;
constexpr int kMostPieces = 1 << 16;

/// The end of the piece that begins here. Each piece is stored as a text of its own, so no
/// character is cut.
std::size_t EndOfPiece(std::string_view text, std::size_t begin) {
    std::size_t end = std::min(begin + kPieceBytes, text.size());
    const auto isInside = [&](std::size_t at) {
        return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
    };
    while (isInside(end)) {
        --end;
    }
    return end;
}

// The database stores UTF-8 and replaces other bytes by one and the same character. Decks contain
// such bytes, so they are stored as the private characters U+F700 to U+F7FF, one for each byte, and
// come back as they were.
constexpr char32_t kFirstOfBytes = 0xF700;

std::string Encoded(std::string_view text) {
    std::string encoded;
    encoded.reserve(text.size());
    for (auto at = text.begin(); at != text.end();) {
        const auto wrong = utf8::find_invalid(at, text.end());
        encoded.append(at, wrong);
        at = wrong;
        if (at != text.end()) {
            utf8::append(kFirstOfBytes + static_cast<unsigned char>(*at++),
                         std::back_inserter(encoded));
        }
    }
    return encoded;
}

std::string Decoded(const std::string& text) {
    // The private characters begin with the byte EF, which most texts do not have.
    if (text.find('\xEF') == std::string::npos) {
        return text;
    }
    std::string decoded;
    for (auto at = text.begin(); at != text.end();) {
        const auto begin = at;
        const char32_t character = utf8::next(at, text.end());
        if (character > kFirstOfBytes + 0x7F && character <= kFirstOfBytes + 0xFF) {
            decoded += static_cast<char>(character - kFirstOfBytes);
        } else {
            decoded.append(begin, at);
        }
    }
    return decoded;
}

void Write(const ORQExcKeptText& text, const ORQSimDataRecord& record) {
    std::string contents;
    for (const auto& [name, count] : text.contents) {
        contents += fmt::format("{} {}\n", count, name);
    }
    record.SetString(ORQSimRecordField::KeptText_format, text.format);
    record.SetString(ORQSimRecordField::KeptText_section, text.section);
    record.SetString(ORQSimRecordField::KeptText_instance, text.instance);
    record.SetInt(ORQSimRecordField::KeptText_isAlsoInModel, text.isAlsoInModel ? 1 : 0);
    record.SetString(ORQSimRecordField::KeptText_contents, contents);
    int nPieces = 0;
    const std::string whole = Encoded(text.text);
    for (std::size_t begin = 0; begin < whole.size(); ++nPieces) {
        const std::size_t end = EndOfPiece(whole, begin);
        record.SetString(ORQSimRecordField::KeptText_firstPiece + nPieces,
                         whole.substr(begin, end - begin));
        begin = end;
    }
    record.SetInt(ORQSimRecordField::KeptText_numPieces, nPieces);
}

std::vector<std::pair<std::string, std::int64_t>> ReadContents(std::string_view lines) {
    std::vector<std::pair<std::string, std::int64_t>> contents;
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
        std::int64_t count = 0;
        const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), count);
        const auto nDigits = static_cast<std::size_t>(end - line.data());
        if (error != std::errc() || count < 0 || nDigits >= line.size()) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                fmt::format("a kept text: its contents say \"{}\"", line));
        }
        contents.emplace_back(line.substr(nDigits + 1), count);
    }
    return contents;
}

ORQExcKeptText Read(const ORQSimDataRecord& record) {
    ORQExcKeptText text;
    text.format = record.ReturnString(ORQSimRecordField::KeptText_format).UTF8();
    text.section = record.ReturnString(ORQSimRecordField::KeptText_section).UTF8();
    text.instance = record.ReturnString(ORQSimRecordField::KeptText_instance).UTF8();
    text.isAlsoInModel = record.GetInt(ORQSimRecordField::KeptText_isAlsoInModel) != 0;
    text.contents = ReadContents(record.ReturnString(ORQSimRecordField::KeptText_contents).UTF8());
    const int nPieces = record.GetInt(ORQSimRecordField::KeptText_numPieces);
    if (nPieces < 0 || nPieces > kMostPieces) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            fmt::format("a kept text: has {} pieces", nPieces));
    }
    for (int piece = 0; piece < nPieces; ++piece) {
        text.text +=
            Decoded(record.ReturnString(ORQSimRecordField::KeptText_firstPiece + piece).UTF8());
    }
    return text;
}

}  // namespace

void ORQExcWriteKeptTexts(const std::vector<ORQExcKeptText>& texts,
                          const ORQObjDocument& document) {
    const ORQSimPosition model = document.GetModel();
    for (const ORQExcKeptText& text : texts) {
        const ORQSimDataRecord record = model.CreateDataRecord(ORQSimSchema::KeptText);
        Write(text, record);
        model.GetVector(ORQSimSchema::Model_keptTexts).PushBack(record.Pos());
    }
}

void ORQExcReplaceKeptText(const ORQExcKeptText& text, int place, const ORQObjDocument& document) {
    const ORQSimDataRecord record =
        document.GetModel().GetVector(ORQSimSchema::Model_keptTexts)[place].DataRecord();
    const int nFormer = record.GetInt(ORQSimRecordField::KeptText_numPieces);
    Write(text, record);
    for (int piece = record.GetInt(ORQSimRecordField::KeptText_numPieces); piece < nFormer;
         ++piece) {
        record.SetString(ORQSimRecordField::KeptText_firstPiece + piece, ORQString());
    }
}

std::vector<ORQExcKeptText> ORQExcReadKeptTexts(const ORQObjDocument& document) {
    std::vector<ORQExcKeptText> texts;
    const ORQSimVector kept = document.GetModel().GetVector(ORQSimSchema::Model_keptTexts);
    for (auto i = kept.Begin(); i.NotDone(); ++i) {
        texts.push_back(Read((*i).DataRecord()));
    }
    return texts;
}
