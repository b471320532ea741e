#include "formats/layup/JsonText.h"

#include <fmt/format.h>

#include <algorithm>
#include <deque>
#include <string>
#include <utility>

#include "ORQExcImportError.h"
#include "files/WholeFile.h"

namespace orq::exchange {
namespace {

using nlohmann::json;

/// Builds the value from the events of the parser. They show members that stand twice, of which a
/// parsed value has one.
class Builder : public nlohmann::json_sax<json> {
  public:
    Builder(const std::filesystem::path& file, const std::string& text)
        : m_file(file), m_text(text) {}

    JsonText Take() { return std::move(m_result); }

    bool null() override { return Put(nullptr); }
    bool boolean(bool value) override { return Put(value); }
    bool number_integer(number_integer_t value) override { return Put(value); }
    bool number_unsigned(number_unsigned_t value) override { return Put(value); }
    bool number_float(number_float_t value, const string_t&) override { return Put(value); }
    bool string(string_t& value) override { return Put(std::move(value)); }
    bool binary(binary_t& value) override { return Put(std::move(value)); }
    bool start_object(std::size_t) override { return Open(json::object()); }
    bool start_array(std::size_t) override { return Open(json::array()); }
    bool end_object() override { return Close(); }
    bool end_array() override { return Close(); }

    bool key(string_t& name) override {
        Frame& frame = m_frames.back();
        frame.isRepeated = frame.value->contains(name);
        if (frame.isRepeated) {
            m_result.repeated.push_back(Pointer() / name);
        }
        frame.key = std::move(name);
        return true;
    }

    bool parse_error(std::size_t position, const std::string&,
                     const json::exception& error) override {
        const auto end =
            m_text.begin() + static_cast<std::ptrdiff_t>(std::min(position, m_text.size()));
        const auto nLines = std::count(m_text.begin(), end, '\n');
        const auto lineStart = std::find(std::make_reverse_iterator(end), m_text.rend(), '\n');
        // The parser's text begins with "[json.exception...] parse error at line 1, column 2: ",
        // which the error names in its own form.
        const std::string text = error.what();
        const std::size_t place = text.find("column ");
        const std::size_t from = text.find(place == std::string::npos ? "] " : ": ",
                                           place == std::string::npos ? 0 : place);
        throw ORQExcImportError(m_file,
                                fmt::format("line {}, column {}", nLines + 1,
                                            std::max<std::ptrdiff_t>(1, end - lineStart.base())),
                                from == std::string::npos ? text : text.substr(from + 2));
    }

  private:
    struct Frame {
        json* value;
        std::string key = {};
        bool isRepeated = false;  // what comes next is not kept
    };

    json::json_pointer Pointer() const {
        json::json_pointer pointer;
        for (std::size_t i = 0; i + 1 < m_frames.size(); ++i) {
            const Frame& frame = m_frames[i];
            pointer =
                frame.value->is_array() ? pointer / (frame.value->size() - 1) : pointer / frame.key;
        }
        return pointer;
    }

    json* Place(json value) {
        if (m_frames.empty()) {
            m_result.value = std::move(value);
            return &m_result.value;
        }
        Frame& frame = m_frames.back();
        if (frame.isRepeated) {
            return &m_notKept.emplace_back(std::move(value));
        }
        if (frame.value->is_array()) {
            return &frame.value->emplace_back(std::move(value));
        }
        return &((*frame.value)[frame.key] = std::move(value));
    }
    bool Put(json value) {
        Place(std::move(value));
        return true;
    }
    bool Open(json value) {
        json* const placed = Place(std::move(value));
        m_frames.push_back({placed});
        return true;
    }
    bool Close() {
        m_frames.pop_back();
        return true;
    }

    const std::filesystem::path& m_file;
    const std::string& m_text;
    JsonText m_result;
    std::vector<Frame> m_frames;
    std::deque<json> m_notKept;  // frames point into it
};

}  // namespace

JsonText ReadJsonText(const std::filesystem::path& file) {
    const std::string text = ReadWholeFile(file);
    Builder builder(file, text);
    json::sax_parse(text, &builder);
    return builder.Take();
}

}  // namespace orq::exchange
