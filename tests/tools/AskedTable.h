#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "CommandRun.h"

/// What the program writes as a table in JSON.
struct Table {
    std::vector<std::string> columns;
    std::vector<std::vector<nlohmann::json>> rows;

    const nlohmann::json& At(std::size_t row, const std::string& column) const {
        const auto place = std::ranges::find(columns, column) - columns.begin();
        return rows.at(row).at(static_cast<std::size_t>(place));
    }
    double Number(std::size_t row, const std::string& column) const {
        return At(row, column).get<double>();
    }
    /// Of statistics: the row of a column and what it is.
    const nlohmann::json& Of(const std::string& column, const std::string& what,
                             const std::string& wanted = "value") const {
        for (std::size_t row = 0; row < rows.size(); ++row) {
            if (At(row, "of") == column && At(row, "what") == what) {
                return At(row, wanted);
            }
        }
        throw std::runtime_error("no " + what + " of " + column);
    }
};

/// The numbers of a model, by `orqmodel table` with these arguments.
inline Table AskForTable(const std::string& model, Arguments arguments) {
    arguments.insert(arguments.begin(), {"table", model, "--json"});
    const CommandResult result = RunHere(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    if (result.status != 0) {
        return {};
    }
    const auto object = nlohmann::json::parse(result.out);
    return {object["columns"], object["rows"]};
}
