#pragma once

#include <cstddef>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "formats/layup/JsonText.h"

namespace orq::exchange {

/// A member that an object may have.
struct JsonKey {
    std::string name;
    bool isNeeded = false;
};

/// What a number has to be.
struct JsonRange {
    const char* text;
    double low;
    double high;
    bool hasLow = true;
    bool Contains(double number) const {
        return (number > low || (hasLow && number == low)) && number <= high;
    }
};
inline constexpr double kLargest = std::numeric_limits<double>::max();
inline constexpr JsonRange kAnyNumber{"a number", -kLargest, kLargest};

/// Takes values of a JSON file that have to be of some kind, and gathers what is wrong with them,
/// each with its JSON pointer.
class JsonCheck {
  public:
    using Json = nlohmann::json;
    using Pointer = Json::json_pointer;

    explicit JsonCheck(const std::filesystem::path& file) : m_file(file) {}

    void Report(const Pointer& at, const std::string& message);
    void ReportValue(const Pointer& at, const Json& value, const std::string& expected);
    /// `known` are the names that the place might have.
    void ReportUnknown(const Pointer& at, const std::string& name, const char* kind,
                       const std::vector<std::string>& known);
    std::size_t NumErrors() const { return m_nErrors; }
    /// Throws ORQExcImportError with the first 20 errors and the number of the others, if there are
    /// any.
    void ThrowErrors();

    /// Reports what is no object, members that are missing and members that are not known.
    bool IsObject(const Json& value, const Pointer& at, const std::vector<JsonKey>& keys);
    /// Calls use(member, pointer) if there is such a member.
    template <class Use>
    static void With(const Json& object, const Pointer& at, const char* key, const Use& use) {
        if (const auto found = object.find(key); found != object.end()) {
            use(*found, at / key);
        }
    }
    /// Calls use(item, pointer) for each item of an array.
    template <class Use>
    void ForEach(const Json& value, const Pointer& at, const Use& use) {
        if (!value.is_array()) {
            return ReportValue(at, value, "an array");
        }
        for (std::size_t i = 0; i < value.size(); ++i) {
            use(value[i], at / i);
        }
    }
    std::optional<double> Number(const Json& value, const Pointer& at, const JsonRange& range);
    /// Empty when it is no text.
    std::string Text(const Json& value, const Pointer& at);

  private:
    const std::filesystem::path& m_file;
    std::vector<std::string> m_errors;
    std::size_t m_nErrors = 0;
};

}  // namespace orq::exchange
