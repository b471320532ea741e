#include "formats/nastran/NastranText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>

#include "ORQExcExportError.h"
#include "ORQExcTexts.h"

namespace orq::exchange {

std::string BulkText(int value) {
    return std::to_string(value);
}

std::string BulkText(double value) {
    // to_chars gives the fewest digits that read back as the same double, as "-d.ddde-xx"; digits
    // and exponent are spelt anew below.
    std::array<char, 40> buffer;
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                   std::chars_format::scientific)
                         .ptr;
    const std::string_view spelt(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
    const std::size_t mark = spelt.find('e');
    const int exponent = std::atoi(std::string(spelt.substr(mark + 1)).c_str());
    const std::string sign = spelt.starts_with('-') ? "-" : "";
    std::string digits;
    std::ranges::copy_if(spelt.substr(0, mark), std::back_inserter(digits),
                         [](char c) { return c >= '0' && c <= '9'; });

    const int nDigits = static_cast<int>(digits.size());
    // The format needs no E before the sign of an exponent, but a point in every real number.
    const std::string scientific =
        fmt::format("{}.{}{:+}", digits.substr(0, 1), digits.substr(1), exponent);
    std::string fixed;
    if (exponent < 0) {
        // No more than 30 zeros: the scientific spelling is shorter by then.
        fixed =
            "." + std::string(static_cast<std::size_t>(std::min(-exponent - 1, 30)), '0') + digits;
    } else if (exponent + 1 < nDigits) {
        fixed = digits;
        fixed.insert(static_cast<std::size_t>(exponent + 1), ".");
    } else {
        fixed = digits + std::string(static_cast<std::size_t>(exponent + 1 - nDigits), '0') + ".";
    }
    return sign + (fixed.size() <= scientific.size() ? fixed : scientific);
}

void BulkFields::Set(int field, std::string text) {
    const auto place = static_cast<std::size_t>(field - 1);
    m_texts.resize(std::max(m_texts.size(), place + 1));
    m_texts[place] = std::move(text);
}

bool BulkFields::IsBlank(int field) const {
    const auto place = static_cast<std::size_t>(field - 1);
    return place >= m_texts.size() || m_texts[place].empty();
}

NastranText::NastranText(const std::filesystem::path& file) : m_file(file), m_stream(file) {
    if (!m_stream) {
        throw ORQExcExportError(file.string() + ": cannot be created");
    }
}

void NastranText::Comment(std::string_view text) {
    Line("$ " + ORQExcPrintable(text));
}

void NastranText::Card(std::string_view name, const BulkFields& fields) {
    std::size_t width = 0;
    for (const std::string& text : fields.Texts()) {
        width = std::max(width, text.size());
    }
    const bool isSmall = width <= 8;
    const bool isFree = width > 16;
    const std::size_t nInLine = isSmall ? 8 : 4;
    std::string line = fmt::format("{}{}", name, isSmall ? "" : "*");
    std::size_t nDone = 0;
    for (const std::string& text : fields.Texts()) {
        if (nDone > 0 && nDone % nInLine == 0) {
            Line(line);
            line = isSmall ? "+" : "*";
        }
        if (nDone % nInLine == 0 && !isFree) {
            line = fmt::format("{:<8}", line);
        }
        line += isFree ? "," + text : fmt::format("{:>{}}", text, isSmall ? 8 : 16);
        ++nDone;
    }
    Line(line);
}

void NastranText::Close() {
    // A full disk may show only when the last buffer is written, so the state is checked behind it.
    m_stream.close();
    if (!m_stream) {
        throw ORQExcExportError(m_file.string() + ": cannot be written");
    }
}

}  // namespace orq::exchange
