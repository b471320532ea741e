#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "formats/nastran/NastranProblems.h"

namespace orq::exchange {

/// A line of bulk data: name or mark, and fields.
struct NastranLine {
    BulkPlace place{};
    std::size_t part = 0;
    std::string_view raw;  ///< in its file, with comment
    std::string_view name;
    std::vector<std::string_view> fields;
    bool isLarge = false;
    bool isInFile = true;  ///< whether `raw` is a part of the file's contents

    bool IsContinuation() const {
        return name.empty() || name.front() == '+' || name.front() == '*';
    }
    bool IsReplication() const { return !name.empty() && name.front() == '='; }

    /// Finds name and fields in a text without comment. What stands in no file as it is, without
    /// tabs, is put into `made`.
    void Split(std::string_view text, std::deque<std::string>& made);

  private:
    void SplitFree(std::string_view text, std::size_t end);
    void SplitFixed(std::string_view text);
};

inline constexpr std::size_t kBulkFieldsInLine = 8;

}  // namespace orq::exchange
