#include "formats/layup/JsonCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "ORQExcImportError.h"
#include "ORQExcNearNames.h"

namespace orq::exchange {
namespace {

using nlohmann::json;

// A file of another kind breaks every rule at every place; the first errors say so.
constexpr std::size_t kMostErrors = 20;

std::string Shown(const json& value) {
    // Enough to find the value in its file.
    constexpr std::size_t kMost = 40;
    if (value.is_object() || value.is_array()) {
        return fmt::format("{} of {}", value.is_object() ? "an object" : "an array", value.size());
    }
    const std::string text = value.dump(-1, ' ', true, json::error_handler_t::replace);
    return text.size() <= kMost ? text : text.substr(0, kMost) + "...";
}

}  // namespace

void JsonCheck::Report(const Pointer& at, const std::string& message) {
    if (++m_nErrors <= kMostErrors) {
        m_errors.emplace_back(
            ORQExcImportError(m_file, at.empty() ? "/" : at.to_string(), message).what());
    }
}

void JsonCheck::ReportValue(const Pointer& at, const json& value, const std::string& expected) {
    Report(at, fmt::format("is {}; expected is {}", Shown(value), expected));
}

void JsonCheck::ReportUnknown(const Pointer& at, const std::string& name, const char* kind,
                              const std::vector<std::string>& known) {
    Report(at, fmt::format("there is no {} \"{}\"{}", kind, name, ORQExcNearNames(name, known)));
}

void JsonCheck::ThrowErrors() {
    if (m_errors.empty()) {
        return;
    }
    if (m_nErrors > kMostErrors) {
        m_errors.emplace_back(
            ORQExcImportError(m_file, "file", fmt::format("and {} more", m_nErrors - kMostErrors))
                .what());
    }
    throw ORQExcImportError(std::move(m_errors));
}

bool JsonCheck::IsObject(const json& value, const Pointer& at, const std::vector<JsonKey>& keys) {
    if (!value.is_object()) {
        ReportValue(at, value, "an object");
        return false;
    }
    std::vector<std::string> names;
    for (const JsonKey& key : keys) {
        names.push_back(key.name);
        if (key.isNeeded && !value.contains(key.name)) {
            Report(at, fmt::format("\"{}\" is missing", key.name));
        }
    }
    for (const auto& [name, member] : value.items()) {
        if (std::ranges::find(names, name) == names.end()) {
            ReportUnknown(at / name, name, "key", names);
        }
    }
    return true;
}

std::optional<double> JsonCheck::Number(const json& value, const Pointer& at,
                                        const JsonRange& range) {
    if (!value.is_number() || !range.Contains(value.get<double>())) {
        ReportValue(at, value, range.text);
        return std::nullopt;
    }
    return value.get<double>();
}

std::string JsonCheck::Text(const json& value, const Pointer& at) {
    if (!value.is_string() || value.get_ref<const std::string&>().empty()) {
        ReportValue(at, value, "a text that is not empty");
        return {};
    }
    return value.get<std::string>();
}

}  // namespace orq::exchange
